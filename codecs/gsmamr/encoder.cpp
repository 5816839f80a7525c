// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/encoder.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace ryxcodec::gsmamr {

namespace {

constexpr int16_t homingSample = 8;
constexpr int16_t largestSharpening = 13017;

template <size_t count> void copy(const int16_t (&from)[count], int16_t (&to)[count]) {
    std::copy_n(from, count, to);
}

} // namespace

ryxStatus Encoder::init(const ryxCodecOptions &options) {
    setRate(options.rate);
    dtx_ = options.dtx != 0;
    const ryxStatus statuses[] = {highPass_.fits(ryxsHighPassFilterGetStateSize_GSMAMR_16s),
                                  openLoop_.fits(ryxsOpenLoopPitchGetStateSize_GSMAMR_16s),
                                  gainAdapt_.fits(ryxsGainQuantAdaptGetStateSize_GSMAMR_16s),
                                  vad_.fits(ryxsVADGetSize_GSMAMR_16s),
                                  Block<JointGainState_GSMAMR, 128>().fits(ryxsGainQuantJointGetStateSize_GSMAMR_16s)};
    const auto failed =
        std::find_if(std::begin(statuses), std::end(statuses), [](ryxStatus s) { return s != ryxStsOk; });
    if (failed != std::end(statuses)) return *failed;
    reset();
    return ryxStsOk;
}

void Encoder::reset() {
    const int mode = mode_;
    const bool dtx = dtx_;
    *this = Encoder();
    mode_ = mode;
    dtx_ = dtx;
    stableLpc_[0] = 4096;
    copy(ryxGSMAMRStartLsp, prevLsp_);
    copy(ryxGSMAMRStartLsp, prevQuantisedLsp_);
    for (auto &entry : lspHistory_)
        copy(ryxGSMAMRStartLsp, entry);
    std::fill_n(pastEnergies_, 4, int16_t{-14336});
    std::fill_n(pastEnergies122_, 4, int16_t{-2381});
    hangover_ = 7;
    elapsed_ = 32767;
    sidCountdown_ = 3;
    ryxsHighPassFilterInit_GSMAMR_16s(highPass_);
    ryxsOpenLoopPitchInit_GSMAMR_16s(openLoop_);
    ryxsGainQuantAdaptInit_GSMAMR_16s(gainAdapt_);
    ryxsVADInit_GSMAMR_16s(vad_);
}

void Encoder::setRate(int bitsPerSecond) {
    constexpr int rates[modeCount] = {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200};
    mode_ = static_cast<int>(std::find(rates, rates + modeCount - 1, bitsPerSecond) - rates);
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *octets, int &count) {
    const bool isHoming = std::all_of(speech, speech + frameLength, [](int16_t x) { return x == homingSample; });
    int16_t parameters[mostParameters];
    Parameters next = parameters;
    Frame frame;
    preProcess(speech);
    detectVoice(frame);
    analyse(frame, next);
    ryxsEncDTXBuffer_GSMAMR_16s(newSpeech(), frame.lsp[1], &newest_, lspHistory_[0], logEnergyHistory_);
    if (frame.isSilence)
        encodeSilence(frame);
    else
        ryxsLSPResonance_GSMAMR_16s(frame.lsp[1], &resonanceCount_, &frame.resonance);
    searchOpenLoop(frame);
    if (!frame.isSilence) {
        ryxsImpulseResponses_GSMAMR_16s(frame.weighted1[0], frame.weighted2[0], frame.quantised[0], frame.impulses[0]);
        if (mode().rate == ryxGSMAMRRate4750) {
            encodePair(frame, 0, next);
            encodePair(frame, 2, next);
        } else {
            for (int k = 0; k < subframes; k++)
                encodeSubframe(frame, k, next);
        }
        std::memmove(excitation_, excitation_ + frameLength, pastExcitation * sizeof *excitation_);
    }
    std::memmove(weighted_, weighted_ + frameLength, pastWeighted * sizeof *weighted_);
    std::memcpy(speech_, newSpeech(), frameLength * sizeof *speech_);
    count = send(frame, parameters, octets);
    if (isHoming) reset();
    return ryxStsOk;
}

// The codec works on 13 bits.
void Encoder::preProcess(const int16_t *speech) {
    std::transform(speech, speech + frameLength, newSpeech(), [](int16_t x) { return static_cast<int16_t>(x & ~7); });
    ryxsHighPassFilter_GSMAMR_16s_I(newSpeech(), frameLength, ryxGSMAMRPreProcessing, highPass_);
}

