// SPDX-License-Identifier: BSD-2-Clause
// The error of a pair of gains, brought to one exponent.
#pragma once

#include <algorithm>
#include <cstddef>

#include "common/vector_quantiser_search.h"
#include "gsmamr/gain_steps.h"
#include "gsmamr/gain_tables.h"

namespace ryxsc::gsmamr {

// Terms with the scales of the gains in them, of which `scale` is that of the code gain.
struct ScaledTerms {
    Scaled terms[5];

    int largestExponent() const {
        return std::max(
            {terms[0].exponent, terms[1].exponent, terms[2].exponent, terms[3].exponent, terms[4].exponent});
    }
};
inline ScaledTerms withCodeGain(const FilteredEnergies &energies, int scale) {
    const Scaled *const f = energies.terms;
    return {{{f[0].mantissa, f[0].exponent - 13},
             {f[1].mantissa, f[1].exponent - 14},
             {f[2].mantissa, f[2].exponent + 15 + 2 * scale},
             {f[3].mantissa, f[3].exponent + scale},
             {f[4].mantissa, f[4].exponent + 1 + scale}}};
}

// In double precision, one bit below the largest exponent.
class ErrorTerms {
public:
    explicit ErrorTerms(const ScaledTerms &scaled) : ErrorTerms(scaled, scaled.largestExponent()) {}
    ErrorTerms(const ScaledTerms &scaled, int largestExponent) {
        for (int i = 0; i < 5; i++)
            terms_[i] = aligned(scaled.terms[i].mantissa, largestExponent + 1 - scaled.terms[i].exponent);
    }

    int32_t operator[](int i) const { return terms_[i]; }

private:
    int32_t terms_[5];
};

// Pitch gains and corrections of a table, in columns.
template <size_t size> struct GainColumns { alignas(16) int16_t pitchGain[size], correction[size]; };

// The corrections of the code gain's own table.
inline constexpr auto corrections = [] {
    GainColumns<codeGains.size()> columns = {};
    for (size_t i = 0; i < codeGains.size(); i++)
        columns.correction[i] = codeGains[i].correction;
    return columns;
}();

// The index of the smallest word, the first of equals.
template <size_t vectors> size_t firstSmallest(const simd::Vector (&values)[vectors]) {
    simd::Vector least = values[0];
    for (size_t k = 1; k < vectors; k++)
        least = _mm_min_epi16(least, values[k]);
    least = _mm_min_epi16(least, _mm_unpackhi_epi64(least, least));
    least = _mm_min_epi16(least, _mm_shuffle_epi32(least, _MM_SHUFFLE(2, 3, 0, 1)));
    least = _mm_min_epi16(least, _mm_shufflelo_epi16(least, _MM_SHUFFLE(2, 3, 0, 1)));
    least = simd::broadcastWord<0>(least);
    size_t k = 0;
    for (;; k++) {
        const int equal = _mm_movemask_epi8(_mm_cmpeq_epi16(values[k], least));
        if (equal != 0) return 8 * k + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(equal))) / 2;
    }
}

// The errors of eight rows at a time, undoubled. The recommendation's sums of doubled products saturate from 2^31 on; as
// long as no sum comes near 2^30, none does. The factors p and q are not negative, and a term is at most 2^29.
class ErrorLanes {
public:
    struct Terms {
        explicit Terms(const ErrorTerms &terms) {
            for (int i = 0; i < 5; i++) {
                low[i] = simd::words(static_cast<int16_t>(lowPart(terms[i])));
                high[i] = simd::words(static_cast<int16_t>(highPart(terms[i])));
                highAndOne[i] = _mm_unpacklo_epi16(high[i], simd::words(1));
            }
        }
        simd::Vector low[5], high[5], highAndOne[5];
    };

    ErrorLanes() = default;
    explicit ErrorLanes(int32_t start) : sums_{simd::dwords(start), simd::dwords(start)} {}

    void add(const Terms &terms, simd::Vector p, simd::Vector q) {
        addTerm(terms, 0, simd::mulShift<15>(p, p));
        addTerm(terms, 1, p);
        addTerm(terms, 2, simd::mulShift<15>(q, q));
        addTerm(terms, 3, q);
        addTerm(terms, 4, simd::mulShift<15>(q, p));
    }

    // Term i with the factor 2 * x * y of 32 bits.
    void addLong(const Terms &terms, int i, simd::Vector x, simd::Vector y) {
        addTerm(terms, i, simd::mulShift<15>(x, y));
        const simd::Vector low = _mm_and_si128(_mm_mullo_epi16(x, y), simd::words(max16));
        const simd::Vector rest = simd::mulShift<15>(low, terms.high[i]);
        addTo(sums_.front, simd::frontDwords(rest));
        addTo(sums_.back, simd::backDwords(rest));
    }
    void addShort(const Terms &terms, int i, simd::Vector x) { addTerm(terms, i, x); }

    const simd::Dwords &sums() const { return sums_; }
    // -1 in some bits where a sum came too near.
    simd::Vector exceeded() const { return exceeded_; }

private:
    void addTerm(const Terms &terms, int i, simd::Vector factor) {
        const simd::Vector rest = simd::mulShift<15>(factor, terms.low[i]);
        addTo(sums_.front, _mm_madd_epi16(_mm_unpacklo_epi16(factor, rest), terms.highAndOne[i]));
        addTo(sums_.back, _mm_madd_epi16(_mm_unpackhi_epi16(factor, rest), terms.highAndOne[i]));
    }
    void addTo(simd::Vector &sum, simd::Vector term) {
        sum = _mm_add_epi32(sum, term);
        exceeded_ = _mm_or_si128(exceeded_, _mm_cmpgt_epi32(_mm_abs_epi32(sum), simd::dwords((1 << 30) - (1 << 16))));
    }

    simd::Dwords sums_ = {_mm_setzero_si128(), _mm_setzero_si128()};
    simd::Vector exceeded_ = _mm_setzero_si128();
};

// The smallest error, the first of equals, from eight rows at a time: errors(row, lanes) adds them up and returns which rows
// are allowed. False where an error came too near the limit, and nothing is known.
template <class Errors> bool findSmallest(size_t rows, Errors errors, size_t &best) {
    Smallest smallest(1 << 30);
    simd::Vector exceeded = _mm_setzero_si128(), index = _mm_setr_epi32(0, 1, 2, 3);
    const simd::Vector four = simd::dwords(4);
    for (size_t row = 0; row < rows; row += 8) {
        ErrorLanes lanes;
        const simd::Vector allowed = errors(row, lanes);
        exceeded = _mm_or_si128(exceeded, lanes.exceeded());
        smallest.offer(lanes.sums().front, _mm_unpacklo_epi16(allowed, allowed), index);
        index = _mm_add_epi32(index, four);
        smallest.offer(lanes.sums().back, _mm_unpackhi_epi16(allowed, allowed), index);
        index = _mm_add_epi32(index, four);
    }
    best = smallest.get().index;
    return _mm_movemask_epi8(exceeded) == 0;
}

} // namespace ryxsc::gsmamr
