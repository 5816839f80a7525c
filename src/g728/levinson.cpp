// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion of ITU-T G.728, Annex G, which can stop at one order and go on later, and the bandwidth
// expansions that follow it.
#include <iterator>
#include <utility>

#include "common/checks.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g728/arithmetic.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int room = 56; // for 50 coefficients in whole vectors

// A recursion in progress: coefficients in Q(15 - scale), zeros behind them, and residual energy. The fast form keeps the
// coefficients in reverse order as well.
struct Recursion {
    alignas(16) int16_t a[room];
    alignas(16) int16_t b[room];
    int16_t energy;
    int scale;
    int16_t reflection;
};

// floor(65536 n / d), at most 65535; n >= 0, d > 0.
int32_t quotient(int32_t n, int32_t d) {
    return n >= d ? 65535 : static_cast<int32_t>((static_cast<uint32_t>(n) << 16) / static_cast<uint32_t>(d));
}

bool start(const int16_t *r, Recursion &s) {
    if (r[0] <= 0) return false;
    s.scale = 0;
    const int16_t k = roundUpper(quotient(std::abs(r[1]), r[0]) << 15);
    s.a[0] = s.reflection = r[1] > 0 ? negate(k) : k;
    s.energy = roundUpper(sat32(r[0] * int64_t{65536} + 2 * int64_t{s.reflection} * r[1]));
    return true;
}

bool fits32(int64_t x) {
    return x == sat32(x);
}

// a[f] + k a[i - 1 - f] for all of them; where that leaves 16 bits, all are halved. k is in Q16.
bool update(int16_t *a, int i, int32_t k, int &scale) {
    for (int f = 0, g = i - 1; f <= g;) {
        const int64_t x = a[f] * int64_t{65536} + int64_t{k} * a[g];
        const int64_t y = a[g] * int64_t{65536} + int64_t{k} * a[f];
        if (!fits32(x) || !fits32(y)) {
            if (++scale > 2) return false;
            for (int n = 0; n < i; n++)
                a[n] = static_cast<int16_t>(a[n] >> 1);
            continue;
        }
        a[f++] = roundUpper(static_cast<int32_t>(x));
        a[g--] = roundUpper(static_cast<int32_t>(y));
    }
    return true;
}

// One order further by the book. The fast form below leaves rare cases to it.
bool step(const int16_t *r, int i, Recursion &s) {
    int64_t sum = 0;
    for (int n = 1; n <= i; n++)
        sum += r[n] * s.a[i - n];
    const int64_t total = r[i + 1] * int64_t{65536} + sum * (2 << s.scale);
    const int32_t x =
        roundUpper(sat32(total)); // 32767 or -32768 where the sum leaves 32 bits, so the recursion ends here
    const int32_t magnitude = std::abs(x);
    if (magnitude >= s.energy) return false;
    const int32_t u = quotient(magnitude, s.energy) << 15;
    const int32_t k = x > 0 ? -2 * roundUpper(u) : 2 * roundUpper(u);
    const int64_t energy = s.energy * int64_t{65536} + int64_t{k} * x;
    if (energy <= 0) return false;
    s.energy = roundUpper(sat32(energy));
    if (!update(s.a, i, k, s.scale)) return false;
    const int16_t last = roundUpper(u >> s.scale);
    s.a[i] = x > 0 ? negate(last) : last;
    return true;
}

// floor(65536 n / d) is the product of n and this over d, cut off: the surplus is more than what the roundings take away,
// in any rounding mode, and too little for the next integer, from which the exact quotient is 1 / d or more away.
constexpr double numerator = 65536 * (1 + 0x1p-40);

// Ones from word 8 on.
alignas(16) constexpr int16_t wordMasks[16] = {0, 0, 0, 0, 0, 0, 0, 0, -1, 0, 0, 0, 0, 0, 0, 0};