void Encoder::detectVoice(Frame &frame) {
    frame.isSilence = false;
    frame.newSid = 0;
    if (!dtx_) return;
    int16_t vad, mode = 0;
    ryxsVAD_GSMAMR_16s(newSpeech(), vad_, &vad);
    ryxsEncDTXHandler_GSMAMR_16s(&hangover_, &elapsed_, &mode, &frame.newSid, vad);
    frame.isSilence = mode == ryxGSMAMRRateSID;
}

// Where the recursion finds the filter unstable, the last stable one stays.
void Encoder::analyseWindow(int window, int16_t *lpc) {
    int32_t autocorrelation[lpCoefficients];
    int16_t reflections[lpOrder], energy;
    ryxsAutoCorr_GSMAMR_16s32s(window == ryxGSMAMRWindow ? speech_ + 80 : speech_ + 40, autocorrelation, window);
    ryxsLagWindow_G729_32s_I(autocorrelation + 1, lpOrder);
    ryxsLevinsonDurbin_G729_32s16s(autocorrelation, lpOrder, stableLpc_, reflections, &energy);
    std::copy_n(stableLpc_, lpCoefficients, lpc);
}

void Encoder::analyse(Frame &frame, Parameters &parameters) {
    const bool is122 = mode().rate == ryxGSMAMRRate12200;
    int16_t middle[lpCoefficients], end[lpCoefficients];
    if (is122) {
        analyseWindow(ryxGSMAMRWindow122Middle, middle);
        ryxsLPCToLSP_GSMAMR_16s(middle, prevLsp_, frame.lsp[0]);
        analyseWindow(ryxGSMAMRWindow122End, end);
        ryxsLPCToLSP_GSMAMR_16s(end, frame.lsp[0], frame.lsp[1]);
    } else {
        analyseWindow(ryxGSMAMRWindow, end);
        ryxsLPCToLSP_GSMAMR_16s(end, prevLsp_, frame.lsp[1]);
    }
    // The filters that were analysed stay as they are.
    const int16_t *const lsp = is122 ? frame.lsp[0] : frame.lsp[1];
    ryxsInterpolatedLPC_GSMAMR_16s(prevLsp_, lsp, frame.lpc[0], mode().rate);
    if (is122) copy(middle, frame.lpc[1]);
    copy(end, frame.lpc[3]);
    copy(frame.lsp[1], prevLsp_);
    if (frame.isSilence) return;

    int16_t quantised[2][lpOrder];
    ryxsLSPQuant_GSMAMR_16s(lsp, lsfResidual_, quantised[0], parameters, mode().rate);
    parameters += mode().lsfIndices();
    ryxsInterpolatedLPC_GSMAMR_16s(prevQuantisedLsp_, quantised[0], frame.quantised[0], mode().rate);
    copy(quantised[is122 ? 1 : 0], prevQuantisedLsp_);
}

// What the speech coder starts with after the pause.
void Encoder::encodeSilence(const Frame &frame) {
    ryxsEncDTXSID_GSMAMR_16s(lspHistory_[0], logEnergyHistory_, &sid_[4], &sid_[0], &sid_[1], pastEnergies_,
                             pastEnergies122_, frame.newSid);
    std::fill_n(excitation_, pastExcitation, int16_t{0});
    std::fill_n(memories_.error, lpOrder, int16_t{0});
    std::fill_n(memories_.weightedError, lpOrder, int16_t{0});
    std::fill_n(lsfResidual_, lpOrder, int16_t{0});
    copy(frame.lsp[1], prevQuantisedLsp_);
    prevLag_ = 0;
    sharpening_ = 0;
}

void Encoder::searchOpenLoop(Frame &frame) {
    constexpr int16_t gamma2 = 19661; // 0.6
    const int16_t gamma1 = mode_ >= 6 ? 29491 : 30802;
    const bool oneLag = mode_ < 2;
    int32_t correlations[3], energies[3];
    int16_t highPass;
    for (int half = 0; half < 2; half++) {
        for (int k = 2 * half; k < 2 * half + 2; k++) {
            ryxsMulPowerC_NR_16s_Sfs(frame.lpc[k], gamma1, frame.weighted1[k], lpCoefficients, 15);
            ryxsMulPowerC_NR_16s_Sfs(frame.lpc[k], gamma2, frame.weighted2[k], lpCoefficients, 15);
            const int start = k * subframeLength;
            ryxsWeightingFilter_GSMAMR_16s(speech() + start, frame.weighted1[k], frame.weighted2[k],
                                           weighted() + start);
        }
        if (oneLag && half == 0) continue;
        ryxsOpenLoopPitchSearch_GSMAMR_16s(weighted() + (oneLag ? 0 : half * 80), half, mode().rate, &frame.lags[half],
                                           correlations, energies, &highPass, openLoop_);
        if (dtx_) ryxsVADToneDetection_GSMAMR_16s(correlations, energies, oneLag, vad_);
    }
    if (oneLag) frame.lags[0] = frame.lags[1];
    if (dtx_) ryxsVADPitchDetection_GSMAMR_16s(frame.lags, highPass, vad_);
}

