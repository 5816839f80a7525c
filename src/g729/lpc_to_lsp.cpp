// LP coefficients to line spectral pairs in fixed point (ITU-T G.729, clause 3.2.3, and its Annex A).
//
// All grid points are evaluated in advance, four at a time and for both polynomials: that takes less time than the branches
// of a walk from point to point. The bisections are serial and run in scalar registers.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g729/double_precision.h"
#include "g729/root_search.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using namespace ryxsc::g729::lp;
using simd::Vector;

namespace {

constexpr int degree = order / 2;

// The sum polynomial and the difference polynomial without their roots at z = -1 and z = 1, coefficients 0 to 5.
struct Polynomials {
    int16_t f[2][degree + 1];
    int bits; // of fraction in the series: 24 for coefficients in Q11, 23 for Q10
};

// Returns whether a coefficient was saturated.
bool divideOut(const int16_t *a, int shift, Polynomials &polynomials) {
    auto &[sum, difference] = polynomials.f;
    polynomials.bits = 25 - shift;
    sum[0] = difference[0] = static_cast<int16_t>(4096 >> shift);
    bool saturated = false;
    for (int i = 0; i < degree; i++) {
        const int nextSum = ((a[i + 1] + a[order - i]) >> shift) - sum[i];
        const int nextDifference = ((a[i + 1] - a[order - i]) >> shift) + difference[i];
        sum[i + 1] = sat16(nextSum);
        difference[i + 1] = sat16(nextDifference);
        saturated |= sum[i + 1] != nextSum || difference[i + 1] != nextDifference;
    }
    return saturated;
}

Polynomials makePolynomials(const int16_t *a) {
    Polynomials polynomials;
    if (divideOut(a, 1, polynomials)) divideOut(a, 2, polynomials);
    return polynomials;
}

// Whether no step of either series can leave 32 bits for any x in -1..1. The k-th term of the recursion is at most the sum
// of |f[i]| * (k - i + 1); it is doubled up to k = 3. One unit of f is 2^13: the margin of 16 covers the low part of a term
// that is subtracted apart, and the rounding.
bool areBounded(const Polynomials &polynomials) {
    constexpr int limit = (1 << 18) - 16;
    return std::all_of(polynomials.f, polynomials.f + 2, [](const int16_t(&f)[degree + 1]) {
        const int f1 = std::abs(f[1]), f2 = std::abs(f[2]), f3 = std::abs(f[3]), f4 = std::abs(f[4]);
        return 2 * (4 * f[0] + 3 * f1 + 2 * f2 + f3) < limit && 5 * f[0] + 4 * f1 + 3 * f2 + 2 * f3 + f4 < limit;
    });
}

// C(x) = T5(x) + f[1] * T4(x) + ... + f[5] / 2 in Q14. Bounded series never saturate before the result; the others follow
// the saturating steps of the recommendation.
template <bool bounded> class FixedSeries {
public:
    using Number = int16_t;
    static constexpr int stepAfterRoot = 1;

    FixedSeries(const int16_t *f, int bits) : f_(f), bits_(bits) {}

    int16_t evaluate(int16_t x) const {
        int32_t b2 = 1 << bits_;
        int32_t b1 = x * (1 << (bits_ - 14)) + f_[1] * 8192;
        for (int i = 2; i < degree; i++) {
            const int32_t b0 = next(b1, b2, x, f_[i]);
            b2 = b1;
            b1 = b0;
        }
        return last(b1, b2, x);
    }

    // Serial and with branches: predicted right half of the time, that is faster than selections or all points at once.
    Interval<int16_t> narrow(Interval<int16_t> interval, int bisections) const {
        auto &[high, low] = interval;
        for (int i = 0; i < bisections; i++) {
            const auto x = static_cast<int16_t>((low.x >> 1) + (high.x >> 1));
            const Point<int16_t> middle = {x, evaluate(x)};
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

private:
    static int32_t next(int32_t b1, int32_t b2, int16_t x, int16_t f) {
        if constexpr (bounded) return 4 * halfProduct(b1, x) - b2 + f * 8192;
        return clearBit0(L_add(subtractParts(L_shl(multiplyShort(b1, x), 1), b2), f * 8192));
    }

    int16_t last(int32_t b1, int32_t b2, int16_t x) const {
        if constexpr (bounded) return sat16((2 * halfProduct(b1, x) - b2 + f_[degree] * 4096) >> (bits_ - 14));
        return extract_h(L_shl(L_add(subtractParts(multiplyShort(b1, x), b2), f_[degree] * 4096), 30 - bits_));
    }

    // t - b2, saturating after each of the two parts of b2.
    static int32_t subtractParts(int32_t t, int32_t b2) {
        return L_msu(L_mac(t, extract_h(b2), min16), static_cast<int16_t>(lowPart(b2)), 1);
    }

    const int16_t *f_;
    int bits_;
};

// A bounded series at four points at a time.
struct LaneSeries {
    Vector b2, slope, constant[degree + 1], shift;

    LaneSeries(const int16_t *f, int bits) : b2(simd::dwords(1 << bits)), slope(simd::dwords(1 << (bits - 14))) {
        for (int i = 1; i < degree; i++)
            constant[i] = simd::dwords(f[i] * 8192);
        constant[degree] = simd::dwords(f[degree] * 4096);
        shift = _mm_cvtsi32_si128(bits - 14);
    }

    // In 32 bits; the limitation to Q14 words is left to the caller's packing.
    Vector evaluate(const lanes::Words &x) const {
        Vector older = b2;
        Vector newer = _mm_add_epi32(_mm_madd_epi16(x.low, slope), constant[1]);
        for (int i = 2; i < degree; i++) {
            const Vector quadruple = _mm_slli_epi32(lanes::halfProduct(newer, x), 2);
            const Vector newest = _mm_add_epi32(_mm_sub_epi32(quadruple, older), constant[i]);
            older = newer;
            newer = newest;
        }
        const Vector twice = _mm_slli_epi32(lanes::halfProduct(newer, x), 1);
        return _mm_sra_epi32(_mm_add_epi32(_mm_sub_epi32(twice, older), constant[degree]), shift);
    }
};

// Which values are negative and which are 0, one bit per grid point.
struct Signs {
    uint64_t negative[2] = {}, zero[2] = {};

    void collect(int which, int point, Vector values) {
        const Vector zeroWords = _mm_setzero_si128();
        const Vector masks = _mm_packs_epi16(values, _mm_cmpeq_epi16(values, zeroWords));
        const auto bits = static_cast<uint32_t>(_mm_movemask_epi8(masks));
        negative[which] |= uint64_t{bits & 0xff} << point;
        zero[which] |= uint64_t{bits >> 8} << point;
    }

    // Beyond the last point no interval holds a root.
    uint64_t changes(int which, int points) const {
        const uint64_t zeros = zero[which], signs = negative[which];
        return (zeros | zeros << 1 | (signs ^ signs << 1)) & ((uint64_t{1} << points) - 2);
    }
};

template <class Evaluate> void fillGrid(const Grid<int16_t> &grid, GridValues<int16_t> &known, Evaluate evaluateEight) {
    Signs signs;
    for (int point = 0; point < grid.points; point += 8) {
        for (int which = 0; which < 2; which++) {
            const Vector values = evaluateEight(which, &grid.cosines[static_cast<size_t>(point)]);
            simd::store(known.values[which] + point, values);
            signs.collect(which, point, values);
        }
    }
    known.changes[0] = signs.changes(0, grid.points);
    known.changes[1] = signs.changes(1, grid.points);
}

void evaluateGrid(const Grid<int16_t> &grid, const Polynomials &p, const FixedSeries<true> (&)[2],
                  GridValues<int16_t> &known) {
    const LaneSeries series[2] = {{p.f[0], p.bits}, {p.f[1], p.bits}};
    fillGrid(grid, known, [&](int which, const int16_t *x) {
        const Vector eight = simd::load(x), zeros = _mm_setzero_si128();
        const lanes::Words front = {_mm_unpacklo_epi16(zeros, eight), _mm_unpacklo_epi16(eight, zeros)};
        const lanes::Words back = {_mm_unpackhi_epi16(zeros, eight), _mm_unpackhi_epi16(eight, zeros)};
        return _mm_packs_epi32(series[which].evaluate(front), series[which].evaluate(back));
    });
}

void evaluateGrid(const Grid<int16_t> &grid, const Polynomials &, const FixedSeries<false> (&series)[2],
                  GridValues<int16_t> &known) {
    fillGrid(grid, known, [&](int which, const int16_t *x) {
        int16_t values[8];
        std::transform(x, x + 8, values, [&](int16_t point) { return series[which].evaluate(point); });
        return simd::load(values);
    });
}

template <bool bounded> int search(const Grid<int16_t> &grid, const Polynomials &p, int16_t *roots) {
    const FixedSeries<bounded> series[2] = {{p.f[0], p.bits}, {p.f[1], p.bits}};
    GridValues<int16_t> known;
    evaluateGrid(grid, p, series, known);
    return findRoots(grid, known, series, roots);
}

ryxStatus convert(const int16_t *a, const int16_t *previous, int16_t *lsp, const Grid<int16_t> &grid) {
    if (anyNull(a, previous, lsp)) return ryxStsNullPtr;
    const Polynomials polynomials = makePolynomials(a);
    int16_t roots[order]; // apart from the output, which may be the previous vector
    const int found =
        areBounded(polynomials) ? search<true>(grid, polynomials, roots) : search<false>(grid, polynomials, roots);
    std::copy_n(found == order ? roots : previous, order, lsp);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLPCToLSP_G729_16s_u8(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp) {
    return convert(lpc, prevLsp, lsp, mainGrid);
}

ryxStatus ryxsLPCToLSP_G729A_16s_u8(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp) {
    return convert(lpc, prevLsp, lsp, annexAGrid);
}
