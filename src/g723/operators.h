// SPDX-License-Identifier: BSD-2-Clause
// Dimensions and the operators of ITU-T G.723.1 that are not among the basic ones.
#pragma once

#include <cstdint>

#include "common/fixed_point.h"

namespace ryxsc::g723 {

inline constexpr int order = 10;
inline constexpr int subframeLength = 60;
inline constexpr int subframes = 4;
inline constexpr int frameLength = 240;
inline constexpr int historyLength = 145; // of excitation and weighted speech: the longest lag and half a predictor

inline constexpr int shortestLag = 18;
inline constexpr int longestLag = 143;   // 142 from the open-loop search; comfort noise goes one further
inline constexpr int shortLagLimit = 58; // below, 6.3 kbit/s has the smaller gain codebook and pulse trains

// x * v in Q15, truncated.
constexpr int32_t scale(int32_t x, int16_t v) {
    const int64_t product = (int64_t{x} * v) >> 15;
    return product > max32 ? max32 : static_cast<int32_t>(product); // of -2^31 and -1 alone
}

// num / (2 * den) in 15 bits, num >= 0, den > 0: the quotient in Q15 of num and a denominator in the upper half.
constexpr int16_t quotient(int32_t num, int16_t den) {
    return num >= den * int64_t{65536} ? max16 : static_cast<int16_t>((num >> 1) / den);
}

// The largest even r of 15 bits with 2 * r^2 <= x.
constexpr int16_t squareRoot(int32_t x) {
    int32_t root = 0;
    for (int32_t bit = 0x4000; bit > 1; bit >>= 1)
        if (x >= 2 * (root + bit) * (root + bit)) root += bit;
    return static_cast<int16_t>(root);
}

// sat16((acc * 4 + 2^15) / 2^16): a filter's output from its sum.
constexpr int16_t filterOutput(int32_t acc) {
    return round(L_shl(acc, 2));
}

// The next random number, the state being the last one.
constexpr int16_t random(int16_t &state) {
    state = wrap16(521 * state + 259);
    return state;
}
constexpr int16_t random(int16_t &state, int count) {
    return static_cast<int16_t>(((random(state) & 0x7fff) * count) >> 15);
}

// For scaling several values together: |x|, with -2^31 as the largest positive value.
constexpr int32_t largestMagnitude(const int32_t *x, int count) {
    int32_t largest = 0;
    for (int i = 0; i < count; i++)
        largest = std::max(largest, L_abs(x[i]));
    return largest;
}

// sum of 2 * x[i] * y[i], saturated after every term.
inline int32_t dotProduct(const int16_t *x, const int16_t *y, int count) {
    int32_t acc = 0;
    for (int i = 0; i < count; i++)
        acc = L_mac(acc, x[i], y[i]);
    return acc;
}

} // namespace ryxsc::g723
