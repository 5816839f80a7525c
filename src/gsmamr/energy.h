// SPDX-License-Identifier: BSD-2-Clause
// Energies of a subframe.
#pragma once

#include "common/simd.h"
#include "gsmamr/codebook.h"

namespace ryxsc::gsmamr {

inline int64_t sumOfSquares(const int16_t *x) {
    simd::Vector sums = _mm_setzero_si128();
    for (int n = 0; n < subframeLength; n += 8) {
        const simd::Vector eight = simd::load(x + n);
        sums = _mm_add_epi64(sums, simd::sumsOfUnsignedDwords(_mm_madd_epi16(eight, eight)));
    }
    return simd::sumOfQwords(sums);
}

// What accumulating 2 * x[n]^2 on top of `start` gives: with terms that are not negative it saturates at the end or never.
inline int32_t saturatedEnergy(int32_t start, const int16_t *x) {
    return sat32(start + 2 * sumOfSquares(x));
}

} // namespace ryxsc::gsmamr
