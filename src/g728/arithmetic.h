// SPDX-License-Identifier: BSD-2-Clause
// Arithmetic of ITU-T G.728, Annex G: shifts by any count, normalisation to a number of bits, quotients with an exponent,
// and vectors of five samples in block floating point.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>

#include "common/fixed_point.h"

namespace ryxsc::g728 {

inline constexpr int vectorLength = 5;
inline constexpr int cycleVectors = 4, cycleLength = cycleVectors * vectorLength; // of an adaptation cycle
inline constexpr int synthesisOrder = 50;
inline constexpr int order = 10;                // of the log-gain predictor, the weighting filter and the post-filter
inline constexpr int minLag = 20, maxLag = 140; // of the pitch

constexpr bool isLag(int lag) {
    return lag >= minLag && lag <= maxLag;
}

// Any count; from 31 on only the sign is left.
constexpr int32_t shiftRight(int32_t x, int count) {
    return x >> std::min(count, 31);
}
// x * 2^count, rounded down; a result beyond 32 bits is limited.
constexpr int32_t shiftLimited(int64_t x, int count) {
    if (count <= 0) return sat32(x >> std::min(-count, 63));
    // 32 places limit whatever is not 0.
    return sat32(int64_t{sat32(x)} * (int64_t{1} << std::min(count, 32)));
}

// x >> 16, rounded, limited at the top.
constexpr int16_t roundUpper(int32_t x) {
    return static_cast<int16_t>(std::min(((x >> 15) + 1) >> 1, int32_t{max16}));
}

// x >> shift, rounded and limited: the upper half of a limited 32-bit number. Limits are rare: with a branch nothing that
// follows waits for them.
template <int shift> int16_t upperOf(int64_t x) {
    const int64_t rounded = (x + (1 << (shift - 1))) >> shift;
    if (rounded != static_cast<int16_t>(rounded)) [[unlikely]]
        return rounded < 0 ? min16 : max16;
    return static_cast<int16_t>(rounded);
}

// The count of left shifts (negative: right shifts) that brings x into `bits` bits without a redundant one; bits - 1 for 0.
constexpr int normalisation(int32_t x, int bits) {
    const auto magnitude = static_cast<uint32_t>(x < 0 ? ~x : x);
    return x == 0 ? bits - 1 : std::countl_zero(magnitude) - 1 - (32 - bits);
}

// A number mantissa * 2^-exponent.
struct Scaled {
    int16_t mantissa;
    int exponent;
};
inline constexpr Scaled one = {16384, 14};

// x * 2^-exponent with all 16 bits in use.
constexpr Scaled normalised(int32_t x, int exponent) {
    const int shift = normalisation(x, 32);
    return {roundUpper(static_cast<int32_t>(static_cast<uint32_t>(x) << shift)), exponent + shift - 16};
}

// The quotient to nearest, ties towards zero; den is positive.
constexpr Scaled divide(Scaled num, Scaled den) {
    uint32_t n = static_cast<uint32_t>(std::abs(num.mantissa));
    const auto d = static_cast<uint32_t>(den.mantissa);
    int exponent = num.exponent - den.exponent + 14;
    if (n < d) {
        exponent++;
        n *= 2;
    }
    const auto quotient = static_cast<int32_t>(std::min<uint32_t>((32768 * n + d - 1) / (2 * d), 32767));
    return {static_cast<int16_t>(num.mantissa < 0 ? -quotient : quotient), exponent};
}

// The exponents that callers hold are 16-bit.
constexpr int16_t asExponent(int x) {
    return sat16(x);
}

} // namespace ryxsc::g728
