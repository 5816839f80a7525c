// SPDX-License-Identifier: BSD-2-Clause
// Search of the algebraic codebooks: the plain form, and the u8 variant of the form with a buffer.
#include "amrwb/codebook_search.inl"
#include "amrwb/implementations.h"

using namespace ryxsc;

ryxStatus ryxsAlgebraicCodebookSearch_AMRWB_16s_u8(const int16_t *target, const int16_t *residual, int16_t *impulse,
                                                   int16_t *code, int16_t *filtered, int mode, int16_t *indices) {
    if (anyNull(target, residual, impulse, code, filtered, indices)) return ryxStsNullPtr;
    const amrwb::Codebook *codebook = amrwb::codebookOf(mode);
    if (codebook == nullptr) return ryxStsBadSize;
    amrwb::Workspace work;
    amrwb::search({target, residual, impulse, code, filtered, indices}, *codebook, work);
    return ryxStsOk;
}

ryxStatus ryxsAlgebraicCodebookSearchExact_AMRWB_16s_u8(const int16_t *target, const int16_t *residual,
                                                        const int16_t *impulse, const int16_t *lowPassed, int16_t *code,
                                                        int16_t *filtered, int mode, int16_t *indices) {
    if (anyNull(target, residual, impulse, lowPassed, code, filtered, indices)) return ryxStsNullPtr;
    const amrwb::Codebook *codebook = amrwb::codebookOf(mode);
    if (codebook == nullptr) return ryxStsBadSize;
    amrwb::Workspace work;
    amrwb::search({target, residual, impulse, code, filtered, indices, amrwb::Sums::exact, lowPassed}, *codebook, work);
    return ryxStsOk;
}

ryxStatus ryxsAlgebraicCodebookSearchEX_AMRWB_16s_u8(const int16_t *target, const int16_t *residual, int16_t *impulse,
                                                     int16_t *code, int16_t *filtered, int mode, int16_t *indices,
                                                     uint8_t *buffer) {
    return amrwb::searchInBuffer(target, residual, impulse, code, filtered, mode, indices, buffer);
}

ryxStatus ryxsAlgebraicCodebookSearchGetBufferSize_AMRWB_16s_u8(int *size) {
    return amrwb::reportBufferSize(size);
}
