// SPDX-License-Identifier: BSD-2-Clause
// What the controllers in integer arithmetic share: exact energies, recursive means in Q15, and comparisons of energies by
// small integers.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/simd.h"

namespace ryxsc::ec {

__extension__ typedef __int128 Wide;

inline constexpr int32_t one = 32768; // in Q15

// The mean of old and new with a factor of 0 to 1 for the old one, rounded. It lies between both of them.
inline int64_t smooth(int64_t old, int64_t value, int32_t alpha) {
    return static_cast<int64_t>((Wide{old} * alpha + Wide{value} * (one - alpha) + one / 2) >> 15);
}
inline int32_t smooth(int32_t old, int32_t value, int32_t alpha) {
    return static_cast<int32_t>(smooth(int64_t{old}, int64_t{value}, alpha));
}

// Whether m * x exceeds n * y.
inline bool timesIsMore(int m, int64_t x, int n, int64_t y) {
    return Wide{m} * x > Wide{n} * y;
}

inline int64_t square(int16_t x) {
    return int64_t{x} * x;
}

// Exact: 2^31 squares of at most 2^30.
inline int64_t energyOf(const int16_t *x, int len) {
    const simd::Vector zero = _mm_setzero_si128();
    simd::Vector sum = zero;
    int i = 0;
    for (; len - i >= 8; i += 8) {
        const simd::Vector eight = simd::load(x + i);
        const simd::Vector pairs = _mm_madd_epi16(eight, eight); // at most 2^31, without a sign
        sum = _mm_add_epi64(sum, _mm_unpacklo_epi32(pairs, zero));
        sum = _mm_add_epi64(sum, _mm_unpackhi_epi32(pairs, zero));
    }
    int64_t parts[2];
    std::memcpy(parts, &sum, sizeof parts);
    int64_t total = parts[0] + parts[1];
    for (; i < len; i++)
        total += square(x[i]);
    return total;
}

} // namespace ryxsc::ec
