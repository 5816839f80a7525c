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

// L_shl() where saturation is rare: a predicted branch leaves one instruction in the chain from sample to sample.
int32_t shiftLeft(int32_t x, int count) {
    const int32_t shifted = wrapMul32(x, 1 << count);
    if (shifted >> count != x) [[unlikely]]
        return x < 0 ? min32 : max32;
    return shifted;
}

// The products of the recursion and the first one of the input stay within 32 bits: the coefficients' sums do.
template <const Coefficients &c> void filter(int16_t *samples, int len, HighPassFilterState_GSMAMR &state) {
    auto [y1, y2, x1, x2] = state;
    for (int n = 0; n < len; n++) {
        const int16_t x = samples[n];
        int32_t sum = 2 * (halfProduct(y1, c.a1) + (halfProduct(y2, c.a2) + c.b0 * x));
        if constexpr (&c == &preProcessing) {
            sum += 2 * (c.b1 * x1 + c.b2 * x2);
        } else {
            sum = rarelySaturatingAdd(sum, 2 * c.b1 * x1);
            sum = rarelySaturatingAdd(sum, 2 * c.b2 * x2);
        }
        sum = shiftLeft(sum, c.shift);
        samples[n] = round(shiftLeft(sum, c.outputShift));
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
