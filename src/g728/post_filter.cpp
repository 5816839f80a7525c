// SPDX-License-Identifier: BSD-2-Clause
// Post-filter of ITU-T G.728, Annex G: long-term and short-term filter without a rounding between them, automatic gain
// control, coefficients from the predictor of order 10. And the way from block floating point to samples.
#include "common/checks.h"
#include "common/state_block.h"
#include "frame/implementations.h"
#include "g728/arithmetic.h"
#include "g728/tables.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

struct State {
    int16_t zeros[order], poles[order]; // outputs of the long-term filter and of the poles, oldest first
};
static_assert(sizeof(State) == 40);

constexpr int minLag = 20, maxLag = 140;

int32_t magnitudeSum(const int16_t *x) {
    int32_t sum = 0;
    for (int n = 0; n < vectorLength; n++)
        sum += std::abs(x[n]);
    return sum;
}

} // namespace

ryxStatus ryxsConvertBlock_G728_16s_u8(const int16_t *src, int16_t exponent, int16_t fraction, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (fraction < 0 || fraction > 15) return ryxStsOutOfRange;
    for (int n = 0; n < vectorLength; n++)
        dst[n] = round(shiftLimited(src[n], 16 + fraction - exponent));
    return ryxStsOk;
}

ryxStatus ryxsPostFilterGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsPostFilterInit_G728_16s_u8(PostFilterState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    saveBlock(block, State{});
    return ryxStsOk;
}

ryxStatus ryxsPostFilter_G728_16s_u8(const int16_t *src, const int16_t *speech, int16_t lag, int16_t gain,
                                     int16_t pitchGain, const int16_t *zeros, const int16_t *poles, int16_t tilt,
                                     int16_t *dst, PostFilterState_G728 *block) {
    if (anyNull(src, speech, zeros, poles, dst, block)) return ryxStsNullPtr;
    if (lag < minLag || lag > maxLag) return ryxStsOutOfRange;
    const auto state = loadBlock<State>(block);
    int16_t longTerm[order + vectorLength], shortTerm[order + vectorLength];
    std::copy_n(state.zeros, order, longTerm);
    std::copy_n(state.poles, order, shortTerm);
    for (int n = 0; n < vectorLength; n++) {
        int16_t *const x = longTerm + order + n, *const y = shortTerm + order + n;
        int64_t sum = int64_t{gain} * src[n] + pitchGain * speech[n - lag];
        *x = round(shiftLimited(sum, 2));
        for (int i = 1; i <= order; i++)
            sum += zeros[i - 1] * x[-i] - int64_t{poles[i - 1]} * y[-i];
        *y = sat16(sat32(sum >> 14));
        sum += tilt * y[-1];
        dst[n] = sat16(sat32(sum >> 14));
    }
    State next;
    std::copy_n(longTerm + vectorLength, order, next.zeros);
    std::copy_n(shortTerm + vectorLength, order, next.poles);
    saveBlock(block, next);
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G728_16s_u8(const int16_t *speech, const int16_t *src, int16_t *dst, int16_t *scale) {
    if (anyNull(speech, src, dst, scale)) return ryxStsNullPtr;
    const int32_t wanted = magnitudeSum(speech), actual = magnitudeSum(src);
    const Scaled ratio = actual > 4 ? divide(normalised(wanted, 16), normalised(actual, 16)) : one;
    const int shift = ratio.exponent - 7;
    const int32_t step = shift > 30 ? 0 : shiftLimited(20972 * ratio.mantissa, -shift);
    int16_t s = *scale;
    for (int n = 0; n < vectorLength; n++) {
        s = round(shiftLimited(int64_t{step} + 16220 * s, 2));
        dst[n] = sat16(2 * round(shiftLimited(s * src[n], 2)));
    }
    *scale = s;
    return ryxStsOk;
}

ryxStatus ryxsPostFilterCoefficients_G728_16s_u8(const int16_t *lpc, int16_t fraction, int16_t reflection,
                                                 int16_t *inverse, int16_t *zeros, int16_t *poles, int16_t *tilt) {
    if (anyNull(lpc, inverse, zeros, poles, tilt)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    for (int i = 0; i < order; i++)
        inverse[i] = round(lpc[i] * (1 << (29 - fraction)));
    int16_t expanded[order];
    if (ryxsBandwidthExpand_G728_16s_u8(lpc, fraction, ryxG728PostFilterPoleExpansion, expanded) != ryxStsOk)
        return ryxStsOverflow;
    std::copy_n(expanded, order, poles);
    ryxsBandwidthExpand_G728_16s_u8(lpc, fraction, ryxG728PostFilterZeroExpansion, zeros);
    *tilt = round(4915 * reflection); // 0.15 in Q15
    return ryxStsOk;
}
