// SPDX-License-Identifier: BSD-2-Clause
#include "reference/g729_lp.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "g729/lp_tables.h"

namespace reference::g729lp {

namespace {

constexpr int degree = order / 2;
constexpr int64_t max32 = 0x7fffffff;

int sat16(int64_t x) {
    return static_cast<int>(std::clamp<int64_t>(x, -32768, 32767));
}
int sat32(int64_t x) {
    return static_cast<int>(std::clamp<int64_t>(x, -max32 - 1, max32));
}
int low16(int64_t x) {
    return static_cast<int16_t>(x);
}

// The two parts of the double-precision format.
int64_t high(int64_t x) {
    return x >> 16;
}
int64_t low(int64_t x) {
    return (x >> 1) & 0x7fff;
}
int even(int x) {
    return x & ~1;
}

int multiplyShort(int x, int64_t n) {
    return sat32(sat32(2 * high(x) * n) + 2 * sat16((low(x) * n) >> 15));
}

// Product of two numbers in double-precision format.
int multiply(int x, int y) {
    const int highs = sat32(2 * high(x) * high(y));
    const int first = sat32(int64_t{highs} + 2 * sat16((high(x) * low(y)) >> 15));
    return sat32(int64_t{first} + 2 * sat16((low(x) * high(y)) >> 15));
}

// t minus both parts of b, each with saturation.
int subtractParts(int t, int b) {
    return sat32(sat32(t + sat32(-65536 * high(b))) - 2 * low(b));
}

int normalisingShifts(int64_t x, int64_t from) {
    int shifts = 0;
    while (x != 0 && x < from && x >= -from)
        x *= 2, shifts++;
    return shifts;
}

int quotient(int num, int den) {
    const int c = low16(0x1fff8000 / high(den));
    const int t = multiplyShort(sat32(max32 - multiplyShort(den, c)), c);
    return sat32(4 * int64_t{multiply(num, t)});
}

// Exact where the cosine is rational, so that truncation does not depend on the last bit.
double cosine(int i, int intervals) {
    return std::round(1e15 * std::cos(std::numbers::pi * i / intervals)) / 1e15;
}

int cosineQ15(int k) {
    return sat16(std::lround(32768 * cosine(k, 64)));
}

struct FixedSearch {
    int f[2][degree + 1], bits;

    explicit FixedSearch(const Lpcs<int16_t> &a) {
        if (!build(a, 1)) build(a, 2);
    }

    bool build(const Lpcs<int16_t> &a, int shift) {
        bits = 25 - shift;
        bool exact = true;
        for (const int which : {0, 1}) {
            const int sign = which ? -1 : 1;
            f[which][0] = 4096 >> shift;
            for (size_t i = 1; i <= degree; i++) {
                const int value = ((a[i] + sign * a[11 - i]) >> shift) - sign * f[which][i - 1];
                f[which][i] = sat16(value);
                exact &= f[which][i] == value;
            }
        }
        return exact;
    }

    static std::vector<int> makeGrid(int intervals) {
        std::vector<int> grid;
        for (int i = 0; i <= intervals; i++)
            grid.push_back(static_cast<int>(std::clamp(32768 * cosine(i, intervals), -32760.0, 32760.0)));
        return grid;
    }

    int evaluate(int which, int x) const {
        int b2 = 1 << bits, b1 = even(sat32(int64_t{x} * (1 << (bits - 14)) + f[which][1] * 8192));
        for (int i = 2; i <= 4; i++) {
            const int t = subtractParts(sat32(int64_t{2} * multiplyShort(b1, x)), b2);
            b2 = b1;
            b1 = even(sat32(int64_t{t} + f[which][i] * 8192));
        }
        const int t = sat32(int64_t{subtractParts(multiplyShort(b1, x), b2)} + f[which][5] * 4096);
        return sat32(int64_t{t} << (30 - bits)) >> 16;
    }

    static int middle(int x1, int x2) { return (x1 >> 1) + (x2 >> 1); }

