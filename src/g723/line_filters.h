// SPDX-License-Identifier: BSD-2-Clause
// Tenth-order filters of ITU-T G.723.1 over a subframe. The recommendation takes sums of doubled products and saturates after
// every term; with the sum S of the undoubled ones a filter's output round(L_shl(2 S, 2)) is sat16((S + 2^12) >> 13) as
// long as no partial sum leaves 31 bits. That is looked at after the fact: up to the first sum that may have saturated
// everything is right, so a filter that has seen none is right altogether. One that has seen one takes the terms one by
// one.
#pragma once

#include <algorithm>
#include <cstdlib>

#include "common/lp_filters.h"
#include "g723/operators.h"

namespace ryxsc::g723 {

inline constexpr int paddedSubframe = 64;
inline constexpr int outputShift = 13; // from a filter's sum to its output

// A subframe of a signal behind the ten words before it, which a memory holds with the oldest first.
class Line {
public:
    explicit Line(const int16_t *memory) { std::copy_n(memory, order, words_ + front - order); }
    Line() = default;

    int16_t *begin() { return words_ + front; }
    const int16_t *begin() const { return words_ + front; }
    void save(int16_t *memory) const { std::copy_n(words_ + front + subframeLength - order, order, memory); }

    // The largest magnitude, history and all.
    int peak() const {
        simd::Vector high = _mm_setzero_si128(), low = high;
        for (int i = 0; i < front + paddedSubframe; i += 8) {
            const simd::Vector words = simd::loadAligned(words_ + i);
            high = _mm_max_epi16(high, words);
            low = _mm_min_epi16(low, words);
        }
        // -32768 has no negative; nor has the saturation of 32767 its full size. One more covers both.
        return simd::largestWord(_mm_max_epi16(high, _mm_subs_epi16(_mm_setzero_si128(), low))) + 1;
    }

private:
    static constexpr int front = 16;
    alignas(16) int16_t words_[front + paddedSubframe] = {}; // zeros around what is there
};

// Ten coefficients, the first for the latest word.
class Taps {
public:
    explicit Taps(const int16_t *factors) {
        for (int j = 0; j < order; j += 2)
            pairs_[j / 2] = _mm_set1_epi32(factors[j] * 65536 | static_cast<uint16_t>(factors[j + 1]));
    }

    // The sums of products for eight outputs from x[0] on, whose latest words are x[-1] .. x[6].
    simd::Dwords operator()(const int16_t *x) const {
        simd::Vector even = _mm_madd_epi16(simd::load(x - 2), pairs_[0]);
        simd::Vector odd = _mm_madd_epi16(simd::load(x - 1), pairs_[0]);
        for (int k = 1; k < order / 2; k++) {
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(x - 2 - 2 * k), pairs_[k]));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(x - 1 - 2 * k), pairs_[k]));
        }
        return {_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd)};
    }

private:
    simd::Vector pairs_[order / 2];
};

inline int sumOfMagnitudes(const int16_t *factors) {
    int sum = 0;
    for (int j = 0; j < order; j++)
        sum += std::abs(factors[j]);
    return sum;
}
inline bool hasNegative(const int16_t *factors) { // of every factor, as a word
    return std::all_of(factors, factors + order, [](int16_t factor) { return factor != min16; });
}

// outputs[n] = sat16((input(n) + sum of poles[j] * outputs[n - 1 - j] + 2^12) >> 13). input(n) gives eight sums from n on,
// for n = 0, 8, ... 56; hasNegative(poles). Returns whether an output was saturated.
template <class Input> bool recurse(const int16_t *poles, Line &outputs, Input input) {
    using Chain = SynthesisChain<order>;
    alignas(16) int32_t inputs[Chain::past + paddedSubframe + Chain::lookAhead];
    std::fill_n(inputs, Chain::past, 0);
    std::fill_n(inputs + Chain::past + paddedSubframe, Chain::lookAhead, 0);
    const simd::Vector half = simd::dwords(1 << (outputShift - 1));
    for (int n = 0; n < paddedSubframe; n += 8) {
        const simd::Dwords sums = input(n);
        simd::store(inputs + Chain::past + n, Chain::arrange(_mm_add_epi32(sums.front, half)));
        simd::store(inputs + Chain::past + n + 4, Chain::arrange(_mm_add_epi32(sums.back, half)));
    }
    int16_t a[order + 1] = {};
    for (int j = 0; j < order; j++)
        a[j + 1] = static_cast<int16_t>(-poles[j]);
    int16_t *y = outputs.begin();
    Chain chain(a, y - order, inputs + Chain::past, outputShift);
    for (int n = 0; n < subframeLength; n += 4) {
        const simd::Vector first = chain.next(), second = chain.next();
        simd::store64(y + n, _mm_unpacklo_epi32(first, second));
    }
    return chain.clipped();
}

// Terms one by one: acc +- the sum of 2 * factors[j] * x[-1 - j].
inline int32_t addTaps(int32_t acc, const int16_t *factors, const int16_t *x) {
    for (int j = 0; j < order; j++)
        acc = L_mac(acc, factors[j], x[-1 - j]);
    return acc;
}
inline int32_t subtractTaps(int32_t acc, const int16_t *factors, const int16_t *x) {
    for (int j = 0; j < order; j++)
        acc = L_msu(acc, factors[j], x[-1 - j]);
    return acc;
}

// x * 2^shift of eight words.
inline simd::Dwords scaled(const int16_t *x, int shift) {
    const simd::Vector words = simd::load(x);
    return {_mm_slli_epi32(simd::frontDwords(words), shift), _mm_slli_epi32(simd::backDwords(words), shift)};
}
inline simd::Dwords operator+(simd::Dwords x, simd::Dwords y) {
    return {_mm_add_epi32(x.front, y.front), _mm_add_epi32(x.back, y.back)};
}
inline simd::Dwords operator-(simd::Dwords x, simd::Dwords y) {
    return {_mm_sub_epi32(x.front, y.front), _mm_sub_epi32(x.back, y.back)};
}

} // namespace ryxsc::g723
