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

// A recursion in progress: coefficients in Q(15 - scale) with zeros in front of them, and residual energy.
struct Recursion {
    alignas(16) int16_t words[8 + room];
    int16_t energy;
    int scale;
    int16_t reflection;

    int16_t *a() { return words + 8; }
};

// floor(65536 n / d), at most 65535; n >= 0, d > 0.
int32_t quotient(int32_t n, int32_t d) {
    return n >= d ? 65535 : static_cast<int32_t>((static_cast<uint32_t>(n) << 16) / static_cast<uint32_t>(d));
}

bool start(const int16_t *r, Recursion &s) {
    s.scale = 0;
    s.energy = 0;
    if (r[0] <= 0) return false;
    const int16_t k = roundUpper(quotient(std::abs(r[1]), r[0]) << 15);
    s.a()[0] = s.reflection = r[1] > 0 ? negate(k) : k;
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
        sum += r[n - 1] * s.a()[i - n];
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
    if (!update(s.a(), i, k, s.scale)) return false;
    const int16_t last = roundUpper(u >> s.scale);
    s.a()[i] = x > 0 ? negate(last) : last;
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

// The coefficients of order i in two halves that are updated together,
//     low[f] = a[f],    high[f] = a[i - 1 - f]:    low'[f] = low[f] + k high[f],    high'[f + 1] = high[f] + k low[f],
// where the new coefficient becomes high'[0]. With products rounded as pmulhrsw does it: a * 65536 + 2 k b, rounded to the
// upper half, is a plus (k b + 2^14) >> 15. Each half has whole vectors: 8 * count words serve the orders up to 16 * count,
// and what they hold beyond the middle, the other half has as well, or it is zero.
struct Halves {
    alignas(16) int16_t low[32], high[32];
};

constexpr int vectorsOfHalf(int order) {
    return static_cast<int>(static_cast<unsigned>(order) / 16) + 1;
}

// A recursion in vectors. The halves go from one place to the other, so that a step that does not succeed has changed
// nothing. The numerator of the next reflection coefficient, the sum of step(), is the dot product of high with the
// autocorrelation, and of low with the reverse of it from a place that moves with the order. The lags that high meets are
// zeros there, so that what stands in both halves counts once.
struct Lattice {
    static constexpr int front = 56;

    Halves halves[2];
    alignas(16) int16_t r[room + 8];         // the autocorrelation from lag 1 on, zeros behind it
    alignas(16) int16_t reversed[front + 8]; // lag m is at front - m
    int now;                                 // which halves
    int order, to;
    Recursion state;

    // `highest` lags, on the way from order `from`. Known orders make this straight code.
    [[gnu::always_inline]] void setAutoCorr(const int16_t *autoCorr, int from, int highest) {
        if (highest < 8) {
            copyPadded(autoCorr + 1, highest, r, 2);
        } else {
            const int whole = highest / 8;
            for (int v = 0; v < whole; v++)
                simd::store(r + 8 * v, simd::load(autoCorr + 1 + 8 * v));
            simd::store(r + 8 * whole, few(autoCorr + 1 + 8 * whole, highest % 8));
            for (int lag = highest - 7; lag > 8 * vectorsOfHalf(from) - 7; lag -= 8)
                simd::store(reversed + front - 7 - lag, simd::reverseWords(simd::load(autoCorr + lag)));
        }
        for (int v = front / 8 - vectorsOfHalf(from); v <= front / 8; v++)
            simd::store(reversed + 8 * v, _mm_setzero_si128());
    }
    // Of order 1.
    [[gnu::always_inline]] void load(int16_t coefficient) {
        now = 0;
        order = 1;
        for (int16_t *const half : {halves[0].low, halves[0].high})
            simd::store(half, _mm_cvtsi32_si128(static_cast<uint16_t>(coefficient)));
    }
    // The halves from coefficients, with zeros around them where they are fewer than 8.
    [[gnu::always_inline]] void load(const int16_t *a, int from) {
        now = 0;
        order = from;
        for (int v = 0; v < vectorsOfHalf(from); v++) {
            simd::store(halves[0].low + 8 * v, simd::load(a + 8 * v));
            simd::store(halves[0].high + 8 * v, simd::reverseWords(simd::load(a + from - 8 - 8 * v)));
        }
    }
    // Those of the state, after a step that is not one of the vectors.
    void load() {
        clear(reversed, front / 8 - vectorsOfHalf(order), front / 8);
        load(state.a(), order);
    }
    // The other way round: the n coefficients, 8 or more.
    [[gnu::always_inline]] void store(int16_t *dst, int n) const {
        const int count = (n + 15) / 16;
        for (int v = 0; v < count; v++)
            simd::store(dst + n - 8 - 8 * v, simd::reverseWords(simd::loadAligned(halves[now].high + 8 * v)));
        for (int v = 0; v < count; v++)
            simd::store(dst + 8 * v, simd::loadAligned(halves[now].low + 8 * v));
    }
    // Into the state; fewer than 8 with zeros around them.
    void save() {
        if (order >= 8) return store(state.a(), order);
        simd::store(state.words, _mm_setzero_si128());
        simd::store(state.a(), simd::loadAligned(halves[now].low));
    }
};

// A dot product, twice: in 32 bits, where the parts may wrap around, and as 2^-10 of it, not exactly, but without wrapping
// around.
class Sum {
public:
    void add(Vector a, Vector r) {
        const Vector product = _mm_madd_epi16(a, r);
        exact_ = _mm_add_epi32(exact_, product);
        coarse_ = _mm_add_epi32(coarse_, _mm_srai_epi32(product, 10));
    }
    // In dwords 0 and 1, on top of those of `start`.
    Vector total(Vector start) const {
        const Vector both = _mm_add_epi32(_mm_unpacklo_epi32(exact_, coarse_), _mm_unpackhi_epi32(exact_, coarse_));
        Vector first = _mm_add_epi32(both, start);
        simd::finish(first);
        return _mm_add_epi32(first, _mm_unpackhi_epi64(both, both));
    }

private:
    Vector exact_ = _mm_setzero_si128(), coarse_ = _mm_setzero_si128();
};

// floor(65536 n / E) for 0 <= n < E is (n * R + 32767) >> count, where R are the leading 32 bits of the double 1 / E, which
// are those of the true value: that is not near enough to a place where they change. By what R is too small, less than 1, the
// product falls short by less than n, at most 32766; and up to the next integer there is 2^count / E, at least 2^15.
struct Energy {
    static constexpr int32_t shortfall = 32767;

    Vector value; // in dword 0; the others limit what a numerator has there
    Vector reciprocal, count;

    explicit Energy(Vector energy) : value(energy) {
        const Vector bits = _mm_castpd_si128(_mm_div_sd(_mm_set_sd(1), _mm_cvtepi32_pd(energy)));
        reciprocal = _mm_or_si128(_mm_srli_epi64(bits, 21), _mm_cvtsi32_si128(min32));
        count = _mm_sub_epi64(_mm_cvtsi32_si128(1038), _mm_srli_epi64(bits, 52));
    }
};

// Ones in word 8.
alignas(16) constexpr int16_t wordMasks[16] = {0, 0, 0, 0, 0, 0, 0, 0, -1};

// The steps of a lattice. What one leaves to the next stays in registers, as far as there are any.
class Steps {
public:
    [[gnu::always_inline]] explicit Steps(Lattice &l)
        : now_(&l.halves[l.now]), next_(&l.halves[l.now ^ 1]), r_(l.r),
          reversed_(l.reversed + Lattice::front - l.order), order_(l.order),
          energy_(_mm_setr_epi32(l.state.energy, 31, max32, max32)) {
        const int fraction = 15 - l.state.scale;
        scale_ = _mm_cvtsi32_si128(l.state.scale);
        place_ = simd::load(wordMasks + std::max(8 - order_, 0));
        weights_ = _mm_unpacklo_epi32(simd::words(static_cast<int16_t>(1 << (fraction - 1))),
                                      simd::words(static_cast<int16_t>(1 << (fraction - 11))));
        rounding_ = _mm_cvtsi32_si128(1 << (fraction - 1));
        fraction_ = _mm_cvtsi32_si128(fraction);
        Sum sum;
        for (int v = 0; v < vectorsOfHalf(order_); v++) {
            sum.add(simd::loadAligned(now_->high + 8 * v), simd::loadAligned(r_ + 8 * v));
            sum.add(simd::loadAligned(now_->low + 8 * v), simd::load(reversed_ + 8 * v));
        }
        x_ = numerator(sum);
    }

    [[gnu::always_inline]] void save(Lattice &l) const {
        l.now = now_ == &l.halves[0] ? 0 : 1;
        l.order = order_;
        l.state.energy = static_cast<int16_t>(_mm_cvtsi128_si32(energy_.value));
    }

    int order() const { return order_; }

    // To the next order, from halves of `count` vectors. False, with nothing changed, where the sum may leave 32 bits or a
    // coefficient 16 bits, and where the recursion ends.
    template <int count> [[gnu::always_inline]] bool step() {
        const Vector n = _mm_abs_epi32(x_), zero = _mm_setzero_si128(), sign = _mm_sub_epi32(zero, x_);
        const Vector within = _mm_cmpgt_epi32(energy_.value, n);

        // k is half the quotient, rounded, with the other sign; the average with 0 is that half.
        const Vector product = _mm_mul_epu32(n, energy_.reciprocal);
        const Vector quotient =
            _mm_srl_epi64(_mm_add_epi64(product, _mm_cvtsi32_si128(Energy::shortfall)), energy_.count);
        const Vector k = _mm_sign_epi16(_mm_avg_epu16(quotient, zero), sign);
        const Vector last =
            simd::broadcastWord<0>(_mm_sign_epi16(_mm_avg_epu16(_mm_srl_epi16(quotient, scale_), zero), sign));
        const Vector factor = simd::broadcastWord<0>(k);

        // E + (k x + 2^14) >> 15. It stays above 0: x is smaller than E, and the rounding of k worth less than half a unit.
        // The division takes longest of all.
        Energy energy(_mm_add_epi16(energy_.value, _mm_mulhrs_epi16(k, x_)));
        simd::finish(energy.reciprocal);

        Sum sum;
        Vector before = last, lowest, highest;
#pragma GCC unroll 4
        for (int v = 0; v < count; v++) {
            const Vector low = simd::loadAligned(now_->low + 8 * v), high = simd::loadAligned(now_->high + 8 * v);
            const Vector rising = _mm_adds_epi16(_mm_mulhrs_epi16(factor, low), high);
            const Vector moved = _mm_alignr_epi8(rising, before, 14);
            Vector updated = _mm_adds_epi16(_mm_mulhrs_epi16(factor, high), low);
            before = rising;
            simd::store(next_->high + 8 * v, moved);
            lowest = v == 0 ? _mm_min_epi16(rising, updated) : _mm_min_epi16(_mm_min_epi16(lowest, rising), updated);
            highest = v == 0 ? _mm_max_epi16(rising, updated) : _mm_max_epi16(_mm_max_epi16(highest, rising), updated);
            sum.add(updated, simd::load(reversed_ - 1 + 8 * v));
            sum.add(moved, simd::loadAligned(r_ + 8 * v));
            if (count == 1) // the lower half may not be full yet; the new word meets a zero
                updated = _mm_or_si128(updated, _mm_and_si128(last, place_));
            simd::store(next_->low + 8 * v, updated);
        }
        // A coefficient of 32767 or -32768 may have been limited.
        const Vector limited =
            _mm_cmpeq_epi16(_mm_min_epi16(lowest, _mm_xor_si128(highest, simd::words(-1))), simd::words(min16));
        if (_mm_movemask_epi8(_mm_andnot_si128(limited, within)) != 0xffff) [[unlikely]]
            return false;

        energy_ = energy;
        std::swap(now_, next_);
        reversed_--;
        order_++;
        x_ = numerator(sum);
        if (count == 1) place_ = _mm_slli_si128(place_, 2);
        return true;
    }

    // From halves of `count` vectors, full at order 16 * count, to one vector more.
    template <int count> void widen(Lattice &l) const {
        const Vector low = simd::loadAligned(now_->low + 8 * count - 8);
        const Vector high = simd::loadAligned(now_->high + 8 * count - 8);
        simd::store(now_->low + 8 * count, simd::reverseWords(high));
        simd::store(now_->high + 8 * count, simd::reverseWords(low));
        simd::store(l.reversed + Lattice::front - 8 * (count + 1), _mm_setzero_si128());
    }

private:
    // The next numerator, rounded, and 2^-10 of it, from the sum and the newest value.
    Vector numerator(const Sum &sum) const {
        const Vector words = _mm_shufflelo_epi16(simd::load32(r_ + order_), _MM_SHUFFLE(0, 0, 0, 0));
        Vector start = _mm_add_epi32(_mm_madd_epi16(words, weights_), rounding_);
        simd::finish(start); // the sum is what everything waits for
        return _mm_sra_epi32(sum.total(start), fraction_);
    }

    Halves *now_, *next_;
    const int16_t *r_, *reversed_;
    int order_;
    Energy energy_;
    Vector x_;     // in dwords 0 and 1, see numerator()
    Vector place_; // of the next coefficient in the lower half, below order 8
    Vector scale_, weights_, rounding_, fraction_;
};

// One order further by the book, and the lattice ready to go on.
[[gnu::noinline]] bool stepByTheBook(Lattice &l) {
    l.save();
    if (!step(l.r, l.order, l.state)) return false;
    l.order++;
    l.load();
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

// On to order 16 * count, or to the end; false where the recursion ends before.
template <int count> [[gnu::always_inline]] inline bool advance(Steps &steps, Lattice &l) {
    const int end = std::min(l.to, 16 * count);
    while (steps.order() < end)
        if (!proceed<count>(steps, l)) return false;
    if (count < 4 && steps.order() == 16 * count) steps.widen<count>(l);
    return true;
}

// On to the end.
[[gnu::always_inline]] inline bool recurse(Steps &steps, Lattice &l) {
    const bool done = advance<1>(steps, l) && advance<2>(steps, l) && advance<3>(steps, l) && advance<4>(steps, l);
    steps.save(l);
    return done;
}
bool recurse(Lattice &l) {
    if (l.order == l.to) return true;
    Steps steps(l);
    return recurse(steps, l);
}

// Two recursions, one step of each in turn: one has its chain of dependent operations in the time of the other's.
struct Pair {
    Lattice &first, &second;
    bool firstHolds = true, secondHolds = true;

    // On to order 16 * count of the first recursion and at most 16 of the second. Whether there is a way further.
    template <int count> [[gnu::always_inline]] bool advance(Steps &a, Steps &b) {
        const int end = std::min(first.to, 16 * count), secondEnd = std::min(second.to, 16);
        while (a.order() < end && b.order() < secondEnd && firstHolds && secondHolds) {
            firstHolds = proceed<count>(a, first);
            secondHolds = proceed<1>(b, second);
        }
        if (a.order() != 16 * count) return a.order() > 16 * count;
        if (count < 4) a.widen<count>(first);
        return true;
    }
    // As far as they go together.
    [[gnu::always_inline]] void recurse(Steps &a) {
        Steps b(second);
        if (advance<1>(a, b) && advance<2>(a, b) && advance<3>(a, b)) advance<4>(a, b);
        if (b.order() == 16) b.widen<1>(second);
        b.save(second);
    }
};

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
    // False where there is no recursion.
    bool begin(Lattice &l) const {
        // The coder's orders have code of their own.
        if (goes(0, order)) return begin(0, order, l);
        if (goes(order, synthesisOrder)) return begin(order, synthesisOrder, l);
        if (goes(0, synthesisOrder)) return begin(0, synthesisOrder, l);
        return beginAny(l);
    }
    void end(const Lattice &l) const {
        if (to == order) return end(order, l);
        if (to == synthesisOrder) return end(synthesisOrder, l);
        endAny(l);
    }

private:
    bool goes(int a, int b) const { return from == a && to == b; }
    [[gnu::noinline]] bool beginAny(Lattice &l) const { return begin(from, to, l); }
    [[gnu::noinline]] void endAny(const Lattice &l) const { end(to, l); }

    [[gnu::always_inline]] bool begin(int a, int b, Lattice &l) const {
        Recursion &s = l.state;
        l.to = b;
        if (a == 0) {
            if (!start(autoCorr, s)) return false;
            l.load(s.a()[0]);
        } else {
            s.energy = *energy;
            s.scale = 15 - *fraction;
            s.reflection = *reflection;
            if (a >= 8) {
                l.load(coefficients, a);
            } else {
                std::fill_n(s.words, 16, int16_t{0});
                std::copy_n(coefficients, a, s.a());
                l.load(s.a(), a);
            }
        }
        l.setAutoCorr(autoCorr, l.order, b);
        return l.order == b || s.energy > 0;
    }
    [[gnu::always_inline]] void end(int b, const Lattice &l) const {
        if (b < 8)
            copyWords(l.halves[l.now].low, b, coefficients);
        else
            l.store(coefficients, b);
        *energy = l.state.energy;
        *fraction = static_cast<int16_t>(15 - l.state.scale);
        *reflection = l.state.reflection;
    }
};

Arguments argumentsOf(LevinsonDurbin_G728 &r, int order) {
    return {r.autoCorr, r.order, order, r.coefficients, &r.energy, &r.fraction, &r.reflection};
}

} // namespace