    static int root(int xh, int yh, int xl, int yl) {
        const int dx = sat16(xh - xl), dy = sat16(yh - yl);
        if (dy == 0) return xl;
        const int magnitude = sat16(std::abs(dy)), e = normalisingShifts(magnitude, 16384);
        const int c = 16383 * 32768 / (magnitude << e);
        int u = low16(int64_t{2} * dx * c >> (20 - e));
        if (dy < 0) u = sat16(-u);
        return sat16(xl - low16(sat32(int64_t{2} * yl * u) >> 11));
    }

    static constexpr bool sameIntervalAgain = false;
};

struct FloatSearch {
    float f[2][degree + 1];

    explicit FloatSearch(const Lpcs<float> &a) {
        f[0][0] = f[1][0] = 1;
        for (size_t i = 1; i <= degree; i++) {
            f[0][i] = a[i] + a[11 - i] - f[0][i - 1];
            f[1][i] = a[i] - a[11 - i] + f[1][i - 1];
        }
    }

    // The recommendation prints seven decimals, some of them not the nearest; so this is the library's table.
    static std::vector<float> makeGrid(int intervals) {
        const auto &table = intervals == 60 ? ryxsc::g729::lp::mainFloatGrid : ryxsc::g729::lp::annexAFloatGrid;
        return {table.cosines.begin(), table.cosines.begin() + intervals + 1};
    }

    float evaluate(int which, float x) const {
        float b2 = 1, b1 = 2 * x + f[which][1];
        for (int i = 2; i <= 4; i++) {
            const float b0 = 2 * x * b1 - b2 + f[which][i];
            b2 = b1;
            b1 = b0;
        }
        return x * b1 - b2 + f[which][5] / 2;
    }

    static float middle(float x1, float x2) { return (x1 + x2) / 2; }
    static float root(float xh, float yh, float xl, float yl) {
        return yh == yl ? xl : xl - yl * (xh - xl) / (yh - yl);
    }

