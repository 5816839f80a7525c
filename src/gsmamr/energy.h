// SPDX-License-Identifier: BSD-2-Clause
// Energies of a subframe.
#pragma once

#include "common/sum_of_squares.h"
#include "gsmamr/codebook.h"

namespace ryxsc::gsmamr {

inline int64_t sumOfSquares(const int16_t *x) {
    return ryxsc::sumOfSquares<subframeLength>(x);
}

// What accumulating 2 * x[n]^2 on top of `start` gives: with terms that are not negative it saturates at the end or never.
inline int32_t saturatedEnergy(int32_t start, const int16_t *x) {
    return sat32(start + 2 * sumOfSquares(x));
}

} // namespace ryxsc::gsmamr
