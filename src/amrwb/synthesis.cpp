// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis in double precision (3GPP TS 26.173).
#include "amrwb/synthesis.inl"
#include "amrwb/implementations.h"

ryxStatus ryxsSynthesisFilter_AMRWB_16s32s_I_u8(const int16_t *lpc, const int16_t *src, int32_t *srcDst, int len,
                                                int q) {
    return ryxsc::amrwb::synthesise(lpc, src, srcDst, len, q);
}
