// SPDX-License-Identifier: BSD-2-Clause
// Windowed speech and its autocorrelation, as the LP analyses of the CELP recommendations need them.
#pragma once

#include "common/elementwise.h"
#include "common/product_sums.h"

namespace ryxsc {

// y[n] = mult_r(x[n], window[n]); y may be x.
inline void applyWindow(const int16_t *x, const int16_t *window, int16_t *y, int n) {
    mapWords(
        y, n, [](simd::Vector a, simd::Vector b) { return simd::roundedProductQ15(a, b); }, x, window);
}

// y[n] >>= shift
inline void shiftRight(int16_t *y, int n, int shift) {
    const simd::Vector count = _mm_cvtsi32_si128(shift);
    mapWords(
        y, n, [=](simd::Vector x) { return _mm_sra_epi16(x, count); }, y);
}

// r[k] = sum over n of y[n] * y[n + k], undoubled and modulo 2^32, k = 0 .. order. Behind the n samples of y follow
// `order` words of zero.
inline void wrappedAutocorrelation(const int16_t *y, int n, int order, int32_t *r) {
    wrappedCorrelations(y, y, n, order + 1, r);
}

// r[0 .. order] <<= shift, without saturation.
inline void shiftLeft(int32_t *r, int order, int shift) {
    for (int k = 0; k <= order; k++)
        r[k] = static_cast<int32_t>(static_cast<uint32_t>(r[k]) << shift);
}

// From the undoubled sums, below 2^30, to r[k] = (2 * sum, 1 more for k = 0) << shift, where shift normalises r[0]. Returns
// the shift. |r[k]| < r[0] for k > 0, so nothing saturates.
inline int normaliseSums(int32_t *r, int order) {
    const int shift = norm_l(2 * r[0] + 1);
    shiftLeft(r, order, shift + 1);
    r[0] += 1 << shift;
    return shift;
}

// Whether it takes no closer look to see that no sum of doubled products of the samples saturates.
inline bool autocorrelationFits(const int16_t *y, int n) {
    const uint64_t bound = energyBound(y, n);
    return boundsFit(bound, bound);
}

// r[k] = (sum over n of 2 * y[n] * y[n + k], saturating; 1 more for k = 0) << shift, k = 0 .. order, where shift
// normalises r[0]. Behind the n samples of y follow `order` words of zero. No overflow is corrected: see
// normalisedAutocorrelation(). Returns the shift.
inline int saturatedAutocorrelation(const int16_t *y, int n, int order, int32_t *r) {
    const bool fits = autocorrelationFits(y, n) || !macEnergy(y, n, 1).saturated;
    if (fits) {
        wrappedAutocorrelation(y, n, order, r);
        return normaliseSums(r, order);
    }
    macCorrelations(y, y, n, order + 1, r, false);
    r[0] = max32;
    return 0;
}

// The same of G.729 and GSM-AMR, which divide the samples by 4 (floor), in place, until r[0] does not saturate.
struct AutocorrelationScale {
    int reductions; // how often the samples were divided
    int shift;      // how far r was shifted to the left
};
inline AutocorrelationScale normalisedAutocorrelation(int16_t *y, int n, int order, int32_t *r) {
    int reductions = 0;
    for (; !autocorrelationFits(y, n) && macEnergy(y, n, 1).saturated; reductions++)
        shiftRight(y, n, 2);
    wrappedAutocorrelation(y, n, order, r);
    return {reductions, normaliseSums(r, order)};
}

} // namespace ryxsc
