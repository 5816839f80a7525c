// SPDX-License-Identifier: BSD-2-Clause
// Half-band splits of the voice activity detectors' filter banks (3GPP TS 26.094 and TS 26.194), which form a tree. Each
// split takes a pair of neighbouring samples through all-pass sections and makes their sum and difference the next samples
// of two bands; a third-order split has a section for the second sample only.
//
// All splits of a depth stand side by side in one vector, a pair in each dword. Two vectors of results, one word per
// band, interleaved, are the pairs of the next depth; so the whole tree stays in registers.
#pragma once

#include "common/simd.h"

namespace ryxsc::half_band {

using simd::Vector;

// Coefficients of the all-pass sections, Q15: of the first and the second sample of a fifth-order split, of the second
// sample of a third-order split.
inline constexpr int16_t firstOfFifth = 21955;
inline constexpr int16_t secondOfFifth = 6390;
inline constexpr int16_t secondOfThird = 13363;

// One all-pass section per word, every operation saturated:
//
//     u = x - c * memory    y = memory + c * u    memory = u
//
// with truncated products. They are the upper halves of those with 2c; where 2c is 32768 or more, with 2c - 65536 and x
// added.
class Sections {
public:
    // A coefficient of 0 stands for no section.
    Sections(Vector coefficients, Vector memory)
        : factors_(_mm_add_epi16(coefficients, coefficients)), large_(simd::signMask(factors_)),
          absent_(_mm_cmpeq_epi16(coefficients, _mm_setzero_si128())), memory_(memory), product_(scaled(memory)) {}

    Vector memory() const { return memory_; }

    [[gnu::always_inline]] Vector filter(Vector x) {
        const Vector u = _mm_subs_epi16(x, product_);
        product_ = scaled(u);
        const Vector y = _mm_adds_epi16(memory_, product_);
        memory_ = u;
        return y;
    }

    // Words without a section hand x through.
    [[gnu::always_inline]] Vector filterOrPass(Vector x) { return simd::select(absent_, x, filter(x)); }

private:
    [[gnu::always_inline]] Vector scaled(Vector x) const {
        return _mm_add_epi16(_mm_mulhi_epi16(x, factors_), _mm_and_si128(x, large_));
    }

    Vector factors_, large_, absent_;
    Vector memory_, product_; // c * memory
};

// Sum and difference of each pair: the sums in words 0 to 3, the differences in words 4 to 7. They are saturated, and
// mostly halved before that (AMR-WB) or after it (GSM-AMR).
enum class Halving { none, first, last };

template <Halving halving> [[gnu::always_inline]] inline Vector combine(Vector pairs) {
    const Vector alternating = _mm_setr_epi16(1, -1, 1, -1, 1, -1, 1, -1);
    constexpr int shift = halving == Halving::first ? 1 : 0;
    const Vector sums = _mm_srai_epi32(_mm_madd_epi16(pairs, simd::words(1)), shift);
    const Vector differences = _mm_srai_epi32(_mm_madd_epi16(pairs, alternating), shift);
    const Vector words = _mm_packs_epi32(sums, differences);
    return halving == Halving::last ? _mm_srai_epi16(words, 1) : words;
}

// The first depth, a fifth-order split: eight samples to words L L L L H H H H.
template <Halving halving> [[gnu::always_inline]] inline Vector splitEight(Vector x, Sections &sections) {
    const Vector a = sections.filter(x);
    const Vector b = sections.filter(_mm_srli_si128(x, 4));
    const Vector c = sections.filter(_mm_srli_si128(x, 8));
    const Vector d = sections.filter(_mm_srli_si128(x, 12));
    return combine<halving>(_mm_unpacklo_epi64(_mm_unpacklo_epi32(a, b), _mm_unpacklo_epi32(c, d)));
}

// The second one, two fifth-order splits: words L L L L H H H H to pairs LL, HL, LH, HH.
template <Halving halving> [[gnu::always_inline]] inline Vector splitBoth(Vector bands, Sections &sections) {
    const Vector x = _mm_shuffle_epi32(bands, _MM_SHUFFLE(3, 1, 2, 0));
    const Vector earlier = sections.filter(x);
    return combine<halving>(_mm_unpacklo_epi32(earlier, sections.filter(_mm_srli_si128(x, 8))));
}

// The pairs of two successive results: of the sums and of the differences.
struct SplitPairs {
    Vector sums, differences;

    SplitPairs(Vector earlier, Vector later)
        : sums(_mm_unpacklo_epi16(earlier, later)), differences(_mm_unpackhi_epi16(earlier, later)) {}

    // Dwords 0 and 2 of both. No split follows on the other ones.
    Vector even() const {
        const __m128 mixed =
            _mm_shuffle_ps(_mm_castsi128_ps(sums), _mm_castsi128_ps(differences), _MM_SHUFFLE(2, 0, 2, 0));
        return _mm_castps_si128(mixed);
    }
};

// Sum of the magnitudes of both words of each pair; that of -32768 is 32767.
class Magnitudes {
public:
    [[gnu::always_inline]] void add(Vector pairs) {
        const Vector magnitudes = _mm_max_epi16(pairs, _mm_subs_epi16(_mm_setzero_si128(), pairs));
        sums_ = _mm_add_epi32(sums_, _mm_madd_epi16(magnitudes, simd::words(1)));
    }
    [[gnu::always_inline]] void add(const SplitPairs &pairs, Magnitudes &ofDifferences) {
        add(pairs.sums);
        ofDifferences.add(pairs.differences);
    }

    int32_t at(size_t dword) const {
        alignas(16) int32_t sums[4];
        simd::store(sums, sums_);
        return sums[dword];
    }
    void clear() { sums_ = _mm_setzero_si128(); }

private:
    Vector sums_ = _mm_setzero_si128();
};

} // namespace ryxsc::half_band
