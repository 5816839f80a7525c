// SPDX-License-Identifier: BSD-2-Clause
#include "encoder.h"

#include <algorithm>
#include <cstring>

namespace ryxcodec::amrwb {

namespace {

constexpr int16_t weightingFactor = 30147; // 0.92
constexpr int16_t startClipping[2] = {307, 9830};
constexpr int16_t homingSample = 8;

void weight(const int16_t *lpc, int16_t factor, int16_t *weighted) {
    ryxsMulPowerC_NR_16s_Sfs(lpc, factor, weighted, lpOrder + 1, 15);
}

template <size_t n> void copy(const int16_t *from, int16_t (&to)[n]) {
    std::copy_n(from, n, to);
}

} // namespace

ryxStatus Encoder::init(const ryxCodecOptions &options) {
    setRate(options.rate);
    dtx_ = options.dtx != 0;
    sidCountdown_ = 3;
    wasSilence_ = false;
    if (const ryxStatus status = vad_.fits(ryxsVADGetSize_AMRWB_16s); status != ryxStsOk) return status;
    if (const ryxStatus status = openLoop_.fits(ryxsOpenLoopPitchSearchGetStateSize_AMRWB_16s); status != ryxStsOk)
        return status;
    if (const ryxStatus status = dtxState_.fits(ryxsEncDTXGetStateSize_AMRWB_16s); status != ryxStsOk) return status;
    reset();
    return ryxStsOk;
}

void Encoder::setRate(int bitsPerSecond) {
    constexpr int rates[speechModes] = {6600, 8850, 12650, 14250, 15850, 18250, 19850, 23050, 23850};
    mode_ = static_cast<int16_t>(std::find(rates, rates + speechModes - 1, bitsPerSecond) - rates);
}

// The detector's count of stationarity lives on.
void Encoder::reset() {
    std::ranges::fill(speech_, int16_t{0});
    std::ranges::fill(downsampleHistory_, int16_t{0});
    std::ranges::fill(highPass50_, int16_t{0});
    preemphasis_ = 0;
    std::ranges::fill(scaling_, int16_t{15});
    std::ranges::fill(stableLpc_, int16_t{0});
    copy(ryxAMRWBStartIsp, prevIsp_);
    copy(ryxAMRWBStartIsp, prevQuantisedIsp_);
    copy(ryxAMRWBStartIsf, prevQuantisedIsf_);
    weightedDeemphasis_ = 0;
    std::ranges::fill(weightedDecimation_, int16_t{0});
    std::ranges::fill(openLoopScaling_, int16_t{0});
    std::ranges::fill(gainPredictor_, int16_t{-14336});
    std::ranges::fill(lagRange_, int16_t{0});
    toneFlag_ = noiseFrames_ = 0;
    lowBand_.reset();
    std::ranges::fill(highBandSynthesis_, int16_t{0});
    std::ranges::fill(noiseBandPass_, int16_t{0});
    std::ranges::fill(originalBandPass_, int16_t{0});
    highBandWeight_ = 32767;
    clearAfterSilence();
    ryxsVADInit_AMRWB_16s(vad_);
    ryxsOpenLoopPitchSearchInit_AMRWB_16s(openLoop_);
    ryxsEncDTXInit_AMRWB_16s(dtxState_);
}

void Encoder::clearAfterSilence() {
    std::ranges::fill(excitation_, int16_t{0});
    std::ranges::fill(isfResidual_, int16_t{0});
    std::ranges::fill(synthesis_, int16_t{0});
    weightingMemory_ = tilt_ = 0;
    copy(startClipping, clipping_);
    isFirst_ = true;
    noiseThreshold_ = 0;
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *packed, int &octets) {
    Frame frame;
    const bool isHoming = std::all_of(speech, speech + frameLength, [](int16_t x) { return x == homingSample; });
    for (int i = 0; i < frameLength; i++)
        frame.input[i] = static_cast<int16_t>(speech[i] & ~3);

    ParameterBits parameters;
    BitWriter bits(parameters);
    preprocess(frame);
    if (frame.isSilence) {
        encodeSilence(frame, bits);
        clearAfterSilence();
    } else {
        bits.put(frame.vad, 1);
        quantiseIsf(frame, bits);
        for (int k = 0; k < subframes; k++)
            encodeSubframe(frame, k, bits);
        std::copy_n(excitation_ + samples, pastExcitation, excitation_);
    }
    std::copy_n(speech_ + samples, 2 * lookAhead, speech_);

    switch (typeOnAir(frame.isSilence)) {
    case speechGood:
        octets = packSpeech(parameters, mode_, packed);
        break;
    case noData:
        octets = 0;
        break;
    case sidUpdate:
        octets = packSid(parameters, true, mode_, packed);
        break;
    default:
        octets = packSid(parameters, false, mode_, packed);
    }
    if (isHoming) reset();
    return ryxStsOk;
}

// A first descriptor without parameters, an update in the third frame after it, then one in every eighth.
FrameType Encoder::typeOnAir(bool isSilence) {
    constexpr int16_t afterFirst = 3, period = 8;
    const bool isFirst = isSilence && !wasSilence_;
    wasSilence_ = isSilence;
    if (!isSilence) {
        sidCountdown_ = period;
        return speechGood;
    }
    sidCountdown_--;
    if (isFirst) {
        sidCountdown_ = afterFirst;
        return sidFirst;
    }
    if (sidCountdown_ > 0) return noData;
    sidCountdown_ = period;
    return sidUpdate;
}

// From the input to open-loop lags; the same for speech and silence.
void Encoder::preprocess(Frame &frame) {
    constexpr int decimated = samples + 12;
    int16_t buffer[decimated], highPassed[6], change;
    ryxsDownsampleFilter_AMRWB_16s(frame.input, buffer, downsampleHistory_);
    ryxsHighPassFilter50_AMRWB_16s_I(buffer, samples, highPass50_);
    copy(highPass50_, highPassed); // the samples behind the frame come again
    ryxsHighPassFilter50_AMRWB_16s_I(buffer + samples, decimated - samples, highPassed);
    ryxsPreemphasizeAutoScale_AMRWB_16s(buffer, speech_ + pastSpeech, &preemphasis_, scaling_, &change);
    frame.q = scaling_[0];
    ryxsScale_AMRWB_16s_I(speech_, pastSpeech, change);
    ryxsScale_AMRWB_16s_I(excitation_, pastExcitation, change);
    ryxsScale_AMRWB_16s_I(synthesis_, lpOrder, change);
    ryxsScale_AMRWB_16s_I(weightedDecimation_, 3, change);
    ryxsScale_AMRWB_16s_I(&weightedDeemphasis_, 1, change);
    ryxsScale_AMRWB_16s_I(&weightingMemory_, 1, change);

    detectVoice(frame);
    analyse(frame);
    searchOpenLoop(frame, change);
}

void Encoder::detectVoice(Frame &frame) {
    int16_t buffer[samples];
    std::copy_n(speech_ + pastSpeech, samples, buffer);
    ryxsScale_AMRWB_16s_I(buffer, samples, 1 - frame.q);
    ryxsVADExact_AMRWB_16s(buffer, vad_, &toneFlag_, &frame.vad);
    noiseFrames_ = frame.vad != 0 ? int16_t{0} : static_cast<int16_t>(std::min(noiseFrames_ + 1, 32767));
    int16_t silence = 0;
    frame.hangover = 7;
    if (dtx_) ryxsEncDTXHandler_AMRWB_16s(frame.vad, &silence, &frame.hangover, dtxState_);
    frame.isSilence = silence != 0;
}

void Encoder::analyse(Frame &frame) {
    int32_t correlations[lpOrder + 1];
    int16_t lpc[lpCoefficients];
    ryxsAutoCorr_AMRWB_16s32s(speech_, correlations);
    ryxsLagWindow_AMRWB_32s_I(correlations);
    ryxsLevinsonDurbin_AMRWB_32s16s(correlations, lpc, stableLpc_);
    ryxsLPCToISP_AMRWB_16s(lpc, frame.isp, prevIsp_);
    ryxsInterpolate_AMRWB_16s(prevIsp_, frame.isp, frame.lpc);
    copy(frame.isp, prevIsp_);
    ryxsISPToISF_Norm_AMRWB_16s(frame.isp, frame.isf, lpOrder);
    ryxsGainClipUpdateISF_AMRWB_16s(frame.isf, analysisCode(frame), clipping_);
}

void Encoder::searchOpenLoop(Frame &frame, int16_t change) {
    int16_t weighted[samples], decimated[samples / 2], historyExponent;
    for (int k = 0; k < subframes; k++) {
        int16_t *const lpc = frame.weighted + k * lpCoefficients;
        weight(frame.lpc + k * lpCoefficients, weightingFactor, lpc);
        const int n = k * subframeLength;
        ryxsResidualFilter_AMRWB_16s(lpc, speech() + n, weighted + n, subframeLength);
    }
    ryxsDeemphasizeHalf_AMRWB_16s_I(weighted, samples, &weightedDeemphasis_);
    ryxsOpenLoopDownsample_AMRWB_16s(weighted, decimated, weightedDecimation_, openLoopScaling_, change,
                                     &historyExponent);
    frame.shift = openLoopScaling_[1];
    const int searches = analysisCode(frame) == modes[0].code ? 1 : 2;
    ryxsOpenLoopPitchSearch_AMRWB_16s(decimated, searches, historyExponent, frame.openLoopLags, &toneFlag_, openLoop_);
}

void Encoder::quantiseIsf(Frame &frame, BitWriter &bits) {
    int16_t indices[7], isf[lpOrder], isp[lpOrder];
    ryxsISFQuant_AMRWB_16s(frame.isf, isfResidual_, isf, indices, mode().code);
    for (int i = 0; i < mode().isfWords(); i++)
        bits.put(indices[i], isfWidths(mode())[i]);
    ryxsStability_AMRWB_16s(isf, prevQuantisedIsf_, &frame.stability);
    copy(isf, prevQuantisedIsf_);
    ryxsISFToISP_AMRWB_16s(isf, isp, lpOrder);
    if (isFirst_) copy(isp, prevQuantisedIsp_);
    isFirst_ = false;
    ryxsInterpolate_AMRWB_16s(prevQuantisedIsp_, isp, frame.quantised);
    copy(isp, prevQuantisedIsp_);
    for (int k = 0; k < subframes; k++) {
        const int n = k * subframeLength;
        ryxsResidualFilter_AMRWB_16s(frame.quantised + k * lpCoefficients, speech() + n, excitation() + n,
                                     subframeLength);
    }
    if (frame.vad == 0) ryxsEncDTXBuffer_AMRWB_16s(excitation(), frame.q, isf, mode().code, dtxState_);
}

void Encoder::encodeSubframe(Frame &frame, int k, BitWriter &bits) {
    const int n = k * subframeLength;
    const int16_t *const lpc = frame.quantised + k * lpCoefficients;
    const int16_t *const weighted = frame.weighted + k * lpCoefficients;
    const int code = mode().code;
    Subframe sub;
    // The adaptive vector of the subframe before has spoilt the first sample of the residual.
    ryxsResidualFilter_AMRWB_16s(lpc, speech() + n, excitation() + n, subframeLength);
    ryxsTarget_AMRWB_16s(speech() + n, excitation() + n, synthesis_, lpc, weighted, weightingMemory_, sub.target,
                         sub.residualTarget);
    ryxsImpulseResponse_AMRWB_16s(lpc, weighted, frame.shift, sub.response, sub.codebookResponse);
    ryxsScale_AMRWB_16s_I(sub.target, subframeLength, frame.shift);

    int16_t correlations[4], gainIndex;
    searchAdaptiveCodebook(frame, k, sub, bits, correlations);
    searchFixedCodebook(sub, bits);
    ryxsGainQuant_AMRWB_16s(sub.target, sub.filtered, correlations, sub.code, sub.filteredCode, frame.q + frame.shift,
                            sub.pitchGain, sub.clip, code, gainPredictor_, &sub.pitchGain, &sub.unscaledCodeGain,
                            &gainIndex);
    bits.put(gainIndex, gainWidth(mode()));
    ryxsGainClipUpdateGain_AMRWB_16s(sub.pitchGain, code, clipping_);
    ryxsScaleGain_AMRWB_32s16s(sub.unscaledCodeGain, frame.q, &sub.codeGain);
    updateMemories(frame, k, sub);
    if (mode().hasHighBandGain()) bits.put(highBandGain(frame, k, sub), 4);
}

void Encoder::searchAdaptiveCodebook(const Frame &frame, int k, Subframe &sub, BitWriter &bits, int16_t *correlations) {
    const int code = mode().code;
    int16_t *const vector = excitation() + k * subframeLength;
    int16_t index, select;
    ryxsAdaptiveCodebookSearch_AMRWB_16s(sub.target, sub.response, vector, frame.openLoopLags[k / 2], k, code,
                                         lagRange_, &sub.lag, &sub.fraction, &index);
    bits.put(index, lagWidth(mode(), k));
    ryxsGainClipTest_AMRWB_16s(clipping_, code, &sub.clip);
    ryxsDecodeAdaptiveVector_AMRWB_16s_I(sub.lag, sub.fraction, vector);
    ryxsAdaptiveCodebookSelect_AMRWB_16s(sub.target, sub.response, sub.clip, code, frame.shift, vector,
                                         sub.residualTarget, sub.codebookTarget, sub.filtered, sub.lowPassed,
                                         correlations, &sub.pitchGain, &select);
    copy(vector, sub.adaptive);
    if (!mode().isLow()) bits.put(select, 1);
}

void Encoder::searchFixedCodebook(Subframe &sub, BitWriter &bits) {
    const int lag = sub.lag + (sub.fraction > 2 ? 1 : 0);
    int16_t words[8];
    ryxsPitchSharpen_AMRWB_16s_I(sub.codebookResponse, tilt_, lag);
    ryxsAlgebraicCodebookSearchExact_AMRWB_16s(sub.codebookTarget, sub.residualTarget, sub.codebookResponse,
                                               sub.lowPassed, sub.code, sub.filteredCode, mode().code, words);
    for (int i = 0; i < mode().codeWords; i++)
        bits.put(words[i], mode().codeWidths[i]);
    ryxsPitchSharpen_AMRWB_16s_I(sub.code, tilt_, lag);
}

void Encoder::updateMemories(const Frame &frame, int k, Subframe &sub) {
    int16_t *const excited = excitation() + k * subframeLength;
    int16_t scaled[subframeLength], synthesised[subframeLength];
    copy(sub.adaptive, scaled);
    ryxsScale_AMRWB_16s_I(scaled, subframeLength, frame.shift);
    ryxsVoicingFactor_AMRWB_16s(scaled, frame.shift, sub.pitchGain, sub.code, sub.codeGain, &sub.voicing, &tilt_);
    ryxsWeightingMemory_AMRWB_16s(sub.target, sub.filtered, sub.pitchGain, sub.filteredCode, sub.codeGain, frame.shift,
                                  &weightingMemory_);
    ryxsExcitation_AMRWB_16s(sub.adaptive, sub.pitchGain, sub.code, sub.codeGain, excited);
    ryxsSynthesisFilter_AMRWB_16s(frame.quantised + k * lpCoefficients, lpOrder, excited, synthesised, subframeLength,
                                  synthesis_);
}

// The excitation as the decoder would enhance it, and what the high band needs to follow the original.
int16_t Encoder::highBandGain(const Frame &frame, int k, const Subframe &sub) {
    int16_t enhancedGain, code[subframeLength], enhanced[subframeLength];
    ryxsNoiseEnhancer_AMRWB_32s16s(sub.unscaledCodeGain, sub.voicing, frame.stability, frame.q, &noiseThreshold_,
                                   &enhancedGain);
    ryxsPitchEnhancer_AMRWB_16s(sub.code, sub.voicing, code);
    ryxsExcitation_AMRWB_16s(sub.adaptive, sub.pitchGain, code, enhancedGain, enhanced);
    return encodeHighBand(frame, k, frame.quantised + k * lpCoefficients, enhanced, frame.q);
}

int16_t Encoder::encodeHighBand(const Frame &frame, int k, const int16_t *lpc, const int16_t *excited, int q) {
    int16_t speech[subframeLength], noise[wideSubframeLength], original[wideSubframeLength];
    int16_t widened[lpCoefficients], estimate, index;
    lowBand_.synthesise(lpc, excited, q, noiseFrames_, speech, noise, &estimate);
    weight(lpc, highBandFactor, widened);
    ryxsSynthesisFilter_AMRWB_16s(widened, lpOrder, noise, noise, wideSubframeLength, highBandSynthesis_);
    ryxsBandPassFilter_AMRWB_16s_I(noise, noiseBandPass_);
    copy(frame.input + k * wideSubframeLength, original);
    ryxsBandPassFilter_AMRWB_16s_I(original, originalBandPass_);
    ryxsHighBandGainQuant_AMRWB_16s(noise, original, estimate, frame.hangover, &highBandWeight_, &index);
    return index;
}

void Encoder::encodeSilence(const Frame &frame, BitWriter &bits) {
    int16_t residual[samples], indices[7], isf[lpOrder], isp[lpOrder], noise[samples], lpc[lpCoefficients];
    ryxsResidualFilter_AMRWB_16s(frame.lpc + 3 * lpCoefficients, speech(), residual, samples);
    ryxsEncDTXBuffer_AMRWB_16s(residual, frame.q, frame.isf, mode().code, dtxState_);
    ryxsEncDTXSID_AMRWB_16s(indices, isf, noise, dtxState_);
    for (int i = 0; i < 5; i++)
        bits.put(indices[i], isfNoiseWidths[i]);
    bits.put(indices[5], 6);
    bits.put(indices[6], 1);
    copy(isf, prevQuantisedIsf_);
    ryxsISFToISP_AMRWB_16s(isf, isp, lpOrder);
    ryxsISPToLPC_AMRWB_16s(isp, lpc, lpOrder);
    for (int k = 0; k < subframes; k++)
        encodeHighBand(frame, k, lpc, noise + k * subframeLength, 0);
}

} // namespace ryxcodec::amrwb
