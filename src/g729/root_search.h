// The search of ITU-T G.729 for line spectral pairs: the roots of the sum and the difference polynomial, which alternate,
// between the points of a grid. Common to the fixed-point and the floating-point form.
//
// A Series is one of the two polynomials, as a Chebyshev series. It has
//     Number                         int16_t or float
//     stepAfterRoot                  1: the interval that follows a root ends at the next grid point; 0: at the same one
//     evaluate(x)                    its value
//     narrow(interval, bisections)   the interval after 2 or 4 bisections
//     root(interval)                 the place of the root in the last interval
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "g729/lp_tables.h"

namespace ryxsc::g729::lp {

// Both polynomials on the grid. Bit j of the changes tells that the interval from point j - 1 to point j holds a root: the
// product of the values at its ends is not positive.
template <class Number> struct GridValues {
    alignas(16) Number values[2][64];
    uint64_t changes[2];
};

template <class Number> struct Point { Number x, y; };

// From high to low cosines, that is, from low to high frequencies.
template <class Number> struct Interval { Point<Number> high, low; };

// Whether a root lies between two points.
template <class Number> bool changesSign(Number y1, Number y2) {
    return y1 * y2 <= 0;
}

// The points at which bisections can end, from the high to the low end, with the values there. The sign at the low end stays
// the same through all bisections (unless a product underflows to zero), so one set of bits tells
// where they lead.
template <class Number, int bisections> struct Subdivision {
    static constexpr size_t parts = 1 << bisections;
    alignas(16) Number x[parts + 1], y[parts + 1];

    // Bit i of changes: whether a root lies between point i and the low end.
    Interval<Number> bisect(uint32_t changes) const {
        size_t i = 0;
#pragma GCC unroll 4
        for (size_t step = parts / 2; step > 0; step /= 2)
            i += (changes >> (i + step) & 1) * step;
        return {{x[i], y[i]}, {x[i + 1], y[i + 1]}};
    }
};

// Writes the roots and returns their number, at most 10.
template <class Series, class Number = typename Series::Number>
int findRoots(const Grid<Number> &grid, const GridValues<Number> &known, const Series (&series)[2], Number *roots) {
    const auto pointAt = [&](int which, int j) {
        return Point<Number>{grid.cosines[static_cast<size_t>(j)], known.values[which][j]};
    };
    int which = 0, found = 0, j = 1;
    Point<Number> high = pointAt(which, 0);
    while (j < grid.points) {
        if (!changesSign(pointAt(which, j).y, high.y)) {
            const uint64_t changesBeyond = known.changes[which] & (~uint64_t{1} << j);
            if (changesBeyond == 0) break;
            j = std::countr_zero(changesBeyond);
            high = pointAt(which, j - 1);
        }
        const Number root = Series::root(series[which].narrow({high, pointAt(which, j)}, grid.bisections));
        roots[found++] = root;
        if (found == order) break;
        which ^= 1;
        high = {root, series[which].evaluate(root)};
        j += Series::stepAfterRoot;
    }
    return found;
}

} // namespace ryxsc::g729::lp
