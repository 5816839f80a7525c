// SPDX-License-Identifier: BSD-2-Clause
// Prediction of the code gain from the last four frames, in decibels (3GPP TS 26.173).
#pragma once

#include "amrwb/arithmetic.h"
#include "common/double_precision.h"
#include "common/log2.h"

namespace ryxsc::amrwb {

inline constexpr int16_t meanEnergy = 30; // dB
inline constexpr int predictorOrder = 4;

// start + prediction from the quantised errors, Q10, newest first; Q8.
inline int16_t predictEnergy(int32_t start, const int16_t *errors) {
    constexpr int16_t weights[predictorOrder] = {4096, 3277, 2458, 1638}; // 0.5, 0.4, 0.3, 0.2
    for (int i = 0; i < predictorOrder; i++)
        start = L_mac(start, weights[i], errors[i]);
    return extract_h(start);
}

// 10^(energy / 20) as mantissa * 2^exponent.
struct PredictedGain {
    int16_t mantissa;
    int exponent;

    explicit PredictedGain(int16_t energyQ8) {
        const int32_t power = L_mult(energyQ8, 5443) >> 8; // 3.321928 / 20
        int16_t integer, fraction;
        L_Extract(power, integer, fraction);
        mantissa = extract_l(powerOfTwo(14, fraction));
        exponent = integer - 14;
    }

    // Times the correction factor, Q16.
    int32_t times(int16_t factor) const { return L_shl(L_mult(factor, mantissa), exponent + 4); }
};

// 20 log10 of the correction factor becomes the newest error.
inline void updatePredictor(int16_t *errors, int16_t factor) {
    const Log2 logarithm = log2(factor);
    const int32_t decibels =
        Mpy_32_16(static_cast<int16_t>(logarithm.exponent - 11), static_cast<int16_t>(logarithm.fraction), 24660);
    std::copy_backward(errors, errors + predictorOrder - 1, errors + predictorOrder);
    errors[0] = extract_l(decibels >> 3);
}

} // namespace ryxsc::amrwb
