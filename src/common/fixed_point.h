// SPDX-License-Identifier: BSD-2-Clause
// Basic operators of the ITU-T (G.191) and ETSI/3GPP fixed-point recommendations under their usual names. 16-bit words
// and 32-bit longs, saturating; no overflow flag: a caller that must know asks for it in so many words. Where a
// recommendation needs wrap-around instead, the wrap operations at the top say so.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

namespace ryxsc {

inline constexpr int16_t max16 = 0x7fff;
inline constexpr int16_t min16 = -0x8000;
inline constexpr int32_t max32 = 0x7fffffff;
inline constexpr int32_t min32 = -0x7fffffff - 1;

// Wrap-around: the low bits, as a signed value.
constexpr int16_t wrap16(int32_t x) {
    return static_cast<int16_t>(x);
}
constexpr int32_t wrapAdd32(int32_t x, int32_t y) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) + static_cast<uint32_t>(y));
}
constexpr int32_t wrapSub32(int32_t x, int32_t y) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) - static_cast<uint32_t>(y));
}
constexpr int32_t wrapMul32(int32_t x, int32_t y) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) * static_cast<uint32_t>(y));
}

// What a right shift by sf bits adds in order to round: 2^(sf-1) modulo 2^32, so nothing from 33 on; nothing for sf = 0.
constexpr int32_t roundingConstant(int sf) {
    return sf < 1 || sf > 32 ? 0 : static_cast<int32_t>(uint32_t{1} << (sf - 1));
}
// A sum scaled down by sf >= 0 bits, rounded; the rounding constant is added with wrap-around, the shift limited to 31.
constexpr int32_t scaleDown(int32_t x, int sf) {
    return wrapAdd32(x, roundingConstant(sf)) >> std::min(sf, 31);
}

// Saturation.
constexpr int16_t sat16(int32_t x) {
    return static_cast<int16_t>(std::clamp<int32_t>(x, min16, max16));
}
constexpr int32_t sat32(int64_t x) {
    return static_cast<int32_t>(std::clamp<int64_t>(x, min32, max32));
}

// 16-bit operators.
constexpr int16_t extract_h(int32_t x) {
    return static_cast<int16_t>(x >> 16);
}
constexpr int16_t extract_l(int32_t x) {
    return wrap16(x);
}
constexpr int16_t add(int16_t x, int16_t y) {
    return sat16(x + y);
}
constexpr int16_t sub(int16_t x, int16_t y) {
    return sat16(x - y);
}
constexpr int16_t negate(int16_t x) {
    return sat16(-x);
}
constexpr int16_t abs_s(int16_t x) {
    return sat16(x < 0 ? -x : x);
}
constexpr int16_t mult(int16_t x, int16_t y) {
    return sat16((x * y) >> 15);
}
constexpr int16_t mult_r(int16_t x, int16_t y) {
    return sat16((x * y + 0x4000) >> 15);
}

// Shifts take any count; a negative one shifts the other way.
constexpr int16_t shr(int16_t x, int count);
constexpr int16_t shl(int16_t x, int count) {
    if (count < 0) return shr(x, count < -16 ? 16 : -count);
    return count > 15 ? sat16(x * 65536) : sat16(x * (1 << count));
}
constexpr int16_t shr(int16_t x, int count) {
    if (count < 0) return shl(x, count < -16 ? 16 : -count);
    return static_cast<int16_t>(x >> std::min(count, 15));
}
constexpr int16_t shr_r(int16_t x, int count) {
    if (count <= 0) return shr(x, count);
    return count > 15 ? int16_t{0} : static_cast<int16_t>((x + (1 << (count - 1))) >> count);
}

// Number of left shifts that normalise; 0 for x = 0.
constexpr int16_t norm_s(int16_t x) {
    if (x == 0) return 0;
    const auto magnitude = static_cast<uint16_t>(x < 0 ? ~x : x);
    return static_cast<int16_t>(std::countl_zero(magnitude) - 1);
}

// Quotient num / den in Q15 for 0 <= num <= den, den > 0; 32767 for num = den.
constexpr int16_t div_s(int16_t num, int16_t den) {
    return num == den ? max16 : static_cast<int16_t>((num << 15) / den);
}

