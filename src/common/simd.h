// SPDX-License-Identifier: BSD-2-Clause
// The SSSE3 idioms in use, each with its exact integer formula and the inputs on which the instruction differs from it.
// Lanes are 16-bit words unless a name says otherwise. Masks are -1 (true) or 0 in every lane.
#pragma once

#include <tmmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/fixed_point.h"

namespace ryxsc::simd {

using Vector = __m128i;

// Unaligned on purpose: alignment is never a condition on the caller's vectors.
inline Vector load(const void *from) {
    return _mm_loadu_si128(static_cast<const Vector *>(from));
}
inline void store(void *to, Vector x) {
    _mm_storeu_si128(static_cast<Vector *>(to), x);
}
// For tables of our own: an aligned load can become the operand of the instruction that uses it.
inline Vector loadAligned(const void *from) {
    return _mm_load_si128(static_cast<const Vector *>(from));
}
// The lower 8 or 4 bytes, the rest zero.
inline Vector load64(const void *from) {
    return _mm_loadu_si64(from);
}
inline Vector load32(const void *from) {
    return _mm_loadu_si32(from);
}
// One word in lane 0, the rest zero.
inline Vector loadWord(const int16_t *from) {
    return _mm_cvtsi32_si128(static_cast<uint16_t>(*from));
}
inline void store64(void *to, Vector x) {
    _mm_storeu_si64(to, x);
}
inline void store32(void *to, Vector x) {
    _mm_storeu_si32(to, x);
}
inline void storeWord(int16_t *to, Vector x) {
    *to = static_cast<int16_t>(_mm_cvtsi128_si32(x));
}

inline Vector words(int16_t x) {
    return _mm_set1_epi16(x);
}
// Words x and y in all dwords, as factors of _mm_madd_epi16().
inline Vector wordPairs(int16_t x, int16_t y) {
    return _mm_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(y) << 16 | static_cast<uint16_t>(x)));
}
inline Vector dwords(int32_t x) {
    return _mm_set1_epi32(x);
}

// The word at the given byte position (even, at most 14) in all eight lanes.
template <int byte> Vector broadcastWord(Vector x) {
    return _mm_shuffle_epi8(x, words(static_cast<int16_t>(((byte + 1) << 8) | byte)));
}

