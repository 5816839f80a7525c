// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis of ITU-T G.723.1, to samples and to the filter's full sums.
#include "g723/synthesis.inl"
#include "g723/implementations.h"

ryxStatus ryxsSynthesisFilter_G723_16s_u8(const int16_t *src, const int16_t *lpc, int16_t *dst, int16_t *memory) {
    return synthesise(src, lpc, dst, memory);
}

ryxStatus ryxsSynthesisFilter_G723_16s32s_u8(const int16_t *src, const int16_t *lpc, int32_t *dst, int16_t *memory) {
    return synthesiseLong(src, lpc, dst, memory);
}