// 32-bit operators.
constexpr int32_t L_deposit_h(int16_t x) {
    return x * 65536;
}
constexpr int32_t L_deposit_l(int16_t x) {
    return x;
}
constexpr int32_t L_add(int32_t x, int32_t y) {
    return sat32(int64_t{x} + y);
}
constexpr int32_t L_sub(int32_t x, int32_t y) {
    return sat32(int64_t{x} - y);
}
// The same for chains of dependent steps where saturation is rare: a predicted branch leaves one instruction per step.
constexpr int32_t rarelySaturatingAdd(int32_t x, int32_t y) {
    int32_t sum = 0;
    if (__builtin_add_overflow(x, y, &sum)) [[unlikely]]
        return x < 0 ? min32 : max32;
    return sum;
}
constexpr int32_t rarelySaturatingSub(int32_t x, int32_t y) {
    int32_t difference = 0;
    if (__builtin_sub_overflow(x, y, &difference)) [[unlikely]]
        return x < 0 ? min32 : max32;
    return difference;
}
constexpr int32_t L_negate(int32_t x) {
    return sat32(-int64_t{x});
}
constexpr int32_t L_abs(int32_t x) {
    return sat32(x < 0 ? -int64_t{x} : int64_t{x});
}
constexpr int32_t L_mult(int16_t x, int16_t y) {
    return sat32(int64_t{2} * x * y);
}
constexpr int32_t L_mac(int32_t acc, int16_t x, int16_t y) {
    return L_add(acc, L_mult(x, y));
}
constexpr int32_t L_msu(int32_t acc, int16_t x, int16_t y) {
    return L_sub(acc, L_mult(x, y));
}

constexpr int32_t L_shr(int32_t x, int count);
constexpr int32_t L_shl(int32_t x, int count) {
    if (count < 0) return L_shr(x, count < -31 ? 31 : -count);
    return sat32(int64_t{x} * (int64_t{1} << std::min(count, 31)));
}
constexpr int32_t L_shr(int32_t x, int count) {
    if (count < 0) return L_shl(x, count < -31 ? 31 : -count);
    return x >> std::min(count, 31);
}
constexpr int32_t L_shr_r(int32_t x, int count) {
    if (count <= 0) return L_shr(x, count);
    return count > 31 ? 0 : static_cast<int32_t>((int64_t{x} + (int64_t{1} << (count - 1))) >> count);
}

constexpr int16_t norm_l(int32_t x) {
    if (x == 0) return 0;
    const auto magnitude = static_cast<uint32_t>(x < 0 ? ~x : x);
    return static_cast<int16_t>(std::countl_zero(magnitude) - 1);
}

// Upper half, rounded to nearest, ties upwards.
constexpr int16_t round(int32_t x) {
    return extract_h(L_add(x, 0x8000));
}

// Double-precision format: x = hi * 2^16 + lo * 2, lo in 0..32767.
constexpr void L_Extract(int32_t x, int16_t &hi, int16_t &lo) {
    hi = extract_h(x);
    lo = static_cast<int16_t>((x >> 1) & 0x7fff);
}
constexpr int32_t L_Comp(int16_t hi, int16_t lo) {
    return L_mac(L_deposit_h(hi), lo, 1);
}
constexpr int32_t Mpy_32(int16_t hi1, int16_t lo1, int16_t hi2, int16_t lo2) {
    const int32_t acc = L_mac(L_mult(hi1, hi2), mult(hi1, lo2), 1);
    return L_mac(acc, mult(lo1, hi2), 1);
}
constexpr int32_t Mpy_32_16(int16_t hi, int16_t lo, int16_t n) {
    return L_mac(L_mult(hi, n), mult(lo, n), 1);
}

// x where mask is 0, -x (wrap-around) where it is -1.
constexpr int32_t negateWhere(int32_t mask, int32_t x) {
    return wrapSub32(x ^ mask, mask);
}

// Position of the highest set bit; x > 0. In this form it is one instruction before the LZCNT extension.
constexpr int floorLog2(uint32_t x) {
    return __builtin_clz(x) ^ 31;
}

} // namespace ryxsc
