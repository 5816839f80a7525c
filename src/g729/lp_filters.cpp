// SPDX-License-Identifier: BSD-2-Clause
// Residual and synthesis filters of ITU-T G.729 (order 10) and its Annex E (up to order 30).
#include "g729/lp_filters.inl"
#include "common/convolution.h"
#include "common/lp_lanes.h"
#include "g729/implementations.h"

ryxStatus ryxsResidualFilter_G729_16s_u8(const int16_t *lpc, const int16_t *src, int16_t *dst, int len) {
    if (anyNull(lpc, src, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    residualFilter<shortOrder>(lpc, src, dst, len);
    return ryxStsOk;
}

ryxStatus ryxsResidualFilter_G729E_16s_u8(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len) {
    if (anyNull(lpc, src, dst)) return ryxStsNullPtr;
    if (const ryxStatus status = checkFilter(order, len); status != ryxStsOk) return status;
    if (order == shortOrder) {
        residualFilter<shortOrder>(lpc, src, dst, len);
    } else if (order == maxFilterOrder) {
        residualFilter<maxFilterOrder>(lpc, src, dst, len);
    } else {
        const PaddedFilter filter(lpc, order);
        for (int done = 0, n; done < len; done += n) {
            n = std::min(len - done, chunk);
            int16_t padded[maxFilterOrder + chunk] = {};
            std::copy_n(src + done - order, order + n, padded + maxFilterOrder - order);
            residualFilter<maxFilterOrder>(filter.a, padded + maxFilterOrder, dst + done, n);
        }
    }
    return ryxStsOk;
}

ryxStatus ryxsSynthesisFilter_G729_16s_u8(const int16_t *lpc, const int16_t *src, int16_t *dst, int len,
                                          const int16_t *history) {
    if (anyNull(lpc, src, dst, history)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    return warning(synthesise<shortOrder>(lpc, src, dst, len, history));
}

ryxStatus ryxsSynthesisFilter_G729E_16s_u8(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                           const int16_t *history) {
    if (anyNull(lpc, src, dst, history)) return ryxStsNullPtr;
    if (const ryxStatus status = checkFilter(order, len); status != ryxStsOk) return status;
    return warning(synthesise(lpc, order, src, dst, len, history));
}

ryxStatus ryxsSynthesisFilter_G729E_16s_I_u8(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                             const int16_t *history) {
    if (anyNull(lpc, srcDst, history)) return ryxStsNullPtr;
    if (const ryxStatus status = checkFilter(order, len); status != ryxStsOk) return status;
    return warning(synthesise(lpc, order, srcDst, srcDst, len, history));
}

ryxStatus ryxsWeightingFilter_G729A_16s_u8(const int16_t *weightedLpc, const int16_t *residual, int16_t *dst, int len,
                                           const int16_t *history) {
    constexpr int16_t tilt = 22938; // 0.7, Q15
    if (anyNull(weightedLpc, residual, dst, history)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int16_t a[shortOrder + 1];
    a[0] = 4096;
    for (int i = 1; i <= shortOrder; i++)
        a[i] = sub(weightedLpc[i], mult(weightedLpc[i - 1], tilt));
    synthesise<shortOrder>(a, residual, dst, len, history);
    return ryxStsOk;
}

ryxStatus ryxsImpulseResponses_G729A_16s_u8(const int16_t *weightedLpc, int16_t *responses) {
    constexpr int subframe = 40;
    constexpr int16_t impulse[subframe] = {4096};
    if (anyNull(weightedLpc, responses)) return ryxStsNullPtr;
    synthesiseBoth<shortOrder, Start::fromRest>({weightedLpc, impulse, responses, nullptr},
                                                {weightedLpc + shortOrder + 1, impulse, responses + subframe, nullptr},
                                                subframe);
    return ryxStsOk;
}

ryxStatus ryxsConvolve_G729_16s_u8(const int16_t *src, const int16_t *response, int16_t *dst) {
    constexpr int subframe = 40;
    if (anyNull(src, response, dst)) return ryxStsNullPtr;
    convolve<subframe>(src, response, dst, 3, Rounding::truncate);
    return ryxStsOk;
}
