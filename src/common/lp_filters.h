// SPDX-License-Identifier: BSD-2-Clause
// The LP filters of the CELP recommendations: residual A(z) and synthesis 1 / A(z), coefficients in Q12, 16-bit signals,
// sums of doubled products that saturate after every term, in the order a[0], a[1], ...
//
//   residual:   y[n] = round(L_shl(2 a[0] x[n] + sum over k = 1 .. order of 2 a[k] x[n - k], up))
//   synthesis:  y[n] = round(L_shl(2 gain x[n] - sum over k = 1 .. order of 2 a[k] y[n - k], up))
//
// Where no sum saturates, with S the sum of the undoubled products, round(L_shl(2 S, up)) is
// sat16((S + 2^(14 - up)) >> (15 - up)): the shift saturates where the result does. No sum does while
// sum |a[k]| |sample| < 2^30, which is looked at after the fact: up to the first sum that may have saturated everything is
// right, so a filter that has seen none is right altogether. One that has seen one goes back and takes the terms one by
// one.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "common/fixed_point.h"
#include "common/simd.h"

// Each file that includes this has its own copy, so that the variants keep their tuning.
namespace ryxsc {
namespace {

// The sum of the magnitudes of the coefficients `first` and a[1 .. order].
template <int order> int sumOfMagnitudes(const int16_t *a, int16_t first) {
    const auto magnitudes = [](simd::Vector x) { // pmaddwd, as the magnitude of -32768 is no word
        return _mm_madd_epi16(x, _mm_or_si128(simd::signMask(x), simd::words(1)));
    };
    simd::Vector sums = magnitudes(simd::load(a + 1));
    int k = 9;
    for (; k + 8 <= order + 1; k += 8)
        sums = _mm_add_epi32(sums, magnitudes(simd::load(a + k)));
    for (; k <= order; k++)
        sums = _mm_add_epi32(sums, magnitudes(simd::loadWord(a + k)));
    return simd::sumOfDwords(_mm_add_epi32(sums, magnitudes(simd::loadWord(&first))));
}

// No sum saturates as long as no sample is larger than this.
inline int largestSample(int sumOfMagnitudes) {
    return sumOfMagnitudes <= max16 ? max16 + 1 : ((1 << 30) - 1) / sumOfMagnitudes;
}

// The largest and the smallest of words, and whether all lie in -limit .. limit.
class Range {
public:
    void add(simd::Vector x) {
        high_ = _mm_max_epi16(high_, x);
        low_ = _mm_min_epi16(low_, x);
    }
    void add(const int16_t *x, int n) {
        for (; n >= 8; n -= 8, x += 8)
            add(simd::load(x));
        for (; n > 0; n--, x++)
            add(simd::loadWord(x));
    }

    bool isWithin(int limit) const {
        if (limit > max16) return true;
        const simd::Vector bound = simd::words(static_cast<int16_t>(limit));
        const simd::Vector beyond = _mm_or_si128(_mm_cmpgt_epi16(high_, bound),
                                                 _mm_cmpgt_epi16(_mm_sub_epi16(_mm_setzero_si128(), bound), low_));
        return _mm_movemask_epi8(beyond) == 0;
    }

private:
    simd::Vector high_ = _mm_setzero_si128(), low_ = _mm_setzero_si128();
};

// The definition, term by term. Both return whether anything saturated: a product, a sum, the shift or the rounding.
namespace in_order {

class Sum {
public:
    void add(int64_t product) { take(value_, sat32(2 * product), 2 * product); }
    void subtract(int64_t product) { take(value_, -int64_t{sat32(2 * product)}, -2 * product); }
    int16_t rounded(int up) {
        const int64_t shifted = up < 0 ? value_ >> std::min(-up, 31) : int64_t{value_} * (int64_t{1} << up);
        saturated |= shifted < min32 || shifted > max32 - 0x8000;
        return round(sat32(shifted));
    }

    bool saturated = false;

private:
    void take(int64_t value, int64_t term, int64_t exact) {
        value_ = sat32(value + term);
        saturated |= term != exact || value_ != value + term;
    }

