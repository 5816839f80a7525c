// SPDX-License-Identifier: BSD-2-Clause
// High-pass filters of ITU-T G.729: in front of the encoder (clause 3.1) and behind the decoder (clause 4.2.5).
#include "common/checks.h"
#include "common/high_pass_section.h"
#include "common/state_block.h"
#include "g729/implementations.h"

using namespace ryxsc;

namespace {

struct State {
    HighPassMemory memory;
    int32_t section;
    int32_t reserved[2];
};
static_assert(sizeof(State) == 24);

} // namespace

ryxStatus ryxsHighPassFilterGetStateSize_G729_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilterInit_G729_16s_u8(HighPassFilterState_G729 *block, int section) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (section < 0 || section > 1) return ryxStsOutOfRange;
    State state{};
    state.section = section;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter_G729_16s_I_u8(int16_t *srcDst, int len, HighPassFilterState_G729 *block) {
    if (anyNull(srcDst, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    auto state = loadBlock<State>(block);
    state.section == 0 ? highPassFilter<preProcessing>(srcDst, len, state.memory)
                       : highPassFilter<postProcessing>(srcDst, len, state.memory);
    saveBlock(block, state);
    return ryxStsOk;
}
