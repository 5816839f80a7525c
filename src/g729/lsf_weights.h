// SPDX-License-Identifier: BSD-2-Clause
// Weights of the LSF quantisers of ITU-T G.729: heavier where neighbours are close.
#pragma once

#include "g729/lsf_steps.h"

namespace ryxsc::g729 {

namespace detail {

// Ten * (distance between the neighbours - 1 radian)^2 + 1 in Q11 when that is closer than a radian, else 1. The first
// and the last LSF have neighbours at 0.04 pi and 0.92 pi. Returns with anything behind the ten values.
inline Ten rawWeights(const Ten &lsf) {
    constexpr int16_t below = 1029;  // 0.04 pi
    constexpr int16_t above = 23677; // 0.92 pi
    constexpr int16_t radian = 8192;
    constexpr int16_t ten = 20480; // Q11
    constexpr int16_t one = 2048;  // Q11
    const Ten next = {_mm_alignr_epi8(lsf[1], lsf[0], 2), _mm_insert_epi16(_mm_srli_si128(lsf[1], 2), above, 1)};
    const Ten previous = {_mm_insert_epi16(_mm_slli_si128(lsf[0], 2), below, 0), _mm_alignr_epi8(lsf[1], lsf[0], 14)};
    const Ten distance = subtract(next, previous);
    Ten weights;
    for (int i = 0; i < 2; i++) {
        const Vector excess = _mm_subs_epi16(distance[i], simd::words(radian));
        const Vector lack = _mm_min_epi16(excess, _mm_setzero_si128());
        const Vector squared = simd::mulShiftSaturated<13>(lack, lack);
        weights[i] = _mm_adds_epi16(simd::mulShiftSaturated<13>(squared, simd::words(ten)), simd::words(one));
    }
    return weights;
}

} // namespace detail

// Normalised together: the largest is 16384..32767.
inline Ten weightsOf(const Ten &lsf) {
    constexpr int16_t raised = 19661; // 1.2, Q14
    Ten weights = detail::rawWeights(lsf);
    const Vector middle = _mm_setr_epi16(0, 0, 0, 0, -1, -1, 0, 0); // LSFs 4 and 5
    const Vector heavier = simd::mulShiftSaturated<14>(weights[0], simd::words(raised));
    weights[0] = simd::select(middle, heavier, weights[0]);
    weights[1] = _mm_and_si128(weights[1], _mm_cvtsi32_si128(-1));

    const int16_t largest = simd::largestWord(_mm_max_epi16(weights[0], weights[1]));
    const Vector count = _mm_cvtsi32_si128(norm_s(largest));
    return {_mm_sll_epi16(weights[0], count), _mm_sll_epi16(weights[1], count)};
}

} // namespace ryxsc::g729
