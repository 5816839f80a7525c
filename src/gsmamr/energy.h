// SPDX-License-Identifier: BSD-2-Clause
// Energies of a subframe.
#pragma once

#include "common/sum_of_squares.h"
#include "gsmamr/codebook.h"

namespace ryxsc::gsmamr {

inline int64_t sumOfSquares(const int16_t *x) {
    return ryxsc::sumOfSquares<subframeLength>(x);
}

inline int32_t saturatedEnergy(int32_t start, const int16_t *x) {
    return accumulatedEnergy<subframeLength>(x, start);
}

// A sixteenth of the energy, from quarters of the samples where the sum would saturate: for adaptive gain control (3GPP
// TS 26.090, clause 6.2.1).
inline int32_t levelEnergy(const int16_t *x) {
    const int32_t energy = saturatedEnergy(0, x);
    if (energy < max32) return energy >> 4;
    int16_t quarters[subframeLength];
    for (int n = 0; n < subframeLength; n++)
        quarters[n] = static_cast<int16_t>(x[n] >> 2);
    return saturatedEnergy(0, quarters);
}

} // namespace ryxsc::gsmamr
