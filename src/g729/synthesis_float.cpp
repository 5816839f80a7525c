// SPDX-License-Identifier: BSD-2-Clause
// Synthesis filter of ITU-T G.729 in single precision.
#include "g729/synthesis_float.inl"
#include "g729/implementations.h"

ryxStatus ryxsSynthesisFilter_G729_32f_u8(const float *lpc, const float *src, float *dst, int len, float *history) {
    return synthesiseFloat(lpc, src, dst, len, history);
}
