// SPDX-License-Identifier: BSD-2-Clause
// The impulse response h in the forms that the algebraic codebook search needs: correlations of a signal with h from every
// position of a track on, and correlations of h with itself. Everything has internal linkage, since both processor
// variants compile it.
#pragma once

#include <algorithm>

#include "amrwb/codebook_tables.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "common/sum_of_squares.h"

namespace ryxsc::amrwb {

namespace {

using simd::Vector;

// A word for each position, track by track.
struct TrackWords {
    alignas(16) int16_t words[tracks][trackLength];

    Vector front(int track) const { return simd::loadAligned(words[track]); }
    Vector back(int track) const { return simd::loadAligned(words[track] + 8); }
    void put(int track, Vector front, Vector back) {
        _mm_store_si128(reinterpret_cast<Vector *>(words[track]), front);
        _mm_store_si128(reinterpret_cast<Vector *>(words[track] + 8), back);
    }
    int16_t &at(int position) { return words[position % tracks][position / tracks]; }
    int16_t at(int position) const { return words[position % tracks][position / tracks]; }
};

// 32-bit sums for the positions of a track, four to a register.
struct TrackSums {
    Vector quarter[4];

    explicit TrackSums(Vector start) : quarter{start, start, start, start} {}
    // sat16(sum >> shift)
    template <int shift> Vector front() const { return packed<shift>(0); }
    template <int shift> Vector back() const { return packed<shift>(2); }

private:
    template <int shift> Vector packed(int q) const {
        return _mm_packs_epi32(_mm_srai_epi32(quarter[q], shift), _mm_srai_epi32(quarter[q + 1], shift));
    }
};

inline int64_t sumOfSquares(const int16_t *words) {
    return ryxsc::sumOfSquares<positions>(words);
}

class Response {
public:
    // h[n] >> shift
    void load(const int16_t *h, int shift) {
        const Vector zero = _mm_setzero_si128(), count = _mm_cvtsi32_si128(shift);
        for (int n = 0; n < positions; n += 8) {
            const Vector eight = _mm_sra_epi16(simd::load(h + n), count);
            simd::store(words_ + n, zero);
            simd::store(words_ + positions + n, eight);
            simd::store(words_ + 2 * positions + n, zero);
            simd::store(words_ + 3 * positions + n, _mm_subs_epi16(zero, eight));
        }
        simd::store(words_ + 4 * positions, zero);
        fillRows();
    }

    const int16_t *samples() const { return words_ + positions; }

    // The response to a pulse at the position, from sample 0 of the subframe on; its negative saturates.
    const int16_t *shifted(int position, bool negative) const {
        return words_ + (negative ? 3 * positions : positions) - position;
    }

    // Row m holds the pairs (h[k], h[k+1]) for k = m, m-4, m-8, m-12; m from -3 on, and h is 0 before sample 0.
    const Vector *row(int m) const { return rows_ + (m - firstRow); }

private:
    static constexpr int firstRow = -3;

    void fillRows() {
        Vector previous[4] = {};
        for (int m = firstRow; m < positions; m += 4)
            for (int i = 0; i < 4; i++) {
                const Vector pair = simd::load32(samples() + m + i);
                previous[i] = _mm_or_si128(_mm_slli_si128(previous[i], 4), pair);
                rows_[m + i - firstRow] = previous[i];
            }
    }

