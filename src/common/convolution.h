// SPDX-License-Identifier: BSD-2-Clause
// Convolution of a subframe with an impulse response, and its update from one lag of the closed-loop search to the next.
#pragma once

#include <algorithm>
#include <utility>

#include "common/product_sums.h"

namespace ryxsc {

// y[n] = hi(L_shl(S, up)), truncated, or round(L_shl(S, up)), where S = sum over i = 0 .. n of 2 * x[i] * h[n - i]
// saturates after every term, in the order of i; n = 0 .. length - 1, length a multiple of 4 up to 80. y may be x.
//   G.729, GSM-AMR: truncated, up 3.  AMR-WB, G.723.1 (closed loop): rounded, up 0.
enum class Rounding { truncate, nearest };

template <int length> void convolveInOrder(const int16_t *x, const int16_t *h, int16_t *y, int up, Rounding rounding) {
    for (int n = length; n-- > 0;) {
        int32_t sum = 0;
        for (int i = 0; i <= n; i++)
            sum = L_mac(sum, x[i], h[n - i]);
        sum = L_shl(sum, up);
        y[n] = rounding == Rounding::truncate ? extract_h(sum) : round(sum);
    }
}

// sums[n] = sum over i = 0 .. n of x[i] * h[n - i], modulo 2^32. Every pair x[i], x[i + 1] meets the pairs
// (h[j], h[j - 1]), four outputs at a time.
template <int length> void wrappedConvolution(const int16_t *x, const int16_t *h, int32_t *sums) {
    static_assert(length % 4 == 0 && length <= 80);
    using simd::Vector;
    constexpr int groups = length / 4;              // of four outputs
    constexpr int most = groups % 10 == 0 ? 10 : 8; // so many are summed at a time, in registers
    alignas(16) int32_t pairs[4 + length + 4];      // pairs[4 + j] = (h[j], h[j - 1]), zeros where j < 0
    simd::store(pairs, _mm_setzero_si128());
    for (int j = 0; j < length; j += 8) {
        const Vector now = j + 8 <= length ? simd::load(h + j) : simd::load64(h + j);
        const Vector past = j == 0            ? _mm_slli_si128(now, 2)
                            : j + 8 <= length ? simd::load(h + j - 1)
                                              : simd::load64(h + j - 1);
        simd::store(pairs + 4 + j, _mm_unpacklo_epi16(now, past));
        simd::store(pairs + 8 + j, _mm_unpackhi_epi16(now, past));
    }
    const auto part = [&]<int first, int count>() { // outputs from 4 * first on
        Vector sum[most];
        for (Vector &s : sum)
            s = _mm_setzero_si128();
        const auto add = [&]<int from>(int i) { // for the outputs of the groups `from` and later
            const Vector words = simd::load64(x + i);
            const Vector front = _mm_shuffle_epi32(words, 0), back = _mm_shuffle_epi32(words, 0x55);
            const int32_t *const response = pairs + 4 + 4 * first - i;
#pragma GCC unroll 10
            for (int group = from; group < count; group++) {
                sum[group] = _mm_add_epi32(sum[group], _mm_madd_epi16(front, simd::loadAligned(response + 4 * group)));
                sum[group] = _mm_add_epi32(sum[group], _mm_madd_epi16(back, simd::load(response + 4 * group - 2)));
            }
        };
        for (int i = 0; i < 4 * first; i += 4)
            add.template operator()<0>(i);
        [&]<int... from>(std::integer_sequence<int, from...>) {
            (add.template operator()<from>(4 * (first + from)), ...);
        }
        (std::make_integer_sequence<int, count>());
        for (int group = 0; group < count; group++)
            simd::store(sums + 4 * (first + group), sum[group]);
    };
    [&]<int... index>(std::integer_sequence<int, index...>) {
        (part.template operator()<index * most, std::min(most, groups - index * most)>(), ...);
    }
    (std::make_integer_sequence<int, (groups + most - 1) / most>());
}

template <int length> void convolve(const int16_t *x, const int16_t *h, int16_t *y, int up, Rounding rounding) {
    if (!fitsSums(energy(x, length), energy(h, length))) [[unlikely]]
        return convolveInOrder<length>(x, h, y, up, rounding);
    // Without saturation, with S the sum of the undoubled products: sat16((S + rounding) >> (15 - up)).
    alignas(16) int32_t sums[length];
    wrappedConvolution<length>(x, h, sums);
    const simd::Vector half = simd::dwords(rounding == Rounding::nearest ? 1 << (14 - up) : 0);
    const __m128i down = _mm_cvtsi32_si128(15 - up);
    const auto scaled = [=](const int32_t *at) { return _mm_sra_epi32(_mm_add_epi32(simd::load(at), half), down); };
    for (int n = 0; n < length; n += 4)
        simd::store64(y + n, simd::saturateDwords(scaled(sums + n)));
}

// The convolution of the excitation one sample further back: y[n] = sat16(b * h[n] >> shift) + y[n - 1], saturating, for
// n = length - 1 down to 1, and y[0] = first.
//   G.729, GSM-AMR: hi(L_shl(2 b h, k)) is shift 15 - k = 12 (or 14 for the reduced vector) and y[0] = b >> (0 or 2).
//   AMR-WB: mult(b, h[n]) is shift 15, y[0] = mult(b, h[0]).
template <int length, int shift> void delayConvolution(int16_t *y, const int16_t *h, int16_t b, int16_t first) {
    static_assert(length % 4 == 0);
    const simd::Vector factor = simd::words(b);
    const auto step = [=](simd::Vector response, simd::Vector past) {
        return _mm_adds_epi16(simd::mulShiftSaturated<shift>(response, factor), past);
    };
    if constexpr (length % 8 != 0)
        simd::store64(y + length - 4, step(simd::load64(h + length - 4), simd::load64(y + length - 5)));
    for (int n = length / 8 * 8 - 8; n > 0; n -= 8)
        simd::store(y + n, step(simd::load(h + n), simd::load(y + n - 1)));
    simd::store(y, step(simd::load(h), _mm_slli_si128(simd::load(y), 2)));
    y[0] = first;
}

} // namespace ryxsc
