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

// The next len values, a multiple of 8, shifted right. Eight lanes advance by eight steps of the generator at a time.
inline void fillWithNoise(int16_t *dst, int len, int shift, int16_t &seed) {
    alignas(16) int16_t first[8];
    int factor = 1, offset = 0; // of eight steps together
    for (int16_t &value : first) {
        value = nextRandom(seed);
        factor = factor * 31821 & 0xffff;
        offset = (offset * 31821 + 13849) & 0xffff;
    }
    const Vector factors = simd::words(wrap16(factor)), offsets = simd::words(wrap16(offset));
    const Vector count = _mm_cvtsi32_si128(shift);
    Vector values = simd::loadAligned(first), last = values;
    for (int i = 0; i < len; i += 8) {
        simd::store(dst + i, _mm_sra_epi16(values, count));
        last = values;
        values = _mm_add_epi16(_mm_mullo_epi16(values, factors), offsets);
    }
    seed = static_cast<int16_t>(_mm_extract_epi16(last, 7));
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
    for (; len - i >= 8; i += 8)
        simd::store(x + i, scaled(simd::load(x + i), exponent));
    for (; i < len; i++)
        x[i] = scaled(x[i], exponent);
}

// mult() of all words by a factor that is not -32768; len is a multiple of 8.
inline void multiplyWords(int16_t *x, int len, int16_t factor) {
    const simd::Q15Factor factors(simd::words(factor));
    if (factor >= -16384)
        for (int i = 0; i < len; i += 8)
            simd::store(x + i, factors * simd::load(x + i));
    else
        for (int i = 0; i < len; i++)
            x[i] = mult(x[i], factor);
}

// Largest magnitude of len words, a multiple of 8; 32768 for -32768.
inline int largestMagnitude(const int16_t *x, int len) {
    Vector largest = _mm_setzero_si128(), smallest = largest;
    for (int i = 0; i < len; i += 8) {
        const Vector eight = simd::load(x + i);
        largest = _mm_max_epi16(largest, eight);
        smallest = _mm_min_epi16(smallest, eight);
    }
    // Unsigned magnitudes up to 32768, as signed words from -32768 on.
    const Vector bias = simd::words(min16);
    Vector m =
        _mm_max_epi16(_mm_xor_si128(largest, bias), _mm_xor_si128(_mm_sub_epi16(_mm_setzero_si128(), smallest), bias));
    m = _mm_max_epi16(m, _mm_shuffle_epi32(m, _MM_SHUFFLE(1, 0, 3, 2)));
    m = _mm_max_epi16(m, _mm_shuffle_epi32(m, _MM_SHUFFLE(2, 3, 0, 1)));
    m = _mm_max_epi16(m, _mm_shufflelo_epi16(m, _MM_SHUFFLE(2, 3, 0, 1)));
    return extract_l(_mm_cvtsi128_si32(m)) - min16;
}

// x[n] + factor * y[n] in Q15, rounded and saturated: (2^15 x + factor y + 2^14) >> 15 fits 32 bits for every x and y as long
// as the factor is not -32768.
inline Vector addProduct(Vector x, Vector y, int16_t factor) {
    const Vector zero = _mm_setzero_si128(), one = simd::words(1);
    const Vector factors = simd::wordPairs(factor, 0x4000);
    const Vector front = _mm_add_epi32(_mm_srai_epi32(_mm_unpacklo_epi16(zero, x), 1),
                                       _mm_madd_epi16(_mm_unpacklo_epi16(y, one), factors));
    const Vector back = _mm_add_epi32(_mm_srai_epi32(_mm_unpackhi_epi16(zero, x), 1),
                                      _mm_madd_epi16(_mm_unpackhi_epi16(y, one), factors));
    return _mm_packs_epi32(_mm_srai_epi32(front, 15), _mm_srai_epi32(back, 15));
}

// Deemph2: halved, y[n] = x[n] / 2 + 0.68 * y[n - 1]. No sum leaves 31 bits.
inline void deemphasizeHalved(int16_t *x, int len, int16_t memory) {
    int previous = memory;
    for (int i = 0; i < len; i++) {
        int sum = (x[i] * 16384 + 0x4000 + previous * tiltFactor) >> 15;
        if (sum != wrap16(sum)) [[unlikely]] // a branch, so that nothing is waited for
            sum = sat16(sum);
        previous = sum;
        x[i] = static_cast<int16_t>(sum);
    }
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
