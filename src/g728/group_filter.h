// SPDX-License-Identifier: BSD-2-Clause
// Filters of order 10 over a cycle in groups of samples, for what nothing feeds back into: zeros eight samples at a time from
// registers, so that no sample that has just been stored is waited for, and poles four at a time. All sums are modulo 2^32.
#pragma once

#include "g728/vector_filter.h"

namespace ryxsc::g728 {

// The largest magnitude among words, less 1 where it is that of a negative one.
class Peak {
public:
    void add(simd::Vector words) { most_ = _mm_max_epi16(most_, simd::onesMagnitude(words)); }
    void add(const Ten &ten) {
        add(ten.front);
        add(ten.back);
    }
    int64_t value() const { return simd::largestWord(most_); }

private:
    simd::Vector most_ = _mm_setzero_si128();
};

// Four sums with four behind them.
struct Eight {
    simd::Vector front, back;
};

// Sample n gets the sum of c[i] x[n - 1 - i], i = 0..9. Coefficients go in pairs; samples of even and of odd index apart, so
// that no pair of samples needs rearrangement.
class ZeroGroups {
    using Vector = simd::Vector;

public:
    explicit ZeroGroups(const Ten &c) {
        constexpr int swapped = _MM_SHUFFLE(2, 3, 0, 1); // the older sample of a pair comes first
        const Vector front = _mm_shufflehi_epi16(_mm_shufflelo_epi16(c.front, swapped), swapped);
        pairs_[0] = _mm_shuffle_epi32(front, 0);
        pairs_[1] = _mm_shuffle_epi32(front, 0x55);
        pairs_[2] = _mm_shuffle_epi32(front, 0xaa);
        pairs_[3] = _mm_shuffle_epi32(front, 0xff);
        pairs_[4] = _mm_shuffle_epi32(_mm_shufflelo_epi16(c.back, swapped), 0);
    }

    // x[0..7] with x[-8..-1] and x[-16..-9].
    Eight operator()(Vector current, Vector past, Vector older) const {
        Vector even = _mm_madd_epi16(_mm_alignr_epi8(current, past, 12), pairs_[0]);
        Vector odd = _mm_madd_epi16(_mm_alignr_epi8(current, past, 14), pairs_[0]);
        const auto add = [&](int k, Vector forEven, Vector forOdd) {
            even = _mm_add_epi32(even, _mm_madd_epi16(forEven, pairs_[k]));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(forOdd, pairs_[k]));
        };
        add(1, _mm_alignr_epi8(current, past, 8), _mm_alignr_epi8(current, past, 10));
        add(2, _mm_alignr_epi8(current, past, 4), _mm_alignr_epi8(current, past, 6));
        add(3, past, _mm_alignr_epi8(current, past, 2));
        add(4, _mm_alignr_epi8(past, older, 12), _mm_alignr_epi8(past, older, 14));
        return {_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd)};
    }

private:
    Vector pairs_[5];
};

// y[n] = (x[n] - the sum of c[i] y[n - 1 - i], i = 0..9) >> 14, four samples after four: each adds to those behind it in
// its group by itself, pairs add to the groups that follow. Right up to the first y that does not fit 16 bits.
class PoleGroups {
    using Vector = simd::Vector;

public:
    static constexpr int fractionBits = 14;

    PoleGroups(const Ten &c, const Ten &past) {
        const Vector next = _mm_alignr_epi8(c.back, c.front, 2);
        fromSecond_[0] = _mm_unpacklo_epi16(next, c.front); // (c[1], c[0]), (c[2], c[1]) ...
        fromSecond_[1] = _mm_unpackhi_epi16(next, c.front);
        fromSecond_[2] = _mm_unpacklo_epi16(_mm_srli_si128(c.back, 2), c.back);
        fromFirst_[0] = _mm_alignr_epi8(fromSecond_[1], fromSecond_[0], 8);
        fromFirst_[1] = _mm_alignr_epi8(fromSecond_[2], fromSecond_[1], 8);
        const Vector single = _mm_unpacklo_epi16(c.front, _mm_setzero_si128());
        within_[0] = _mm_slli_si128(single, 4);
        within_[1] = _mm_slli_si128(single, 8);
        within_[2] = _mm_slli_si128(single, 12);

        const Vector inTime = simd::reverseWords(past.front);
        const Vector oldest = _mm_shuffle_epi32(_mm_shufflelo_epi16(past.back, _MM_SHUFFLE(2, 3, 0, 1)), 0);
        ahead_[0] = ahead_[1] = _mm_setzero_si128();
        ahead_[2] = _mm_madd_epi16(oldest, fromSecond_[2]);
        advance(_mm_shuffle_epi32(inTime, 0), _mm_shuffle_epi32(inTime, 0x55));
        advance(_mm_shuffle_epi32(inTime, 0xaa), _mm_shuffle_epi32(inTime, 0xff));
    }

    // From four inputs the four sums that, shifted, are the outputs.
    Vector operator()(Vector input) {
        Vector sums = _mm_sub_epi32(input, ahead_[0]);
        sums = _mm_sub_epi32(sums, _mm_madd_epi16(_mm_shuffle_epi32(outputs(sums), 0), within_[0]));
        sums = _mm_sub_epi32(sums, _mm_madd_epi16(_mm_shuffle_epi32(outputs(sums), 0x55), within_[1]));
        sums = _mm_sub_epi32(sums, _mm_madd_epi16(_mm_shuffle_epi32(outputs(sums), 0xaa), within_[2]));
        const Vector words = _mm_packs_epi32(outputs(sums), outputs(sums));
        advance(_mm_shuffle_epi32(words, 0), _mm_shuffle_epi32(words, 0x55));
        return sums;
    }
    static Vector outputs(Vector sums) { return _mm_srai_epi32(sums, fractionBits); }

private:
    // The two pairs of a group, each in all dwords.
    void advance(Vector first, Vector second) {
        ahead_[0] = _mm_add_epi32(_mm_add_epi32(ahead_[1], _mm_madd_epi16(first, fromFirst_[0])),
                                  _mm_madd_epi16(second, fromSecond_[0]));
        ahead_[1] = _mm_add_epi32(_mm_add_epi32(ahead_[2], _mm_madd_epi16(first, fromFirst_[1])),
                                  _mm_madd_epi16(second, fromSecond_[1]));
        ahead_[2] = _mm_madd_epi16(second, fromSecond_[2]);
    }

    Vector within_[3], fromFirst_[2], fromSecond_[3];
    Vector ahead_[3]; // what is to be subtracted from the next three groups
};

} // namespace ryxsc::g728
