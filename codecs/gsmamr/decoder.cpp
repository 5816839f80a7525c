// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/decoder.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace ryxcodec::gsmamr {

namespace {

constexpr int16_t homingSample = 8;
constexpr int16_t largestSharpening = 13017;
constexpr int16_t worstLoss = 6;

template <size_t count> void copy(const int16_t (&from)[count], int16_t (&to)[count]) {
    std::copy_n(from, count, to);
}
template <size_t count> void pushBack(int16_t (&values)[count], int16_t newest) {
    std::copy(values + 1, values + count, values);
    values[count - 1] = newest;
}

// A pitch gain in noise, where it follows from lost frames: above 0.75 only half counts, up to 0.9.
int16_t softened(int16_t gain) {
    constexpr int knee = 12288, most = 14745;
    return static_cast<int16_t>(gain > knee ? std::min((gain + knee) >> 1, most) : gain);
}

} // namespace

ryxStatus Decoder::init(const ryxCodecOptions &options) {
    const ryxStatus statuses[] = {gains_.fits(ryxsGainConcealGetStateSize_GSMAMR_16s),
                                  gainAverage_.fits(ryxsCodeGainAverageGetStateSize_GSMAMR_16s),
                                  dispersion_.fits(ryxsPhaseDispersionGetStateSize_GSMAMR_16s),
                                  backgroundState_.fits(ryxsBackgroundDetectGetStateSize_GSMAMR_16s),
                                  dtx_.fits(ryxsDecDTXGetStateSize_GSMAMR_16s),
                                  postFilter_.fits(ryxsPostFilterGetStateSize_GSMAMR_16s),
                                  highPass_.fits(ryxsHighPassFilterGetStateSize_GSMAMR_16s)};
    const auto failed =
        std::find_if(std::begin(statuses), std::end(statuses), [](ryxStatus s) { return s != ryxStsOk; });
    if (failed != std::end(statuses)) return *failed;
    noPostFilter_ = options.noPostFilter != 0;
    isHomed_ = false;
    reset();
    return ryxStsOk;
}

void Decoder::reset() {
    mode_ = 0;
    clearSpeechState(false);
    std::fill_n(synthesis_, lpOrder, int16_t{0});
    copy(ryxGSMAMRStartLsp, prevLsp_);
    copy(ryxGSMAMRMeanLsf, pastLsf_);
    copy(ryxGSMAMRMeanLsf, averageLsf_);
    std::fill_n(excitationLevels_, 9, int16_t{0});
    std::fill_n(pastEnergies_, 4, int16_t{-14336});
    std::fill_n(pastEnergies122_, 4, int16_t{-2381});
    newest_ = 0;
    for (auto &entry : lsfHistory_)
        copy(ryxGSMAMRMeanLsf, entry);
    std::fill_n(logEnergyHistory_, 8, int16_t{3500});
    ryxsDecDTXInit_GSMAMR_16s(dtx_);
    ryxsPostFilterInit_GSMAMR_16s(postFilter_);
    ryxsHighPassFilterInit_GSMAMR_16s(highPass_);
}

// What a pause clears too.
void Decoder::clearSpeechState(bool afterNoise) {
    std::fill_n(excitation_, pastExcitation, int16_t{0});
    std::fill_n(lsfResidual_, lpOrder, int16_t{0});
    sharpening_ = 0;
    prevLag_ = 40;
    prevBad_ = prevDegraded_ = false;
    lossState_ = 0;
    background_ = voicedHangover_ = 0;
    std::fill_n(pitchGains_, 9, int16_t{0});
    random_ = 21845;
    ryxsGainConcealInit_GSMAMR_16s(gains_);
    ryxsCodeGainAverageInit_GSMAMR_16s(afterNoise, gainAverage_);
    ryxsPhaseDispersionInit_GSMAMR_16s(dispersion_);
    ryxsBackgroundDetectInit_GSMAMR_16s(backgroundState_);
}

ryxStatus Decoder::decode(const ReceivedFrame &frame, int16_t *speech) {
    Received received;
    if (const ryxStatus status = unpack(frame, received); status != ryxStsOk) return status;
    if (received.mode >= 0) mode_ = received.mode;
    const bool hasSpeech = received.mode >= 0 && received.type <= ryxGSMAMRSpeechBad;
    if (isHomed_ && hasSpeech && isHomingFrame(received.parameters, mode_, false)) {
        std::fill_n(speech, frameLength, homingSample);
        reset();
        return ryxStsOk;
    }
    const bool whole = !isHomed_ && hasSpeech && isHomingFrame(received.parameters, mode_, true);
    decodeFrame(received, speech);
    isHomed_ = whole;
    if (whole) reset();
    return ryxStsOk;
}

