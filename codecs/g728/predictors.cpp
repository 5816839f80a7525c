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

void SynthesisPredictor::analyse() {
    recursion_.order = 0;
    valid_ = ryxsHybridWindowSynthesis_G728_16s(speech_.values(), exponents_.values(), recursion_.autoCorr, window_) ==
             ryxStsOk;
}

void SynthesisPredictor::extend(Recursions &all) {
    if (valid_) all.add(recursion_, synthesisOrder);
}

void SynthesisPredictor::extend(Recursions &all, int order, Recursion &tenth) {
    tenth.order = 0;
    if (valid_) all.add(recursion_, order, predictorOrder, tenth);
}

void SynthesisPredictor::expand() {
    valid_ = recursion_.order == synthesisOrder &&
             ryxsBandwidthExpand_G728_16s(recursion_.coefficients, recursion_.fraction, ryxG728SynthesisExpansion,
                                          next_) == ryxStsOk;
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

void LogGainPredictor::analyse() {
    recursion_.order = 0;
    valid_ = ryxsHybridWindowLogGain_G728_16s(logGains_.values(), recursion_.autoCorr, window_) == ryxStsOk;
}

void LogGainPredictor::extend(Recursions &all) {
    if (valid_) all.add(recursion_, predictorOrder);
}

void LogGainPredictor::adopt() {
    int16_t expanded[predictorOrder];
    if (recursion_.order == predictorOrder &&
        ryxsBandwidthExpand_G728_16s(recursion_.coefficients, recursion_.fraction, ryxG728LogGainExpansion, expanded) ==
            ryxStsOk)
        std::copy_n(expanded, predictorOrder, coefficients_);
}

} // namespace ryxcodec::g728
