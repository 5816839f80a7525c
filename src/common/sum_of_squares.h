// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "common/fixed_point.h"
#include "common/simd.h"

namespace ryxsc {

// Sum of the squares of n words, a multiple of 8, exactly: pmaddwd's 2^31 counts as unsigned. Always inlined, so that each
// variant keeps its own tuning.
template <int n> [[gnu::always_inline]] inline int64_t sumOfSquares(const int16_t *words) {
    static_assert(n % 8 == 0);
    simd::Vector sum = _mm_setzero_si128();
    for (int i = 0; i < n; i += 8) {
        const simd::Vector eight = simd::load(words + i);
        sum = _mm_add_epi64(sum, simd::sumsOfUnsignedDwords(_mm_madd_epi16(eight, eight)));
    }
    return simd::sumOfQwords(sum);
}

// What accumulating 2 * x^2 on top of `start` gives: with terms that are not negative it saturates at the end or never.
template <int n> [[gnu::always_inline]] inline int32_t accumulatedEnergy(const int16_t *words, int32_t start = 0) {
    return sat32(start + 2 * sumOfSquares<n>(words));
}

} // namespace ryxsc