void Encoder::prepare(const Frame &frame, int k, Subframe &sub) {
    ryxsTarget_GSMAMR_16s(speech() + k * subframeLength - lpOrder, frame.weighted1[k], frame.weighted2[k],
                          frame.quantised[k], memories_.error, memories_.weightedError, sub.residual, sub.target);
    std::copy_n(sub.residual, subframeLength, excitation() + k * subframeLength);
}

void Encoder::searchAdaptiveCodebook(const Frame &frame, int k, Subframe &sub, Parameters &parameters) {
    int16_t *const excitation = this->excitation() + k * subframeLength;
    ryxsAdaptiveCodebookSearch_GSMAMR_16s(excitation, sub.target, frame.impulses[k], frame.lags[k / 2], &prevLag_,
                                          &sub.fraction, parameters++, k, mode().rate);
    sub.lag = prevLag_;
    if (mode().rate == ryxGSMAMRRate10200) ryxsOpenLoopPitchUpdate_GSMAMR_16s(sub.lag, k, openLoop_);
    ryxsDecodeAdaptiveVector_GSMAMR_16s_I(excitation, sub.lag, sub.fraction, mode().rate);
    ryxsConvolve_GSMAMR_16s(excitation, frame.impulses[k], sub.adaptive);
    ryxsAdaptiveCodebookGain_GSMAMR_16s(sub.target, sub.adaptive, &sub.pitchGain, sub.energies, mode().rate);
    ryxsPitchGainLimit_GSMAMR_16s(frame.resonance, pastGains_, &sub.pitchGain, &sub.limit, mode().rate);
    if (mode().rate == ryxGSMAMRRate12200) ryxsPitchGainQuant_GSMAMR_16s(&sub.pitchGain, sub.limit, parameters++);
    ryxsSubtractAdaptiveVector_GSMAMR_16s(sub.target, sub.adaptive, sub.pitchGain, sub.codebookTarget);
    ryxsSubtractAdaptiveVector_GSMAMR_16s(sub.residual, excitation, sub.pitchGain, sub.codebookResidual);
}

void Encoder::searchFixedCodebook(const Frame &frame, int k, Subframe &sub, Parameters &parameters) {
    int16_t impulse[subframeLength]; // which the search sharpens
    copy(frame.impulses[k], impulse);
    ryxsFixedCodebookSearch_GSMAMR_16s(sub.lag, mode().rate == ryxGSMAMRRate12200 ? sub.pitchGain : sharpening_,
                                       sub.codebookTarget, sub.codebookResidual, impulse, sub.code, sub.filteredCode,
                                       parameters, k, mode().rate);
    parameters += mode().codeWords();
}

void Encoder::quantiseGains(Subframe &sub, Parameters &parameters) {
    switch (mode().rate) {
    case ryxGSMAMRRate12200:
        ryxsCodeGainQuant_GSMAMR_16s(sub.codebookTarget, sub.filteredCode, sub.code, pastEnergies_, pastEnergies122_,
                                     &sub.codeGain, parameters++);
        break;
    case ryxGSMAMRRate7950:
        ryxsGainQuantAdapt_GSMAMR_16s(sub.target, sub.codebookTarget, sub.adaptive, sub.filteredCode, sub.residual,
                                      sub.excitation, sub.code, sub.energies, sub.limit, pastEnergies_,
                                      pastEnergies122_, &sub.pitchGain, &sub.codeGain, parameters, gainAdapt_);
        parameters += 2;
        break;
    default:
        ryxsGainQuant_GSMAMR_16s(sub.target, sub.adaptive, sub.filteredCode, sub.code, sub.energies, sub.limit,
                                 pastEnergies_, pastEnergies122_, &sub.pitchGain, &sub.codeGain, parameters++,
                                 mode().rate);
    }
}

