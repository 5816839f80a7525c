// SPDX-License-Identifier: BSD-2-Clause
#include "g729/encoder.h"

#include <cstdlib>

namespace ryxcodec::g729 {

namespace {

constexpr int16_t tamedGain = 15564; // 0.95, Q14

FrameType typeOfRate(int bitsPerSecond) {
    return bitsPerSecond == 6400   ? FrameType::speech6k4
           : bitsPerSecond == 8000 ? FrameType::speech8k
                                   : FrameType::speech11k8;
}
int rateOfType(FrameType type) {
    return type == FrameType::speech6k4  ? ryxG729Rate6k4
           : type == FrameType::speech8k ? ryxG729Rate8k
                                         : ryxG729Rate11k8;
}

} // namespace

ryxStatus Encoder::init(const ryxCodecOptions &options) {
    setRate(options.rate);
    dtx_ = options.dtx != 0;
    copy(ryxG729StartLsp, oldLsp_);
    copy(ryxG729StartLsp, oldQuantisedLsp_);
    initialiseLsfHistory(lsfHistory_);
    stableLpc_[0] = 4096;
    weightingMemory_[0] = 1;
    sharpening_ = leastSharpening;
    fill(errors_, 0x4000);
    fill(energies_, lowestEnergy);
    fill(lags_, int16_t{20});
    fill(gains_, int16_t{11469});
    seed_ = noiseSeed;
    pastVad_ = ppastVad_ = 1;
    for (const ryxStatus status :
         {backward_.init(), modeState_.fits(ryxsLPModeGetStateSize_G729E_16s),
          highPass_.fits(ryxsHighPassFilterGetStateSize_G729_16s), vad_.fits(ryxsVADGetSize_G729B_16s),
          music_.fits(ryxsMusicDetectGetSize_G729I_16s), dtxState_.fits(ryxsEncDTXGetSize_G729B_16s)})
        if (status != ryxStsOk) return status;
    ryxsLPModeInit_G729E_16s(modeState_);
    ryxsHighPassFilterInit_G729_16s(highPass_, 0);
    ryxsVADInit_G729B_16s(vad_);
    ryxsMusicDetectInit_G729I_16s(music_);
    ryxsEncDTXInit_G729B_16s(dtxState_);
    return ryxStsOk;
}

void Encoder::setRate(int bitsPerSecond) {
    rate_ = typeOfRate(bitsPerSecond);
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *frame, int &octets) {
    shiftFrame(speech_);
    int16_t *const newest = speech_ + window - frameLength;
    std::copy_n(speech, frameLength, newest);
    ryxsHighPassFilter_G729_16s_I(newest, frameLength, highPass_);

    Spectrum spectrum;
    Parameters parameters{};
    analyse(spectrum);
    const bool voice = detectVoice(spectrum);
    interpolate(spectrum);

    // Forward or backward LP, and the weighting filter.
    Filters filters;
    if (voice) filters = quantise(spectrum, parameters);
    if (!voice || rate_ != FrameType::speech11k8) {
        mode_ = dominant_ = 0;
        ryxsLPModeReset_G729E_16s(modeState_);
    }
    copy(spectrum.lsp, oldLsp_);
    int16_t gamma1[subframes], gamma2[subframes];
    if (mode_ == 0)
        ryxsWeightingFactors_G729_16s(stableReflection_, spectrum.lsfInterpolated, spectrum.lsf, gamma1, gamma2,
                                      weightingMemory_);
    else {
        fill(gamma1, static_cast<int16_t>(dominant_ != 0 ? 32112 : 29491));
        fill(gamma2, int16_t{13107});
    }
    const Weighting weighting =
        weightingFrom(voice && dominant_ != 0 ? filters : widened(spectrum.filters), gamma1, gamma2);
    weightSpeech(weighting);

    FrameType type = rate_;
    if (voice)
        encodeSpeech(weighting, filters, parameters);
    else
        type = encodeNoise(weighting, parameters);
    if (dtx_) {
        ppastVad_ = pastVad_;
        pastVad_ = voice ? 1 : 0;
    }
    shiftFrame(weighted_);
    shiftFrame(excitation_);
    octets = octetsOf(type);
    pack(type, parameters, frame);
    return ryxStsOk;
}

void Encoder::analyse(Spectrum &x) {
    constexpr int lags = 12;
    int16_t energy;
    ryxsAutoCorr_G729_16s32s(speech_, lags, x.autoCorr, &x.exponent);
    for (int k = 0; k <= order; k++)
        x.beforeWindow[k] = static_cast<int16_t>(x.autoCorr[k] >> 16);
    ryxsLagWindow_G729_32s_I(x.autoCorr + 1, lags);
    if (ryxsLevinsonDurbin_G729E_32s16s(x.autoCorr, order, x.lpc, x.reflection, &energy) == ryxStsOk) {
        copy(x.lpc, stableLpc_);
        copy(x.reflection, stableReflection_);
    } else {
        copy(stableLpc_, x.lpc);
        copy(stableReflection_, x.reflection);
    }
    ryxsLPCToLSP_G729_16s(x.lpc, oldLsp_, x.lsp);
    ryxsLSPToLSF_Norm_G729_16s(x.lsp, x.lsf);
}

bool Encoder::detectVoice(const Spectrum &x) {
    int voice = 1;
    if (dtx_) {
        int16_t energy;
        ryxsVAD_G729B_16s(speech_, x.lsf, x.autoCorr, x.exponent, x.reflection[1], pastVad_, ppastVad_, &voice, &energy,
                          vad_);
        ryxsMusicDetect_G729I_16s(rateOfType(rate_), x.autoCorr[0], x.exponent, x.reflection, lags_, gains_,
                                  previousMode_, pastVad_, energy, &voice, music_);
        ryxsEncDTXUpdate_G729B_16s(x.beforeWindow, x.exponent, voice, dtxState_);
    }
    return voice != 0;
}

// The unquantised filters, of which the weighting is made. After a backward frame nothing is interpolated.
void Encoder::interpolate(Spectrum &x) const {
    int16_t middle[order];
    if (previousMode_ == 0)
        ryxsInterpolate_G729_16s(oldLsp_, x.lsp, middle, order);
    else
        copy(x.lsp, middle);
    ryxsLSPToLSF_Norm_G729_16s(middle, x.lsfInterpolated);
    ryxsLSPToLPC_G729_16s(middle, x.filters.a[0]);
    copy(x.lpc, x.filters.a[1]);
}

// The filters of the frame's synthesis; at 11.8 kbit/s the choice between forward and backward ones.
Filters Encoder::quantise(const Spectrum &x, Parameters &p) {
    int16_t history[4 * order], quantised[order];
    Filters backward;
    if (rate_ == FrameType::speech11k8) backward_.analyse(backward);
    copy(lsfHistory_, history);
    ryxsLSPQuant_G729E_16s(x.lsp, history, quantised, p.lsp);
    const ShortFilters forward = interpolatedFilters(oldQuantisedLsp_, quantised, previousMode_ == 0);
    mode_ = 0;
    if (rate_ == FrameType::speech11k8)
        ryxsLPModeDecision_G729E_16s(current(0), forward.a[0], oldLsp_, x.lsp, backward.a[0], &mode_, &dominant_,
                                     modeState_);
    if (mode_ != 0) {
        fill(p.mode, int16_t{1});
        return backward;
    }
    copy(quantised, oldQuantisedLsp_);
    copy(history, lsfHistory_);
    return widened(forward);
}

Encoder::Weighting Encoder::weightingFrom(const Filters &filters, const int16_t *gamma1, const int16_t *gamma2) const {
    Weighting w;
    w.order = filters.order;
    for (int s = 0; s < subframes; s++) {
        weigh(filters.a[s], w.order, gamma1[s], w.numerator[s]);
        weigh(filters.a[s], w.order, gamma2[s], w.denominator[s]);
    }
    return w;
}

void Encoder::weightSpeech(const Weighting &w) {
    for (int s = 0; s < subframes; s++) {
        ryxsResidualFilter_G729E_16s(w.numerator[s], w.order, current(s), weighted(s), subframeLength);
        ryxsSynthesisFilter_G729E_16s_I(w.denominator[s], w.order, weighted(s), subframeLength, weighted(s) - w.order);
    }
}

FrameType Encoder::encodeNoise(const Weighting &w, Parameters &p) {
    int type;
    int16_t gain, sidLsp[order], lags[subframes], gains[2 * subframes];
    backward_.advance();
    ryxsEncDTXSID_G729B_16s(pastVad_, 0, oldQuantisedLsp_, lsfHistory_, stableLpc_, stableReflection_, &type, p.silence,
                            &gain, sidLsp, dtxState_);
    const ShortFilters filters = interpolatedFilters(oldQuantisedLsp_, sidLsp);
    copy(sidLsp, oldQuantisedLsp_);
    ryxsComfortNoise_G729B_16s_I(gain, excitation(0), lags, gains, &seed_);
    for (int s = 0; s < subframes; s++) {
        ryxsTamingUpdate_G729_16s(gains[2 * s], lags[s], errors_);
        int16_t *const synthesis = backward_.synthesis(s);
        ryxsSynthesisFilter_G729_16s(filters.a[s], excitation(s), synthesis, subframeLength, synthesis - order);

        int16_t buffer[longOrder + subframeLength], weightedError[subframeLength];
        int16_t *const error = buffer + longOrder;
        std::copy_n(errorMemory_, longOrder, buffer);
        for (int n = 0; n < subframeLength; n++) // wraps, unlike in speech frames
            error[n] = static_cast<int16_t>(current(s)[n] - synthesis[n]);
        ryxsResidualFilter_G729_16s(w.numerator[s], error, weightedError, subframeLength);
        ryxsSynthesisFilter_G729_16s(w.denominator[s], weightedError, weightedError, subframeLength,
                                     targetMemory_ + longOrder - order);
        copy(weightedError + subframeLength - longOrder, targetMemory_);
        copy(error + subframeLength - longOrder, errorMemory_);
        std::copy(gains_ + 1, gains_ + past, gains_);
        gains_[past - 1] = 8192;
    }
    ryxsLPModeUpdate_G729E_16s(0, filters.a[1], order, modeState_);
    previousMode_ = 0;
    sharpening_ = leastSharpening;
    return type != 0 ? FrameType::silence : FrameType::untransmitted;
}

void Encoder::encodeSpeech(const Weighting &w, const Filters &filters, Parameters &p) {
    int16_t lag;
    seed_ = noiseSeed;
    backward_.advance();
    ryxsLPModeUpdate_G729E_16s(mode_, filters.a[1], filters.order, modeState_);
    ryxsOpenLoopPitchSearch_G729_16s(weighted(0), &lag);
    noteLag(lag);
    for (int s = 0; s < subframes; s++)
        encodeSubframe(s, w, filters, lag, p);
    p.parity = parityOf(rate_, p.delay[0]);
    previousMode_ = mode_;
}

// The music detector looks at lags without their multiples.
void Encoder::noteLag(int16_t lag) {
    std::copy(lags_ + 1, lags_ + past, lags_);
    const int mean = (lags_[0] + lags_[1] + lags_[2] + lags_[3] + 2) >> 2;
    int reduced = lag;
    if (std::abs(lag - 2 * mean) < 4)
        reduced = lag >> 1;
    else if (std::abs(lag - 3 * mean) < 6)
        reduced = lag / 3;
    lags_[past - 1] = static_cast<int16_t>(reduced);
}

void Encoder::encodeSubframe(int s, const Weighting &w, const Filters &filters, int16_t openLoopLag, Parameters &p) {
    int16_t *const vector = excitation(s);
    int16_t response[subframeLength], target[subframeLength], residual[subframeLength];
    prepareSubframe(s, w, filters, response, target);
    copy(vector, residual);

    // Adaptive codebook.
    int16_t delay[2], filteredAdaptive[subframeLength], gain, correlations[2], exponents[2];
    int tamed;
    searchAdaptive(s, openLoopLag, target, response, delay, p);
    ryxsConvolve_G729_16s(vector, response, filteredAdaptive);
    ryxsAdaptiveCodebookGain_G729_16s(target, filteredAdaptive, &gain, correlations, exponents);
    ryxsTamingTest_G729_16s(delay, errors_, &tamed);
    if (tamed != 0) gain = std::min(gain, tamedGain);

    // Fixed codebook.
    int16_t rest[subframeLength], code[subframeLength], filteredFixed[subframeLength], gains[2];
    const int16_t lag = delay[0];
    ryxsFixedCodebookTarget_G729_16s(target, filteredAdaptive, gain, rest);
    if (rate_ == FrameType::speech6k4) {
        ryxsFixedCodebookSearch_G729D_16s(rest, response, lag, sharpening_, code, filteredFixed, p.code[s]);
    } else if (rate_ == FrameType::speech8k) {
        ryxsFixedCodebookSearch_G729_16s(rest, response, lag, sharpening_, code, filteredFixed, p.code[s], &extraTime_,
                                         static_cast<int16_t>(s));
    } else {
        ryxsFixedCodebookTarget_G729_16s(residual, vector, gain, residual);
        ryxsFixedCodebookSearch_G729E_16s(rest, residual, response, lag, sharpening_, mode_, code, filteredFixed,
                                          p.code[s]);
    }
    const auto quantiseGains = rate_ == FrameType::speech6k4 ? ryxsGainQuant_G729D_16s : ryxsGainQuant_G729_16s;
    quantiseGains(target, filteredAdaptive, filteredFixed, code, correlations, exponents, tamed, &p.gain[s], gains,
                  energies_);
    std::copy(gains_ + 1, gains_ + past, gains_);
    gains_[past - 1] = gains[0];

    // Excitation, local synthesis and memories.
    sharpening_ = sharpeningFor(gains[0]);
    combine(vector, code, gains);
    ryxsTamingUpdate_G729_16s(gains[0], lag, errors_);
    int16_t *const synthesis = backward_.synthesis(s);
    ryxsSynthesisFilter_G729E_16s(filters.a[s], filters.order, vector, synthesis, subframeLength,
                                  synthesis - filters.order);
    int16_t error[subframeLength];
    constexpr int last = subframeLength - longOrder;
    ryxsFixedCodebookTarget_G729_16s(current(s), synthesis, unitGain, error);
    copy(error + last, errorMemory_);
    ryxsWeightedError_G729_16s(target + last, filteredAdaptive + last, filteredFixed + last, gains, targetMemory_,
                               longOrder);
}

// Impulse response of the weighted synthesis filter and target. The residual lies where the excitation will be: short
// lags reach into it.
void Encoder::prepareSubframe(int s, const Weighting &w, const Filters &filters, int16_t *response, int16_t *target) {
    int16_t impulse[subframeLength] = {}, buffer[longOrder + subframeLength];
    std::copy_n(w.numerator[s], w.order + 1, impulse);
    ryxsSynthesisFilter_G729E_16s_I(filters.a[s], filters.order, impulse, subframeLength, zeros);
    ryxsSynthesisFilter_G729E_16s(w.denominator[s], w.order, impulse, response, subframeLength, zeros);

    ryxsResidualFilter_G729E_16s(filters.a[s], filters.order, current(s), excitation(s), subframeLength);
    int16_t *const error = buffer + longOrder;
    std::copy_n(errorMemory_, longOrder, buffer);
    ryxsSynthesisFilter_G729E_16s(filters.a[s], filters.order, excitation(s), error, subframeLength,
                                  error - filters.order);
    ryxsResidualFilter_G729E_16s(w.numerator[s], w.order, error, target, subframeLength);
    ryxsSynthesisFilter_G729E_16s_I(w.denominator[s], w.order, target, subframeLength,
                                    targetMemory_ + longOrder - w.order);
}

void Encoder::searchAdaptive(int s, int16_t openLoopLag, const int16_t *target, const int16_t *response, int16_t *delay,
                             Parameters &p) {
    const auto flag = static_cast<int16_t>(s);
    const bool annexD = rate_ == FrameType::speech6k4;
    const auto search = annexD ? ryxsAdaptiveCodebookSearch_G729D_16s : ryxsAdaptiveCodebookSearch_G729_16s;
    const auto encodeDelay = annexD ? ryxsDelayEncode_G729D_16s : ryxsDelayEncode_G729_16s;
    search(s == 0 ? openLoopLag : firstLag_, target, response, excitation(s), delay, flag);
    encodeDelay(delay, firstLag_, &p.delay[s], flag);
    if (s == 0) firstLag_ = delay[0];
}

} // namespace ryxcodec::g729
