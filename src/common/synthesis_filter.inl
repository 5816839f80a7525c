// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis of any order up to 20 and any scale, in 32-bit and in 16-bit precision. Included by the implementations of
// both variants.
#pragma once

#include "common/checks.h"
#include "common/lp_filters.h"
#include "common/multiply.inl"

namespace ryxsc {
namespace {

constexpr int highestOrder = 20;

// In blocks that the kernels take. Later ones have their history in front of them, among the outputs.
template <int order, Start start>
bool synthesiseBlocks(const int16_t *lpc, const int16_t *src, int16_t *dst, int len, const int16_t *history, int up) {
    constexpr int longest = 320;
    simd::Vector ending[2];
    int count = std::min(longest, len);
    bool saturated = synthesise<order, start>(lpc, lpc[0], src, dst, count, history, up, ending);
    for (int i = count; i < len; i += count) {
        count = std::min(longest, len - i);
        saturated |= synthesise<order>(lpc, lpc[0], src + i, dst + i, count, dst + i - order, up, ending);
    }
    return saturated;
}

// Coefficients and history brought to an order that the kernels have. Zeros change nothing.
template <int order, Start start> bool synthesisePadded(const int16_t *lpc, int givenOrder, const int16_t *src,
                                                        int16_t *dst, int len, const int16_t *history, int up) {
    int16_t a[order + 1] = {}, past[order] = {};
    std::copy_n(lpc, givenOrder + 1, a);
    if (start == Start::fromHistory) std::copy_n(history, givenOrder, past + order - givenOrder);
    return synthesiseBlocks<order, start>(a, src, dst, len, past, up);
}

// Scales that the kernels do not have, term by term.
bool synthesiseAtAnyScale(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                          const int16_t *history, int sf) {
    int16_t past[highestOrder]; // the newest first
    for (int k = 0; k < order; k++)
        past[k] = history[order - 1 - k];
    bool saturated = false;
    for (int i = 0; i < len; i++) {
        in_order::Sum sum;
        sum.add(lpc[0] * src[i]);
        for (int k = 1; k <= order; k++)
            sum.subtract(lpc[k] * past[k - 1]);
        std::copy_backward(past, past + order - 1, past + order);
        dst[i] = past[0] = sum.rounded(15 - sf);
        saturated |= sum.saturated;
    }
    return saturated;
}

// dst[n] = round(L_shl(2 lpc[0] src[n] - sum of 2 lpc[k] dst[n - k], 15 - sf)), saturating; whether anything did.
template <Start start> bool synthesise(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                       const int16_t *history, int sf) {
    if (sf < 1 || sf > 15) return synthesiseAtAnyScale(lpc, order, src, dst, len, history, sf);
    if (order == 10) return synthesiseBlocks<10, start>(lpc, src, dst, len, history, 15 - sf);
    if (order == 16) return synthesiseBlocks<16, start>(lpc, src, dst, len, history, 15 - sf);
    if (order < 10) return synthesisePadded<10, start>(lpc, order, src, dst, len, history, 15 - sf);
    if (order < 16) return synthesisePadded<16, start>(lpc, order, src, dst, len, history, 15 - sf);
    return synthesisePadded<highestOrder, start>(lpc, order, src, dst, len, history, 15 - sf);
}

ryxStatus synthesisFilterChecked(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                 const int16_t *history, int sf) {
    if (anyNull(lpc, src, dst, history)) return ryxStsNullPtr;
    if (len < 1 || order < 1) return ryxStsBadSize;
    if (order > highestOrder) return ryxStsOutOfRange;
    if (sf < 0) return ryxStsBadScale;
    return synthesise<Start::fromHistory>(lpc, order, src, dst, len, history, sf) ? ryxStsOverflow : ryxStsOk;
}

ryxStatus zeroStateResponseChecked(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len) {
    if (anyNull(lpc, src, dst)) return ryxStsNullPtr;
    if (len < 1 || order < 1) return ryxStsBadSize;
    if (order > highestOrder) return ryxStsOutOfRange;
    synthesise<Start::fromRest>(lpc, order, src, dst, len, nullptr, 12);
    return ryxStsOk;
}

// In 16-bit precision: every product is rounded to 16 bits, and the terms are subtracted with saturation, the oldest output
// first. So the sums of the outputs to come are words; they start with the term of their input, and an output goes into
// all of them as soon as it is there.
template <int vectors> class LowSynthesis {
    using Vector = simd::Vector;

public:
    static constexpr int ahead = 8 * vectors; // sums at a time

    // input: the terms of the inputs that belong to the oldest output of the history and those that follow, which need not
    // be right before the first output. sf up to 16: a product and its rounding constant R are one pmaddwd, a * y + -R * -1.
    LowSynthesis(const int16_t *lpc, int order, const int16_t *input, int sf) : shift_(_mm_cvtsi32_si128(sf)) {
        int16_t a[ahead] = {};
        std::copy_n(lpc + 1, order, a);
        const Vector rounding = simd::words(wrap16(-roundingConstant(sf)));
        for (int v = 0; v < vectors; v++) {
            taps_[2 * v] = _mm_unpacklo_epi16(simd::load(a + 8 * v), rounding);
            taps_[2 * v + 1] = _mm_unpackhi_epi16(simd::load(a + 8 * v), rounding);
            sums_[v] = simd::load(input + 8 * v);
        }
    }

    // The sum that is complete. The others move up, and what `input` points to starts the last one.
    Vector next(const int16_t *input) {
        const Vector complete = sums_[0];
        take(complete, input);
        return complete;
    }

    // The same for an output that is known.
    void take(Vector output, const int16_t *input) {
        const Vector pair = _mm_or_si128(_mm_shuffle_epi8(output, _mm_set1_epi32(static_cast<int32_t>(0x80800100))),
                                         simd::dwords(-65536));
        for (int v = 0; v < vectors; v++) {
            const Vector following = v + 1 < vectors ? sums_[std::min(v + 1, vectors - 1)] : simd::loadWord(input);
            const Vector terms = _mm_packs_epi32(_mm_sra_epi32(_mm_madd_epi16(pair, taps_[2 * v]), shift_),
                                                 _mm_sra_epi32(_mm_madd_epi16(pair, taps_[2 * v + 1]), shift_));
            sums_[v] = _mm_subs_epi16(_mm_alignr_epi8(following, sums_[v], 2), terms);
        }
    }

private:
    Vector taps_[2 * vectors], sums_[vectors];
    __m128i shift_;
};

template <int vectors>
void synthesiseLow(const int16_t *lpc, int order, int16_t *srcDst, int len, const int16_t *history, int sf) {
    constexpr int longest = 320, ahead = LowSynthesis<vectors>::ahead;
    int16_t terms[ahead + longest + ahead];
    std::fill_n(terms, ahead, int16_t{0});
    const ScaledByConstant scaled(lpc[0], sf);
    for (int i = 0, count; i < len; i += count) {
        count = std::min(longest, len - i);
        int16_t *const block = srcDst + i, *const input = terms + ahead;
        const int16_t *const past = i == 0 ? history : block - order;
        mapWords(input, count, scaled, block);
        std::fill_n(input + count, ahead, int16_t{0});
        LowSynthesis<vectors> filter(lpc, order, input - order, sf);
        for (int k = 0; k < order; k++) // the sums that the history completes do not count
            filter.take(simd::loadWord(past + k), input + ahead - order + k);
        for (int n = 0; n < count; n++)
            simd::storeWord(block + n, filter.next(input + n + ahead));
    }
}

void synthesiseLowInOrder(const int16_t *lpc, int order, int16_t *srcDst, int len, const int16_t *history, int sf) {
    int16_t past[highestOrder]; // the newest first
    for (int k = 0; k < order; k++)
        past[k] = history[order - 1 - k];
    for (int n = 0; n < len; n++) {
        int16_t sum = sat16(scaleDown(lpc[0] * srcDst[n], sf));
        for (int k = order; k > 0; k--)
            sum = sub(sum, sat16(scaleDown(lpc[k] * past[k - 1], sf)));
        std::copy_backward(past, past + order - 1, past + order);
        srcDst[n] = past[0] = sum;
    }
}

ryxStatus lowSynthesisFilterChecked(const int16_t *lpc, int order, int16_t *srcDst, int len, const int16_t *history,
                                    int sf) {
    if (anyNull(lpc, srcDst, history)) return ryxStsNullPtr;
    if (len < 1 || order < 1) return ryxStsBadSize;
    if (order > highestOrder) return ryxStsOutOfRange;
    if (sf < 0) return ryxStsBadScale;
    if (sf > 16)
        synthesiseLowInOrder(lpc, order, srcDst, len, history, sf);
    else if (order <= 8)
        synthesiseLow<1>(lpc, order, srcDst, len, history, sf);
    else if (order <= 16)
        synthesiseLow<2>(lpc, order, srcDst, len, history, sf);
    else
        synthesiseLow<3>(lpc, order, srcDst, len, history, sf);
    return ryxStsOk;
}

} // namespace
} // namespace ryxsc
