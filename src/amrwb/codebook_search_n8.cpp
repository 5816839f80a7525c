// SPDX-License-Identifier: BSD-2-Clause
// The search with a buffer for the n8 variant: the same source, compiled with that processor's tuning.
#include "amrwb/codebook_search.inl"
#include "amrwb/implementations.h"

using namespace ryxsc;

ryxStatus ryxsAlgebraicCodebookSearchEX_AMRWB_16s_n8(const int16_t *target, const int16_t *residual, int16_t *impulse,
                                                     int16_t *code, int16_t *filtered, int mode, int16_t *indices,
                                                     uint8_t *buffer) {
    return amrwb::searchInBuffer(target, residual, impulse, code, filtered, mode, indices, buffer);
}

ryxStatus ryxsAlgebraicCodebookSearchGetBufferSize_AMRWB_16s_n8(int *size) {
    return amrwb::reportBufferSize(size);
}
