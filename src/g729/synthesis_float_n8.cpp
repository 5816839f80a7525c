// SPDX-License-Identifier: BSD-2-Clause
// Synthesis filter of ITU-T G.729 in single precision, tuned for the n8 variant's processors.
#include "g729/implementations.h"
#include "g729/synthesis_float.inl"

ryxStatus ryxsSynthesisFilter_G729_32f_n8(const float *lpc, const float *src, float *dst, int len, float *history) {
    return synthesiseFloat(lpc, src, dst, len, history);
}
