// SPDX-License-Identifier: BSD-2-Clause
// The polynomials of the root search in fixed point, as Chebyshev series of degree n:
//
//     C(x) = f[0] * T(n)(x) + f[1] * T(n-1)(x) + ... + f[n-1] * T(1)(x) + f[n] / 2
//
// by the recursion b[0] = f[0], b[i] = 2 * x * b[i-1] - b[i-2] + f[i], which ends with x * b[n-1] - b[n-2] + f[n] / 2. One
// unit of f is 2^13 in b; x is in Q15. Where no step of the recursion leaves 32 bits, the forms below are those of the
// recommendations, and serve one point or four at a time.
//
// A Degree is a type of the caller's that converts to n; max is its largest value.
#pragma once

#include <algorithm>

#include "common/double_precision.h"
#include "common/root_search.h"
#include "common/simd.h"

namespace ryxsc::roots {

using simd::Vector;

// shift: from the format of b to that of C, at most 16 bits.
template <class Degree> class BoundedSeries {
public:
    BoundedSeries(const int16_t *f, Degree degree, int shift) : f_(f), degree_(degree), shift_(shift) {}

    // Before the limitation to 16 bits.
    int32_t evaluateLong(int16_t x) const {
        int32_t b2 = f_[0] * 8192;
        int32_t b1 = 4 * ((f_[0] * x) >> 3) + f_[1] * 8192;
        for (int i = 2; i < degree_; i++) {
            const int32_t b0 = wrapAdd32(wrapSub32(wrapMul32(4, halfProduct(b1, x)), b2), f_[i] * 8192);
            b2 = b1;
            b1 = b0;
        }
        return wrapAdd32(wrapSub32(2 * halfProduct(b1, x), b2), f_[degree_] * 4096) >> shift_;
    }

private:
    const int16_t *f_;
    Degree degree_;
    int shift_;
};

// The same at four points at a time.
template <class Degree> class LaneSeries {
public:
    LaneSeries(const int16_t *f, Degree degree, int shift) : degree_(degree), shift_(_mm_cvtsi32_si128(shift)) {
        for (int i = 0; i < degree; i++)
            constant_[i] = simd::dwords(f[i] * 8192);
        constant_[degree] = simd::dwords(f[degree] * 4096);
        factor_ = simd::dwords(static_cast<uint16_t>(f[0]));
    }

    // Limited to 16 bits.
    Vector evaluateEight(Vector x) const {
        const Vector zeros = _mm_setzero_si128();
        return _mm_packs_epi32(evaluate({_mm_unpacklo_epi16(zeros, x), _mm_unpacklo_epi16(x, zeros)}),
                               evaluate({_mm_unpackhi_epi16(zeros, x), _mm_unpackhi_epi16(x, zeros)}));
    }

private:
    Vector evaluate(const lanes::Words &x) const {
        const Vector product = _mm_srai_epi32(_mm_madd_epi16(x.low, factor_), 3);
        Vector older = constant_[0];
        Vector newer = _mm_add_epi32(_mm_slli_epi32(product, 2), constant_[1]);
        for (int i = 2; i < degree_; i++) {
            const Vector quadruple = _mm_slli_epi32(lanes::halfProduct(newer, x), 2);
            const Vector newest = _mm_add_epi32(_mm_sub_epi32(quadruple, older), constant_[i]);
            older = newer;
            newer = newest;
        }
        const Vector twice = _mm_slli_epi32(lanes::halfProduct(newer, x), 1);
        return _mm_sra_epi32(_mm_add_epi32(_mm_sub_epi32(twice, older), constant_[degree_]), shift_);
    }

    Degree degree_;
    Vector constant_[Degree::max + 1], factor_, shift_;
};

// What the search asks of a series, from its evaluate(x).
template <class Evaluator> class FixedSeries : public Evaluator {
public:
    using Number = int16_t;
    static constexpr int stepAfterRoot = 1;

    using Evaluator::Evaluator;

    // Serial and with branches: predicted right half of the time, that is faster than selections or all points at once.
    Interval<int16_t> narrow(Interval<int16_t> interval, int bisections) const {
        auto &[high, low] = interval;
        for (int i = 0; i < bisections; i++) {
            const auto x = static_cast<int16_t>((low.x >> 1) + (high.x >> 1));
            const Point<int16_t> middle = {x, this->evaluate(x)};
            (changesSign(low.y, middle.y) ? high : low) = middle;
        }
        return interval;
    }

    // Linear interpolation with the reciprocal of the difference in 15 bits.
    static int16_t root(const Interval<int16_t> &interval) {
        const auto &[high, low] = interval;
        const int16_t dx = sub(high.x, low.x), dy = sub(high.y, low.y);
        if (dy == 0) return low.x;
        const int16_t magnitude = abs_s(dy), shift = norm_s(magnitude);
        const int32_t reciprocal = (16383 << 15) / (magnitude << shift);
        const int16_t slope = extract_l((2 * dx * reciprocal) >> (20 - shift)); // Q11
        return sub(low.x, extract_l(L_mult(low.y, dy < 0 ? negate(slope) : slope) >> 11));
    }

    // For series that are not bounded, one point after the other.
    Vector evaluateEight(Vector x) const {
        int16_t values[8];
        simd::store(values, x);
        std::transform(values, values + 8, values, [this](int16_t point) { return this->evaluate(point); });
        return simd::load(values);
    }
};

// Which values are negative and which are 0, one bit per grid point.
template <int capacity> struct Signs {
    PointBits<capacity> negative = 0, zero = 0;

    void collect(int point, Vector values) {
        const Vector masks = _mm_packs_epi16(values, _mm_cmpeq_epi16(values, _mm_setzero_si128()));
        const auto bits = static_cast<uint32_t>(_mm_movemask_epi8(masks));
        negative |= PointBits<capacity>{bits & 0xff} << point;
        zero |= PointBits<capacity>{bits >> 8} << point;
    }

    // Beyond the last point no interval holds a root.
    PointBits<capacity> changes(int points) const {
        return (zero | zero << 1 | (negative ^ negative << 1)) & ((PointBits<capacity>{1} << points) - 2);
    }
};

// evaluateEight(which, x) gives the values of a series at eight points.
template <int capacity, class EvaluateEight>
void fillGrid(const Grid<int16_t, capacity> &grid, GridValues<int16_t, capacity> &known, EvaluateEight evaluateEight) {
    Signs<capacity> signs[2];
    for (int point = 0; point < grid.points; point += 8) {
        for (int which = 0; which < 2; which++) {
            const Vector values = evaluateEight(which, simd::loadAligned(&grid.cosines[static_cast<size_t>(point)]));
            simd::store(known.values[which] + point, values);
            signs[which].collect(point, values);
        }
    }
    known.changes[0] = signs[0].changes(grid.points);
    known.changes[1] = signs[1].changes(grid.points);
}

// The roots between grid points, of each polynomial the first eight, in a lane each. Most roots of a search are among
// them; the others lie between a root of the other polynomial and the next grid point.
template <class Series, int capacity> class GridRoots {
    static constexpr int lanes = 8;

public:
    template <class EvaluateEight> GridRoots(const Grid<int16_t, capacity> &grid,
                                             const GridValues<int16_t, capacity> &known, EvaluateEight evaluateEight) {
        for (int which = 0; which < 2; which++) {
            alignas(16) int16_t words[4][lanes] = {}; // high x and y, low x and y
            PointBits<capacity> changes = known.changes[which];
            int count = 0;
            for (; count < lanes && changes != 0; count++, changes &= changes - 1) {
                const int j = lowestBit(changes);
                const auto right = static_cast<size_t>(j), left = right - 1;
                places_[which] |= PointBits<capacity>{1} << j;
                numbers_[which][right] = static_cast<uint8_t>(count);
                words[0][count] = grid.cosines[left];
                words[1][count] = known.values[which][left];
                words[2][count] = grid.cosines[right];
                words[3][count] = known.values[which][right];
            }
            VectorPoint high = {simd::loadAligned(words[0]), simd::loadAligned(words[1])};
            VectorPoint low = {simd::loadAligned(words[2]), simd::loadAligned(words[3])};
            for (int i = 0; i < grid.bisections; i++) {
                const Vector x = _mm_add_epi16(_mm_srai_epi16(low.x, 1), _mm_srai_epi16(high.x, 1));
                halve(high, low, {x, evaluateEight(which, x)});
            }
            simd::store(words[0], high.x);
            simd::store(words[1], high.y);
            simd::store(words[2], low.x);
            simd::store(words[3], low.y);
            alignas(16) int16_t roots[lanes] = {}, values[lanes];
            for (int i = 0; i < count; i++)
                roots[i] = Series::root({{words[0][i], words[1][i]}, {words[2][i], words[3][i]}});
            simd::store(values, evaluateEight(1 - which, simd::loadAligned(roots)));
            for (int i = 0; i < count; i++)
                roots_[which][i] = {roots[i], values[i]};
        }
    }

    const KnownRoot<int16_t> *find(int which, int j) const {
        if ((places_[which] >> j & 1) == 0) return nullptr;
        return &roots_[which][numbers_[which][j]];
    }

private:
    struct VectorPoint {
        Vector x, y;
    };

    // The middle becomes the high end where the sign changes between it and the low end.
    static void halve(VectorPoint &high, VectorPoint &low, const VectorPoint &middle) {
        const Vector zero = _mm_setzero_si128();
        const Vector hasZero = _mm_or_si128(_mm_cmpeq_epi16(low.y, zero), _mm_cmpeq_epi16(middle.y, zero));
        const Vector changes = _mm_or_si128(hasZero, simd::signMask(_mm_xor_si128(low.y, middle.y)));
        high = {simd::select(changes, middle.x, high.x), simd::select(changes, middle.y, high.y)};
        low = {simd::select(changes, low.x, middle.x), simd::select(changes, low.y, middle.y)};
    }

    PointBits<capacity> places_[2] = {};
    uint8_t numbers_[2][capacity]; // of the intervals at the places
    KnownRoot<int16_t> roots_[2][lanes];
};

} // namespace ryxsc::roots