    int32_t value_ = 0;
};

template <int order> bool residual(const int16_t *a, const int16_t *x, int16_t *y, int n, int up) {
    bool saturated = false;
    for (int i = 0; i < n; i++) {
        Sum sum;
        for (int k = 0; k <= order; k++)
            sum.add(a[k] * x[i - k]);
        y[i] = sum.rounded(up);
        saturated |= sum.saturated;
    }
    return saturated;
}

template <int order> bool synthesis(const int16_t *a, int gain, const int16_t *x, int16_t *y, int n, int up) {
    bool saturated = false;
    for (int i = 0; i < n; i++) {
        Sum sum;
        sum.add(gain * x[i]);
        for (int k = 1; k <= order; k++)
            sum.subtract(a[k] * y[i - k]);
        y[i] = sum.rounded(up);
        saturated |= sum.saturated;
    }
    return saturated;
}

} // namespace in_order

// The sums S of eight outputs, plus `half`: taps two by two, for the outputs of even and of odd index apart, so that the
// words of x need no rearrangement.
template <int order> class ResidualTaps {
    static_assert(order % 2 == 0);

public:
    explicit ResidualTaps(const int16_t *a)
        : even_(_mm_set1_epi32(static_cast<uint16_t>(a[0]))), odd_(_mm_slli_epi32(even_, 16)) {
        for (int k = 1; k < order; k += 2) // (a[k + 1], a[k]), as x[n - k - 1] stands before x[n - k]
            pairs_[k / 2] = _mm_set1_epi32((a[k] * 65536) | static_cast<uint16_t>(a[k + 1]));
    }

    simd::Vector operator()(const int16_t *x, simd::Vector half, __m128i down) const {
        const simd::Vector now = simd::load(x);
        simd::Vector even = _mm_add_epi32(half, _mm_madd_epi16(now, even_));
        simd::Vector odd = _mm_add_epi32(half, _mm_madd_epi16(now, odd_));
        for (int k = 1; k < order; k += 2) {
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(x - k - 1), pairs_[k / 2]));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(x - k), pairs_[k / 2]));
        }
        even = _mm_sra_epi32(even, down);
        odd = _mm_sra_epi32(odd, down);
        return _mm_packs_epi32(_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd));
    }

private:
    simd::Vector even_, odd_, pairs_[order / 2];
};

// y = A(z) x, n samples, with the history x[-order .. -1]. y does not overlap x.
template <int order> void residualFilter(const int16_t *a, const int16_t *x, int16_t *y, int n, int up = 3) {
    const int largest = largestSample(sumOfMagnitudes<order>(a, a[0]));
    Range range;
    if (largest <= max16) {
        range.add(x - order, order);
        range.add(x, n);
    }
    if (n < 8 || !range.isWithin(largest)) [[unlikely]] {
        in_order::residual<order>(a, x, y, n, up);
        return;
    }
    const ResidualTaps<order> taps(a);
    const simd::Vector half = simd::dwords(1 << (14 - up)), down = _mm_cvtsi32_si128(15 - up);
    for (int i = 0; i <= n - 8; i += 8)
        simd::store(y + i, taps(x + i, half, down));
    if (n % 8 != 0) simd::store(y + n - 8, taps(x + n - 8, half, down));
}

