// SPDX-License-Identifier: BSD-2-Clause
// The largest magnitude of a block, |-32768| taken as 32767.
#pragma once

#include "common/simd.h"

namespace ryxsc::gsmfr {

inline simd::Vector magnitudes(simd::Vector x) {
    return _mm_max_epi16(x, _mm_subs_epi16(_mm_setzero_si128(), x));
}

// len at least 8
inline int16_t largestMagnitude(const int16_t *src, int len) {
    simd::Vector largest = magnitudes(simd::load(src + len - 8));
    for (int i = 0; i < len - 8; i += 8)
        largest = _mm_max_epi16(largest, magnitudes(simd::load(src + i)));
    return simd::largestWord(largest);
}

} // namespace ryxsc::gsmfr
