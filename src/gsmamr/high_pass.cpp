// SPDX-License-Identifier: BSD-2-Clause
// High-pass filters in front of the encoder and behind the decoder of GSM-AMR (3GPP TS 26.090, clauses 5.1 and 6.2.2).
#include "common/checks.h"
#include "common/high_pass_section.h"
#include "common/state_block.h"
#include "gsmamr/implementations.h"

using namespace ryxsc;

ryxStatus ryxsHighPassFilterGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(HighPassMemory);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilterInit_GSMAMR_16s_u8(HighPassFilterState_GSMAMR *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, HighPassMemory{});
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter_GSMAMR_16s_I_u8(int16_t *srcDst, int len, int filterType,
                                             HighPassFilterState_GSMAMR *state) {
    if (anyNull(srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (filterType != ryxGSMAMRPreProcessing && filterType != ryxGSMAMRPostProcessing) return ryxStsOutOfRange;
    auto memory = loadBlock<HighPassMemory>(state);
    filterType == ryxGSMAMRPreProcessing ? highPassFilter<preProcessing>(srcDst, len, memory)
                                         : highPassFilter<postProcessing>(srcDst, len, memory);
    saveBlock(state, memory);
    return ryxStsOk;
}