// The recursion y[n] = (input[n] - sum of a[k] y[n - k]) >> down, where the input holds the rounding: a chain of a product,
// a subtraction and a shift from sample to sample. Samples are finished in pairs (y[m], y[m + 1]), and nothing but the
// chain is waited for:
// - What a pair takes from y[m + 4] on is subtracted from vectors of sums to come; they reach the scalar side in time.
// - What it takes from the next pair is scalar, for both samples of it at once: a 64-bit word holds the sum for the first
//   sample in its upper half and that for the second one, plus 2^31 so that it never borrows, in its lower half. A product
//   of the word with an upper and a lower coefficient serves both.
template <int order> class SynthesisChain {
    static_assert(order >= 10 && order % 2 == 0);
    static constexpr int vectors = (order + 1) / 4; // of four sums; they end at y[m + order + 1]
    using Vector = simd::Vector;

public:
    static constexpr int past = (order + 3) / 4 * 4, lookAhead = 4 * vectors + 4; // zeros around the input
    // So many inputs, a multiple of eight, have to be there when y[0 .. 7] are asked for.
    static constexpr int preparedAhead = (4 * vectors + 17) / 8 * 8;

    // history: y[-order .. -1]. input: as arrange() leaves it.
    SynthesisChain(const int16_t *a, const int16_t *history, const int32_t *input, int down) : SynthesisChain(a, down) {
        // Before the first pair of the history the sums belong to y[-order + 2] and on.
        input_ = input - (order - 2);
        for (int v = 0; v < vectors; v++)
            sums_[v] = simd::load(input_ + 4 * v);
        input_ += 4 * vectors;
        for (int m = 0; m < order; m += 2)
            advance(_mm_shuffle_epi32(simd::load32(history + m), 0));
        y0_ = history[order - 2];
        y1_ = history[order - 1];
    }

    // From rest; input: that of y[0] and on, as arrange() leaves it.
    SynthesisChain(const int16_t *a, const int32_t *input, int down) : SynthesisChain(a, down) {
        ready_ = _mm_cvtsi128_si64(simd::load64(input));
        for (int v = 0; v < vectors; v++)
            sums_[v] = simd::load(input + 2 + 4 * v);
        input_ = input + 2 + 4 * vectors;
    }

    // Four inputs for the chain. Those of the history and of the look-ahead are zero.
    static Vector arrange(Vector input) {
        return _mm_add_epi32(_mm_shuffle_epi32(input, swapped), _mm_setr_epi32(min32, 0, min32, 0));
    }

    // The next two samples, in every dword.
    Vector next() {
        int64_t known = wrapSub(ready_, wrapMul(taps2_, y0_));
        asm("" : "+r"(known)); // the latest sample comes last
        const int64_t sums = wrapSub(known, wrapMul(taps1_, y1_));
        const int64_t second = static_cast<int64_t>((static_cast<uint64_t>(sums) << 32) ^ (uint64_t{1} << 63));
        y0_ = sums >> shift_;
        y1_ = wrapSub(second, wrapMul(toHigh_, y0_)) >> shift_;
        if (((static_cast<uint64_t>(y0_) + 0x8000) | (static_cast<uint64_t>(y1_) + 0x8000)) > 0xffff) [[unlikely]] {
            clipped_ = true;
            y0_ = std::clamp<int64_t>(y0_, min16, max16);
            y1_ = std::clamp<int64_t>(wrapSub(second, wrapMul(toHigh_, y0_)) >> shift_, min16, max16);
        }
        const Vector words = _mm_unpacklo_epi16(_mm_cvtsi32_si128(static_cast<int32_t>(y0_)),
                                                _mm_cvtsi32_si128(static_cast<int32_t>(y1_)));
        const Vector pair = _mm_shuffle_epi32(words, 0);
        advance(pair);
        return pair;
    }

    // Whether a sample had to be clamped.
    bool clipped() const { return clipped_; }

private:
    static constexpr int swapped = _MM_SHUFFLE(2, 3, 0, 1);

    SynthesisChain(const int16_t *a, int down)
        : toHigh_(both(0, a[1])), shift_(32 + down), taps1_(both(a[2], a[1])), taps2_(both(a[3], a[2])) {
        // The pair (y[m], y[m + 1]) meets (a[j], a[j - 1]) on its way to y[m + j].
        for (int v = 0; v < vectors; v++) {
            const Vector now = from<4>(a, 8 * (v / 2)), earlier = from<3>(a, 8 * (v / 2));
            taps_[v] = v % 2 == 0 ? _mm_unpacklo_epi16(now, earlier) : _mm_unpackhi_epi16(now, earlier);
        }
        for (Vector &tap : taps_)
            tap = _mm_shuffle_epi32(tap, swapped);
    }

    // a[first + k .. first + k + 7], zeros behind a[order]
    template <int first> static Vector from(const int16_t *a, int k) {
        Vector words = simd::load(a + std::min(first + k, order - 7));
        for (int last = first + k + 7; last > order; last--)
            words = _mm_srli_si128(words, 2);
        return words;
    }

    static int64_t both(int16_t low, int16_t high) { return high * (int64_t{1} << 32) + low; }
    static int64_t wrapAdd(int64_t x, int64_t y) {
        return static_cast<int64_t>(static_cast<uint64_t>(x) + static_cast<uint64_t>(y));
    }
    static int64_t wrapSub(int64_t x, int64_t y) {
        return static_cast<int64_t>(static_cast<uint64_t>(x) - static_cast<uint64_t>(y));
    }
    static int64_t wrapMul(int64_t x, int64_t y) {
        return static_cast<int64_t>(static_cast<uint64_t>(x) * static_cast<uint64_t>(y));
    }

    // Before: the sums belong to y[m + 4] and on, those of y[m + 4] and y[m + 5] are complete. After: to y[m + 6] and on.
    void advance(Vector pair) {
        ready_ = _mm_cvtsi128_si64(sums_[0]);
        for (int v = 0; v + 1 < vectors; v++)
            sums_[v] = _mm_alignr_epi8(sums_[v + 1], sums_[v], 8);
        sums_[vectors - 1] = _mm_alignr_epi8(simd::load64(input_), sums_[vectors - 1], 8);
        input_ += 2;
        for (int v = 0; v < vectors; v++)
            sums_[v] = _mm_sub_epi32(sums_[v], _mm_madd_epi16(pair, taps_[v]));
    }

    Vector taps_[vectors], sums_[vectors];
    const int32_t *input_ = nullptr;
    int64_t toHigh_; // a[1] for the second sample of a pair
    int shift_;
    int64_t taps1_, taps2_;               // a[k] in the upper and a[k + 1] in the lower half
    int64_t ready_ = 0, y0_ = 0, y1_ = 0; // the vectors' sums for the next pair; the latest pair
    bool clipped_ = false;
};

