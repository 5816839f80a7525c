// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis for the n8 variant: the same source, compiled with that processor's tuning.
#include "common/implementations.h"
#include "common/synthesis_filter.inl"

ryxStatus ryxsSynthesisFilter_NR_16s_Sfs_n8(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                            const int16_t *history, int sf) {
    return ryxsc::synthesisFilterChecked(lpc, order, src, dst, len, history, sf);
}

ryxStatus ryxsSynthesisFilter_NR_16s_ISfs_n8(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                             const int16_t *history, int sf) {
    return ryxsc::synthesisFilterChecked(lpc, order, srcDst, srcDst, len, history, sf);
}

ryxStatus ryxsSynthesisFilterLow_NR_16s_ISfs_n8(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                                const int16_t *history, int sf) {
    return ryxsc::lowSynthesisFilterChecked(lpc, order, srcDst, len, history, sf);
}

ryxStatus ryxsSynthesisFilterZeroStateResponse_NR_16s_n8(const int16_t *lpc, int order, const int16_t *src,
                                                         int16_t *dst, int len) {
    return ryxsc::zeroStateResponseChecked(lpc, order, src, dst, len);
}
