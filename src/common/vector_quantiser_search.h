// SPDX-License-Identifier: BSD-2-Clause
// Codebook searches of the LSF and ISF quantisers, four vectors at a time.
//
// A distortion of the recommendations is a sum of doubled products, saturated to 32 bits after every term. No term is
// negative, so it equals min(2 * S, 2^31 - 1) with the exact sum S of the undoubled products, and the searches compare
// S itself, up to 2^30. Saturated distortions are equal, and none of them is better than the start value.
#pragma once

#include <array>

#include "common/simd.h"
#include "common/vector_quantiser.h"

namespace ryxsc {

using simd::Vector;

// Four exact sums of non-negative terms of up to 2^31.
class ErrorSums {
public:
    void add(Vector terms) {
        sums = _mm_add_epi32(sums, terms);
        // A sum cannot wrap before one of the two upper bits has been seen in it.
        seen = _mm_or_si128(seen, sums);
    }

    // -1 where the sum is below 2^30.
    Vector valid() const { return _mm_cmpeq_epi32(_mm_srli_epi32(seen, 30), _mm_setzero_si128()); }
    // Where it is valid.
    Vector get() const { return sums; }
    // The sum, or 2^30 where it is larger.
    Vector saturated() const {
        const Vector isValid = valid();
        return _mm_or_si128(_mm_and_si128(isValid, sums), _mm_andnot_si128(isValid, simd::dwords(1 << 30)));
    }

private:
    Vector sums = _mm_setzero_si128();
    Vector seen = _mm_setzero_si128();
};

// The smallest value offered in any lane, and its index: the first among equals, 0 when nothing was smaller than the
// start.
class Smallest {
public:
    explicit Smallest(int32_t start) : values(simd::dwords(start)) {}

    void offer(Vector offered, Vector valid, Vector index) {
        const Vector better = _mm_and_si128(valid, _mm_cmpgt_epi32(values, offered));
        values = select(better, offered, values);
        indices = select(better, index, indices);
    }

    simd::IndexedDword get() const { return simd::smallest(values, indices); }

private:
    static Vector select(Vector mask, Vector yes, Vector no) {
        return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
    }

    Vector values;
    Vector indices = _mm_setzero_si128();
};

inline constexpr int32_t saturatedSum = 1 << 30;

// Values 2p and 2p + 1 of x in all four dwords.
template <size_t pairs> struct Pairs { Vector pair[pairs]; };
inline Pairs<3> pairsOf(Vector x) {
    return {{_mm_shuffle_epi32(x, 0x00), _mm_shuffle_epi32(x, 0x55), _mm_shuffle_epi32(x, 0xaa)}};
}
inline Pairs<5> pairsOf(Vector low, Vector high) {
    return {{_mm_shuffle_epi32(low, 0x00), _mm_shuffle_epi32(low, 0x55), _mm_shuffle_epi32(low, 0xaa),
             _mm_shuffle_epi32(low, 0xff), _mm_shuffle_epi32(high, 0x00)}};
}

// The given number of values.
template <size_t values> Pairs<(values + 1) / 2> loadPairs(const int16_t *from) {
    Pairs<(values + 1) / 2> loaded;
    for (size_t p = 0; p < values / 2; p++)
        loaded.pair[p] = _mm_shuffle_epi32(simd::load32(from + 2 * p), 0);
    if constexpr (values % 2 != 0) loaded.pair[values / 2] = _mm_shuffle_epi32(simd::loadWord(from + values - 1), 0);
    return loaded;
}

// S for the vectors 4 * group .. 4 * group + 3; terms(difference, p) makes the products of pair p.
template <class Book, class Terms>
ErrorSums errorsOfFour(const Book &book, size_t group, const Pairs<Book::pairs> &target, Terms terms) {
    ErrorSums sums;
    for (size_t p = 0; p < Book::pairs; p++)
        sums.add(terms(_mm_subs_epi16(target.pair[p], simd::loadAligned(book.quads[group][p])), p));
    return sums;
}

inline Vector square(Vector difference, size_t) {
    return _mm_madd_epi16(difference, difference);
}

// The smallest distortion and the index of its vector.
template <class Book, class Terms>
simd::IndexedDword nearest(const Book &book, const Pairs<Book::pairs> &target, Terms terms) {
    Smallest best(saturatedSum);
    Vector index = _mm_setr_epi32(0, 1, 2, 3);
    for (size_t group = 0; group < Book::size / 4; group++) {
        const ErrorSums sums = errorsOfFour(book, group, target, terms);
        best.offer(sums.get(), sums.valid(), index);
        index = _mm_add_epi32(index, simd::dwords(4));
    }
    return best.get();
}

// The four candidates with the smallest errors, the best first and the earlier offer before an equal one.
template <class Error> class Candidates {
public:
    static constexpr size_t count = 4;

    // Only errors below the start are taken; the rest names the places that remain.
    explicit Candidates(Error start, const std::array<size_t, count> &rest = {}) : names(rest) { errors.fill(start); }

    void offer(Error error, size_t name) {
        if (!(error < errors[count - 1])) return;
        size_t place = count - 1;
        for (; place > 0 && error < errors[place - 1]; place--) {
            errors[place] = errors[place - 1];
            names[place] = names[place - 1];
        }
        errors[place] = error;
        names[place] = name;
    }

    size_t operator[](size_t place) const { return names[place]; }
    const size_t *begin() const { return names.data(); }
    const size_t *end() const { return names.data() + count; }

private:
    std::array<Error, count> errors;
    std::array<size_t, count> names;
};

} // namespace ryxsc
