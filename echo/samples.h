// SPDX-License-Identifier: BSD-2-Clause
// The caller's samples and ours, which are floats in the 16-bit scale.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>

#include <emmintrin.h>

namespace ryxecho {

// What is not finite counts as 0; what is more than 30 dB above full scale is limited.
inline float sanitised(float x) {
    constexpr float limit = 1 << 20;
    const float finite = std::fabs(x) <= FLT_MAX ? x : 0;
    return finite > limit ? limit : finite < -limit ? -limit : finite;
}

inline void takeSamples(const float *from, int len, float scale, float *to) {
    for (int n = 0; n < len; n++)
        to[n] = sanitised(from[n] * scale);
}
inline void takeSamples(const int16_t *from, int len, float, float *to) {
    for (int n = 0; n < len; n++)
        to[n] = from[n];
}

inline void giveSamples(const float *from, int len, float scale, float *to) {
    for (int n = 0; n < len; n++)
        to[n] = from[n] * scale;
}
// To the nearest integer, ties away from zero, saturated; truncation does not depend on the rounding mode.
inline void giveSamples(const float *from, int len, float, int16_t *to) {
    const auto eight = [](__m128 low, __m128 high) {
        const auto rounded = [](__m128 x) {
            const __m128 half = _mm_or_ps(_mm_and_ps(x, _mm_set1_ps(-0.0F)), _mm_set1_ps(0.5F));
            return _mm_cvttps_epi32(
                _mm_add_ps(_mm_max_ps(_mm_min_ps(x, _mm_set1_ps(32767)), _mm_set1_ps(-32768)), half));
        };
        return _mm_packs_epi32(rounded(low), rounded(high));
    };
    int n = 0;
    for (; len - n >= 8; n += 8)
        _mm_storeu_si128(reinterpret_cast<__m128i *>(to + n),
                         eight(_mm_loadu_ps(from + n), _mm_loadu_ps(from + n + 4)));
    for (; n < len; n++)
        to[n] = static_cast<int16_t>(_mm_cvtsi128_si32(eight(_mm_set_ss(from[n]), _mm_setzero_ps())));
}

// In four sums, so that one addition need not wait for the other.
inline float energyOf(const float *x, int len) {
    __m128 sums = _mm_setzero_ps();
    int n = 0;
    for (; len - n >= 4; n += 4)
        sums = _mm_add_ps(sums, _mm_mul_ps(_mm_loadu_ps(x + n), _mm_loadu_ps(x + n)));
    float four[4];
    _mm_storeu_ps(four, sums);
    float sum = (four[0] + four[1]) + (four[2] + four[3]);
    for (; n < len; n++)
        sum += x[n] * x[n];
    return sum;
}

} // namespace ryxecho
