// SPDX-License-Identifier: BSD-2-Clause
// The first stage of the comfort-noise LSF quantisers of ITU-T G.729 Annex B, in what the 16-bit and the float form
// share. A candidate is named by mode * 32 + first-stage index.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/vector_quantiser_search.h"
#include "g729/lsp_codebooks.h"
#include "g729/lsp_tables.h"

namespace ryxsc::g729 {

struct NoiseIndices {
    size_t mode, l1, l2;
};

// found: place of the candidate times 16, plus the index of the second stage.
template <class Error> NoiseIndices noiseIndices(const Candidates<Error> &candidates, size_t found) {
    const size_t candidate = candidates[found / noiseSecondSize];
    return {candidate / noiseFirstSize, candidate % noiseFirstSize, found % noiseSecondSize};
}

inline void storeIndices(const NoiseIndices &choice, int16_t *indices) {
    indices[0] = static_cast<int16_t>(choice.mode);
    indices[1] = static_cast<int16_t>(choice.l1);
    indices[2] = static_cast<int16_t>(choice.l2);
}

} // namespace ryxsc::g729
