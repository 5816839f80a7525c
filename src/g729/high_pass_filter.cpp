// SPDX-License-Identifier: BSD-2-Clause
// The second-order sections in front of the encoder and behind the decoder of ITU-T G.729 (clauses 3.1 and 4.2.5). The
// recursion keeps 31 bits of the past outputs.
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/state_block.h"
#include "frame/implementations.h"

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

struct State {
    int32_t y1, y2; // past outputs, bit 0 cleared
    int16_t x1, x2;
    int32_t section;
    int32_t reserved[2];
};
static_assert(sizeof(State) == 24);

// The feedback sums to at most 2^31 * (|a1| + |a2|) / 2^15 = 1.55 * 2^30, and stays below 2^31 with the first input added.
// What follows can saturate in the post-processing.
template <int which> void filter(int16_t *samples, int len, State &s) {
    constexpr Section section = sections[which];
    int32_t x1 = s.x1, x2 = s.x2;
    int32_t y1 = s.y1, y2 = s.y2;
    for (int i = 0; i < len; i++) {
        const int32_t x0 = samples[i];
        const int32_t feedback = 2 * (halfProduct(y1, section.a1) + halfProduct(y2, section.a2));
        int32_t sum = feedback + 2 * section.b0 * x0;
        sum = rarelySaturatingAdd(sum, 2 * section.b1 * x1);
        sum = rarelySaturatingAdd(sum, 2 * section.b2 * x2);
        const int32_t kept = L_shl(sum, section.historyShift);
        samples[i] = round(L_shl(kept, section.outputShift));
        x2 = x1;
        x1 = x0;
        y2 = y1;
        y1 = clearBit0(kept);
    }
    s.x1 = static_cast<int16_t>(x1);
    s.x2 = static_cast<int16_t>(x2);
    s.y1 = y1;
    s.y2 = y2;
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
        filter<0>(srcDst, len, state);
    else
        filter<1>(srcDst, len, state);
    saveBlock(block, state);
    return ryxStsOk;
}
