// SPDX-License-Identifier: BSD-2-Clause
// The arithmetic of Annex G on whole vectors, and on the four of a cycle.
#pragma once

#include <algorithm>

#include "common/simd.h"
#include "g728/arithmetic.h"

namespace ryxsc::g728 {

// Finishes x before anything more is loaded: sums that fill all registers have none for products ahead of them.
inline void finishHere(simd::Vector &x) {
    asm volatile("" : "+x"(x) : : "memory");
}

// x / 2, rounded up.
inline simd::Vector halved(simd::Vector x) {
    return _mm_srai_epi32(_mm_add_epi32(x, simd::dwords(1)), 1);
}

// x >> 16, rounded and limited, of eight dwords.
inline simd::Vector roundedUpperHalves(simd::Vector front, simd::Vector back) {
    return _mm_packs_epi32(halved(_mm_srai_epi32(front, 15)), halved(_mm_srai_epi32(back, 15)));
}

// x << count, limited.
inline simd::Vector shiftLeftLimited(simd::Vector x, simd::Vector count) {
    const simd::Vector shifted = _mm_sll_epi32(x, count);
    const simd::Vector fits = _mm_cmpeq_epi32(_mm_sra_epi32(shifted, count), x);
    return simd::select(fits, shifted, _mm_xor_si128(_mm_srai_epi32(x, 31), simd::dwords(max32)));
}

// The bits that the samples use, without the sign: a value below 0 takes as many as its one's complement. len is at least 8.
template <int len> int16_t usedBits(const int16_t *src) {
    using simd::Vector;
    Vector largest = _mm_setzero_si128(), smallest = simd::words(-1);
    for (int i = 0; i < len; i += 8) {
        const Vector x = simd::load(src + std::min(i, len - 8));
        largest = _mm_max_epi16(largest, x);
        smallest = _mm_min_epi16(smallest, x);
    }
    return simd::bitsOfWords(_mm_or_si128(largest, _mm_xor_si128(smallest, simd::words(-1))));
}

// A count for shifts of all words: of those to the left (negative: to the right) after which the word of largest magnitude takes
// `bits` bits, `largest` at most. A value below 0 takes as many bits as its one's complement. The exponent of a float says it
// without a way through scalar registers.
inline simd::Vector normalisationCount(simd::Vector x, int bits, int largest) {
    simd::Vector used = simd::onesMagnitude(x);
    used = _mm_or_si128(used, _mm_unpackhi_epi64(used, used));
    used = _mm_or_si128(used, _mm_srli_epi64(used, 32));
    used = _mm_or_si128(used, _mm_srli_epi64(used, 16));
    const simd::Vector exponent = _mm_srli_epi32(simd::floatBits(_mm_and_si128(used, _mm_cvtsi32_si128(0xffff))), 23);
    return _mm_min_epi16(_mm_sub_epi32(_mm_cvtsi32_si128(bits + 125), exponent), _mm_cvtsi32_si128(largest));
}
inline simd::Vector shiftedByCount(simd::Vector x, simd::Vector count) {
    const simd::Vector zero = _mm_setzero_si128();
    const simd::Vector left = _mm_max_epi16(count, zero), right = _mm_max_epi16(_mm_sub_epi32(zero, count), zero);
    return _mm_sra_epi16(_mm_sll_epi16(x, left), right);
}

// Shifts five words, zeros behind them, so that the one of largest magnitude takes `bits` bits, and returns by how much to the
// left.
inline int normaliseFive(simd::Vector &x, int bits) {
    const simd::Vector count = normalisationCount(x, bits, bits - 1);
    x = bits == 16 ? _mm_sll_epi16(x, count) : shiftedByCount(x, count);
    return _mm_cvtsi128_si32(count);
}

inline simd::Vector loadFive(const int16_t *src) {
    return _mm_unpacklo_epi64(simd::load64(src), simd::loadWord(src + 4));
}
// Of the first five words, zeros behind them.
inline simd::Vector reversedFive(simd::Vector x) {
    return _mm_shuffle_epi8(x, _mm_setr_epi8(8, 9, 6, 7, 4, 5, 2, 3, 0, 1, -1, -1, -1, -1, -1, -1));
}
inline void storeFive(int16_t *dst, simd::Vector x) {
    simd::store64(dst, x);
    simd::storeWord(dst + 4, _mm_unpackhi_epi64(x, x));
}

// Words of the given exponent in Q2, rounded down and limited.
inline simd::Vector inQ2(simd::Vector x, int exponent) {
    if (exponent >= 2) return _mm_sra_epi16(x, _mm_cvtsi32_si128(exponent - 2));
    const simd::Vector left = _mm_cvtsi32_si128(std::min(2 - exponent, 16)); // 16 places limit whatever is not 0
    return _mm_packs_epi32(_mm_sll_epi32(simd::frontDwords(x), left), _mm_sll_epi32(simd::backDwords(x), left));
}

// The samples of a cycle, four vectors of five in a row with zeros behind each, without a word stored twice.
inline void storeCycle(int16_t *dst, const simd::Vector *vectors) {
    simd::store(dst, _mm_or_si128(vectors[0], _mm_slli_si128(vectors[1], 10)));
    const simd::Vector second = _mm_or_si128(_mm_srli_si128(vectors[1], 6), _mm_slli_si128(vectors[2], 4));
    simd::store(dst + 8, _mm_or_si128(second, _mm_slli_si128(vectors[3], 14)));
    simd::store64(dst + 16, _mm_srli_si128(vectors[3], 2));
}

// n words; src and dst do not overlap. Each vector is finished by itself, or a compiler would make it a call of memcpy, or
// an instruction that takes as long as the rest.
inline void copyWords(const int16_t *src, int n, int16_t *dst) {
    const auto copy = [=](int at) {
        simd::Vector x = simd::load(src + at);
        simd::finish(x);
        simd::store(dst + at, x);
    };
    if (n >= 8) {
        for (int at = 0; at + 8 < n; at += 8)
            copy(at);
        copy(n - 8);
    } else {
        for (int i = 0; i < n; i++)
            dst[i] = src[i];
    }
}

} // namespace ryxsc::g728