void Decoder::decodeFrame(Received &received, int16_t *speech) {
    int16_t dtxState, prevDtxState;
    ryxsDecDTXHandler_GSMAMR_16s(received.type, &dtxState, &prevDtxState, dtx_);
    if (dtxState == ryxGSMAMRSpeech)
        decodeSpeech(received, prevDtxState, speech);
    else
        decodeNoise(received, speech);
    ryxsHighPassFilter_GSMAMR_16s_I(speech, frameLength, ryxGSMAMRPostProcessing, highPass_);
    std::transform(speech, speech + frameLength, speech, [](int16_t x) { return static_cast<int16_t>(x & ~7); });
}

void Decoder::decodeNoise(const Received &received, int16_t *speech) {
    int16_t lpc[subframes][lpCoefficients];
    ryxsDecDTXComfortNoise_GSMAMR_16s(received.parameters, lsfHistory_[0], logEnergyHistory_, newest_, lsfResidual_,
                                      pastLsf_, pastEnergies_, pastEnergies122_, synthesis_, speech, lpc[0],
                                      mode().rate, dtx_);
    clearSpeechState(true);
    ryxsLSFToLSP_GSMAMR_16s(pastLsf_, prevLsp_);
    ryxsLSFAverage_GSMAMR_16s_I(pastLsf_, averageLsf_);
    for (int k = 1; k < subframes; k++)
        copy(lpc[0], lpc[k]);
    if (!noPostFilter_) ryxsPostFilter_GSMAMR_16s_I(speech, lpc[0], mode().rate, postFilter_);
}

// The longer frames have been lost, the higher; a good frame leads down.
void Decoder::followLosses(const Frame &frame, int16_t prevDtxState) {
    if (isBad(frame))
        lossState_ = std::min<int16_t>(static_cast<int16_t>(lossState_ + 1), worstLoss);
    else
        lossState_ = lossState_ == worstLoss ? worstLoss - 1 : 0;
    if (prevDtxState != ryxGSMAMRSpeech) lossState_ = 5;
}

void Decoder::decodeSpeech(Received &received, int16_t prevDtxState, int16_t *speech) {
    const int type = received.type;
    if (type == ryxGSMAMRNoData || type == ryxGSMAMROnset)
        ryxsRandomParameters_GSMAMR_16s(&random_, mode().widths, received.parameters, mode().parameters);
    const bool bad = type == ryxGSMAMRSpeechBad || type == ryxGSMAMRNoData || type == ryxGSMAMROnset;
    const bool degraded = type == ryxGSMAMRSpeechDegraded;
    if (prevDtxState != ryxGSMAMRSpeech) prevBad_ = prevDtxState == ryxGSMAMRMute;
    Frame frame;
    frame.quality = (bad ? ryxGSMAMRBadFrame : 0) | (prevBad_ ? ryxGSMAMRPrevBadFrame : 0) |
                    (degraded ? ryxGSMAMRDegradedFrame : 0) | (prevDegraded_ ? ryxGSMAMRPrevDegradedFrame : 0);
    frame.next = received.parameters;
    followLosses(frame, prevDtxState);
    decodeLsf(frame);
    for (int k = 0; k < subframes; k++)
        decodeSubframe(frame, k, speech + k * subframeLength);
    ryxsBackgroundDetect_GSMAMR_16s(speech, pitchGains_, &voicedHangover_, &background_, backgroundState_);
    ryxsDecDTXBuffer_GSMAMR_16s(speech, pastLsf_, &newest_, lsfHistory_[0], logEnergyHistory_);
    prevBad_ = bad;
    prevDegraded_ = degraded;
    ryxsLSFAverage_GSMAMR_16s_I(pastLsf_, averageLsf_);
    if (!noPostFilter_) ryxsPostFilter_GSMAMR_16s_I(speech, frame.lpc[0], mode().rate, postFilter_);
}

void Decoder::decodeLsf(Frame &frame) {
    int16_t prevLsf[lpOrder], lsp[2][lpOrder];
    copy(pastLsf_, prevLsf);
    ryxsLSFDecode_GSMAMR_16s(frame.next, lsfResidual_, pastLsf_, lsp[0], isBad(frame), mode().rate);
    frame.next += mode().lsfIndices();
    ryxsInterpolatedLPC_GSMAMR_16s(prevLsp_, lsp[0], frame.lpc[0], mode().rate);
    copy(lsp[mode().rate == ryxGSMAMRRate12200 ? 1 : 0], prevLsp_);
    // The frequencies are interpolated in quarters at all rates.
    ryxsInterpolate_GSMAMR_16s(prevLsf, pastLsf_, frame.lsf[0], ryxGSMAMRRate10200);
}

void Decoder::decodeSubframe(Frame &frame, int k, int16_t *speech) {
    Subframe sub;
    decodeVectors(frame, k, sub);
    decodeGains(frame, k, sub);
    enhance(frame, sub);
    synthesise(frame, k, sub, speech);
    std::memmove(excitation_, excitation_ + subframeLength, pastExcitation * sizeof *excitation_);
    prevLag_ = sub.lag;
}

