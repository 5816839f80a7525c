// SPDX-License-Identifier: BSD-2-Clause
// Harmonic noise shaping in the encoder of ITU-T G.723.1.
#pragma once

#include "common/elementwise.h"
#include "g723/operators.h"

namespace ryxsc::g723 {

inline constexpr int16_t harmonicWeight = 10240; // largest gain of the harmonic filter, 0.3125

// What the search around an open-loop lag can give.
constexpr bool isHarmonicLag(int lag) {
    return lag >= shortestLag - 3 && lag <= historyLength;
}

// dst[i] = round(L_msu(L_deposit_h(x[i]), gain, delayed[i])) = sat16(x[i] + mult_r(-gain, delayed[i])): the upper half has
// no part in the rounding. gain above -32768.
inline void shapeHarmonics(const int16_t *x, const int16_t *delayed, int16_t gain, int16_t *dst) {
    const simd::Vector factor = simd::words(static_cast<int16_t>(-gain));
    const auto shape = [=](simd::Vector now, simd::Vector then) {
        return _mm_adds_epi16(now, _mm_mulhrs_epi16(factor, then));
    };
    mapWords(dst, subframeLength, shape, x, delayed);
}
inline void shapeHarmonicsInOrder(const int16_t *x, const int16_t *delayed, int16_t gain, int16_t *dst) {
    for (int i = 0; i < subframeLength; i++)
        dst[i] = round(L_msu(L_deposit_h(x[i]), gain, delayed[i]));
}

} // namespace ryxsc::g723