// Lane 7 first.
inline Vector reverseWords(Vector x) {
    return _mm_shuffle_epi8(x, _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
}

inline Vector clampWords(Vector x, Vector low, Vector high) {
    return _mm_max_epi16(_mm_min_epi16(x, high), low);
}

// yes where the mask is set, no elsewhere.
inline Vector select(Vector mask, Vector yes, Vector no) {
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

// -1 where x is negative.
inline Vector signMask(Vector x) {
    return _mm_srai_epi16(x, 15);
}
// sat16(-x) where the mask is set, x elsewhere; -32768 becomes 32767.
inline Vector negateSaturatedWhere(Vector mask, Vector x) {
    return _mm_subs_epi16(_mm_xor_si128(x, mask), mask);
}
// One's complement magnitude: x for x >= 0, else -(x + 1).
inline Vector onesMagnitude(Vector x) {
    return _mm_xor_si128(x, signMask(x));
}

// The largest of the eight words.
inline int16_t largestWord(Vector x) {
    x = _mm_max_epi16(x, _mm_unpackhi_epi64(x, x));
    x = _mm_max_epi16(x, _mm_srli_si128(x, 4));
    x = _mm_max_epi16(x, _mm_srli_si128(x, 2));
    return static_cast<int16_t>(_mm_cvtsi128_si32(x));
}
// The bits that any of the eight words has.
inline int16_t bitsOfWords(Vector x) {
    x = _mm_or_si128(x, _mm_unpackhi_epi64(x, x));
    x = _mm_or_si128(x, _mm_srli_si128(x, 4));
    x = _mm_or_si128(x, _mm_srli_si128(x, 2));
    return static_cast<int16_t>(_mm_cvtsi128_si32(x));
}

// (x * (2^shift - 1)) >> shift, exactly, for 1 <= shift <= 15: x + floor(-x / 2^shift), and pmulhw gives the floor.
template <int shift> Vector leak(Vector x) {
    return _mm_add_epi16(x, _mm_mulhi_epi16(x, words(static_cast<int16_t>(-(1 << (16 - shift))))));
}

// (x * y) >> shift with the product in 32 bits, reduced to 16 bits, 1 <= shift <= 15.
template <int shift> Vector mulShift(Vector x, Vector y) {
    const Vector high = _mm_mulhi_epi16(x, y);
    const Vector low = _mm_mullo_epi16(x, y);
    return _mm_or_si128(_mm_slli_epi16(high, 16 - shift), _mm_srli_epi16(low, shift));
}

// sat16((x * y) >> shift) with the product in 32 bits.
template <int shift> Vector mulShiftSaturated(Vector x, Vector y) {
    const Vector low = _mm_mullo_epi16(x, y);
    const Vector high = _mm_mulhi_epi16(x, y);
    return _mm_packs_epi32(_mm_srai_epi32(_mm_unpacklo_epi16(low, high), shift),
                           _mm_srai_epi32(_mm_unpackhi_epi16(low, high), shift));
}

// sat32(x - y) of dwords: where the signs of x and y differ and that of the difference is not that of x, the limit on
// the side of x.
inline Vector subtractSaturatedDwords(Vector x, Vector y) {
    const Vector difference = _mm_sub_epi32(x, y);
    const Vector overflow = _mm_and_si128(_mm_xor_si128(x, y), _mm_xor_si128(x, difference));
    const Vector saturate = _mm_srai_epi32(overflow, 31);
    const Vector limit = _mm_xor_si128(_mm_srai_epi32(x, 31), dwords(0x7fffffff));
    return _mm_or_si128(_mm_andnot_si128(saturate, difference), _mm_and_si128(saturate, limit));
}

// Makes the compiler finish x here. Left alone it reorders long sums, holds too many products at a time and spills them.
inline void finish(Vector &x) {
    asm("" : "+x"(x));
}

// sat16((x * y + 16384) >> 15). pmulhrsw gives -32768 for -32768 * -32768, and for nothing else; 32767 takes its place.
inline Vector roundedProductQ15(Vector x, Vector y) {
    const Vector product = _mm_mulhrs_epi16(x, y);
    return _mm_xor_si128(product, _mm_cmpeq_epi16(product, words(min16)));
}

// Multiplication by w, -16384 <= w <= 32767: (w * x) >> 15. pmulhw sees 2 * w as negative from w = 16384 on and gives x
// less.
class Q15Factor {
public:
    explicit Q15Factor(Vector w) : doubled(_mm_add_epi16(w, w)), large(_mm_cmpgt_epi16(w, simd::words(0x3fff))) {}

    Vector operator*(Vector x) const { return _mm_add_epi16(_mm_mulhi_epi16(doubled, x), _mm_and_si128(large, x)); }

private:
    Vector doubled, large;
};

// Lanes 0 to 3 and lanes 4 to 7 as dwords.
struct Dwords {
    Vector front, back;
};
// x * y.
inline Dwords products(Vector x, Vector y) {
    const Vector low = _mm_mullo_epi16(x, y);
    const Vector high = _mm_mulhi_epi16(x, y);
    return {_mm_unpacklo_epi16(low, high), _mm_unpackhi_epi16(low, high)};
}
// x * u + y * v. Wraps in one case, all four factors -32768: pmaddwd gives -2^31 then.
inline Dwords sumsOfTwoProducts(Vector x, Vector u, Vector y, Vector v) {
    return {_mm_madd_epi16(_mm_unpacklo_epi16(x, y), _mm_unpacklo_epi16(u, v)),
            _mm_madd_epi16(_mm_unpackhi_epi16(x, y), _mm_unpackhi_epi16(u, v))};
}

// x alone, widened.
inline Vector frontDwords(Vector x) {
    return _mm_srai_epi32(_mm_unpacklo_epi16(x, x), 16);
}
inline Vector backDwords(Vector x) {
    return _mm_srai_epi32(_mm_unpackhi_epi16(x, x), 16);
}

// sat16((x + 2^(sf-1)) >> sf), the rule of scale factors: see ryxsc::scaleDown().
class ScaleDown {
public:
    explicit ScaleDown(int sf) : ScaleDown(roundingConstant(sf), sf) {}
    ScaleDown(int32_t rounding, int shift) : rounding_(dwords(rounding)), shift_(_mm_cvtsi32_si128(shift)) {}

    // psrad takes every count above 31 for 31.
    Vector operator()(Dwords x) const {
        return _mm_packs_epi32(_mm_sra_epi32(_mm_add_epi32(x.front, rounding_), shift_),
                               _mm_sra_epi32(_mm_add_epi32(x.back, rounding_), shift_));
    }

private:
    Vector rounding_, shift_;
};

// Dwords 0 and 1 hold the sum of the first two, dwords 2 and 3 the sum of the last two (wrap-around).
inline Vector addDwordPairs(Vector x) {
    return _mm_add_epi32(x, _mm_shuffle_epi32(x, _MM_SHUFFLE(2, 3, 0, 1)));
}

// Qwords: dword 0 plus dword 1, and dword 2 plus dword 3, of unsigned dwords.
inline Vector sumsOfUnsignedDwords(Vector x) {
    const Vector low = _mm_and_si128(x, _mm_set1_epi64x(0xffffffff));
    return _mm_add_epi64(low, _mm_srli_epi64(x, 32));
}
inline int64_t sumOfQwords(Vector x) {
    return _mm_cvtsi128_si64(_mm_add_epi64(x, _mm_unpackhi_epi64(x, x)));
}

// The sum of the four dwords (wrap-around).
inline int32_t sumOfDwords(Vector x) {
    x = _mm_add_epi32(x, _mm_unpackhi_epi64(x, x));
    return _mm_cvtsi128_si32(addDwordPairs(x));
}
// The sums of the dwords of four vectors (wrap-around).
inline Vector sumsOfDwords(const Vector *x) {
    return _mm_hadd_epi32(_mm_hadd_epi32(x[0], x[1]), _mm_hadd_epi32(x[2], x[3]));
}

// Of four dwords, the smallest and the index that goes with it; of equal ones the smallest index.
// Through scalar registers, but without branches, which nothing could predict.
struct IndexedDword {
    int32_t value;
    uint32_t index;
};
inline IndexedDword smallest(Vector values, Vector indices) {
    const auto keyOf = [](Vector pair) { return _mm_cvtsi128_si64(pair); };
    const Vector low = _mm_unpacklo_epi32(indices, values);
    const Vector high = _mm_unpackhi_epi32(indices, values);
    const int64_t first = std::min(keyOf(low), keyOf(_mm_unpackhi_epi64(low, low)));
    const int64_t second = std::min(keyOf(high), keyOf(_mm_unpackhi_epi64(high, high)));
    const int64_t key = std::min(first, second);
    return {static_cast<int32_t>(key >> 32), static_cast<uint32_t>(key)};
}

// The index of the last of 8 or 16 falling words that is at or above x, which is the same in all lanes; the first one must
// be.
inline int lastNotBelow(const int16_t *eight, Vector x) {
    const auto below = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpgt_epi16(x, load(eight))));
    return floorLog2(~below & 0xffff) / 2;
}
inline int lastNotBelow16(const int16_t *sixteen, Vector x) {
    const Vector masks = _mm_packs_epi16(_mm_cmpgt_epi16(x, load(sixteen)), _mm_cmpgt_epi16(x, load(sixteen + 8)));
    return floorLog2(~static_cast<uint32_t>(_mm_movemask_epi8(masks)) & 0xffff);
}

// The bits of four dwords as floats. Exact, whatever the rounding mode, for magnitudes up to 2^24.
inline Vector floatBits(Vector x) {
    return _mm_castps_si128(_mm_cvtepi32_ps(x));
}

// sat16 of four dwords in words 0 to 3, and again in words 4 to 7.
inline Vector saturateDwords(Vector x) {
    return _mm_packs_epi32(x, x);
}

} // namespace ryxsc::simd