void Decoder::decodeVectors(Frame &frame, int k, Subframe &sub) {
    const int rate = mode().rate;
    const bool is122 = rate == ryxGSMAMRRate12200;
    ryxsPitchLagDecode_GSMAMR_16s(*frame.next++, isBad(frame), background_ != 0 && voicedHangover_ > 4, prevLag_,
                                  &sub.lag, &sub.fraction, k, rate);
    ryxsDecodeAdaptiveVector_GSMAMR_16s_I(excitation(), sub.lag, sub.fraction, rate);
    std::copy_n(excitation(), subframeLength, sub.adaptive);
    if (is122)
        ryxsPitchGainDecode_GSMAMR_16s(*frame.next++, isBad(frame), isPrevBad(frame), lossState_, &sub.pitchGain, k,
                                       rate, gains_);
    ryxsDecodeFixedVector_GSMAMR_16s(frame.next, sub.lag, is122 ? sub.pitchGain : sharpening_, sub.code, k, rate);
    frame.next += mode().codeWords();
}

void Decoder::decodeGains(Frame &frame, int k, Subframe &sub) {
    const int rate = mode().rate;
    const bool isFirstOfPair = rate == ryxGSMAMRRate4750 && k % 2 == 0;
    const bool isSecondOfPair = rate == ryxGSMAMRRate4750 && !isFirstOfPair;
    const int16_t *index = isSecondOfPair ? frame.jointIndex : frame.next++;
    frame.jointIndex = index;
    if (rate != ryxGSMAMRRate12200)
        ryxsPitchGainDecode_GSMAMR_16s(*index, isBad(frame), isPrevBad(frame), lossState_, &sub.pitchGain, k, rate,
                                       gains_);
    if (rate == ryxGSMAMRRate7950) index = frame.next++;
    ryxsCodeGainDecode_GSMAMR_16s(*index, sub.code, isBad(frame), isPrevBad(frame), lossState_, pastEnergies_,
                                  pastEnergies122_, &sub.codeGain, k, rate, gains_);

    const int16_t limited = std::min(sub.pitchGain, largestSharpening);
    if (!isFirstOfPair) sharpening_ = limited;
    sub.sharpening = rate == ryxGSMAMRRate12200 ? sub.pitchGain : limited;
    if (rate == ryxGSMAMRRate10200 && (isBad(frame) ? sub.lag : prevLag_) > 45)
        sub.sharpening = static_cast<int16_t>(sub.sharpening >> 2);
    sub.sharpening = static_cast<int16_t>(std::min(2 * sub.sharpening, 32767));
    sub.emphasisGain = sub.pitchGain;
    if (!isBad(frame)) pushBack(pitchGains_, sub.pitchGain);
    if ((isPrevBad(frame) || isBad(frame)) && isInNoise()) sub.pitchGain = softened(sub.pitchGain);
    ryxsCodeGainAverage_GSMAMR_16s(sub.codeGain, frame.lsf[k], averageLsf_, frame.quality, background_, voicedHangover_,
                                   &sub.mixedGain, rate, gainAverage_);
}

// The excitation that is heard: with smoothed gain and dispersed phase. The other one is what the next lags find.
void Decoder::enhance(const Frame &frame, Subframe &sub) {
    const int rate = mode().rate;
    copy(sub.adaptive, sub.enhanced);
    ryxsTotalExcitation_GSMAMR_16s_I(excitation(), sub.code, sub.pitchGain, sub.codeGain, rate);
    const bool lock = isInNoise() && voicedHangover_ > 3 && isBad(frame);
    ryxsPhaseDispersion_GSMAMR_16s(sub.code, sub.pitchGain, sub.mixedGain, lock, sub.dispersed, rate, dispersion_);
    ryxsTotalExcitation_GSMAMR_16s_I(sub.enhanced, sub.dispersed, sub.pitchGain, sub.mixedGain, rate);
    ryxsExcitationControl_GSMAMR_16s_I(sub.enhanced, frame.quality, background_, voicedHangover_, lossState_,
                                       excitationLevels_, rate);
}

// Where the synthesis saturates, the excitation is divided by four, the past one too.
void Decoder::synthesise(const Frame &frame, int k, Subframe &sub, int16_t *speech) {
    int16_t emphasised[subframeLength];
    const int16_t *source = sub.enhanced;
    if (sub.sharpening > 16384) {
        ryxsPitchEmphasis_GSMAMR_16s(sub.enhanced, sub.adaptive, sub.emphasisGain, sub.sharpening, emphasised,
                                     mode().rate);
        source = emphasised;
    }
    if (ryxsSynthesisFilter_GSMAMR_16s(frame.lpc[k], source, speech, subframeLength, synthesis_) == ryxStsOverflow) {
        const auto quarter = [](int16_t x) { return static_cast<int16_t>(x >> 2); };
        std::transform(std::begin(excitation_), std::end(excitation_), excitation_, quarter);
        std::transform(sub.enhanced, sub.enhanced + subframeLength, sub.enhanced, quarter);
        ryxsSynthesisFilter_GSMAMR_16s(frame.lpc[k], sub.enhanced, speech, subframeLength, synthesis_);
    }
    std::copy_n(speech + subframeLength - lpOrder, lpOrder, synthesis_);
}

} // namespace ryxcodec::gsmamr
