// SPDX-License-Identifier: BSD-2-Clause
// Functions that compute each output from the inputs at the same index, eight at a time.
#pragma once

#include "common/simd.h"

namespace ryxsc {

// dst[i] = kernel(src[i]...) for i = 0 .. len - 1, len at least 1. The kernel maps vectors, lane by lane.
//
// Nothing beyond the vectors is read or written, and every element meets the same instructions whatever the length. From
// eight elements on the last step ends at the last element and may repeat some; its inputs are read before anything is
// written, so the destination may be any of the sources. Always inlined, so that each variant keeps its own tuning.
template <class Kernel, class... Sources>
[[gnu::always_inline]] inline void mapWords(int16_t *dst, int len, Kernel kernel, const Sources *...src) {
    if (len >= 8) {
        const int last = len - 8;
        const simd::Vector ending = kernel(simd::load(src + last)...);
#pragma GCC unroll 2
        for (int i = 0; i < last; i += 8)
            simd::store(dst + i, kernel(simd::load(src + i)...));
        simd::store(dst + last, ending);
    } else if (len >= 4) {
        const int last = len - 4;
        const simd::Vector ending = kernel(simd::load64(src + last)...);
        simd::store64(dst, kernel(simd::load64(src)...));
        simd::store64(dst + last, ending);
    } else {
#pragma GCC unroll 1
        for (int i = 0; i < len; i++)
            simd::storeWord(dst + i, kernel(simd::loadWord(src + i)...));
    }
}

} // namespace ryxsc
