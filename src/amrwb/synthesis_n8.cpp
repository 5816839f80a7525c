// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis in double precision for the n8 variant: the same source, compiled with that processor's tuning.
#include "amrwb/implementations.h"
#include "amrwb/synthesis.inl"

ryxStatus ryxsSynthesisFilter_AMRWB_16s32s_I_n8(const int16_t *lpc, const int16_t *src, int32_t *srcDst, int len,
                                                int q) {
    return ryxsc::amrwb::synthesise(lpc, src, srcDst, len, q);
}
