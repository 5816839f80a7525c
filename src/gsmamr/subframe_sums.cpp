// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/subframe_sums.h"

#include <algorithm>
#include <cstring>

namespace ryxsc::gsmamr {

using simd::Vector;

void sumProducts(const int16_t *x, const int16_t *h, int32_t *sums) {
    alignas(16) int16_t padded[subframeLength + 16] = {};
    alignas(16) int32_t pairs[subframeLength + 8];
    Vector taps[subframeLength / 2];
    std::memcpy(padded, x, subframeLength * sizeof *x);
    for (int n = 0; n < subframeLength + 8; n += 4)
        simd::store(pairs + n, _mm_unpacklo_epi16(simd::load64(padded + n), simd::load64(padded + n + 1)));
    for (int k = 0; k < subframeLength; k += 2)
        taps[k / 2] = _mm_shuffle_epi32(simd::load32(h + k), 0);
    for (int n = 0; n < subframeLength; n += 4) {
        Vector even = _mm_setzero_si128(), odd = even;
        for (int k = 0; k < subframeLength - n; k += 4) {
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(pairs + n + k), taps[k / 2]));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(pairs + n + k + 2), taps[k / 2 + 1]));
        }
        simd::store(sums + n, _mm_add_epi32(even, odd));
    }
}

} // namespace ryxsc::gsmamr
