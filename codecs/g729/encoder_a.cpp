// SPDX-License-Identifier: BSD-2-Clause
#include "g729/encoder_a.h"

namespace ryxcodec::g729 {

namespace {
constexpr int16_t weighting = 24576; // 0.75, Q15
constexpr int16_t tamedGain = 15564; // 0.95, Q14
} // namespace

ryxStatus AnnexAEncoder::init(const ryxCodecOptions &options) {
    dtx_ = options.dtx != 0;
    copy(ryxG729StartLsp, oldLsp_);
    copy(ryxG729StartLsp, oldQuantisedLsp_);
    initialiseLsfHistory(lsfHistory_);
    stableLpc_[0] = 4096;
    sharpening_ = leastSharpening;
    fill(errors_, 0x4000);
    fill(energies_, lowestEnergy);
    seed_ = noiseSeed;
    pastVad_ = ppastVad_ = 1;
    for (const ryxStatus status : {highPass_.fits(ryxsHighPassFilterGetStateSize_G729_16s),
                                   vad_.fits(ryxsVADGetSize_G729B_16s), dtxState_.fits(ryxsEncDTXGetSize_G729B_16s)})
        if (status != ryxStsOk) return status;
    ryxsHighPassFilterInit_G729_16s(highPass_, 0);
    ryxsVADInit_G729B_16s(vad_);
    ryxsEncDTXInit_G729B_16s(dtxState_);
    return ryxStsOk;
}

ryxStatus AnnexAEncoder::encode(const int16_t *speech, uint8_t *frame, int &octets) {
    shiftFrame(speech_);
    int16_t *const newest = speech_ + window - frameLength;
    std::copy_n(speech, frameLength, newest);
    ryxsHighPassFilter_G729_16s_I(newest, frameLength, highPass_);

    Parameters parameters{};
    FrameType type = FrameType::speech8k;
    if (detectVoice())
        encodeSpeech(parameters);
    else
        type = encodeNoise(parameters);
    shiftFrame(weighted_);
    shiftFrame(excitation_);
    octets = octetsOf(type);
    pack(type, parameters, frame);
    return ryxStsOk;
}

// LP analysis, and with discontinuous transmission the decision whether the frame is coded as speech.
bool AnnexAEncoder::detectVoice() {
    const int lags = dtx_ ? 12 : 10;
    int32_t autoCorr[13];
    int16_t exponent, beforeWindow[order + 1], lpc[order + 1], reflection[order], energy, lsf[order];
    ryxsAutoCorr_G729_16s32s(speech_, lags, autoCorr, &exponent);
    for (int k = 0; k <= order; k++)
        beforeWindow[k] = static_cast<int16_t>(autoCorr[k] >> 16);
    ryxsLagWindow_G729_32s_I(autoCorr + 1, lags);
    if (ryxsLevinsonDurbin_G729_32s16s(autoCorr, order, lpc, reflection, &energy) == ryxStsOk) {
        copy(lpc, stableLpc_);
        copy(reflection, stableReflection_);
    }
    ryxsLPCToLSP_G729A_16s(stableLpc_, oldLsp_, lsp_);
    if (!dtx_) return true;

    int voice;
    ryxsLSPToLSF_Norm_G729_16s(lsp_, lsf);
    ryxsVAD_G729B_16s(speech_, lsf, autoCorr, exponent, stableReflection_[1], pastVad_, ppastVad_, &voice, &energy,
                      vad_);
    ryxsEncDTXUpdate_G729B_16s(beforeWindow, exponent, voice, dtxState_);
    ppastVad_ = pastVad_;
    return voice != 0;
}

FrameType AnnexAEncoder::encodeNoise(Parameters &p) {
    int type;
    int16_t gain, sidLsp[order], lags[subframes], gains[2 * subframes];
    ryxsEncDTXSID_G729B_16s(pastVad_, 1, oldQuantisedLsp_, lsfHistory_, stableLpc_, stableReflection_, &type, p.silence,
                            &gain, sidLsp, dtxState_);
    pastVad_ = 0;
    const ShortFilters filters = interpolatedFilters(oldQuantisedLsp_, sidLsp);
    copy(sidLsp, oldQuantisedLsp_);

    ryxsComfortNoise_G729B_16s_I(gain, excitation(0), lags, gains, &seed_);
    for (int s = 0; s < subframes; s++) {
        ryxsTamingUpdate_G729_16s(gains[2 * s], lags[s], errors_);
        int16_t weightedLpc[order + 1], error[subframeLength];
        weightSpeech(s, filters.a[s], weightedLpc, error);
        ryxsFixedCodebookTarget_G729_16s(error, excitation(s), unitGain, error);
        ryxsSynthesisFilter_G729_16s(weightedLpc, error, error, subframeLength, targetMemory_);
        copy(error + subframeLength - order, targetMemory_);
    }
    sharpening_ = leastSharpening;
    return type != 0 ? FrameType::silence : FrameType::untransmitted;
}

void AnnexAEncoder::encodeSpeech(Parameters &p) {
    int16_t quantised[order], lag, weightedLpc[subframes][order + 1];
    seed_ = noiseSeed;
    pastVad_ = 1;
    ryxsLSPQuant_G729_16s(lsp_, lsfHistory_, quantised, p.lsp);
    const ShortFilters filters = interpolatedFilters(oldQuantisedLsp_, quantised);
    copy(lsp_, oldLsp_);
    copy(quantised, oldQuantisedLsp_);

    // The residual lies where the excitation will be: short lags reach into it.
    for (int s = 0; s < subframes; s++)
        weightSpeech(s, filters.a[s], weightedLpc[s], excitation(s));
    ryxsOpenLoopPitchSearch_G729A_16s(weighted(0), &lag);
    int16_t responses[subframes][subframeLength];
    ryxsImpulseResponses_G729A_16s(weightedLpc[0], responses[0]);
    for (int s = 0; s < subframes; s++)
        encodeSubframe(s, weightedLpc[s], responses[s], lag, p);
    p.parity = parityOf(FrameType::speech8k, p.delay[0]);
}

void AnnexAEncoder::weightSpeech(int s, const int16_t *lpc, int16_t *weightedLpc, int16_t *residual) {
    weigh(lpc, order, weighting, weightedLpc);
    ryxsResidualFilter_G729_16s(lpc, current(s), residual, subframeLength);
    ryxsWeightingFilter_G729A_16s(weightedLpc, residual, weighted(s), subframeLength, weighted(s) - order);
}

void AnnexAEncoder::encodeSubframe(int s, const int16_t *weightedLpc, const int16_t *response, int16_t openLoopLag,
                                   Parameters &p) {
    const auto flag = static_cast<int16_t>(s);
    int16_t *const vector = excitation(s);
    int16_t target[subframeLength];
    ryxsSynthesisFilter_G729_16s(weightedLpc, vector, target, subframeLength, targetMemory_);

    // Adaptive codebook.
    int16_t delay[2], filteredAdaptive[subframeLength], gain, correlations[2], exponents[2];
    int tamed;
    ryxsAdaptiveCodebookSearch_G729A_16s(s == 0 ? openLoopLag : firstLag_, target, response, vector, delay, flag);
    ryxsDelayEncode_G729_16s(delay, firstLag_, &p.delay[s], flag);
    if (s == 0) firstLag_ = delay[0];
    ryxsSynthesisFilter_G729_16s(weightedLpc, vector, filteredAdaptive, subframeLength, zeros);
    ryxsAdaptiveCodebookGain_G729_16s(target, filteredAdaptive, &gain, correlations, exponents);
    ryxsTamingTest_G729_16s(delay, errors_, &tamed);
    if (tamed != 0) gain = std::min(gain, tamedGain);

    // Fixed codebook.
    int16_t rest[subframeLength], code[subframeLength], filteredFixed[subframeLength], gains[2];
    ryxsFixedCodebookTarget_G729_16s(target, filteredAdaptive, gain, rest);
    ryxsFixedCodebookSearch_G729A_16s(rest, response, delay[0], sharpening_, code, filteredFixed, p.code[s]);
    ryxsGainQuant_G729_16s(target, filteredAdaptive, filteredFixed, code, correlations, exponents, tamed, &p.gain[s],
                           gains, energies_);

    // Excitation and memories.
    sharpening_ = sharpeningFor(gains[0]);
    combine(vector, code, gains);
    ryxsTamingUpdate_G729_16s(gains[0], delay[0], errors_);
    constexpr int last = subframeLength - order;
    ryxsWeightedError_G729_16s(target + last, filteredAdaptive + last, filteredFixed + last, gains, targetMemory_,
                               order);
}

} // namespace ryxcodec::g729