// Pairs of words, in the lower halves of four vectors at least, in a row.
inline simd::Vector joinedPairs(const simd::Vector *pairs) {
    return _mm_unpacklo_epi64(_mm_unpacklo_epi32(pairs[0], pairs[1]), _mm_unpacklo_epi32(pairs[2], pairs[3]));
}

// Whether no sum of a filter saturates, a closer look: the sums of the magnitudes of its terms. Magnitudes are taken up to
// 32767, which the limit allows for.
template <int order> bool termsFit(const int16_t *a, int first, const int16_t *current, const int16_t *past, int n) {
    for (int i = 0; i < n; i++) {
        int64_t sum = std::abs(first * current[i]);
        for (int k = 1; k <= order; k++)
            sum += std::abs(a[k] * past[i - k]);
        if (sum >= 1 << 30) return false;
    }
    return true;
}

// y = x / A(z), n up to 320 samples, with the first coefficient `gain` and the history y[-order .. -1] at `history`. x may
// be y. Returns whether anything saturated: a product, a sum, the shift or the rounding. ending: the latest 16 outputs, for
// n a multiple of 8 from 16 on. beside(i, k) is called before the outputs i + 2 k and i + 2 k + 1, k = 0 .. 3: the chain
// leaves room for others, which get on best where they take their steps with it.
struct NothingBeside {
    void operator()(int, int) const {}
};
enum class Start { fromRest, fromHistory }; // from rest the history is not looked at
template <int order, Start start = Start::fromHistory, class Beside = NothingBeside>
bool synthesise(const int16_t *a, int16_t gain, const int16_t *x, int16_t *y, int n, const int16_t *history, int up,
                simd::Vector *ending, Beside beside = {}) {
    using Chain = SynthesisChain<order>;
    constexpr int longest = 320;
    const int down = 15 - up;
    const simd::Vector half = simd::dwords(1 << (down - 1)), gains = simd::words(gain);
    alignas(16) int32_t inputs[Chain::past + longest + 8 + Chain::preparedAhead];
    alignas(16) int16_t source[longest + 8]; // x, in case that y takes its place
    int32_t *const input = inputs + Chain::past;
    Range range;

    // The inputs of eight outputs. They are got ready while the chain is busy with earlier outputs.
    const auto prepareWords = [&](simd::Vector words, int i) {
        const simd::Dwords products = simd::products(words, gains);
        range.add(words);
        simd::store(source + i, words);
        simd::store(input + i, Chain::arrange(_mm_add_epi32(products.front, half)));
        simd::store(input + i + 4, Chain::arrange(_mm_add_epi32(products.back, half)));
    };
    const auto prepare = [&](int i) {
        if (i + 8 <= n) {
            prepareWords(simd::load(x + i), i);
        } else if (i < n) {
            int16_t rest[8] = {};
            std::copy(x + i, x + n, rest);
            prepareWords(simd::load(rest), i);
        } else {
            simd::store(input + i, _mm_setzero_si128());
            simd::store(input + i + 4, _mm_setzero_si128());
        }
    };
    for (int i = 0; i < Chain::past; i += 4)
        simd::store(inputs + i, _mm_setzero_si128());
    for (int i = 0; i < Chain::preparedAhead; i += 8)
        prepare(i);

    Chain chain = [=] {
        if constexpr (start == Start::fromRest)
            return Chain(a, input, down);
        else
            return Chain(a, history, input, down);
    }();
    simd::Vector before = _mm_setzero_si128(), latest = before;
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        prepare(i + Chain::preparedAhead);
        simd::Vector pairs[4];
#pragma GCC unroll 4
        for (int k = 0; k < 4; k++) {
            beside(i, k);
            pairs[k] = chain.next();
        }
        const simd::Vector words = joinedPairs(pairs);
        range.add(words);
        simd::store(y + i, words);
        before = std::exchange(latest, words);
    }
    if (n - i >= 4) {
        const simd::Vector p0 = chain.next(), p1 = chain.next(), words = _mm_unpacklo_epi32(p0, p1);
        range.add(words);
        simd::store64(y + i, words);
        i += 4;
    }
    const int checked = i;
    for (; i < n; i += 2) {
        const simd::Vector pair = chain.next();
        simd::storeWord(y + i, pair);
        if (i + 1 < n) simd::storeWord(y + i + 1, _mm_srli_epi32(pair, 16));
    }
    ending[0] = before;
    ending[1] = latest;
    range.add(y + checked, n - checked);
    if constexpr (start == Start::fromHistory) {
        for (int k = 0; k + 8 < order; k += 8)
            range.add(simd::load(history + k));
        range.add(simd::load(history + order - 8));
    }

    // An output of -32768 may have been rounded to where a saturated one is. The last pair may go beyond the end.
    bool saturated = chain.clipped();
    const bool unsure = saturated ? n % 2 != 0 : !range.isWithin(max16);
    if (unsure || !range.isWithin(largestSample(sumOfMagnitudes<order>(a, gain)))) [[unlikely]] {
        int16_t redone[order + longest];
        if constexpr (start == Start::fromRest)
            std::fill_n(redone, order, int16_t{0});
        else
            std::copy_n(history, order, redone);
        std::copy_n(y, n, redone + order);
        if (unsure || !termsFit<order>(a, gain, source, redone + order, n)) {
            saturated = in_order::synthesis<order>(a, gain, source, redone + order, n, up);
            std::copy_n(redone + order, n, y);
            ending[0] = simd::load(redone + order + std::max(n - 16, -order));
            ending[1] = simd::load(redone + order + std::max(n - 8, -order));
        }
    }
    return saturated;
}

