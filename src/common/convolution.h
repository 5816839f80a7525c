// SPDX-License-Identifier: BSD-2-Clause
// Convolution of a subframe with an impulse response, and its update from one lag of the closed-loop search to the next.
#pragma once

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

template <int length> void convolve(const int16_t *x, const int16_t *h, int16_t *y, int up, Rounding rounding) {
    if (!fitsSums(energy(x, length), energy(h, length))) [[unlikely]]
        return convolveInOrder<length>(x, h, y, up, rounding);
    // Without saturation, with S the sum of the undoubled products: sat16((S + rounding) >> (15 - up)).
    int16_t reversed[2 * length] = {};
    for (int i = 0; i < length; i++)
        reversed[length - 1 - i] = h[i];
    int32_t sums[length];
    wrappedCorrelations(x, reversed, length, length, sums); // sums[k] belongs to y[length - 1 - k]
    const int32_t half = rounding == Rounding::nearest ? 1 << (14 - up) : 0;
    for (int n = 0; n < length; n++)
        y[n] = sat16((sums[length - 1 - n] + half) >> (15 - up));
}

// The convolution of the excitation one sample further back: y[n] = sat16(first * h[n] >> shift) + y[n - 1], saturating,
// for n = length - 1 down to 1, and y[0] = first.
//   G.729, GSM-AMR: hi(L_shl(2 b h, k)) is shift 15 - k = 12 (or 14 for the reduced vector) and y[0] = b >> (0 or 2).
//   AMR-WB: mult(b, h[n]) is shift 15, y[0] = mult(b, h[0]).
template <int length, int shift> void delayConvolution(int16_t *y, const int16_t *h, int16_t b, int16_t first) {
    for (int n = length - 1; n > 0; n--)
        y[n] = add(sat16((b * h[n]) >> shift), y[n - 1]);
    y[0] = first;
}

} // namespace ryxsc