// The recursion with everything in registers, for orders that fill `count` vectors. Beside the coefficients it keeps them in
// reverse order: the sum of step(), which is the next reflection coefficient's numerator, is then a plain dot product with
// the autocorrelation, and the update needs no reversal,
//     a'[m] = a[m] + k * b[m],    b'[m + 1] = b[m] + k * a[m],
// with products rounded as pmulhrsw does it: a * 65536 + 2 k b, rounded to the upper half, is a plus (k b + 2^14) >> 15.
// The quotient comes from a multiplication by the reciprocal of the energy, which is found while the sum is.
template <int count> class Lattice {
public:
    explicit Lattice(const Recursion &s) {
        shift_ = _mm_cvtsi32_si128(s.scale + 1);
        half_ = _mm_cvtsi32_si128(1 << s.scale);
        fraction_ = 15 - s.scale;
        setEnergy(_mm_cvtsi32_si128(s.energy));
        for (int v = 0; v < count; v++) {
            a_[v] = simd::loadAligned(s.a + 8 * v);
            b_[v] = simd::loadAligned(s.b + 8 * v);
        }
    }

    void save(Recursion &s) const {
        for (int v = 0; v < count; v++) {
            simd::store(s.a + 8 * v, a_[v]);
            simd::store(s.b + 8 * v, b_[v]);
        }
        s.energy = static_cast<int16_t>(_mm_cvtsi128_si32(energy_));
    }

    // From i to i + 1 coefficients. False, with nothing changed, where the sum may leave 32 bits or a coefficient 16 bits,
    // and where the recursion ends.
    bool step(const int16_t *r, int i) {
        const Vector x = _mm_sra_epi32(sums(r, r[i + 1]), _mm_cvtsi32_si128(fraction_));
        const Vector magnitude = _mm_abs_epi32(x);
        const Vector limits = _mm_add_epi32(energy_, _mm_setr_epi32(-1, 30, max32, max32));
        if (_mm_movemask_epi8(_mm_cmpgt_epi32(magnitude, limits)) != 0) [[unlikely]]
            return false;

        const Vector sign = _mm_sub_epi32(_mm_setzero_si128(), x);
        const Vector u = _mm_cvttpd_epi32(_mm_mul_sd(_mm_cvtepi32_pd(magnitude), reciprocal_));
        const Vector k = _mm_sign_epi32(_mm_srli_epi32(_mm_add_epi32(u, _mm_cvtsi32_si128(1)), 1), sign);
        const Vector factor = simd::broadcastWord<0>(k);
        Vector a[count], b[count], lowest = _mm_setzero_si128(), highest = lowest;
#pragma GCC unroll 8
        for (int v = 0; v < count; v++) {
            a[v] = _mm_adds_epi16(a_[v], _mm_mulhrs_epi16(factor, b_[v]));
            b[v] = _mm_adds_epi16(b_[v], _mm_mulhrs_epi16(factor, a_[v]));
            lowest = _mm_min_epi16(lowest, a[v]);
            highest = _mm_max_epi16(highest, a[v]);
        }
        // A coefficient of 32767 or -32768 may have been limited.
        const Vector limited =
            _mm_or_si128(_mm_cmpeq_epi16(lowest, simd::words(min16)), _mm_cmpeq_epi16(highest, simd::words(max16)));
        if (_mm_movemask_epi8(limited) != 0) [[unlikely]]
            return false;

        const Vector last =
            simd::broadcastWord<0>(_mm_sign_epi32(_mm_srl_epi32(_mm_add_epi32(u, half_), shift_), sign));
        a[count - 1] = _mm_or_si128(a[count - 1], _mm_and_si128(last, simd::load(wordMasks + 8 - i % 8)));
        Vector before = last;
#pragma GCC unroll 8
        for (int v = 0; v < count; v++) {
            a_[v] = a[v];
            b_[v] = _mm_alignr_epi8(b[v], before, 14);
            before = b[v];
        }
        // E + (k x + 2^14) >> 15. It stays above 0: x is smaller than E, and the rounding of k worth less than half a unit.
        setEnergy(_mm_add_epi16(energy_, _mm_mulhrs_epi16(k, _mm_and_si128(x, _mm_cvtsi32_si128(-1)))));
        return true;
    }

private:
    void setEnergy(Vector energy) {
        energy_ = energy;
        reciprocal_ = _mm_div_sd(_mm_set_sd(numerator), _mm_cvtepi32_pd(energy));
    }

    // Dword 0: the sum and r in its scale, which shifted right by `fraction_` make the numerator. The whole fits 32 bits, so
    // the parts may wrap around. Dword 1: 2^-10 of it, not exactly, but without wrapping around.
    Vector sums(const int16_t *r, int newest) const {
        Vector products[8], coarse[8];
#pragma GCC unroll 8
        for (int v = 0; v < count; v++) {
            products[v] = _mm_madd_epi16(simd::load(r + 1 + 8 * v), b_[v]);
            coarse[v] = _mm_srai_epi32(products[v], 10);
        }
#pragma GCC unroll 8
        for (int v = 0; v + 4 < count; v++) {
            products[v] = _mm_add_epi32(products[v], products[v + 4]);
            coarse[v] = _mm_add_epi32(coarse[v], coarse[v + 4]);
        }
        const auto tree = [](Vector *x) {
            if constexpr (count > 3) x[2] = _mm_add_epi32(x[2], x[3]);
            if constexpr (count > 1) x[0] = _mm_add_epi32(x[0], x[1]);
            return count > 2 ? _mm_add_epi32(x[0], x[2]) : x[0];
        };
        const Vector sum = tree(products), rough = tree(coarse);
        const Vector rounded =
            _mm_setr_epi32((2 * newest + 1) << (fraction_ - 1), (2 * newest) << (fraction_ - 11), 0, 0);
        const Vector both = _mm_add_epi32(_mm_unpacklo_epi32(sum, rough), _mm_unpackhi_epi32(sum, rough));
        return _mm_add_epi32(_mm_add_epi32(both, rounded), _mm_unpackhi_epi64(both, both));
    }

    Vector a_[count], b_[count];
    Vector energy_; // in dword 0, the others are 0
    __m128d reciprocal_;
    Vector shift_, half_; // scale + 1 and 2^scale
    int fraction_;
};