// With the gains of the subframe to the total excitation, and to the memories behind it.
void Encoder::reconstruct(const Frame &frame, int k, Subframe &sub) {
    int16_t *const excitation = this->excitation() + k * subframeLength;
    ryxsTotalExcitation_GSMAMR_16s_I(excitation, sub.code, sub.pitchGain, sub.codeGain, mode().rate);
    ryxsSynthesisFilter_GSMAMR_16s(frame.quantised[k], excitation, sub.synthesis, subframeLength, memories_.synthesis);
    std::copy_n(sub.synthesis + subframeLength - lpOrder, lpOrder, memories_.synthesis);
    ryxsUpdateErrorMemories_GSMAMR_16s(speech() + k * subframeLength, sub.synthesis, sub.target, sub.adaptive,
                                       sub.filteredCode, sub.pitchGain, sub.codeGain, memories_.error,
                                       memories_.weightedError, mode().rate);
    sharpening_ = std::min(sub.pitchGain, largestSharpening);
}

void Encoder::encodeSubframe(const Frame &frame, int k, Parameters &parameters) {
    Subframe sub;
    prepare(frame, k, sub);
    searchAdaptiveCodebook(frame, k, sub, parameters);
    searchFixedCodebook(frame, k, sub, parameters);
    sub.excitation = excitation() + k * subframeLength;
    quantiseGains(sub, parameters);
    keepGain(sub.pitchGain);
    reconstruct(frame, k, sub);
}

// Two subframes at 4.75 kbit/s, whose gains are quantised together. The first one is made with unquantised gains to begin
// with; with the quantised ones both are made again.
void Encoder::encodePair(const Frame &frame, int k, Parameters &parameters) {
    Block<JointGainState_GSMAMR, 128> joint;
    Subframe first, second;
    const Memories before = memories_;
    const int16_t sharpeningBefore = sharpening_;
    prepare(frame, k, first);
    searchAdaptiveCodebook(frame, k, first, parameters);
    searchFixedCodebook(frame, k, first, parameters);
    ryxsGainQuantJointFirst_GSMAMR_16s(first.target, first.codebookTarget, first.adaptive, first.filteredCode,
                                       first.code, first.energies, pastEnergies_, pastEnergies122_, &first.codeGain,
                                       joint);
    int16_t *const index = parameters++;
    keepGain(first.pitchGain);
    reconstruct(frame, k, first);
    sharpening_ = sharpeningBefore; // of the second subframe's search as well

    prepare(frame, k + 1, second);
    searchAdaptiveCodebook(frame, k + 1, second, parameters);
    searchFixedCodebook(frame, k + 1, second, parameters);
    int16_t gains[4];
    ryxsGainQuantJointSecond_GSMAMR_16s(second.target, second.adaptive, second.filteredCode, second.code,
                                        second.energies, second.limit, pastEnergies_, pastEnergies122_, gains, index,
                                        joint);
    memories_ = before;
    remake(frame, k, first, gains);
    prepare(frame, k + 1, second);
    remake(frame, k + 1, second, gains + 2);
    keepGain(second.pitchGain);
}

// Adaptive vector and reconstruction with other gains; lag, fraction and code stay.
void Encoder::remake(const Frame &frame, int k, Subframe &sub, const int16_t *gains) {
    int16_t *const excitation = this->excitation() + k * subframeLength;
    ryxsDecodeAdaptiveVector_GSMAMR_16s_I(excitation, sub.lag, sub.fraction, mode().rate);
    ryxsConvolve_GSMAMR_16s(excitation, frame.impulses[k], sub.adaptive);
    sub.pitchGain = gains[0];
    sub.codeGain = gains[1];
    reconstruct(frame, k, sub);
}

void Encoder::keepGain(int16_t gain) {
    std::copy(pastGains_ + 1, pastGains_ + 7, pastGains_);
    pastGains_[6] = static_cast<int16_t>(gain >> 3);
}

// In a pause a first descriptor, the third frame behind it an update, then one every eight frames (3GPP TS 26.093).
int Encoder::send(const Frame &frame, const int16_t *parameters, uint8_t *octets) {
    const bool wasSilence = wasSilence_;
    wasSilence_ = frame.isSilence;
    if (!frame.isSilence) {
        sidCountdown_ = 8;
        return packSpeech(parameters, mode_, octets);
    }
    sidCountdown_--;
    if (!wasSilence) {
        sidCountdown_ = 3;
        return packSid(sid_, false, mode_, octets);
    }
    if (sidCountdown_ > 0) return 0;
    sidCountdown_ = 8;
    return packSid(sid_, true, mode_, octets);
}

} // namespace ryxcodec::gsmamr
