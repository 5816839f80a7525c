// SPDX-License-Identifier: BSD-2-Clause
// FIR filters whose sums saturate after every term in the recommendation (3GPP TS 26.173), without saturation where the
// samples are small enough for the taps: sums then do not depend on the order.
#pragma once

#include "amrwb/arithmetic.h"

namespace ryxsc::amrwb {

// sum over k = 0 .. count - 1 of taps[k] * x[n + k] for sixteen n; count is even. Taps two by two, for the outputs of even
// and of odd index apart, so that the samples need no rearrangement.
template <int count> class FirTaps {
    static_assert(count % 8 == 0);

public:
    explicit FirTaps(const int16_t *taps) {
        for (int k = 0; k < count / 8; k++) {
            const Vector eight = simd::load(taps + 8 * k);
            pairs_[4 * k] = _mm_shuffle_epi32(eight, _MM_SHUFFLE(0, 0, 0, 0));
            pairs_[4 * k + 1] = _mm_shuffle_epi32(eight, _MM_SHUFFLE(1, 1, 1, 1));
            pairs_[4 * k + 2] = _mm_shuffle_epi32(eight, _MM_SHUFFLE(2, 2, 2, 2));
            pairs_[4 * k + 3] = _mm_shuffle_epi32(eight, _MM_SHUFFLE(3, 3, 3, 3));
        }
    }

    // y[n] = sat16((sum + 2^(shift - 1)) >> shift), n = 0 .. 15. Reads one sample more than the taps take. A function of its
    // own and in this order: left to itself the compiler keeps samples for the next call, and spills the sums.
    template <int shift> [[gnu::noinline]] void filterSixteen(const int16_t *x, int16_t *y) const {
        Vector even[2], odd[2];
        for (int block = 0; block < 2; block++)
            even[block] = odd[block] = simd::dwords(1 << (shift - 1));
#pragma GCC unroll 16
        for (int k = 0; k < count; k += 2) {
            const Vector pair = pairs_[k / 2];
            for (int block = 0; block < 2; block++) {
                const int16_t *const at = x + k + 8 * block;
                even[block] = _mm_add_epi32(even[block], _mm_madd_epi16(simd::load(at), pair));
                odd[block] = _mm_add_epi32(odd[block], _mm_madd_epi16(simd::load(at + 1), pair));
                simd::finish(even[block]);
                simd::finish(odd[block]);
            }
        }
        for (int block = 0; block < 2; block++) {
            const Vector evens = _mm_srai_epi32(even[block], shift), odds = _mm_srai_epi32(odd[block], shift);
            simd::store(y + 8 * block,
                        _mm_packs_epi32(_mm_unpacklo_epi32(evens, odds), _mm_unpackhi_epi32(evens, odds)));
        }
    }

private:
    Vector pairs_[count / 2];
};

// Largest magnitude of samples with which no sum of products by taps of this sum of magnitudes leaves 2^30.
constexpr int largestSafeSample(int sumOfMagnitudes) {
    return ((1 << 30) - 1) / sumOfMagnitudes;
}

// Four sums of products of `count` words, each of a pair of vectors of its own, modulo 2^32.
template <int count> Vector fourProductSums(const int16_t *const (&x)[4], const int16_t *const (&y)[4]) {
    static_assert(count % 8 == 0);
    Vector sums[4];
    for (int i = 0; i < 4; i++) {
        sums[i] = _mm_madd_epi16(simd::load(x[i]), simd::loadAligned(y[i]));
        for (int k = 8; k < count; k += 8)
            sums[i] = _mm_add_epi32(sums[i], _mm_madd_epi16(simd::load(x[i] + k), simd::loadAligned(y[i] + k)));
    }
    return simd::sumsOfDwords(sums);
}

} // namespace ryxsc::amrwb
