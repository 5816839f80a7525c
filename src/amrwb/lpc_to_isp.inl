// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to immittance spectral pairs (3GPP TS 26.173), which both processor variants compile. Everything here has
// internal linkage: a variant must not end up with the code of the other.
//
// As for ITU-T G.729, all grid points are evaluated in advance.
#pragma once

#include <cstdlib>

#include "amrwb/isf_tables.h"
#include "common/chebyshev_series.h"
#include "common/checks.h"
#include "common/fixed_point.h"

namespace ryxsc::amrwb {

namespace {

using roots::fillGrid, roots::findRoots, roots::FixedSeries, roots::LaneSeries;
using simd::Vector;

// A root takes an interval of the grid, so longer filters never have all of theirs.
constexpr int maxOrder = 100;
constexpr int lowestValue = -max16; // of a polynomial
constexpr int toQ14 = 10;           // shift, from coefficients in Q11

struct Degree {
    static constexpr int max = maxOrder / 2;
    int degree;
    constexpr operator int() const { return degree; }
};

// The sum polynomial, and the difference polynomial without its roots at z = 1 and z = -1, Q11.
struct Polynomials {
    Degree degree[2];
    int16_t f[2][Degree::max + 1];
};

Polynomials makePolynomials(const int16_t *a, int order) {
    const int n = order / 2;
    Polynomials polynomials;
    polynomials.degree[0] = {n};
    polynomials.degree[1] = {n - 1};
    auto &[sum, difference] = polynomials.f;
    for (int i = 0; i < n; i++) {
        sum[i] = sat16((a[i] + a[order - i] + 1) >> 1);
        difference[i] = sat16((a[i] - a[order - i] + 1) >> 1);
        if (i >= 2) difference[i] = add(difference[i], difference[i - 2]);
    }
    sum[n] = a[n];
    return polynomials;
}

// Whether no step of the series can leave 32 bits for any x in -1..1: term k of the recursion is at most the sum of
// |f[i]| * (k - i + 1) and grows with k. One unit of f is 2^13; the margin of 16 covers the rounding.
bool isBounded(const int16_t *f, int degree) {
    int bound = 0, sum = 0;
    for (int i = 0; i < degree; i++) {
        sum += std::abs(f[i]);
        bound += sum;
    }
    return bound < (1 << 18) - 16;
}

class Bounded : roots::BoundedSeries<Degree> {
public:
    Bounded(const int16_t *f, Degree degree) : BoundedSeries(f, degree, toQ14) {}

    int16_t evaluate(int16_t x) const {
        return static_cast<int16_t>(std::clamp<int32_t>(evaluateLong(x), lowestValue, max16));
    }
};

// The saturating steps of the recommendation.
class Saturating {
public:
    Saturating(const int16_t *f, Degree degree) : f_(f), degree_(degree) {}

    int16_t evaluate(int16_t x) const {
        int32_t b2 = L_mult(f_[0], 4096);
        int32_t b1 = L_mac(L_shl(multiplyShort(b2, x), 1), f_[1], 4096);
        for (int i = 2; i < degree_; i++) {
            const int32_t half = L_mac(L_mac(multiplyShort(b1, x), extract_h(b2), -16384), f_[i], 2048);
            const int32_t b0 = L_msu(L_shl(half, 1), static_cast<int16_t>(lowPart(b2)), 1);
            b2 = b1;
            b1 = b0;
        }
        const int32_t difference =
            L_msu(L_mac(multiplyShort(b1, x), extract_h(b2), min16), static_cast<int16_t>(lowPart(b2)), 1);
        return std::max<int16_t>(extract_h(L_shl(L_mac(difference, f_[degree_], 2048), 6)), lowestValue);
    }

private:
    const int16_t *f_;
    Degree degree_;
};

int search(const Polynomials &p, int16_t *found, int wanted) {
    roots::GridValues<int16_t, gridCapacity> known;
    if (!isBounded(p.f[0], p.degree[0]) || !isBounded(p.f[1], p.degree[1])) {
        const FixedSeries<Saturating> series[2] = {{p.f[0], p.degree[0]}, {p.f[1], p.degree[1]}};
        fillGrid(ispGrid, known, [&](int which, Vector x) { return series[which].evaluateEight(x); });
        return findRoots(ispGrid, known, series, found, wanted);
    }
    using Series = FixedSeries<Bounded>;
    const Series series[2] = {{p.f[0], p.degree[0]}, {p.f[1], p.degree[1]}};
    const LaneSeries<Degree> lanes[2] = {{p.f[0], p.degree[0], toQ14}, {p.f[1], p.degree[1], toQ14}};
    const Vector lowest = simd::words(lowestValue);
    const auto evaluateEight = [&](int which, Vector x) {
        return _mm_max_epi16(lanes[which].evaluateEight(x), lowest);
    };
    fillGrid(ispGrid, known, evaluateEight);
    return findRoots(ispGrid, known, series, found, wanted,
                     roots::GridRoots<Series, gridCapacity>(ispGrid, known, evaluateEight));
}

// Odd orders and those below 6 have no such polynomials; they keep the previous ISPs, too.
ryxStatus convertToIsp(const int16_t *a, const int16_t *previous, int16_t *isp, int order) {
    if (anyNull(a, previous, isp)) return ryxStsNullPtr;
    if (order < 1) return ryxStsBadSize;
    int16_t found[maxOrder]; // apart from the output, which may be the previous vector
    const int wanted = order - 1;
    const bool isSearched = !isOdd(order) && order >= 6 && order <= maxOrder;
    if (isSearched && search(makePolynomials(a, order), found, wanted) == wanted) {
        found[wanted] = sat16(8 * a[order]);
        previous = found;
    }
    std::copy_n(previous, order, isp);
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc::amrwb
