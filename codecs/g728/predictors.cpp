// SPDX-License-Identifier: BSD-2-Clause
#include "predictors.h"

#include <algorithm>

namespace ryxcodec::g728 {

ryxStatus SynthesisPredictor::init() {
    std::fill_n(exponents_.values(), pastVectors, int16_t{16});
    ryxStatus status = window_.fits(ryxsHybridWindowGetStateSize_G728_16s);
    if (status == ryxStsOk) status = taps_.fits(ryxsSynthesisTapsGetStateSize_G728_16s);
    if (status == ryxStsOk) status = ryxsSynthesisTapsInit_G728_16s(current_, taps_);
    return status != ryxStsOk ? status : ryxsHybridWindowInit_G728_16s(window_);
}

void SynthesisPredictor::beginCycle() {
    speech_.advance();
    exponents_.advance();
}

void SynthesisPredictor::append(int k, const int16_t *speech, int16_t exponent) {
    const int at = pastVectors - vectors + k;
    std::memcpy(speech_.values() + at * vectorLength, speech, vectorLength * sizeof *speech);
    exponents_.values()[at] = exponent;
}

bool SynthesisPredictor::analyse() {
    valid_ =
        ryxsHybridWindowSynthesis_G728_16s(speech_.values(), exponents_.values(), autoCorr_, window_) == ryxStsOk &&
        recursion_.run(autoCorr_, 0, predictorOrder);
    return valid_;
}

void SynthesisPredictor::extend() {
    if (!valid_) return;
    Recursion whole = recursion_;
    valid_ =
        whole.run(autoCorr_, predictorOrder, synthesisOrder) &&
        ryxsBandwidthExpand_G728_16s(whole.coefficients, whole.fraction, ryxG728SynthesisExpansion, next_) == ryxStsOk;
}

void SynthesisPredictor::adopt() {
    if (!valid_) return;
    std::copy_n(next_, synthesisOrder, current_);
    ryxsSynthesisTapsInit_G728_16s(current_, taps_);
}

void SynthesisPredictor::attenuate(bool first) {
    constexpr int16_t fraction = 14;
    ryxsBandwidthExpand_G728_16s(first && valid_ ? next_ : current_, fraction, ryxG728ErasureExpansion, current_);
    ryxsSynthesisTapsInit_G728_16s(current_, taps_);
}

ryxStatus LogGainPredictor::init() {
    coefficients_[0] = -16384;
    std::fill_n(logGains_.values() + past + 1, vectors - 1, int16_t{-16384});
    const ryxStatus status = window_.fits(ryxsHybridWindowGetStateSize_G728_16s);
    return status != ryxStsOk ? status : ryxsHybridWindowInit_G728_16s(window_);
}

void LogGainPredictor::predict(int k, int16_t limit, int16_t *prediction, int16_t *gain, int16_t *exponent) const {
    ryxsLogGainPredict_G728_16s(coefficients_, logGains_.values() + past + k - predictorOrder, limit, prediction, gain,
                                exponent);
}

void LogGainPredictor::analyse(bool adopt) {
    int16_t autoCorr[predictorOrder + 1], expanded[predictorOrder];
    Recursion recursion;
    if (ryxsHybridWindowLogGain_G728_16s(logGains_.values(), autoCorr, window_) != ryxStsOk || !adopt) return;
    if (!recursion.run(autoCorr, 0, predictorOrder)) return;
    if (ryxsBandwidthExpand_G728_16s(recursion.coefficients, recursion.fraction, ryxG728LogGainExpansion, expanded) ==
        ryxStsOk)
        std::copy_n(expanded, predictorOrder, coefficients_);
}

} // namespace ryxcodec::g728
