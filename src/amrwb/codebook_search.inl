// SPDX-License-Identifier: BSD-2-Clause
// Search of the algebraic codebooks of AMR-WB (3GPP TS 26.173: ACELP_2t64_fx and ACELP_4t64_fx). Compiled by both processor
// variants.
#pragma once

#include "amrwb/codebook_four_tracks.inl"
#include "amrwb/codebook_two_tracks.inl"
#include "common/checks.h"
#include "common/state_block.h"

namespace ryxsc::amrwb {

namespace {

inline constexpr int bufferSize = 8192;
inline constexpr uintptr_t bufferAlignment = 32;
static_assert(sizeof(Workspace) + bufferAlignment - 1 <= bufferSize);

inline void search(const Arguments &in, const Codebook &codebook, Workspace &work) {
    if (codebook.hasTwoTracks())
        TwoTrackSearch(work).run(in, codebook.mixingFactor);
    else
        FourTrackSearch(codebook, work).run(in);
}

inline ryxStatus searchInBuffer(const int16_t *target, const int16_t *residual, const int16_t *impulse, int16_t *code,
                                int16_t *filtered, int mode, int16_t *indices, uint8_t *buffer) {
    if (anyNull(target, residual, impulse, code, filtered, indices, buffer)) return ryxStsNullPtr;
    const Codebook *codebook = codebookOf(mode);
    if (codebook == nullptr) return ryxStsBadSize;
    search({target, residual, impulse, code, filtered, indices}, *codebook,
           alignedBlock<Workspace, bufferAlignment>(buffer));
    return ryxStsOk;
}

inline ryxStatus reportBufferSize(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = bufferSize;
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc::amrwb
