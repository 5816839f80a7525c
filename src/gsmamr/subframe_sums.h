// SPDX-License-Identifier: BSD-2-Clause
// Sums of products over a subframe. No partial sum of products exceeds the product of the norms: where that tells that the
// recommendation's accumulators do not saturate, the order of the sums is free.
#pragma once

#include "common/convolution.h"
#include "common/fixed_point.h"
#include "gsmamr/energy.h"

namespace ryxsc::gsmamr {

// Whether no doubled partial sum of x[i] * y[j] over distinct i and distinct j leaves 32 bits, for sums of squares.
inline bool sumsFit(int64_t x, int64_t y) {
    constexpr double limit = 1152921504606846976.0 * 0.99; // 2^60, less what conversions may round
    return static_cast<double>(x) * static_cast<double>(y) < limit;
}

// The sum of x[n] * y[n], which has to fit 32 bits.
inline int32_t dotProduct(const int16_t *x, const int16_t *y) {
    simd::Vector sums = _mm_madd_epi16(simd::load(x), simd::load(y));
    for (int n = 8; n < subframeLength; n += 8)
        sums = _mm_add_epi32(sums, _mm_madd_epi16(simd::load(x + n), simd::load(y + n)));
    return simd::sumOfDwords(sums);
}

// start, += 2 * x[n] * y[n] with saturation; whether it saturated.
struct Accumulation {
    int32_t sum;
    bool saturated;
};
inline Accumulation accumulateProducts(int32_t start, const int16_t *x, const int16_t *y) {
    Accumulation result = {start, false};
    for (int n = 0; n < subframeLength; n++) {
        const int64_t product = int64_t{2} * x[n] * y[n], exact = result.sum + int64_t{sat32(product)};
        result.sum = sat32(exact);
        result.saturated |= product != sat32(product) || exact != result.sum;
    }
    return result;
}

// start + 2 * sum, small start: with what accumulating saturates to.
inline int32_t saturatedProducts(int32_t start, const int16_t *x, const int16_t *y) {
    if (sumsFit(sumOfSquares(x) + 8, sumOfSquares(y) + 8)) return start + 2 * dotProduct(x, y);
    return accumulateProducts(start, x, y).sum;
}

// sums[n] = sum of x[n + k] * h[k], k = 0 .. 39 - n. Pairs of neighbouring x for four n meet a pair of taps.
void sumProducts(const int16_t *x, const int16_t *h, int32_t *sums);

// y = x * h, the 40 first samples of the convolution, each sat16(sum >> 12) as the recommendation rounds down.
inline void convolve(const int16_t *x, const int16_t *h, int16_t *y) {
    ryxsc::convolve<subframeLength>(x, h, y, 3, Rounding::truncate);
}

} // namespace ryxsc::gsmamr
