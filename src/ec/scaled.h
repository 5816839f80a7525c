// SPDX-License-Identifier: BSD-2-Clause
// Numbers of any size in integer arithmetic: energies of bands and steps span far more than 64 bits, and need no more than
// 32 of them to be right.
#pragma once

#include <cstdint>

namespace ryxsc::ec {

// mantissa * 2^exponent, not negative. The mantissa is 0 or has its highest bit set; results are rounded down to it.
struct Scaled {
    uint32_t mantissa;
    int32_t exponent;
};

// Exponents stay within these bounds: below them there is 0, and nothing in a controller gets near the upper one.
inline constexpr int leastExponent = -512;

inline Scaled normalised(uint64_t x, int exponent) {
    if (x == 0) return {0, 0};
    const int shift = __builtin_clzll(x);
    const Scaled result = {static_cast<uint32_t>((x << shift) >> 32), exponent + 32 - shift};
    return result.exponent < leastExponent ? Scaled{0, 0} : result;
}

inline Scaled operator*(Scaled a, Scaled b) {
    return normalised(uint64_t{a.mantissa} * b.mantissa, a.exponent + b.exponent);
}

// Not by 0.
inline Scaled operator/(Scaled a, Scaled b) {
    return normalised((uint64_t{a.mantissa} << 32) / b.mantissa, a.exponent - b.exponent - 32);
}

inline bool operator<(Scaled a, Scaled b) {
    if (a.mantissa == 0 || b.mantissa == 0) return b.mantissa != 0 && a.mantissa == 0;
    if (a.exponent != b.exponent) return a.exponent < b.exponent;
    return a.mantissa < b.mantissa;
}

namespace detail {

// Both mantissas to the exponent of a, which is not below b, less 31.
inline uint64_t upper(Scaled a) {
    return uint64_t{a.mantissa} << 31;
}
inline uint64_t lower(Scaled a, Scaled b) {
    const int distance = a.exponent - b.exponent;
    return b.mantissa == 0 || distance > 62 ? 0 : upper(b) >> distance;
}

} // namespace detail

inline Scaled operator+(Scaled a, Scaled b) {
    if (a < b) return b + a;
    return normalised(detail::upper(a) + detail::lower(a, b), a.exponent - 31);
}

// At least 0.
inline Scaled operator-(Scaled a, Scaled b) {
    if (a < b) return {0, 0};
    return normalised(detail::upper(a) - detail::lower(a, b), a.exponent - 31);
}

inline Scaled larger(Scaled a, Scaled b) {
    return a < b ? b : a;
}
inline Scaled smaller(Scaled a, Scaled b) {
    return b < a ? b : a;
}

} // namespace ryxsc::ec
