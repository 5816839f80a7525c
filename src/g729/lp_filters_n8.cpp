// SPDX-License-Identifier: BSD-2-Clause
// The synthesis filters tuned for the n8 variant's processors.
#include "g729/implementations.h"
#include "g729/lp_filters.inl"

ryxStatus ryxsSynthesisFilter_G729E_16s_n8(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                           const int16_t *history) {
    if (anyNull(lpc, src, dst, history)) return ryxStsNullPtr;
    if (const ryxStatus status = checkFilter(order, len); status != ryxStsOk) return status;
    return warning(synthesise(lpc, order, src, dst, len, history));
}

ryxStatus ryxsSynthesisFilter_G729E_16s_I_n8(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                             const int16_t *history) {
    if (anyNull(lpc, srcDst, history)) return ryxStsNullPtr;
    if (const ryxStatus status = checkFilter(order, len); status != ryxStsOk) return status;
    return warning(synthesise(lpc, order, srcDst, srcDst, len, history));
}
