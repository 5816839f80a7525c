// SPDX-License-Identifier: BSD-2-Clause
// Codebook searches and weights of the float LSF quantisers of ITU-T G.729. Four vectors are compared at a time, each
// with its terms added in the order of the values, so the grouping does not show in the sums.
#pragma once

#include <emmintrin.h>

#include "common/simd.h"
#include "g729/lsf_float_steps.h"

namespace ryxsc::g729 {

inline constexpr float startError = 1e38F;

// The smallest error offered in any lane, and its index: the first among equals, 0 when none was below the start.
class SmallestFloat {
public:
    void offer(__m128 offered, __m128i index) {
        const __m128 better = _mm_cmplt_ps(offered, errors);
        const __m128i mask = _mm_castps_si128(better);
        errors = _mm_or_ps(_mm_and_ps(better, offered), _mm_andnot_ps(better, errors));
        indices = _mm_or_si128(_mm_and_si128(mask, index), _mm_andnot_si128(mask, indices));
    }

    // No error is negative, and the bits of such floats are in the order of their values.
    size_t index() const { return simd::smallest(_mm_castps_si128(errors), indices).index; }

private:
    __m128 errors = _mm_set1_ps(startError);
    __m128i indices = _mm_setzero_si128();
};

// Errors of the vectors 4 * group .. 4 * group + 3: sum of weights[j] * difference^2, or of the squares alone where
// weights is null.
template <size_t vectors, size_t values> __m128 errorsOfFour(const FloatCodebook<vectors, values> &book, size_t group,
                                                             const float *target, const float *weights) {
    __m128 sum = _mm_setzero_ps();
    for (size_t j = 0; j < values; j++) {
        const __m128 difference = _mm_sub_ps(_mm_set1_ps(target[j]), _mm_load_ps(book.quads[group][j]));
        const __m128 weighted = weights ? _mm_mul_ps(_mm_set1_ps(weights[j]), difference) : difference;
        sum = _mm_add_ps(sum, _mm_mul_ps(weighted, difference));
    }
    return sum;
}

template <size_t vectors, size_t values>
size_t nearest(const FloatCodebook<vectors, values> &book, const float *target, const float *weights) {
    SmallestFloat best;
    __m128i number = _mm_setr_epi32(0, 1, 2, 3);
    for (size_t group = 0; group < vectors / 4; group++) {
        best.offer(errorsOfFour(book, group, target, weights), number);
        number = _mm_add_epi32(number, _mm_set1_epi32(4));
    }
    return best.index();
}

// What the second stage is to approach.
template <size_t vectors>
TenFloats withoutVector(const TenFloats &target, const FloatCodebook<vectors, lsfOrder> &book, size_t index) {
    TenFloats rest;
    for (size_t j = 0; j < lsfOrder; j++)
        rest[j] = target[j] - book.value(index, j);
    return rest;
}

// 10 * (distance between the neighbours - 1)^2 + 1 where that is closer than a radian, else 1; LSFs 4 and 5 count 1.2
// times. The first and the last LSF have neighbours at 0.04 pi and 0.92 pi.
inline TenFloats weightsOf(const TenFloats &lsf) {
    constexpr float below = 0.125663706F;
    constexpr float above = 2.89026524F;
    TenFloats weights;
    for (size_t j = 0; j < lsfOrder; j++) {
        const float next = j + 1 < lsfOrder ? lsf[j + 1] : above;
        const float previous = j > 0 ? lsf[j - 1] : below;
        const float excess = next - previous - 1.0F;
        weights[j] = excess > 0 ? 1.0F : excess * excess * 10.0F + 1.0F;
    }
    weights[4] *= 1.2F;
    weights[5] *= 1.2F;
    return weights;
}

} // namespace ryxsc::g729
