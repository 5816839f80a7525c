// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to line spectral pairs in single precision (ITU-T G.729 Annex C). As in fixed point, the grid is evaluated
// in advance.
#include <algorithm>

#include "common/checks.h"
#include "common/root_search.h"
#include "common/simd.h"
#include "g729/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729::lp;
using namespace ryxsc::roots;

namespace {

constexpr int degree = order / 2;

// changesSign() of four pairs, one bit each.
int signChanges(__m128 y1, __m128 y2) {
    return _mm_movemask_ps(_mm_cmple_ps(_mm_mul_ps(y1, y2), _mm_setzero_ps()));
}

// T5(x) + f[1] * T4(x) + ... + f[5] / 2.
class FloatSeries {
public:
    using Number = float;
    static constexpr int stepAfterRoot = 0;

    // sign: 1 for the sum, -1 for the difference polynomial; its root at z = -sign is divided out.
    FloatSeries(const float *a, float sign) {
        f_[0] = 1;
        for (int i = 1; i <= degree; i++)
            f_[i] = a[i] + sign * a[order + 1 - i] - sign * f_[i - 1];
    }

    float evaluate(float x) const {
        const float x2 = 2 * x;
        float b2 = 1, b1 = x2 + f_[1];
        for (int i = 2; i < degree; i++) {
            const float b0 = x2 * b1 - b2 + f_[i];
            b2 = b1;
            b1 = b0;
        }
        return x * b1 - b2 + 0.5f * f_[degree];
    }

    // The same at four points.
    __m128 evaluate(__m128 x) const {
        const __m128 x2 = _mm_add_ps(x, x);
        __m128 b2 = _mm_set1_ps(1), b1 = _mm_add_ps(x2, _mm_set1_ps(f_[1]));
        for (int i = 2; i < degree; i++) {
            const __m128 b0 = _mm_add_ps(_mm_sub_ps(_mm_mul_ps(x2, b1), b2), _mm_set1_ps(f_[i]));
            b2 = b1;
            b1 = b0;
        }
        return _mm_add_ps(_mm_sub_ps(_mm_mul_ps(x, b1), b2), _mm_set1_ps(0.5f * f_[degree]));
    }

    Interval<float> narrow(const Interval<float> &interval, int bisections) const {
        __m128 high = _mm_set1_ps(interval.high.x), low = _mm_set1_ps(interval.low.x);
        for (int i = 0; i < 2; i++) {
            const __m128 x = middles(high, low);
            high = _mm_unpacklo_ps(high, x);
            low = _mm_unpacklo_ps(x, low);
        }
        if (bisections == 2) return select<2>(interval.low, {high});
        const __m128 eighths = middles(high, low);
        const __m128 front = _mm_unpacklo_ps(high, eighths), back = _mm_unpackhi_ps(high, eighths);
        const __m128 frontMiddles = middles(front, _mm_unpacklo_ps(eighths, low));
        const __m128 backMiddles = middles(back, _mm_unpackhi_ps(eighths, low));
        return select<4>(interval.low, {_mm_unpacklo_ps(front, frontMiddles), _mm_unpackhi_ps(front, frontMiddles),
                                        _mm_unpacklo_ps(back, backMiddles), _mm_unpackhi_ps(back, backMiddles)});
    }

    static float root(const Interval<float> &interval) {
        const auto &[high, low] = interval;
        const float dy = high.y - low.y;
        return dy == 0 ? low.x : low.x - low.y * (high.x - low.x) / dy;
    }

private:
    static __m128 middles(__m128 x1, __m128 x2) { return _mm_mul_ps(_mm_set1_ps(0.5f), _mm_add_ps(x1, x2)); }

    // points: the high ends of the parts.
    template <int bisections>
    Interval<float> select(Point<float> low, const __m128 (&points)[(1 << bisections) / 4]) const {
        Subdivision<float, bisections> parts;
        int changes = 0;
        for (int i = 0; i < (1 << bisections) / 4; i++) {
            const __m128 y = evaluate(points[i]);
            _mm_store_ps(parts.x + 4 * i, points[i]);
            _mm_store_ps(parts.y + 4 * i, y);
            changes |= signChanges(y, _mm_set1_ps(low.y)) << 4 * i;
        }
        parts.x[parts.parts] = low.x;
        parts.y[parts.parts] = low.y;
        return parts.bisect(static_cast<uint32_t>(changes));
    }

    float f_[degree + 1];
};

// Bit j is the test of changesSign() between points j - 1 and j.
uint64_t findChanges(const float *values, int points) {
    uint64_t changes = 0;
    for (int j = 1; j < points; j += 4) {
        const int bits = signChanges(_mm_loadu_ps(values + j - 1), _mm_loadu_ps(values + j));
        changes |= static_cast<uint64_t>(bits) << j;
    }
    return changes & ((uint64_t{1} << points) - 1);
}

ryxStatus convert(const float *a, const float *previous, float *lsp, const Grid<float> &grid) {
    if (anyNull(a, previous, lsp)) return ryxStsNullPtr;
    const FloatSeries series[2] = {{a, 1}, {a, -1}};
    GridValues<float> known;
    for (int point = 0; point < grid.points + 3; point += 4) { // as far as the search for changes loads
        const __m128 x = _mm_load_ps(&grid.cosines[static_cast<size_t>(point)]);
        _mm_store_ps(known.values[0] + point, series[0].evaluate(x));
        _mm_store_ps(known.values[1] + point, series[1].evaluate(x));
    }
    known.changes[0] = findChanges(known.values[0], grid.points);
    known.changes[1] = findChanges(known.values[1], grid.points);

    float roots[order]; // apart from the output, which may be the previous vector
    const int found = findRoots(grid, known, series, roots, order);
    std::copy_n(found == order ? roots : previous, order, lsp);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLPCToLSP_G729_32f_u8(const float *lpc, const float *prevLsp, float *lsp) {
    return convert(lpc, prevLsp, lsp, mainFloatGrid);
}

ryxStatus ryxsLPCToLSP_G729A_32f_u8(const float *lpc, const float *prevLsp, float *lsp) {
    return convert(lpc, prevLsp, lsp, annexAFloatGrid);
}
