// SPDX-License-Identifier: BSD-2-Clause
// High-pass filters in front of the encoder and behind the decoder of GSM-AMR (3GPP TS 26.090, clauses 5.1 and 6.2.2).
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "gsmamr/implementations.h"

using namespace ryxsc;

struct HighPassFilterState_GSMAMR {
    int32_t y1, y2; // outputs before the rounding
    int16_t x1, x2;
};

namespace {

// Poles in Q13; zeros in Q13, of the encoder times a half.
struct Coefficients {
    int16_t a1, a2, b0, b1, b2;
    int shift, outputShift; // from the sum to the recursion, and from there to the output
};
constexpr Coefficients preProcessing = {7807, -3733, 1899, -3798, 1899, 3, 0};
constexpr Coefficients postProcessing = {15836, -7667, 7699, -15398, 7699, 2, 1};

constexpr int longest = 160;

// The recommendation's steps, with all their saturations.
template <const Coefficients &c> void filterPlainly(int16_t *samples, int len, HighPassFilterState_GSMAMR &state) {
    auto [y1, y2, x1, x2] = state;
    for (int n = 0; n < len; n++) {
        const int16_t x = samples[n];
        int32_t sum = L_add(multiplyShort(y1, c.a1), multiplyShort(y2, c.a2));
        sum = L_mac(L_mac(L_mac(sum, x, c.b0), x1, c.b1), x2, c.b2);
        sum = L_shl(sum, c.shift);
        samples[n] = round(L_shl(sum, c.outputShift));
        y2 = y1;
        y1 = clearBit0(sum);
        x2 = x1;
        x1 = x;
    }
    state = {y1, y2, x1, x2};
}

// b0 x[n] + b1 x[n - 1] + b2 x[n - 2]; two samples stand in front.
template <const Coefficients &c> void applyZeros(const int16_t *x, int32_t *sums, int len) {
    const simd::Vector latest = simd::dwords(c.b0 & 0xffff), before = simd::dwords((c.b2 & 0xffff) | c.b1 * 65536);
    for (int n = 0; n < len; n += 4) {
        const simd::Vector words = simd::load64(x + n), past = simd::load64(x + n - 1), older = simd::load64(x + n - 2);
        simd::store(sums + n, _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(words, words), latest),
                                            _mm_madd_epi16(_mm_unpacklo_epi16(older, past), before)));
    }
}

// Up to 160 samples as long as no sum saturates: false, and nothing done, otherwise. Halved and before their shift, the
// sums are small enough for the products of the recursion to need no separate parts:
//     s[n] = zeros[n] + floor(a1 s[n - 1] / 2^(15 - shift)) + floor(a2 s[n - 2] / 2^(15 - shift)).
// A sum that has room for its shift, |s| < 2^(30 - shift), did not saturate before its last two products either, which are
// at most 2^28 (halved, like s).
template <const Coefficients &c> bool filterExactly(int16_t *samples, int len, HighPassFilterState_GSMAMR &state) {
    constexpr int step = 1 << (c.shift + 1);
    if (((state.y1 | state.y2) & (step - 1)) != 0) return false;
    alignas(16) int16_t padded[8 + longest + 8];
    alignas(16) int32_t sums[longest + 8];
    int16_t *const x = padded + 8;
    std::copy_n(samples, len, x);
    std::fill_n(x + len, 8, int16_t{0});
    x[-1] = state.x1;
    x[-2] = state.x2;
    applyZeros<c>(x, sums, len);

    int64_t s1 = state.y1 / step, s2 = state.y2 / step;
    constexpr int64_t limit = int64_t{1} << (30 - c.shift);
    uint64_t beyond = 0;
    for (int n = 0; n < len; n++) {
        const int64_t s = (sums[n] + (s2 * c.a2 >> (15 - c.shift))) + (s1 * c.a1 >> (15 - c.shift));
        beyond |= static_cast<uint64_t>(s + limit) >> (31 - c.shift);
        sums[n] = static_cast<int32_t>(s);
        s2 = s1;
        s1 = s;
    }
    if (beyond != 0) return false;

    const int16_t x1 = x[len - 1], x2 = x[len - 2];
    const simd::ScaleDown scaleDown(15 - c.shift - c.outputShift);
    int n = 0;
    for (; n + 8 <= len; n += 8)
        simd::store(samples + n, scaleDown({simd::load(sums + n), simd::load(sums + n + 4)}));
    for (; n < len; n++)
        samples[n] = sat16(ryxsc::scaleDown(sums[n], 15 - c.shift - c.outputShift));
    state = {static_cast<int32_t>(s1) * step, static_cast<int32_t>(s2) * step, x1, x2};
    return true;
}

template <const Coefficients &c> void filter(int16_t *samples, int len, HighPassFilterState_GSMAMR &state) {
    for (int start = 0, count; start < len; start += count) {
        count = std::min(longest, len - start);
        if (!filterExactly<c>(samples + start, count, state)) filterPlainly<c>(samples + start, count, state);
    }
}

} // namespace

ryxStatus ryxsHighPassFilterGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(HighPassFilterState_GSMAMR);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilterInit_GSMAMR_16s_u8(HighPassFilterState_GSMAMR *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, HighPassFilterState_GSMAMR{});
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter_GSMAMR_16s_I_u8(int16_t *srcDst, int len, int filterType,
                                             HighPassFilterState_GSMAMR *state) {
    if (anyNull(srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (filterType != ryxGSMAMRPreProcessing && filterType != ryxGSMAMRPostProcessing) return ryxStsOutOfRange;
    auto memory = loadBlock<HighPassFilterState_GSMAMR>(state);
    filterType == ryxGSMAMRPreProcessing ? filter<preProcessing>(srcDst, len, memory)
                                         : filter<postProcessing>(srcDst, len, memory);
    saveBlock(state, memory);
    return ryxStsOk;
}