ryxStatus ryxsLevinsonDurbin_G728_16s_u8(const int16_t *autoCorr, int from, int to, int16_t *coefficients,
                                         int16_t *energy, int16_t *fraction, int16_t *reflection) {
    const Arguments arguments = {autoCorr, from, to, coefficients, energy, fraction, reflection};
    if (const ryxStatus status = arguments.check(); status != ryxStsOk) return status;
    Lattice l;
    if (!arguments.begin(l) || !recurse(l)) return ryxStsOverflow;
    arguments.end(l);
    return ryxStsOk;
}

ryxStatus ryxsLevinsonDurbinJoint_G728_16s_u8(LevinsonDurbin_G728 *const *recursions, const int *orders, int count) {
    if (anyNull(recursions, orders)) return ryxStsNullPtr;
    if (count < 1) return ryxStsBadSize;
    if (std::any_of(recursions, recursions + count, [](const auto *r) { return r == nullptr; })) return ryxStsNullPtr;
    int longest = 0;
    for (int i = 0; i < count; i++) {
        const ryxStatus status = argumentsOf(*recursions[i], orders[i]).check();
        if (status != ryxStsOk) return status;
        if (orders[i] > orders[longest]) longest = i;
    }
    bool all = true;
    const auto begin = [&](int i, Lattice &l) { return argumentsOf(*recursions[i], orders[i]).begin(l); };
    const auto end = [&](int i, Lattice &l, bool holds) {
        all = all && holds;
        if (!holds) return;
        argumentsOf(*recursions[i], orders[i]).end(l);
        recursions[i]->order = static_cast<int16_t>(orders[i]);
    };
    Lattice l;
    if (count == 1 || orders[longest] == 1 || !begin(longest, l)) {
        for (int i = 0; i < count; i++)
            end(i, l, begin(i, l) && recurse(l));
        return all ? ryxStsOk : ryxStsOverflow;
    }
    // The others go beside the longest, one after the other.
    bool holds = true;
    Steps steps(l);
    for (int i = 0; i < count; i++) {
        if (i == longest) continue;
        Lattice beside;
        bool besideHolds = begin(i, beside);
        if (holds && besideHolds && orders[i] > 1) {
            Pair pair = {l, beside};
            pair.recurse(steps);
            holds = pair.firstHolds;
            besideHolds = pair.secondHolds;
        }
        end(i, beside, besideHolds && recurse(beside));
    }
    end(longest, l, holds && recurse(steps, l));
    return all ? ryxStsOk : ryxStsOverflow;
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