    Vector rows_[positions + 4];
    // 64 zeros and h, 64 zeros and -h, zeros: a pulse's response begins with zeros.
    alignas(16) int16_t words_[4 * positions + 8];
};

// Largest magnitude of 16 words; 32768 for -32768.
inline int largestMagnitude(Vector front, Vector back) {
    // Unsigned words up to 32768, as signed ones from -32768 on.
    const Vector bias = simd::words(min16);
    Vector x = _mm_max_epi16(_mm_xor_si128(_mm_abs_epi16(front), bias), _mm_xor_si128(_mm_abs_epi16(back), bias));
    x = _mm_max_epi16(x, _mm_shuffle_epi32(x, _MM_SHUFFLE(1, 0, 3, 2)));
    x = _mm_max_epi16(x, _mm_shuffle_epi32(x, _MM_SHUFFLE(2, 3, 0, 1)));
    x = _mm_max_epi16(x, _mm_shufflelo_epi16(x, _MM_SHUFFLE(2, 3, 0, 1)));
    return extract_l(_mm_cvtsi128_si32(x)) - min16;
}

struct BothSums {
    TrackSums x, y;
};

// Adds to both sums the parts of 8 samples, of which the first `quarters` quarters of the tracks see something.
template <int quarters> [[gnu::always_inline]] inline void correlate8(Vector samples, const Vector *rowsX,
                                                                      const Vector *rowsY, BothSums &sums) {
    const Vector pairs[4] = {
        _mm_shuffle_epi32(samples, _MM_SHUFFLE(0, 0, 0, 0)), _mm_shuffle_epi32(samples, _MM_SHUFFLE(1, 1, 1, 1)),
        _mm_shuffle_epi32(samples, _MM_SHUFFLE(2, 2, 2, 2)), _mm_shuffle_epi32(samples, _MM_SHUFFLE(3, 3, 3, 3))};
#pragma GCC unroll 4
    for (int k = 0; k < 4; k++)
#pragma GCC unroll 4
        for (int q = 0; q < quarters; q++) {
            Vector &x = sums.x.quarter[q], &y = sums.y.quarter[q];
            x = _mm_add_epi32(x, _mm_madd_epi16(rowsX[2 * k - 16 * q], pairs[k]));
            simd::finish(x);
            y = _mm_add_epi32(y, _mm_madd_epi16(rowsY[2 * k - 16 * q], pairs[k]));
            simd::finish(y);
        }
}

template <int quarters> [[gnu::always_inline]] inline void correlate16(const int16_t *signal, const Vector *rowsX,
                                                                       const Vector *rowsY, BothSums &sums) {
    correlate8<quarters>(simd::load(signal), rowsX, rowsY, sums);
    correlate8<quarters>(simd::load(signal + 8), rowsX + 8, rowsY + 8, sums);
}

// For the positions p of two tracks: start plus the sum of signal[n] * h[n-p] from n = p to the end.
inline BothSums correlate(const Response &response, const int16_t *signal, int trackX, int trackY, Vector start) {
    const Vector *const rowsX = response.row(-trackX), *const rowsY = response.row(-trackY);
    BothSums sums = {TrackSums(start), TrackSums(start)};
    correlate16<1>(signal, rowsX, rowsY, sums);
    correlate16<2>(signal + 16, rowsX + 16, rowsY + 16, sums);
    correlate16<3>(signal + 32, rowsX + 32, rowsY + 32, sums);
    correlate16<4>(signal + 48, rowsX + 48, rowsY + 48, sums);
    return sums;
}

// The same sums, each doubled and saturated term by term.
inline int32_t correlateSaturating(const Response &response, const int16_t *signal, int position) {
    int32_t sum = 0;
    for (int n = position; n < positions; n++)
        sum = L_mac(sum, response.samples()[n - position], signal[n]);
    return sum;
}

// high(start + 2 * the energy of the response from each position to the end), saturated.
inline void energiesOf(const Response &response, int32_t start, TrackWords &energies) {
    const int16_t *h = response.samples();
    int64_t sum = start;
    for (int i = trackLength - 1; i >= 0; i--)
        for (int t = tracks - 1; t >= 0; t--, h++) {
            sum += 2 * *h * int64_t{*h};
            energies.words[t][i] = extract_h(static_cast<int32_t>(std::min<int64_t>(sum, max32)));
        }
}

// A sign counts as 32767 or -32768: mult(x, sign). That is not a negation.
inline int16_t timesSign(int16_t x, int16_t mask) {
    return mult(x, static_cast<int16_t>(mask ^ max16));
}
inline Vector timesSigns(Vector x, Vector masks) {
    // Positive: simd::leak<15>(x).
    const Vector loss = _mm_mulhi_epi16(x, simd::words(-2));
    return simd::negateSaturatedWhere(masks, _mm_add_epi16(x, _mm_andnot_si128(masks, loss)));
}

// Correlations of the responses at two positions, times the product of their signs: rows by position of the first track.
using CrossTerms = int16_t[trackLength][trackLength];

// R(p, q), the sum of h[n-p] * h[n-q], is R(p+4, q+4) and four products more, and R(p+4, q+4) is the neighbour in the row
// below. Takes for granted that the energy of h is at most 2^28, so that no sum overflows and no term exceeds 2^13.
inline void crossTermsBounded(const Response &response, const TrackWords &signs, int trackX, int trackY,
                              CrossTerms &terms) {
    const Vector rounding = simd::dwords(0x4000), one = simd::words(max16);
    const Vector *const newest = response.row(62 - trackY), *const older = response.row(60 - trackY);
    const Vector factorFront = _mm_xor_si128(signs.front(trackY), one);
    const Vector factorBack = _mm_xor_si128(signs.back(trackY), one);
    TrackSums sums(rounding);
    for (int i = trackLength - 1; i >= 0; i--) {
        const int16_t *const h = response.samples() + 62 - tracks * i - trackX;
        const Vector pairA = _mm_shuffle_epi32(simd::load32(h), 0);
        const Vector pairB = _mm_shuffle_epi32(simd::load32(h - 2), 0);
#pragma GCC unroll 4
        for (int q = 0; q < 4; q++) {
            const Vector above = q < 3 ? sums.quarter[q + 1] : rounding;
            const Vector products =
                _mm_add_epi32(_mm_madd_epi16(pairA, newest[-16 * q]), _mm_madd_epi16(pairB, older[-16 * q]));
            sums.quarter[q] = _mm_add_epi32(_mm_alignr_epi8(above, sums.quarter[q], 4), products);
        }
        // mult(v, 32767 or -32768) is the upper half of the product by 2v.
        const Vector sign = simd::words(signs.words[trackX][i]);
        const auto times = [sign](Vector v, Vector factor) {
            return _mm_mulhi_epi16(_mm_add_epi16(v, v), _mm_xor_si128(factor, sign));
        };
        simd::store(terms[i], times(sums.front<15>(), factorFront));
        simd::store(terms[i] + 8, times(sums.back<15>(), factorBack));
    }
}

// The same for every h: sums saturate term by term.
inline void crossTermsSaturating(const Response &response, const TrackWords &signs, int trackX, int trackY,
                                 CrossTerms &terms) {
    const int16_t *const h = response.samples();
    for (int diagonal = 1 - trackLength; diagonal < trackLength; diagonal++) {
        int32_t sum = 0x8000;
        int n = 0; // products so far
        for (int i = trackLength - 1 - std::max(diagonal, 0); i >= std::max(-diagonal, 0); i--) {
            const int j = i + diagonal, p = tracks * i + trackX, q = tracks * j + trackY;
            for (; n < positions - std::max(p, q); n++)
                sum = L_mac(sum, h[n], h[n + std::abs(p - q)]);
            const int sign = signs.words[trackX][i] ^ signs.words[trackY][j];
            terms[i][j] = timesSign(extract_h(sum), static_cast<int16_t>(sign));
        }
    }
}

inline void crossTermsOf(const Response &response, bool isBounded, const TrackWords &signs, int trackX, int trackY,
                         CrossTerms &terms) {
    if (isBounded)
        crossTermsBounded(response, signs, trackX, trackY, terms);
    else
        crossTermsSaturating(response, signs, trackX, trackY, terms);
}

} // namespace

} // namespace ryxsc::amrwb