// The same with the history in front of the outputs.
template <int order, class Beside = NothingBeside> bool synthesisInPlaceOfHistory(const int16_t *a, int16_t gain,
                                                                                  const int16_t *x, int16_t *y, int n,
                                                                                  int up = 3, Beside beside = {}) {
    simd::Vector ending[2];
    return synthesise<order>(a, gain, x, y, n, y - order, up, ending, beside);
}

// The same from the memory of `order` samples, the oldest first, which keeps its content or takes the last outputs.
enum class Memory { keep, update };

template <int order> bool synthesisFilter(const int16_t *a, int16_t gain, const int16_t *x, int16_t *y, int n,
                                          int16_t *memory, Memory use, int up = 3) {
    simd::Vector ending[2];
    const bool saturated = synthesise<order>(a, gain, x, y, n, memory, up, ending);
    if (use == Memory::keep) return saturated;
    if ((order == 10 || order == 16) && n % 8 == 0 && n >= 16) { // without a look at what has just been written
        if constexpr (order == 10)
            simd::store32(memory, _mm_srli_si128(ending[0], 12));
        else
            simd::store(memory, ending[0]);
        simd::store(memory + order - 8, ending[1]);
    } else if (n >= order) {
        std::copy_n(y + n - order, order, memory);
    } else {
        std::copy(memory + n, memory + order, memory);
        std::copy_n(y, n, memory + order - n);
    }
    return saturated;
}
template <int order>
bool synthesisFilter(const int16_t *a, const int16_t *x, int16_t *y, int n, int16_t *memory, Memory use, int up = 3) {
    return synthesisFilter<order>(a, a[0], x, y, n, memory, use, up);
}

// From rest: zero-state response, or with x = 1, 0, 0, ... the impulse response.
template <int order> void zeroStateResponse(const int16_t *a, const int16_t *x, int16_t *y, int n, int up = 3) {
    simd::Vector ending[2];
    synthesise<order, Start::fromRest>(a, a[0], x, y, n, nullptr, up, ending);
}

} // namespace
} // namespace ryxsc
