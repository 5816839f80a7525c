// SPDX-License-Identifier: BSD-2-Clause
// Filters with A(z) and 1/A(z) as in 3GPP TS 26.073: of order 10, coefficients in Q12.
//
// The recommendation sums doubled products, saturating at every step. With S the sum of the coefficients' magnitudes
// nothing saturates as long as no sample exceeds 2^30 / S; then the order of the sums is free.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/fixed_point.h"
#include "common/simd.h"

namespace ryxsc::gsmamr {

inline constexpr int lpOrder = 10;

// Where the plain sum of a synthesised sample saturates in the recommendation: when it is shifted left, or rounded.
inline constexpr int32_t largestSum = (1 << 27) - 2049, smallestSum = -(1 << 27);

class LpFilter {
public:
    explicit LpFilter(const int16_t *a) : a_(a) {
        int sum = 0;
        for (int k = 0; k <= lpOrder; k++)
            sum += std::abs(a[k]);
        largest_ = (1 << 30) / std::max(sum, 1);
    }

    // y = A(z) x for a multiple of eight samples; ten samples stand in front of x. y may not be x.
    void analyse(const int16_t *x, int16_t *y, int len) const {
        if (!areSmall(x - lpOrder, len + lpOrder)) return analyseSaturated(x, y, len);
        simd::Vector taps[lpOrder / 2 + 1];
        for (int k = 0; k < lpOrder; k += 2)
            taps[k / 2] = _mm_shuffle_epi32(simd::load32(a_ + k), 0);
        taps[lpOrder / 2] = _mm_shuffle_epi32(simd::loadWord(a_ + lpOrder), 0);
        const simd::ScaleDown scaleDown(12);
        for (int n = 0; n < len; n += 8) {
            simd::Dwords sums = {_mm_setzero_si128(), _mm_setzero_si128()};
            for (int k = 0; k <= lpOrder; k += 2) {
                const simd::Vector newer = simd::load(x + n - k);
                const simd::Vector older = k < lpOrder ? simd::load(x + n - k - 1) : _mm_setzero_si128();
                const simd::Vector tap = taps[k / 2];
                sums.front = _mm_add_epi32(sums.front, _mm_madd_epi16(_mm_unpacklo_epi16(newer, older), tap));
                sums.back = _mm_add_epi32(sums.back, _mm_madd_epi16(_mm_unpackhi_epi16(newer, older), tap));
            }
            simd::store(y + n, scaleDown(sums));
        }
    }

    // y = x / A(z); ten samples of history stand in front of y. Returns whether anything saturated. y may be x.
    bool synthesise(const int16_t *x, int16_t *y, int len) const {
        if (!areSmall(x, len) || !areSmall(y - lpOrder, lpOrder)) return synthesiseSaturated(x, y, len);
        const int16_t *const a = a_;
        int32_t most = 0, least = 0;
        for (int n = 0; n < len; n++) {
            int32_t sum = a[0] * x[n];
            for (int k = lpOrder; k > 0; k--) // the newest sample comes last
                sum -= a[k] * y[n - k];
            most = std::max(most, sum);
            least = std::min(least, sum);
            y[n] = sat16((sum + 2048) >> 12);
            if (std::abs(y[n]) > largest_) [[unlikely]] {
                const bool after = synthesiseSaturated(x + n + 1, y + n + 1, len - n - 1);
                return after || most > largestSum || least < smallestSum;
            }
        }
        return most > largestSum || least < smallestSum;
    }

    // The same for two signals. Each is a chain from sample to sample; two of them take the time of one.
    void synthesiseTwo(const int16_t *x1, int16_t *y1, const int16_t *x2, int16_t *y2, int len) const {
        if (!areSmall(x1, len) || !areSmall(y1 - lpOrder, lpOrder) || !areSmall(x2, len) ||
            !areSmall(y2 - lpOrder, lpOrder)) {
            synthesiseSaturated(x1, y1, len);
            synthesiseSaturated(x2, y2, len);
            return;
        }
        const int16_t *const a = a_;
        for (int n = 0; n < len; n++) {
            int32_t sum1 = 2048 + a[0] * x1[n], sum2 = 2048 + a[0] * x2[n];
            for (int k = lpOrder; k > 0; k--) {
                sum1 -= a[k] * y1[n - k];
                sum2 -= a[k] * y2[n - k];
            }
            y1[n] = sat16(sum1 >> 12);
            y2[n] = sat16(sum2 >> 12);
            if (std::max(std::abs(y1[n]), std::abs(y2[n])) > largest_) [[unlikely]] {
                synthesiseSaturated(x1 + n + 1, y1 + n + 1, len - n - 1);
                synthesiseSaturated(x2 + n + 1, y2 + n + 1, len - n - 1);
                return;
            }
        }
    }

private:
    bool areSmall(const int16_t *samples, int count) const {
        int most = 0;
        for (int i = 0; i < count; i++)
            most = std::max(most, std::abs(samples[i]));
        return most <= largest_;
    }

    void analyseSaturated(const int16_t *x, int16_t *y, int len) const {
        for (int n = 0; n < len; n++) {
            int32_t sum = L_mult(a_[0], x[n]);
            for (int k = 1; k <= lpOrder; k++)
                sum = L_mac(sum, a_[k], x[n - k]);
            y[n] = round(L_shl(sum, 3));
        }
    }

    bool synthesiseSaturated(const int16_t *x, int16_t *y, int len) const {
        bool saturated = false;
        const auto clamp = [&saturated](int64_t value) {
            const int32_t limited = sat32(value);
            saturated |= limited != value;
            return limited;
        };
        for (int n = 0; n < len; n++) {
            int32_t sum = clamp(int64_t{2} * a_[0] * x[n]);
            for (int k = 1; k <= lpOrder; k++)
                sum = clamp(int64_t{sum} - clamp(int64_t{2} * a_[k] * y[n - k]));
            y[n] = extract_h(clamp(int64_t{clamp(int64_t{sum} * 8)} + 0x8000));
        }
        return saturated;
    }

    const int16_t *a_;
    int largest_;
};

} // namespace ryxsc::gsmamr
