// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients of order 10 to line spectral pairs, in fixed point: ITU-T G.729 and GSM-AMR.
//
// All grid points are evaluated in advance, four at a time and for both polynomials: that takes less time than the branches
// of a walk from point to point. So are the roots between them.
#pragma once

#include <algorithm>
#include <cstdlib>

#include "common/chebyshev_series.h"
#include "common/fixed_point.h"

namespace ryxsc::roots {

inline constexpr int lpOrder = 10;
inline constexpr int degree = lpOrder / 2;

// The sum polynomial and the difference polynomial without their roots at z = -1 and z = 1, coefficients 0 to 5.
struct Polynomials {
    int16_t f[2][degree + 1];
    int bits;               // of fraction in the series: 24 for coefficients in Q11, 23 for Q10
    int32_t unit = 1 << 13; // what 1 in a coefficient is in the series
};

// Returns whether a coefficient was saturated.
inline bool divideOut(const int16_t *a, int shift, Polynomials &polynomials) {
    auto &[sum, difference] = polynomials.f;
    polynomials.bits = 25 - shift;
    sum[0] = difference[0] = static_cast<int16_t>(4096 >> shift);
    bool saturated = false;
    for (int i = 0; i < degree; i++) {
        const int nextSum = ((a[i + 1] + a[lpOrder - i]) >> shift) - sum[i];
        const int nextDifference = ((a[i + 1] - a[lpOrder - i]) >> shift) + difference[i];
        sum[i + 1] = sat16(nextSum);
        difference[i + 1] = sat16(nextDifference);
        saturated |= sum[i + 1] != nextSum || difference[i + 1] != nextDifference;
    }
    return saturated;
}

// Whether no step of either series with the unit 2^13 can leave 32 bits for any x in -1..1. The k-th term of the recursion is at most the sum
// of |f[i]| * (k - i + 1); it is doubled up to k = 3. One unit of f is 2^13: the margin of 16 covers the low part of a term
// that is subtracted apart, and the rounding.
inline bool areBounded(const Polynomials &polynomials) {
    constexpr int limit = (1 << 18) - 16;
    return polynomials.unit == 1 << 13 &&
           std::all_of(polynomials.f, polynomials.f + 2, [](const int16_t(&f)[degree + 1]) {
               const int f1 = std::abs(f[1]), f2 = std::abs(f[2]), f3 = std::abs(f[3]), f4 = std::abs(f[4]);
               return 2 * (4 * f[0] + 3 * f1 + 2 * f2 + f3) < limit && 5 * f[0] + 4 * f1 + 3 * f2 + 2 * f3 + f4 < limit;
           });
}

struct Degree {
    static constexpr int max = degree;
    constexpr operator int() const { return degree; }
};

// To Q14.
constexpr int shiftOf(int bits) {
    return bits - 14;
}

class Bounded : BoundedSeries<Degree> {
public:
    Bounded(const int16_t *f, int bits) : BoundedSeries(f, {}, shiftOf(bits)) {}

    int16_t evaluate(int16_t x) const { return sat16(evaluateLong(x)); }
};

// The saturating steps of the recommendation.
class Saturating {
public:
    Saturating(const int16_t *f, int bits, int32_t unit = 1 << 13) : f_(f), bits_(bits), unit_(unit) {}

    int16_t evaluate(int16_t x) const {
        int32_t b2 = 1 << bits_;
        int32_t b1 = x * (1 << shiftOf(bits_)) + f_[1] * unit_;
        for (int i = 2; i < degree; i++) {
            const int32_t b0 = clearBit0(L_add(subtractParts(L_shl(multiplyShort(b1, x), 1), b2), f_[i] * unit_));
            b2 = b1;
            b1 = b0;
        }
        return extract_h(L_shl(L_add(subtractParts(multiplyShort(b1, x), b2), f_[degree] * (unit_ / 2)), 30 - bits_));
    }

private:
    // t - b2, saturating after each of the two parts of b2.
    static int32_t subtractParts(int32_t t, int32_t b2) {
        return L_msu(L_mac(t, extract_h(b2), min16), static_cast<int16_t>(lowPart(b2)), 1);
    }

    const int16_t *f_;
    int bits_;
    int32_t unit_;
};

// Writes up to ten roots and returns their number.
inline int findPairs(const Grid<int16_t> &grid, const Polynomials &p, int16_t *roots) {
    GridValues<int16_t> known;
    if (!areBounded(p)) {
        const FixedSeries<Saturating> series[2] = {{p.f[0], p.bits, p.unit}, {p.f[1], p.bits, p.unit}};
        fillGrid(grid, known, [&](int which, Vector x) { return series[which].evaluateEight(x); });
        return findRoots(grid, known, series, roots, lpOrder);
    }
    using Series = FixedSeries<Bounded>;
    const Series series[2] = {{p.f[0], p.bits}, {p.f[1], p.bits}};
    const LaneSeries<Degree> lanes[2] = {{p.f[0], {}, shiftOf(p.bits)}, {p.f[1], {}, shiftOf(p.bits)}};
    const auto evaluateEight = [&](int which, Vector x) { return lanes[which].evaluateEight(x); };
    fillGrid(grid, known, evaluateEight);
    return findRoots(grid, known, series, roots, lpOrder, GridRoots<Series, 64>(grid, known, evaluateEight));
}

} // namespace ryxsc::roots