    static constexpr bool sameIntervalAgain = true;
};

template <class Number, class Polynomials>
std::optional<Lsps<Number>> findRoots(const Polynomials &polynomials, Search search) {
    static const auto fine = Polynomials::makeGrid(60), coarse = Polynomials::makeGrid(50);
    const auto &grid = search.intervals == 60 ? fine : coarse;
    Lsps<Number> roots;
    size_t found = 0;
    int which = 0;
    auto xl = grid[0], yl = polynomials.evaluate(0, xl);
    for (int j = 1; j <= search.intervals && found < order; j++) {
        auto xh = xl, yh = yl;
        xl = grid[static_cast<size_t>(j)];
        yl = polynomials.evaluate(which, xl);
        if (!(yl * yh <= 0)) continue;
        for (int i = 0; i < search.bisections; i++) {
            const auto xm = polynomials.middle(xl, xh), ym = polynomials.evaluate(which, xm);
            if (yl * ym <= 0)
                xh = xm, yh = ym;
            else
                xl = xm, yl = ym;
        }
        xl = polynomials.root(xh, yh, xl, yl);
        roots[found++] = static_cast<Number>(xl);
        which ^= 1;
        yl = polynomials.evaluate(which, xl);
        j -= polynomials.sameIntervalAgain;
    }
    return found == order ? std::optional(roots) : std::nullopt;
}

// Product of the quadratic factors of every other LSP, Q24.
std::array<int, degree + 1> expand(const int16_t *lsp) {
    std::array<int, degree + 1> f = {1 << 24, -1024 * lsp[0]};
    for (size_t i = 2; i <= degree; i++) {
        const int b = lsp[2 * i - 2];
        f[i] = f[i - 2];
        for (size_t k = i; k >= 2; k--) {
            const int product = sat32(int64_t{2} * multiplyShort(even(f[k - 1]), b));
            f[k] = sat32(int64_t{sat32(int64_t{f[k]} + f[k - 2])} - product);
        }
        f[1] = sat32(int64_t{f[1]} - 1024 * b);
    }
    return f;
}

int16_t roundToQ12(int t) {
    return static_cast<int16_t>((t >> 13) + ((t >> 12) & 1));
}

} // namespace

std::optional<Filter> levinson(const std::vector<int32_t> &r) {
    if (std::abs(int64_t{r[0]}) < 65536) return {};
    const size_t p = r.size() - 1;
    std::vector<int> a(p + 1), b(p + 1);
    Filter filter{std::vector<int16_t>(p + 1, 4096), std::vector<int16_t>(p), 0};
    int alpha = r[0], exponent = 0;
    for (size_t m = 1; m <= p; m++) {
        int t = 0;
        for (size_t j = 1; j < m; j++)
            t = sat32(int64_t{t} + multiply(r[j], a[m - j]));
        t = sat32(int64_t{sat32(int64_t{16} * t)} + even(r[m]));
        int k = quotient(sat32(std::abs(int64_t{t})), alpha);
        if (t > 0) k = sat32(-int64_t{k});
        k = sat32(int64_t{k} * (int64_t{1} << std::min(exponent, 31)));
        if (sat16(std::abs(high(k))) > 32750) return {};
        filter.reflections[m - 1] = static_cast<int16_t>(high(k));
        for (size_t j = 1; j < m; j++)
            b[j] = even(sat32(int64_t{multiply(k, a[m - j])} + a[j]));
        b[m] = even(k >> 4);
        a = b;
        const int e = sat32(max32 - std::abs(int64_t{multiply(k, k)}));
        alpha = multiply(alpha, e);
        const int n = normalisingShifts(alpha, int64_t{1} << 30);
        alpha = sat32(int64_t{alpha} << n);
        exponent += n;
    }
    for (size_t j = 1; j <= p; j++)
        filter.lpc[j] = static_cast<int16_t>(sat32(int64_t{sat32(int64_t{2} * a[j])} + 0x8000) >> 16);
    filter.energy = static_cast<int16_t>(high(alpha));
    return filter;
}

std::optional<Lsps<int16_t>> lpcToLsp(const Lpcs<int16_t> &a, Search search) {
    return findRoots<int16_t>(FixedSearch(a), search);
}

std::optional<Lsps<float>> lpcToLsp(const Lpcs<float> &a, Search search) {
    return findRoots<float>(FloatSearch(a), search);
}

Lpcs<int16_t> lspToLpc(const Lsps<int16_t> &lsp) {
    auto f1 = expand(&lsp[0]), f2 = expand(&lsp[1]);
    Lpcs<int16_t> a = {4096};
    for (size_t k = degree; k >= 1; k--) {
        f1[k] = sat32(int64_t{f1[k]} + f1[k - 1]);
        f2[k] = sat32(int64_t{f2[k]} - f2[k - 1]);
        a[k] = roundToQ12(sat32(int64_t{f1[k]} + f2[k]));
        a[11 - k] = roundToQ12(sat32(int64_t{f1[k]} - f2[k]));
    }
    return a;
}

Lsps<int16_t> lspToLsf(const Lsps<int16_t> &lsp, bool normalised) {
    Lsps<int16_t> lsf;
    int k = 63;
    for (size_t i = order; i-- > 0;) {
        while (cosineQ15(k) < lsp[i])
            k--;
        const int width = (k ? cosineQ15(k) : 32768) - (k < 63 ? cosineQ15(k + 1) : -32768);
        const int v = (lsp[i] - cosineQ15(k)) * static_cast<int>(std::lround(-1048576.0 / width));
        const int radians = (sat16(512 * k + (v >> 11)) * 3217) >> 12;
        lsf[i] = static_cast<int16_t>(normalised ? sat16(256 * k + ((v + 2048) >> 12)) : radians);
    }
    return lsf;
}

Lsps<int16_t> lsfToLsp(const Lsps<int16_t> &lsf) {
    Lsps<int16_t> lsp;
    for (size_t i = 0; i < order; i++) {
        const int f = (lsf[i] * 20861) >> 15, k = std::clamp(f >> 8, 0, 63);
        const int slope = static_cast<int>(std::lround(524288 * (cosine(k + 1, 64) - cosine(k, 64))));
        lsp[i] = static_cast<int16_t>(sat16(cosineQ15(k) + ((slope * (f & 255)) >> 12)));
    }
    return lsp;
}

} // namespace reference::g729lp
