// SPDX-License-Identifier: BSD-2-Clause
// The search of ITU-T G.729 and 3GPP AMR-WB for line or immittance spectral pairs: the roots of the sum and the difference
// polynomial, which alternate, between the points of a grid.
//
// A Series is one of the two polynomials, as a Chebyshev series. It has
//     Number                         int16_t or float
//     stepAfterRoot                  1: the interval that follows a root ends at the next grid point; 0: at the same one
//     evaluate(x)                    its value
//     narrow(interval, bisections)   the interval after 2 or 4 bisections
//     root(interval)                 the place of the root in the last interval
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ryxsc::roots {

// Where the polynomials are evaluated: cosines, Q15 or single precision, falling; beyond the last point zeros fill the
// vectors that kernels load.
template <class Number, int capacity = 64> struct Grid {
    int points;
    int bisections; // of an interval in which a root lies
    alignas(16) std::array<Number, capacity> cosines;
};

// One bit per grid point.
__extension__ typedef unsigned __int128 Bits128;
template <int capacity> using PointBits = std::conditional_t<capacity <= 64, uint64_t, Bits128>;

inline int lowestBit(uint64_t bits) {
    return std::countr_zero(bits);
}
inline int lowestBit(Bits128 bits) {
    const auto low = static_cast<uint64_t>(bits);
    return low != 0 ? lowestBit(low) : 64 + lowestBit(static_cast<uint64_t>(bits >> 64));
}

// Both polynomials on the grid. Bit j of the changes tells that the interval from point j - 1 to point j holds a root: the
// product of the values at its ends is not positive.
template <class Number, int capacity = 64> struct GridValues {
    alignas(16) Number values[2][capacity];
    PointBits<capacity> changes[2];
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

// A root that is known before the search comes to its interval, and the value of the other polynomial there.
template <class Number> struct KnownRoot { Number place, valueOfOther; };
template <class Number> struct NothingKnown {
    static const KnownRoot<Number> *find(int, int) { return nullptr; }
};

// Writes the roots, at most as many as wanted, and returns their number. knownRoots.find(which, j) is the root in the
// interval from grid point j - 1 to point j, or null.
template <class Series, int capacity, class Number = typename Series::Number, class KnownRoots = NothingKnown<Number>>
int findRoots(const Grid<Number, capacity> &grid, const GridValues<Number, capacity> &known, const Series (&series)[2],
              Number *roots, int wanted, const KnownRoots &knownRoots = {}) {
    const auto pointAt = [&](int which, int j) {
        return Point<Number>{grid.cosines[static_cast<size_t>(j)], known.values[which][j]};
    };
    int which = 0, found = 0, j = 1;
    Point<Number> high = pointAt(which, 0);
    bool isGridPoint = true;
    while (j < grid.points) {
        if (!changesSign(pointAt(which, j).y, high.y)) {
            const PointBits<capacity> changesBeyond = known.changes[which] & (~PointBits<capacity>{1} << j);
            if (changesBeyond == 0) break;
            j = lowestBit(changesBeyond);
            high = pointAt(which, j - 1);
            isGridPoint = true;
        }
        const KnownRoot<Number> *const ready = isGridPoint ? knownRoots.find(which, j) : nullptr;
        const Number root = ready != nullptr
                                ? ready->place
                                : Series::root(series[which].narrow({high, pointAt(which, j)}, grid.bisections));
        roots[found++] = root;
        if (found == wanted) break;
        which ^= 1;
        high = {root, ready != nullptr ? ready->valueOfOther : series[which].evaluate(root)};
        isGridPoint = false;
        j += Series::stepAfterRoot;
    }
    return found;
}

} // namespace ryxsc::roots
