// SPDX-License-Identifier: BSD-2-Clause
// Arithmetic that the stages of the AMR-WB encoder and decoder share (3GPP TS 26.173): mantissas with exponents, scaling of
// vectors, the noise generator.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "amrwb/codec_tables.h"
#include "common/fixed_point.h"
#include "common/inv_sqrt.h"
#include "common/product_sums.h"
#include "common/simd.h"

namespace ryxsc::amrwb {

using simd::Vector;

inline constexpr int lpOrder = 16;
inline constexpr int subframeLength = 64; // at 12.8 kHz
inline constexpr int subframes = 4;
inline constexpr int frameLength = subframes * subframeLength;
inline constexpr int wideSubframeLength = 80; // at 16 kHz

inline constexpr int16_t tiltFactor = 22282;      // 0.68: pre-emphasis of the weighting filter
inline constexpr int16_t weightingFactor = 30147; // 0.92

// mantissa * 2^exponent in the scale that the context gives.
struct Scaled {
    int32_t mantissa;
    int exponent;
    int16_t high() const { return extract_h(mantissa); }
};
inline Scaled normalised(int32_t x) {
    const int n = norm_l(x);
    return {L_shl(x, n), 30 - n};
}
// Dot_product12: the sum starts at 1.
inline Scaled dotProduct(const int16_t *x, const int16_t *y, int len) {
    return normalised(macProducts(x, y, len, 1).value);
}
inline Scaled dotSquare(const int16_t *x, int len) {
    return normalised(macEnergy(x, len, 1).value);
}

// Isqrt_n: 1 / sqrt of a normalised value; mantissa * 2^(exponent - 31).
inline Scaled inverseRoot(Scaled x) {
    if (x.mantissa <= 0) return {max32, 0};
    return {inverseSqrtOfMantissa(x.mantissa >> (x.exponent & 1)), -((x.exponent - 1) >> 1)};
}

// 2^(exponent + fraction / 2^15), rounded.
inline int32_t powerOfTwo(int exponent, int16_t fraction) {
    const auto i = static_cast<size_t>(fraction >> 10);
    const int position = (fraction & 1023) << 5;
    const int32_t mantissa = pow2Table[i] * 65536 - 2 * (pow2Table[i] - pow2Table[i + 1]) * position;
    return L_shr_r(mantissa, 30 - exponent);
}

// Random: the next value of the noise generator, which is its state.
inline int16_t nextRandom(int16_t &seed) {
    seed = wrap16(seed * 31821 + 13849);
    return seed;
}

// x * 2^exponent: saturated to the left, rounded to the right, ties upwards. len is a multiple of 8, or any length with
// `scaleWords`.
inline int16_t scaled(int16_t x, int exponent) {
    return round(L_shl(x * 65536, exponent));
}
inline Vector scaled(Vector x, int exponent) {
    if (exponent < 0) {
        if (exponent < -15) return _mm_setzero_si128();
        // pmulhrsw: (x * 2^(15 - n) + 2^14) >> 15 = (x + 2^(n - 1)) >> n
        return _mm_mulhrs_epi16(x, simd::words(static_cast<int16_t>(1 << (15 + exponent))));
    }
    for (int i = 0; i < std::min(exponent, 16); i++)
        x = _mm_adds_epi16(x, x);
    return x;
}
inline void scaleWords(int16_t *x, int len, int exponent) {
    if (exponent == 0) return;
    int i = 0;
    for (; i + 8 <= len; i += 8)
        simd::store(x + i, scaled(simd::load(x + i), exponent));
    for (; i < len; i++)
        x[i] = scaled(x[i], exponent);
}

// Largest magnitude of len words, a multiple of 8; 32768 for -32768.
inline int largestMagnitude(const int16_t *x, int len) {
    Vector largest = _mm_setzero_si128(), smallest = largest;
    for (int i = 0; i < len; i += 8) {
        const Vector eight = simd::load(x + i);
        largest = _mm_max_epi16(largest, eight);
        smallest = _mm_min_epi16(smallest, eight);
    }
    alignas(16) int16_t high[8], low[8];
    simd::store(high, largest);
    simd::store(low, smallest);
    int magnitude = 0;
    for (int i = 0; i < 8; i++)
        magnitude = std::max({magnitude, int{high[i]}, -int{low[i]}});
    return magnitude;
}

// x[n] = round(x[n] - factor * x[n - 1]), n falling, x[-1] = 0. Each sum saturates once.
inline void preemphasize(int16_t *x, int len, int16_t factor) {
    for (int i = len - 1; i > 0; i--)
        x[i] = round(L_msu(x[i] * 65536, x[i - 1], factor));
    x[0] = round(x[0] * 65536);
}

// Deemph2: halved, y[n] = x[n] / 2 + 0.68 * y[n - 1]. No sum leaves 31 bits.
inline void deemphasizeHalved(int16_t *x, int len, int16_t previous) {
    for (int i = 0; i < len; i++)
        x[i] = previous = sat16((x[i] * 16384 + previous * tiltFactor + 0x4000) >> 15);
}

// Adaptive-codebook lags: a quarter of a sample up to `quarter`, half a sample up to `half`.
struct LagLimits {
    int shortest = 34, quarter, half, longest = 231;
};
constexpr bool isLowRate(int mode) {
    return mode == 5 || mode == 9;
}
constexpr LagLimits lagLimitsOf(int mode) {
    return isLowRate(mode) ? LagLimits{34, 34, 92, 231} : LagLimits{34, 128, 160, 231};
}

// Subframes whose lag is coded alone.
constexpr bool hasAbsoluteLag(int subframe, int mode) {
    return subframe == 0 || (subframe == 2 && mode != 5);
}

// Range of the lags around one of them: 16 lags.
struct LagRange {
    int16_t first, last;
};
constexpr LagRange lagRangeAround(int lag) {
    const int first = std::max(lag - 8, 34);
    if (first + 15 > 231) return {216, 231};
    return {static_cast<int16_t>(first), static_cast<int16_t>(first + 15)};
}

// The bit-rate codes of the nine modes.
constexpr int speechModeIndex(int mode) {
    constexpr int codes[] = {5, 9, 13, 15, 16, 18, 19, 20, 21};
    for (int i = 0; i < 9; i++)
        if (codes[i] == mode) return i;
    return -1;
}

} // namespace ryxsc::amrwb
