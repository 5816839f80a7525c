// SPDX-License-Identifier: BSD-2-Clause
// The recommendation's double-precision format: a 32-bit value x stands for h * 2^16 + 2 * l with h = x >> 16 and
// l = (x >> 1) & 0x7fff, so bit 0 does not count. Products of two such values leave out the low-by-low term.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/fixed_point.h"
#include "common/simd.h"

namespace ryxsc {

constexpr int32_t highPart(int32_t x) {
    return x >> 16;
}
constexpr int32_t lowPart(int32_t x) {
    return (x >> 1) & 0x7fff;
}
constexpr int32_t clearBit0(int32_t x) {
    return x & ~1;
}

// x * y / 2^31: Mpy_32. Low parts are not negative, so that only -2^15 times -2^15 in the high parts saturates.
constexpr int32_t multiply(int32_t x, int32_t y) {
    const int64_t high = std::min<int64_t>(int64_t{2} * highPart(x) * highPart(y), max32);
    const int32_t middle = (highPart(x) * lowPart(y) >> 15) + (lowPart(x) * highPart(y) >> 15);
    return static_cast<int32_t>(high + 2 * middle);
}

// x * y / 2^15: Mpy_32_16.
constexpr int32_t multiplyShort(int32_t x, int16_t y) {
    const int64_t high = std::min<int64_t>(int64_t{2} * highPart(x) * y, max32);
    return static_cast<int32_t>(high + 2 * (lowPart(x) * y >> 15));
}

// sat32(2 * multiplyShort(x, y)). Where multiplyShort() saturates, so does this.
constexpr int32_t doubledProduct(int32_t x, int16_t y) {
    return sat32(4 * ((int64_t{clearBit0(x)} * y) >> 16));
}

// floor(x * y / 2^16) of an even x: half of multiplyShort(), except where both are at the negative end.
constexpr int32_t halfProduct(int32_t x, int16_t y) {
    return static_cast<int32_t>((int64_t{x} * y) >> 16);
}

namespace lanes {

using simd::Vector;

// Words for the products of dwords and words: y in the upper halves of the dwords, and in the lower ones.
struct Words {
    Vector high, low;
};

// halfProduct() in four lanes, for even x.
inline Vector halfProduct(Vector x, const Words &y) {
    const Vector low = _mm_srai_epi32(_mm_madd_epi16(_mm_srli_epi16(x, 1), y.low), 15);
    return _mm_add_epi32(_mm_madd_epi16(x, y.high), low);
}

inline Vector clearBit0(Vector x) {
    return _mm_andnot_si128(simd::dwords(1), x);
}

// The sum of the four lanes (wrap-around).
inline int32_t total(Vector x) {
    const Vector pairs = simd::addDwordPairs(x);
    return _mm_cvtsi128_si32(_mm_add_epi32(pairs, _mm_srli_si128(pairs, 8)));
}

// sat32(x + y). An overflow shows in a sign that differs from those of both terms.
inline Vector addSaturated(Vector x, Vector y) {
    const Vector sum = _mm_add_epi32(x, y);
    const Vector overflow = _mm_srai_epi32(_mm_and_si128(_mm_xor_si128(sum, x), _mm_xor_si128(sum, y)), 31);
    const Vector limit = _mm_xor_si128(_mm_srai_epi32(x, 31), simd::dwords(max32));
    return _mm_or_si128(_mm_and_si128(overflow, limit), _mm_andnot_si128(overflow, sum));
}

// multiply() in four lanes, except where both high parts are -2^15.
inline Vector multiply(Vector x, Vector y) {
    const auto lowParts = [](Vector z) { return _mm_srli_epi32(_mm_slli_epi32(z, 16), 17); };
    const Vector xHigh = _mm_srli_epi32(x, 16), yHigh = _mm_srli_epi32(y, 16);
    const Vector cross = _mm_add_epi32(_mm_srai_epi32(_mm_madd_epi16(xHigh, lowParts(y)), 15),
                                       _mm_srai_epi32(_mm_madd_epi16(lowParts(x), yHigh), 15));
    return _mm_slli_epi32(_mm_add_epi32(_mm_madd_epi16(xHigh, yHigh), cross), 1);
}

} // namespace lanes

} // namespace ryxsc
