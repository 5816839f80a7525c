// SPDX-License-Identifier: BSD-2-Clause
// Initialisation and synthesis of the 16-bit filter bank for the n8 variant: the same source, compiled with that
// processor's tuning.
#include "ec/filter_bank_16s.inl"
#include "ec/implementations.h"

ryxStatus ryxsSubbandProcessInit_16s_n8(SubbandProcessState *state, int order, int hop, int windowLen,
                                        const int16_t *window, void *) {
    return ryxsc::ec::initialise(state, order, hop, windowLen, window);
}

ryxStatus ryxsSubbandSynthesis_32sc16s_Sfs_n8(const ryx32sc *src, int16_t *dst, SubbandProcessState *state,
                                              int scaleFactor, void *workBuf) {
    return ryxsc::ec::synthesise(src, dst, state, scaleFactor, workBuf);
}
