// SPDX-License-Identifier: BSD-2-Clause
// High-pass filters in front of the encoder and behind the decoder of GSM-AMR (3GPP TS 26.090, clauses 5.1 and 6.2.2).
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/state_block.h"
#include "frame/implementations.h"

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

template <const Coefficients &c> void filter(int16_t *samples, int len, HighPassFilterState_GSMAMR &state) {
    auto [y1, y2, x1, x2] = state;
    for (int n = 0; n < len; n++) {
        const int16_t x = samples[n];
        int32_t sum = L_add(multiplyShort(y1, c.a1), multiplyShort(y2, c.a2));
        sum = rarelySaturatingAdd(sum, 2 * c.b0 * x);
        sum = rarelySaturatingAdd(sum, 2 * c.b1 * x1);
        sum = rarelySaturatingAdd(sum, 2 * c.b2 * x2);
        sum = L_shl(sum, c.shift);
        samples[n] = round(L_shl(sum, c.outputShift));
        y2 = y1;
        y1 = clearBit0(sum);
        x2 = x1;
        x1 = x;
    }
    state = {y1, y2, x1, x2};
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
