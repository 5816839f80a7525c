// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion of ITU-T G.728, Annex G, which can stop at one order and go on later, and the bandwidth
// expansions that follow it.
#include <iterator>
#include <utility>

#include "common/checks.h"
#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int room = 56; // for 50 coefficients in whole vectors

// A recursion in progress: coefficients in Q(15 - scale), zeros behind them, and residual energy.
struct Recursion {
    alignas(16) int16_t a[room];
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

// One order further by the book, with the autocorrelation from lag 1 on. The fast form below leaves rare cases to it.
bool step(const int16_t *r, int i, Recursion &s) {
    int64_t sum = 0;
    for (int n = 1; n <= i; n++)
        sum += r[n - 1] * s.a[i - n];
    const int64_t total = r[i] * int64_t{65536} + sum * (2 << s.scale);
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

// n words with zeros behind them, n below 8; in the codec it is 2.
Vector few(const int16_t *x, int n) {
    if (n == 2) [[likely]]
        return simd::load32(x);
    int16_t words[8] = {};
    std::copy_n(x, n, words);
    return simd::load(words);
}

// Each vector is finished by itself, or a compiler would call memset.
void clear(int16_t *dst, int from, int to) {
    for (int v = from; v < to; v++) {
        Vector zero = _mm_setzero_si128();
        simd::finish(zero);
        simd::store(dst + 8 * v, zero);
    }
}

// n words into whole vectors, zeros behind them. No vector is stored in parts, so that one that is loaded does not wait.
void copyPadded(const int16_t *src, int n, int16_t *dst, int vectors) {
    const int whole = n / 8;
    for (int v = 0; v < whole; v++)
        simd::store(dst + 8 * v, simd::load(src + 8 * v));
    if (n % 8 == 0) return clear(dst, whole, vectors);
    simd::store(dst + 8 * whole, few(src + 8 * whole, n % 8));
    clear(dst, whole + 1, vectors);
}

// The same in reverse order.
void reversePadded(const int16_t *src, int n, int16_t *dst, int vectors) {
    const int whole = n / 8;
    for (int v = 0; v < whole; v++)
        simd::store(dst + 8 * v, simd::reverseWords(simd::load(src + n - 8 - 8 * v)));
    clear(dst, whole, vectors);
    if (n % 8 == 2)
        simd::store(dst + 8 * whole, _mm_shufflelo_epi16(simd::load32(src), _MM_SHUFFLE(3, 2, 0, 1)));
    else
        std::reverse_copy(src, src + n % 8, dst + 8 * whole);
}

// Ones in word 8.
alignas(16) constexpr int16_t wordMasks[16] = {0, 0, 0, 0, 0, 0, 0, 0, -1};

// A recursion in vectors. Beside the coefficients it keeps them in reverse order: the sum of step(), which is the next
// reflection coefficient's numerator, is then a plain dot product with the autocorrelation, and the update needs no reversal,
//     a'[m] = a[m] + k * b[m],    b'[m + 1] = b[m] + k * a[m],
// with products rounded as pmulhrsw does it: a * 65536 + 2 k b, rounded to the upper half, is a plus (k b + 2^14) >> 15.
// Both go from one buffer to the other, so that a step that does not succeed has changed nothing.
struct Lattice {
    alignas(16) int16_t a[2][room], b[2][room];
    alignas(16) int16_t r[room + 8]; // the autocorrelation from lag 1 on, zeros behind it
    int now;                         // which buffer
    int order;
    int vectors; // that the coefficients take in the end
    Recursion state;

    // Sets out from the given coefficients.
    void load(const int16_t *coefficients) {
        now = 0;
        copyPadded(coefficients, order, a[0], vectors);
        reversePadded(coefficients, order, b[0], vectors);
        for (int16_t *const rest : {a[1], b[1]})
            clear(rest, (order + 7) / 8, vectors);
    }
    // Sets out from one coefficient.
    void load(int16_t coefficient) {
        now = 0;
        for (int16_t *const buffer : {a[0], a[1], b[0], b[1]})
            clear(buffer, 0, vectors);
        for (int16_t *const first : {a[0], b[0]})
            simd::store(first, _mm_cvtsi32_si128(static_cast<uint16_t>(coefficient)));
    }
    void save() {
        for (int v = 0; v < vectors; v++)
            simd::store(state.a + 8 * v, simd::loadAligned(a[now] + 8 * v));
    }
};

// A dot product, twice: in 32 bits, where the parts may wrap around, and as 2^-10 of it, not exactly, but without wrapping
// around.
class Sum {
public:
    void add(Vector b, const int16_t *r) {
        const Vector product = _mm_madd_epi16(b, simd::loadAligned(r));
        exact_ = _mm_add_epi32(exact_, product);
        coarse_ = _mm_add_epi32(coarse_, _mm_srai_epi32(product, 10));
    }
    // In dwords 0 and 1, on top of those of `start`.
    Vector total(Vector start) const {
        const Vector both = _mm_add_epi32(_mm_unpacklo_epi32(exact_, coarse_), _mm_unpackhi_epi32(exact_, coarse_));
        return _mm_add_epi32(_mm_add_epi32(both, start), _mm_unpackhi_epi64(both, both));
    }

private:
    Vector exact_ = _mm_setzero_si128(), coarse_ = _mm_setzero_si128();
};

// floor(65536 n / E) for 0 <= n < E is n * (R + 1) >> count, where R are the leading 32 bits of the double 1 / E, which are
// those of the true value: that is not near enough to a place where they change. By what R + 1 is too large, at most 1, the
// product grows by less than the 1 / E that it may be away from the next integer: n * E < 2^count.
struct Energy {
    Vector value; // in dword 0, the others are 0
    Vector reciprocal, count;

    explicit Energy(Vector energy) : value(energy) {
        const Vector bits = _mm_castpd_si128(_mm_div_sd(_mm_set_sd(1), _mm_cvtepi32_pd(energy)));
        reciprocal = _mm_or_si128(_mm_srli_epi64(bits, 21), _mm_cvtsi32_si128(min32));
        count = _mm_sub_epi64(_mm_cvtsi32_si128(1038), _mm_srli_epi64(bits, 52));
    }
};

// The steps of a lattice. What one leaves to the next stays in registers, as far as there are any.
class Steps {
public:
    [[gnu::always_inline]] explicit Steps(Lattice &l)
        : r_(l.r), order_(l.order), energy_(_mm_cvtsi32_si128(l.state.energy)) {
        a_ = l.a[l.now];
        b_ = l.b[l.now];
        newA_ = l.a[l.now ^ 1];
        newB_ = l.b[l.now ^ 1];
        const int fraction = 15 - l.state.scale;
        scale_ = _mm_cvtsi32_si128(l.state.scale + 1);
        half_ = _mm_cvtsi32_si128(1 << l.state.scale);
        weights_ = _mm_unpacklo_epi32(simd::words(static_cast<int16_t>(1 << (fraction - 1))),
                                      simd::words(static_cast<int16_t>(1 << (fraction - 11))));
        rounding_ = _mm_cvtsi32_si128(1 << (fraction - 1));
        fraction_ = _mm_cvtsi32_si128(fraction);
        for (int v = 0; 8 * v < order_; v++)
            sum_.add(simd::loadAligned(b_ + 8 * v), r_ + 8 * v);
    }

    [[gnu::always_inline]] void save(Lattice &l) const {
        l.now = a_ == l.a[0] ? 0 : 1;
        l.order = order_;
        l.state.energy = static_cast<int16_t>(_mm_cvtsi128_si32(energy_.value));
    }

    int order() const { return order_; }

    // To the next order, from coefficients that need `count` vectors then. False, with nothing changed, where the sum may leave 32 bits or a coefficient 16 bits, and where the
    // recursion ends.
    template <int count> [[gnu::always_inline]] bool step() {
        const Vector x = _mm_sra_epi32(sum_.total(newest()), fraction_);
        const Vector magnitude = _mm_abs_epi32(x);
        const Vector limits = _mm_add_epi32(energy_.value, _mm_setr_epi32(-1, 30, max32, max32));
        if (_mm_movemask_epi8(_mm_cmpgt_epi32(magnitude, limits)) != 0) [[unlikely]]
            return false;

        // k is half the quotient, rounded, with the other sign.
        const Vector only = _mm_cvtsi32_si128(-1), unit = _mm_cvtsi32_si128(1);
        const Vector n = _mm_and_si128(magnitude, only), sign = _mm_sub_epi32(_mm_setzero_si128(), x);
        const Vector product = _mm_mul_epu32(n, energy_.reciprocal);
        const Vector half = _mm_add_epi64(n, _mm_sll_epi64(unit, energy_.count));
        const Vector k =
            _mm_sign_epi32(_mm_srl_epi64(_mm_add_epi64(product, half), _mm_add_epi64(energy_.count, unit)), sign);
        const Vector quotient = _mm_srl_epi64(_mm_add_epi64(product, n), energy_.count);
        const Vector last =
            simd::broadcastWord<0>(_mm_sign_epi32(_mm_srl_epi32(_mm_add_epi32(quotient, half_), scale_), sign));
        const Vector factor = simd::broadcastWord<0>(k);

        // E + (k x + 2^14) >> 15. It stays above 0: x is smaller than E, and the rounding of k worth less than half a unit.
        // The division takes longest of all.
        Energy energy(_mm_add_epi16(energy_.value, _mm_mulhrs_epi16(k, _mm_and_si128(x, only))));
        simd::finish(energy.reciprocal);

        Sum sum;
        Vector before = last;
#pragma GCC unroll 8
        for (int v = 0; v < count; v++) {
            const Vector updated =
                _mm_adds_epi16(_mm_mulhrs_epi16(factor, simd::loadAligned(a_ + 8 * v)), simd::loadAligned(b_ + 8 * v));
            const Vector moved = _mm_alignr_epi8(updated, before, 14);
            simd::store(newB_ + 8 * v, moved);
            sum.add(moved, r_ + 8 * v);
            before = updated;
        }
        Vector lowest = _mm_setzero_si128(), highest = lowest;
#pragma GCC unroll 8
        for (int v = 0; v < count; v++) {
            Vector updated =
                _mm_adds_epi16(_mm_mulhrs_epi16(factor, simd::loadAligned(b_ + 8 * v)), simd::loadAligned(a_ + 8 * v));
            lowest = _mm_min_epi16(lowest, updated);
            highest = _mm_max_epi16(highest, updated);
            if (v == count - 1)
                updated = _mm_or_si128(
                    updated, _mm_and_si128(last, simd::load(wordMasks + 8 - static_cast<unsigned>(order_) % 8)));
            simd::store(newA_ + 8 * v, updated);
        }
        // A coefficient of 32767 or -32768 may have been limited.
        const Vector limited =
            _mm_or_si128(_mm_cmpeq_epi16(lowest, simd::words(min16)), _mm_cmpeq_epi16(highest, simd::words(max16)));
        if (_mm_movemask_epi8(limited) != 0) [[unlikely]]
            return false;

        energy_ = energy;
        sum_ = sum;
        std::swap(a_, newA_);
        std::swap(b_, newB_);
        order_++;
        return true;
    }

private:
    // What the newest value adds to the sum, and half a unit of the numerator.
    Vector newest() const {
        const Vector words = _mm_shufflelo_epi16(simd::load32(r_ + order_), _MM_SHUFFLE(0, 0, 0, 0));
        return _mm_add_epi32(_mm_madd_epi16(words, weights_), rounding_);
    }

    const int16_t *r_;
    int16_t *a_, *b_, *newA_, *newB_;
    int order_;
    Energy energy_;
    Sum sum_;
    Vector scale_, half_; // scale + 1 and 2^scale
    Vector weights_, rounding_, fraction_;
};

// One order further by the book, and the lattice ready to go on.
[[gnu::noinline]] bool stepByTheBook(Lattice &l) {
    l.save();
    if (!step(l.r, l.order, l.state)) return false;
    l.order++;
    l.load(l.state.a);
    return true;
}

// One order further; false where the recursion ends.
template <int count> [[gnu::always_inline]] inline bool proceed(Steps &steps, Lattice &l) {
    if (steps.step<count>()) [[likely]]
        return true;
    steps.save(l);
    if (!stepByTheBook(l)) return false;
    steps = Steps(l);
    return true;
}

// Up to order `to`, while the coefficients fit `count` vectors.
template <int count> [[gnu::always_inline]] inline bool advance(Steps &steps, Lattice &l, int to) {
    const int end = std::min(to, 8 * count);
    while (steps.order() < end)
        if (!proceed<count>(steps, l)) return false;
    return true;
}

// Up to order `to`.
bool recurse(Lattice &l, int to) {
    Steps steps(l);
    const bool done = advance<1>(steps, l, to) && advance<2>(steps, l, to) && advance<3>(steps, l, to) &&
                      advance<4>(steps, l, to) && advance<5>(steps, l, to) && advance<6>(steps, l, to) &&
                      advance<7>(steps, l, to);
    steps.save(l);
    return done;
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

// What a recursion reads and writes.
struct Arguments {
    const int16_t *autoCorr;
    int from, to;
    int16_t *coefficients, *energy, *fraction, *reflection;

    ryxStatus check() const {
        if (anyNull(autoCorr, coefficients, energy, fraction, reflection)) return ryxStsNullPtr;
        if (from < 0 || to <= from) return ryxStsBadSize;
        if (to > synthesisOrder) return ryxStsOutOfRange;
        if (from > 0 && (*fraction < 13 || *fraction > 15)) return ryxStsOutOfRange;
        return ryxStsOk;
    }
    bool begin(Lattice &l) const {
        Recursion &s = l.state;
        l.vectors = (to + 7) / 8;
        copyPadded(autoCorr + 1, to, l.r, l.vectors + 1);
        if (from == 0) {
            if (!start(autoCorr, s)) return false;
            l.order = 1;
            l.load(s.a[0]);
        } else {
            s.energy = *energy;
            s.scale = 15 - *fraction;
            s.reflection = *reflection;
            l.order = from;
            l.load(coefficients);
        }
        return l.order == to || s.energy > 0;
    }
    void end(const Lattice &l) const {
        copyWords(l.a[l.now], to, coefficients);
        *energy = l.state.energy;
        *fraction = static_cast<int16_t>(15 - l.state.scale);
        *reflection = l.state.reflection;
    }
};

} // namespace

ryxStatus ryxsLevinsonDurbin_G728_16s_u8(const int16_t *autoCorr, int from, int to, int16_t *coefficients,
                                         int16_t *energy, int16_t *fraction, int16_t *reflection) {
    const Arguments arguments = {autoCorr, from, to, coefficients, energy, fraction, reflection};
    if (const ryxStatus status = arguments.check(); status != ryxStsOk) return status;
    Lattice l;
    if (!arguments.begin(l) || !recurse(l, to)) return ryxStsOverflow;
    arguments.end(l);
    return ryxStsOk;
}

ryxStatus ryxsBandwidthExpand_G728_16s_u8(const int16_t *src, int16_t fraction, int16_t expansion, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    if (expansion < 0 || expansion > ryxG728ErasureExpansion) return ryxStsOutOfRange;
    const Expansion &e = expansions[expansion];
    const Vector tail = simd::load(src + e.len - 8); // before the loop, which may work in place
    if (fraction > 13) { // nothing needs limiting: the factors are below 1, and also when doubled they fit 16 bits
        const auto expand = [&](Vector x, int at) {
            const Vector factors = simd::load(e.factors + at);
            simd::store(dst + at, _mm_mulhrs_epi16(x, fraction == 15 ? factors : _mm_add_epi16(factors, factors)));
        };
        for (int at = 0; at + 8 < e.len; at += 8)
            expand(simd::load(src + at), at);
        expand(tail, e.len - 8);
        return ryxStsOk;
    }
    const Vector count = _mm_cvtsi32_si128(16 - fraction);
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