// b from the i coefficients in a.
void mirror(Recursion &s, int i) {
    const int vectors = (i + 7) / 8;
    alignas(16) int16_t mirrored[2 * room];
    for (int v = 0; v < vectors; v++) {
        simd::store(mirrored + 8 * (vectors - 1 - v), simd::reverseWords(simd::loadAligned(s.a + 8 * v)));
        simd::store(mirrored + 8 * (vectors + v), _mm_setzero_si128());
    }
    for (int v = 0; v < vectors; v++)
        simd::store(s.b + 8 * v, simd::load(mirrored + 8 * vectors - i + 8 * v));
}

// From order i up to `to`, while the coefficients fit `count` vectors. Behind the autocorrelation stand zeros.
template <int count> bool recurse(const int16_t *r, int &i, int to, Recursion &s) {
    const int end = std::min(to, 8 * count);
    while (i < end) {
        Lattice<count> lattice(s);
        while (i < end && lattice.step(r, i))
            i++;
        lattice.save(s);
        if (i == end) break;
        if (!step(r, i++, s)) return false;
        mirror(s, i);
    }
    return true;
}

bool recurse(const int16_t *r, int i, int to, Recursion &s) {
    mirror(s, i);
    return s.energy > 0 && recurse<1>(r, i, to, s) && recurse<2>(r, i, to, s) && recurse<3>(r, i, to, s) &&
           recurse<4>(r, i, to, s) && recurse<5>(r, i, to, s) && recurse<6>(r, i, to, s) && recurse<7>(r, i, to, s);
}

// All of `room`, zeros behind the n given words.
void copyPadded(const int16_t *src, int n, int16_t *dst) {
#pragma GCC unroll 8
    for (int at = 0; at < room; at += 8)
        simd::store(dst + at, _mm_setzero_si128());
    copyWords(src, n, dst);
}

struct Expansion {
    const int16_t *factors; // Q14
    int len;
};
constexpr Expansion expansions[] = {
    {synthesisExpansion, synthesisOrder}, {logGainExpansion, order},        {weightingPoleExpansion, order},
    {weightingZeroExpansion, order},      {postFilterPoleExpansion, order}, {postFilterZeroExpansion, order},
    {erasureExpansion, synthesisOrder},
};
static_assert(ryxG728ErasureExpansion == std::size(expansions) - 1);

} // namespace

ryxStatus ryxsLevinsonDurbin_G728_16s_u8(const int16_t *autoCorr, int from, int to, int16_t *coefficients,
                                         int16_t *energy, int16_t *fraction, int16_t *reflection) {
    if (anyNull(autoCorr, coefficients, energy, fraction, reflection)) return ryxStsNullPtr;
    if (from < 0 || to <= from) return ryxStsBadSize;
    if (to > synthesisOrder) return ryxStsOutOfRange;
    if (from > 0 && (*fraction < 13 || *fraction > 15)) return ryxStsOutOfRange;
    Recursion s;
    copyPadded(coefficients, from, s.a);
#pragma GCC unroll 8
    for (int at = 0; at < room; at += 8)
        simd::store(s.b + at, _mm_setzero_si128());
    int i = from;
    if (from == 0) {
        if (!start(autoCorr, s)) return ryxStsOverflow;
        i = 1;
    } else {
        s.energy = *energy;
        s.scale = 15 - *fraction;
        s.reflection = *reflection;
    }
    int16_t r[room + 8];
    r[room] = 0;
    copyPadded(autoCorr, to + 1, r);
    if (i < to && !recurse(r, i, to, s)) return ryxStsOverflow;
    copyWords(s.a, to, coefficients);
    *energy = s.energy;
    *fraction = static_cast<int16_t>(15 - s.scale);
    *reflection = s.reflection;
    return ryxStsOk;
}

ryxStatus ryxsBandwidthExpand_G728_16s_u8(const int16_t *src, int16_t fraction, int16_t expansion, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    if (expansion < 0 || expansion > ryxG728ErasureExpansion) return ryxStsOutOfRange;
    const Expansion &e = expansions[expansion];
    const Vector count = _mm_cvtsi32_si128(16 - fraction);
    const Vector tail = simd::load(src + e.len - 8); // before the loop, which may work in place
    Vector changed = _mm_setzero_si128();
    const auto expand = [&](Vector x, int at) {
        const simd::Dwords product = simd::products(x, simd::load(e.factors + at));
        const Vector front = shiftLeftLimited(product.front, count), back = shiftLeftLimited(product.back, count);
        for (const auto &[limited, whole] : {std::pair(front, product.front), std::pair(back, product.back)})
            changed = _mm_or_si128(changed, _mm_xor_si128(_mm_sra_epi32(limited, count), whole));
        simd::store(dst + at, roundedUpperHalves(front, back));
    };
    for (int at = 0; at + 8 < e.len; at += 8)
        expand(simd::load(src + at), at);
    expand(tail, e.len - 8);
    const bool fits = _mm_movemask_epi8(_mm_cmpeq_epi32(changed, _mm_setzero_si128())) == 0xffff;
    return fits ? ryxStsOk : ryxStsOverflow;
}
