// SPDX-License-Identifier: BSD-2-Clause
// The second-order sections in front of the encoder and behind the decoder of ITU-T G.729 (clauses 3.1 and 4.2.5). The
// recursion keeps 31 bits of the past outputs.
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "g729/implementations.h"

using namespace ryxsc;

namespace {

struct Section {
    int16_t b0, b1, b2, a1, a2;
    int historyShift; // from the sum to what the recursion keeps
    int outputShift;  // and on to the output
};
constexpr Section sections[] = {
    {1899, -3798, 1899, 7807, -3733, 3, 0},  // pre-processing: 140 Hz, Q12, halves the signal
    {7699, -15398, 7699, 15836, -7667, 2, 1} // post-processing: 100 Hz, Q13, doubles it
};
constexpr int sectionCount = 2;
constexpr int chunk = 80; // samples that are filtered at a time, a multiple of 8

struct State {
    int32_t y1, y2; // past outputs
    int16_t x1, x2;
    int32_t section;
    int32_t reserved[2];
};
static_assert(sizeof(State) == 24);

// Term by term, saturating.
template <int which> void filterInOrder(const int16_t *x, int16_t *y, int len, int32_t y1, int32_t y2, State &s) {
    constexpr Section section = sections[which];
    for (int i = 0; i < len; i++) {
        int32_t sum = L_add(multiplyShort(y1, section.a1), multiplyShort(y2, section.a2));
        sum = L_mac(sum, x[i], section.b0);
        sum = L_mac(sum, x[i - 1], section.b1);
        sum = L_mac(sum, x[i - 2], section.b2);
        y2 = y1;
        y1 = L_shl(sum, section.historyShift);
        y[i] = round(L_shl(y1, section.outputShift));
    }
    s.y1 = y1;
    s.y2 = y2;
}

// Returns false where a sum leaves the range in which the shift to the history is exact; then nothing but y is changed.
// Behind the ends of x and y there is room up to the next multiple of 8 samples.
//
// What is kept is the sum times 2^shift. All terms of the sum are even, and a product of what is kept with a coefficient is
// the floor of sum * a / 2^(15 - shift), doubled: the recursion runs on halves of sums. As long as those stay in range no
// partial sum can saturate: in front of the last term they are no larger than 2^29 and that term, and before that no larger
// than the feedback, at most 1.54 * 10^9, and the first term. The first half that leaves the range is at most 2^31 yet.
template <int which> bool filter(const int16_t *x, int16_t *y, int len, State &s) {
    using simd::Vector;
    constexpr Section section = sections[which];
    constexpr int up = section.historyShift, down = 15 - up, output = down - section.outputShift;
    constexpr int32_t limit = 1 << (30 - up);
    if (((s.y1 | s.y2) & ((2 << up) - 1)) != 0) return false; // saturated before
    const Vector latest =
        _mm_setr_epi16(section.b1, section.b0, section.b1, section.b0, section.b1, section.b0, section.b1, section.b0);
    const Vector oldest = simd::dwords(section.b2 * 65536);
    const auto zeros = [&](const int16_t *at) { // of every other output, the first at x[n] = at[1]
        return _mm_add_epi32(_mm_madd_epi16(simd::load(at), latest), _mm_madd_epi16(simd::load(at - 2), oldest));
    };
    alignas(16) int32_t halves[chunk];
    for (int i = 0; i < len; i += 8) {
        const Vector even = zeros(x + i - 1), odd = zeros(x + i);
        simd::store(halves + i, _mm_unpacklo_epi32(even, odd));
        simd::store(halves + i + 4, _mm_unpackhi_epi32(even, odd));
    }
    int64_t half1 = s.y1 >> (up + 1), half2 = s.y2 >> (up + 1);
    for (int i = 0; i < len; i++) {
        const int64_t older = halves[i] + (half2 * section.a2 >> down);
        half2 = half1;
        half1 = older + (half1 * section.a1 >> down);
        halves[i] = static_cast<int32_t>(half1);
    }
    const int32_t sums[2] = {static_cast<int32_t>(half1), static_cast<int32_t>(half2)};
    std::fill(halves + len, halves + (len + 7) / 8 * 8, 0);
    Vector outside = _mm_setzero_si128();
    const simd::ScaleDown toOutput(output);
    for (int i = 0; i < len; i += 8) {
        const simd::Dwords found = {simd::load(halves + i), simd::load(halves + i + 4)};
        for (const Vector part : {found.front, found.back})
            outside = _mm_or_si128(outside, _mm_xor_si128(part, _mm_srai_epi32(part, 31)));
        simd::store(y + i, toOutput(found));
    }
    if (_mm_movemask_epi8(_mm_cmpgt_epi32(outside, simd::dwords(limit - 1))) != 0) return false;
    s.y1 = sums[0] * (2 << up);
    s.y2 = sums[1] * (2 << up);
    return true;
}

template <int which> void run(int16_t *samples, int len, State &s) {
    int16_t buffer[3 + chunk] = {}, filtered[chunk];
    for (int done = 0, n; done < len; done += n) {
        n = std::min(len - done, chunk);
        int16_t *const x = buffer + 3, *const y = samples + done;
        buffer[1] = s.x2;
        buffer[2] = s.x1;
        std::copy_n(y, n, x);
        if (!filter<which>(x, filtered, n, s)) [[unlikely]]
            filterInOrder<which>(x, filtered, n, s.y1, s.y2, s);
        std::copy_n(filtered, n, y);
        s.x1 = x[n - 1];
        s.x2 = x[n - 2];
    }
}

} // namespace

ryxStatus ryxsHighPassFilterGetStateSize_G729_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilterInit_G729_16s_u8(HighPassFilterState_G729 *block, int section) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (section < 0 || section >= sectionCount) return ryxStsOutOfRange;
    State state{};
    state.section = section;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter_G729_16s_I_u8(int16_t *srcDst, int len, HighPassFilterState_G729 *block) {
    if (anyNull(srcDst, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    auto state = loadBlock<State>(block);
    if (state.section == 0)
        run<0>(srcDst, len, state);
    else
        run<1>(srcDst, len, state);
    saveBlock(block, state);
    return ryxStsOk;
}
