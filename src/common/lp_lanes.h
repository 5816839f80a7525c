// SPDX-License-Identifier: BSD-2-Clause
// Four synthesis filters 1 / A(z) of one order side by side, each from rest: impulse responses of a frame's subframes. A
// lane is a filter, so the chain from sample to sample is gone through once instead of four times.
#pragma once

#include <algorithm>

#include "common/lp_filters.h"

namespace ryxsc {
namespace {

// Rows of four filters, 8 words each, to 8 columns of four words: column k is columns[k / 2], in its lower or upper half.
inline void transposeWords(const simd::Vector (&rows)[4], simd::Vector (&columns)[4]) {
    const simd::Vector front01 = _mm_unpacklo_epi16(rows[0], rows[1]), back01 = _mm_unpackhi_epi16(rows[0], rows[1]);
    const simd::Vector front23 = _mm_unpacklo_epi16(rows[2], rows[3]), back23 = _mm_unpackhi_epi16(rows[2], rows[3]);
    columns[0] = _mm_unpacklo_epi32(front01, front23);
    columns[1] = _mm_unpackhi_epi32(front01, front23);
    columns[2] = _mm_unpacklo_epi32(back01, back23);
    columns[3] = _mm_unpackhi_epi32(back01, back23);
}

// 4 x 4 dwords.
inline void transposeDwords(const simd::Vector (&rows)[4], simd::Vector *columns) {
    const simd::Vector front01 = _mm_unpacklo_epi32(rows[0], rows[1]), back01 = _mm_unpackhi_epi32(rows[0], rows[1]);
    const simd::Vector front23 = _mm_unpacklo_epi32(rows[2], rows[3]), back23 = _mm_unpackhi_epi32(rows[2], rows[3]);
    columns[0] = _mm_unpacklo_epi64(front01, front23);
    columns[1] = _mm_unpackhi_epi64(front01, front23);
    columns[2] = _mm_unpacklo_epi64(back01, back23);
    columns[3] = _mm_unpackhi_epi64(back01, back23);
}

// Signals of four filters, sample by sample.
template <int capacity> struct LaneSignals { alignas(16) int16_t at[capacity][4]; };

template <int order> class SynthesisLanes {
    static_assert(order == 10);
    static constexpr int tapPairs = order / 2;
    using Vector = simd::Vector;

public:
    // a: coefficients of the four filters, each set `stride` words behind the one before.
    SynthesisLanes(const int16_t *a, int stride) {
        const int16_t *const sets[] = {a, a + stride, a + 2 * stride, a + 3 * stride};
        transposeDwords(
            {simd::load(sets[0] + 1), simd::load(sets[1] + 1), simd::load(sets[2] + 1), simd::load(sets[3] + 1)},
            taps_);
        taps_[4] = _mm_unpacklo_epi64(_mm_unpacklo_epi32(simd::load32(sets[0] + 9), simd::load32(sets[1] + 9)),
                                      _mm_unpacklo_epi32(simd::load32(sets[2] + 9), simd::load32(sets[3] + 9)));
        gain_ = _mm_setr_epi32(static_cast<uint16_t>(a[0]), static_cast<uint16_t>(a[stride]),
                               static_cast<uint16_t>(a[2 * stride]), static_cast<uint16_t>(a[3 * stride]));
        Vector sums = magnitudes(gain_);
        for (const Vector tap : taps_)
            sums = _mm_add_epi32(sums, magnitudes(tap));
        alignas(16) int32_t each[4];
        simd::store(each, sums);
        largest_ = largestSample(*std::max_element(each, each + 4));
    }

    // y = x / A(z), n samples. Returns false where a sum may have saturated, in any lane: then y is of no use.
    template <int capacity>
    bool run(const LaneSignals<capacity> &x, LaneSignals<capacity> &y, int n, int up = 3) const {
        const Vector half = simd::dwords(1 << (14 - up)), down = _mm_cvtsi32_si128(15 - up), zero = _mm_setzero_si128();
        Vector past[order + capacity]; // (y[n], y[n - 1]) of all lanes
        std::fill_n(past, order, zero);
        Range range;
        Vector words = zero, latest = zero;
        for (int i = 0; i < n; i++) {
            const Vector input = simd::load64(x.at[i]);
            range.add(input);
            Vector sum = _mm_add_epi32(half, _mm_madd_epi16(_mm_unpacklo_epi16(input, zero), gain_));
            for (int k = tapPairs - 1; k > 0; k--)
                sum = _mm_sub_epi32(sum, _mm_madd_epi16(past[order + i - 1 - 2 * k], taps_[k]));
            sum = _mm_sra_epi32(_mm_sub_epi32(sum, _mm_madd_epi16(latest, taps_[0])), down);
            sum = _mm_packs_epi32(sum, sum);
            latest = past[order + i] = _mm_unpacklo_epi16(sum, words);
            words = sum;
            range.add(words);
            simd::store64(y.at[i], words);
        }
        return range.isWithin(largest_);
    }

private:
    static Vector magnitudes(Vector x) { return _mm_madd_epi16(x, _mm_or_si128(simd::signMask(x), simd::words(1))); }

    Vector taps_[tapPairs], gain_; // (a[2 k + 1], a[2 k + 2]) of the four filters
    int largest_;
};

} // namespace
} // namespace ryxsc
