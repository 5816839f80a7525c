// SPDX-License-Identifier: BSD-2-Clause
// A step of the Levinson-Durbin recursion of ITU-T G.728, Annex G: by the book, and in vectors for all but rare cases.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/vectors.h"

namespace ryxsc::g728 {

using simd::Vector;

inline constexpr int room = 56; // for 50 coefficients in whole vectors

// A recursion in progress: coefficients in Q(15 - scale) and residual energy.
struct Recursion {
    alignas(16) int16_t a[room];
    int16_t energy;
    int scale;
    int16_t reflection;
};

// floor(65536 n / d), at most 65535; n >= 0, d > 0.
inline int32_t quotient(int32_t n, int32_t d) {
    return n >= d ? 65535 : static_cast<int32_t>((static_cast<uint32_t>(n) << 16) / static_cast<uint32_t>(d));
}

// Order 1 by the book. The energy is that of the signal.
inline void start(int16_t r, Recursion &s) {
    const int16_t k = roundUpper(quotient(std::abs(r), s.energy) << 15);
    s.a[0] = s.reflection = r > 0 ? negate(k) : k;
    s.energy = roundUpper(sat32(s.energy * int64_t{65536} + 2 * int64_t{s.reflection} * r));
}

inline bool fits32(int64_t x) {
    return x == sat32(x);
}

// a[f] + k a[i - 1 - f] for all of them; where that leaves 16 bits, all are halved. k is in Q16.
inline bool update(int16_t *a, int i, int32_t k, int &scale) {
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

// The numerator of the next reflection coefficient, with the autocorrelation from lag 1 on: 32767 or -32768 where the sum
// leaves 32 bits, which ends the recursion.
inline int32_t numeratorByTheBook(const int16_t *r, int i, const Recursion &s) {
    int64_t sum = 0;
    for (int n = 0; n < i; n++)
        sum += r[n] * s.a[i - 1 - n];
    return roundUpper(sat32(r[i] * int64_t{65536} + sum * (2 << s.scale)));
}

// One order further by the book. The fast form below leaves rare cases to it.
inline bool step(const int16_t *r, int i, Recursion &s) {
    const int32_t x = numeratorByTheBook(r, i, s), magnitude = std::abs(x);
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

// Whether one of two coefficients that are updated together leaves 32 bits. Not where the recursion ends.
[[gnu::noinline]] inline bool leavesFormat(int32_t x, int32_t energy, int32_t a, int32_t b) {
    if (std::abs(x) >= energy) return false;
    const int32_t magnitude = 2 * roundUpper(quotient(std::abs(x), energy) << 15), k = x > 0 ? -magnitude : magnitude;
    return !fits32(a * int64_t{65536} + int64_t{k} * b) || !fits32(b * int64_t{65536} + int64_t{k} * a);
}

// n words with zeros behind them, n below 8; in the codec it is 2.
inline Vector few(const int16_t *x, int n) {
    if (n == 2) [[likely]]
        return simd::load32(x);
    int16_t words[8] = {};
    std::copy_n(x, n, words);
    return simd::load(words);
}

// The coefficients of order i in two halves that are updated together,
//     low[f] = a[f],    high[f] = a[i - 1 - f]:    low'[f] = low[f] + k high[f],    high'[f + 1] = high[f] + k low[f],
// where the new coefficient becomes high'[0]. With products rounded as pmulhrsw does it: a * 65536 + 2 k b, rounded to the
// upper half, is a plus (k b + 2^14) >> 15. Each half has whole vectors: 8 * count words serve the orders from 8 up to
// 16 * count, and what they hold beyond the middle, the other half has as well.
struct Halves {
    alignas(16) int16_t low[32], high[32];
};

constexpr int vectorsOfHalf(int reached) {
    return reached < 8 ? 0 : reached / 16 + 1;
}
constexpr int largestOrder(int count) {
    return count == 0 ? 8 : 16 * count;
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

    // `highest` lags. Known orders make this straight code.
    [[gnu::always_inline]] void setAutoCorr(const int16_t *autoCorr, int highest) {
        const int whole = highest / 8;
        for (int v = 0; v < whole; v++)
            simd::store(r + 8 * v, simd::load(autoCorr + 1 + 8 * v));
        simd::store(r + 8 * whole, few(autoCorr + 1 + 8 * whole, highest % 8));
        for (int lag = highest - 7; lag > 1; lag -= 8)
            simd::store(reversed + front - 7 - lag, simd::reverseWords(simd::load(autoCorr + lag)));
        clearReversed(1);
    }
    // The lags that high meets.
    [[gnu::always_inline]] void clearReversed(int vectors) {
        for (int v = front / 8 - vectors; v <= front / 8; v++)
            simd::store(reversed + 8 * v, _mm_setzero_si128());
    }
    // From order 8 on.
    [[gnu::always_inline]] void load() {
        now = 0;
        const int count = vectorsOfHalf(order);
        clearReversed(count);
        for (int v = 0; v < count; v++) {
            simd::store(halves[0].low + 8 * v, simd::load(state.a + 8 * v));
            simd::store(halves[0].high + 8 * v, simd::reverseWords(simd::load(state.a + order - 8 - 8 * v)));
        }
    }
    // The other way round: n coefficients, 8 or more.
    [[gnu::always_inline]] void store(int16_t *dst, int n) const {
        const int count = (n + 15) / 16;
        for (int v = 0; v < count; v++)
            simd::store(dst + n - 8 - 8 * v, simd::reverseWords(simd::loadAligned(halves[now].high + 8 * v)));
        for (int v = 0; v < count; v++)
            simd::store(dst + 8 * v, simd::loadAligned(halves[now].low + 8 * v));
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

// What a step needs to know about the coefficients' format, in dwords 0 and 1 of vectors: the numerator has `fraction` bits
// to lose, and beside it is 2^-10 of it. Weights are multiplied by the newest lag, which stands there four times. Constants of
// all formats stand here as well: as operands in memory that a compiler does not copy to the stack before each loop. 1038 is 1023,
// the bias of a double, with the 31 places of R below and less the 16 of the quotient.
struct Format {
    alignas(16) int16_t weights[8];
    alignas(16) int32_t rounding[4], fraction[4], scale[4];
    alignas(16) int64_t leading[2] = {int64_t{1} << 31}, exponents[2] = {1038};
    alignas(16) double numerator[2] = {1 + 0x1p-31};

    explicit constexpr Format(int s) : weights{}, rounding{1 << (14 - s)}, fraction{15 - s}, scale{s} {
        weights[0] = weights[1] = static_cast<int16_t>(1 << (14 - s));
        weights[2] = weights[3] = static_cast<int16_t>(1 << (4 - s));
    }
};
inline constexpr Format formats[3] = {Format(0), Format(1), Format(2)};

// floor(65536 n / E) for 0 <= n < E is n * R >> count, where R are the leading 32 bits of the double (1 + 2^-31) / E. R is
// not below the true value of 2^count * 65536 / E: that is at least 2^31, so what is put on top of it is at least the 1 that
// truncation may take. By what R is too large, 2^-31 of itself, the quotient grows by at most n / (2^15 E), which is below 1 / E,
// and up to the next integer there is at least 1 / E. The division's own error is far smaller than what these two have left, or
// it is exact.
struct Energy {
    Vector value; // in dword 0; the others limit what a numerator has there
    Vector reciprocal, count;

    Energy() = default;
    Energy(Vector energy, const Format &constants) : value(energy) {
        const Vector bits = _mm_castpd_si128(_mm_div_sd(_mm_load_pd(constants.numerator), _mm_cvtepi32_pd(energy)));
        reciprocal = _mm_or_si128(_mm_srli_epi64(bits, 21), simd::loadAligned(constants.leading));
        count = _mm_sub_epi64(simd::loadAligned(constants.exponents), _mm_srli_epi64(bits, 52));
    }
};

// For a step from an order below 8: where the new coefficient belongs, and the bytes that turn all of them round.
struct Turn {
    alignas(16) int16_t place[8];
    alignas(16) int8_t reversal[16];

    explicit constexpr Turn(int from) : place{}, reversal{} {
        place[from] = -1;
        for (int i = 0; i < 8; i++) {
            const bool inside = i <= from;
            reversal[2 * i] = static_cast<int8_t>(inside ? 2 * (from - i) : -1);
            reversal[2 * i + 1] = static_cast<int8_t>(inside ? 2 * (from - i) + 1 : -1);
        }
    }
};
inline constexpr Turn turns[8] = {Turn(0), Turn(1), Turn(2), Turn(3), Turn(4), Turn(5), Turn(6), Turn(7)};

// The steps of a lattice. What one leaves to the next stays in registers, as far as there are any; up to order 8 these are
// also the coefficients, `rising` a[0] first and `falling` the other way round.
class Steps {
public:
    Steps() = default;
    // Of order 0.
    explicit Steps(Lattice &l)
        : now_(&l.halves[0]), next_(&l.halves[1]), reversed_(l.reversed + Lattice::front), order_(0),
          format_(&formats[0]), turn_(&turns[0]), energy_(startOf(l.state.energy), *format_),
          x_(_mm_cvtsi32_si128(l.r[0])), rising_(_mm_setzero_si128()), falling_(_mm_setzero_si128()) {}
    // Of any other, below 8 with zeros behind the coefficients.
    Steps(Lattice &l, int order)
        : now_(&l.halves[0]), next_(&l.halves[1]), reversed_(l.reversed + Lattice::front - order), order_(order),
          format_(&formats[l.state.scale]), turn_(&turns[std::min(order, 7)]),
          energy_(startOf(l.state.energy), *format_), x_(_mm_cvtsi32_si128(numeratorByTheBook(l.r, order, l.state))),
          rising_(simd::loadAligned(l.state.a)),
          falling_(_mm_shuffle_epi8(rising_, simd::loadAligned(turns[std::min(order, 8) - 1].reversal))) {
        l.order = order;
        if (order >= 8) l.load();
    }

    void save(Lattice &l) const {
        l.now = now_ == &l.halves[0] ? 0 : 1;
        l.order = order();
        l.state.energy = static_cast<int16_t>(_mm_cvtsi128_si32(energy_.value));
        l.state.scale = format_->scale[0];
        if (l.order < 8) simd::store(l.state.a, rising_);
    }

    int order() const { return static_cast<int>(order_); }
    int16_t first() const { return static_cast<int16_t>(_mm_cvtsi128_si32(rising_)); }

    // To the next order, from halves of `count` vectors, or with 0 below order 8. False, with nothing changed, where the sum
    // may leave 32 bits or a coefficient 16 bits, and where the recursion ends.
    template <int count> [[gnu::always_inline]] bool step(const Lattice &l) {
        const Vector n = _mm_abs_epi32(x_), zero = _mm_setzero_si128(), sign = _mm_sub_epi32(zero, x_);
        const Vector within = _mm_cmpgt_epi32(energy_.value, n);

        // k is half the quotient, rounded, with the other sign; the average with 0 is that half.
        const Vector product = _mm_mul_epu32(n, energy_.reciprocal);
        const Vector quotient = _mm_srl_epi64(product, energy_.count);
        const Vector k = _mm_sign_epi16(_mm_avg_epu16(quotient, zero), sign);
        const Vector scaled = _mm_srl_epi16(quotient, simd::loadAligned(format_->scale));
        const Vector last = simd::broadcastWord<0>(_mm_sign_epi16(_mm_avg_epu16(scaled, zero), sign));
        const Vector factor = simd::broadcastWord<0>(k);

        // E + (k x + 2^14) >> 15. It stays above 0: x is smaller than E, and the rounding of k worth less than half a unit.
        // The division takes longest of all.
        Energy energy(_mm_add_epi16(energy_.value, _mm_mulhrs_epi16(k, x_)), *format_);
        simd::finish(energy.reciprocal);

        Sum sum;
        if constexpr (count == 0) {
            const Vector longer = _mm_or_si128(rising_, _mm_and_si128(last, simd::loadAligned(turn_->place)));
            const Vector rising = _mm_adds_epi16(_mm_mulhrs_epi16(factor, falling_), longer);
            const Vector falling = _mm_shuffle_epi8(rising, simd::loadAligned(turn_->reversal));
            // 32767 or more in magnitude: its average with 0 is 2^14.
            const Vector limited = _mm_cmpeq_epi16(_mm_avg_epu16(_mm_abs_epi16(rising), zero), simd::words(1 << 14));
            if (!all(_mm_andnot_si128(limited, within))) [[unlikely]]
                return false;
            sum.add(falling, simd::loadAligned(l.r));
            rising_ = rising;
            falling_ = falling;
            turn_++;
        } else {
            Vector before = last, lowest, highest;
#pragma GCC unroll 4
            for (int v = 0; v < count; v++) {
                const Vector low = simd::loadAligned(now_->low + 8 * v), high = simd::loadAligned(now_->high + 8 * v);
                const Vector rising = _mm_adds_epi16(_mm_mulhrs_epi16(factor, low), high);
                const Vector moved = _mm_alignr_epi8(rising, before, 14);
                const Vector updated = _mm_adds_epi16(_mm_mulhrs_epi16(factor, high), low);
                before = rising;
                simd::store(next_->high + 8 * v, moved);
                simd::store(next_->low + 8 * v, updated);
                lowest = _mm_min_epi16(v == 0 ? rising : _mm_min_epi16(lowest, rising), updated);
                highest = _mm_max_epi16(v == 0 ? rising : _mm_max_epi16(highest, rising), updated);
                sum.add(updated, simd::load(reversed_ - 1 + 8 * v));
                sum.add(moved, simd::loadAligned(l.r + 8 * v));
            }
            // A coefficient of 32767 or -32768 may have been limited.
            const Vector limited =
                _mm_cmpeq_epi16(_mm_min_epi16(lowest, _mm_xor_si128(highest, simd::words(-1))), simd::words(min16));
            if (!all(_mm_andnot_si128(limited, within))) [[unlikely]]
                return false;
            std::swap(now_, next_);
        }
        energy_ = energy;
        reversed_--;
        order_++;
        x_ = numerator(sum, l);
        return true;
    }

    // After a step from an order below 8 that did not succeed: where the first pair of coefficients does not fit, all are
    // halved before any goes further, and the step can be tried again.
    bool halve() {
        if (format_ == &formats[2]) return false;
        const auto word = [](Vector x) { return static_cast<int16_t>(_mm_cvtsi128_si32(x)); };
        const int64_t x = _mm_cvtsi128_si64(x_);
        if (std::abs(static_cast<int32_t>(x >> 32)) > 30) return false; // not known
        if (!leavesFormat(static_cast<int32_t>(x), word(energy_.value), word(rising_), word(falling_))) return false;
        rising_ = _mm_srai_epi16(rising_, 1);
        falling_ = _mm_srai_epi16(falling_, 1);
        format_++;
        return true;
    }

    // From halves of `count` vectors, full at the largest order that they serve, to one vector more.
    template <int count> [[gnu::always_inline]] void widen(Lattice &l) const {
        if constexpr (count == 0) {
            simd::store(now_->low, rising_);
            simd::store(now_->high, falling_);
        } else {
            const Vector low = simd::loadAligned(now_->low + 8 * count - 8);
            const Vector high = simd::loadAligned(now_->high + 8 * count - 8);
            simd::store(now_->low + 8 * count, simd::reverseWords(high));
            simd::store(now_->high + 8 * count, simd::reverseWords(low));
            simd::store(l.reversed + Lattice::front - 8 * (count + 1), _mm_setzero_si128());
        }
    }

private:
    static Vector startOf(int16_t energy) {
        return _mm_setr_epi32(energy, 31, max32, max32);
    }
    static bool all(Vector mask) {
        return _mm_movemask_epi8(mask) == 0xffff;
    }

    // The next numerator, rounded, and 2^-10 of it, from the sum and the newest value.
    [[gnu::always_inline]] Vector numerator(const Sum &sum, const Lattice &l) const {
        const Vector words = _mm_shufflelo_epi16(simd::load32(l.r + order_), _MM_SHUFFLE(0, 0, 0, 0));
        Vector start = _mm_add_epi32(_mm_madd_epi16(words, simd::loadAligned(format_->weights)),
                                     simd::loadAligned(format_->rounding));
        simd::finish(start); // the sum is what everything waits for
        return _mm_sra_epi32(sum.total(start), simd::loadAligned(format_->fraction));
    }

    Halves *now_, *next_;
    const int16_t *reversed_;
    std::ptrdiff_t order_;
    const Format *format_;
    const Turn *turn_;
    Energy energy_;
    Vector x_; // in dwords 0 and 1, see numerator()
    Vector rising_, falling_;
};

} // namespace ryxsc::g728
