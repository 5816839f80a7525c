// SPDX-License-Identifier: BSD-2-Clause
// Line spectral pairs as frequencies, by a table of the cosine in 64 intervals: ITU-T G.729 and GSM-AMR.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "common/simd.h"

namespace ryxsc {

// cos(pi * k / 64), Q15, the lower edge in frequency of interval k; entry 0 is 32767.
inline constexpr int cosineIntervals = 64;
extern const std::array<int16_t, cosineIntervals + 1> cosines;
extern const std::array<int16_t, cosineIntervals / 8> everyEighthCosine; // cosines[0], cosines[8], ...

// Slope of the arc cosine over interval k, Q12; negative.
extern const std::array<int16_t, cosineIntervals> arccosineSlopes;

// The last interval whose lower edge in frequency has a cosine at or above lsp: among every eighth first, then among eight.
inline int intervalOf(int16_t lsp) {
    const simd::Vector eight = simd::words(lsp);
    const int first = 8 * simd::lastNotBelow(everyEighthCosine.data(), eight);
    return first + simd::lastNotBelow(&cosines[static_cast<size_t>(first)], eight);
}

// lsf[i] = convert(interval, distance) with the distance of LSP i from the interval's edge, -65535..0. The recommendations
// search the interval from that of the LSP behind, downwards only, so that an LSP above its predecessor is extrapolated.
template <class Convert> void toFrequencies(const int16_t *lsp, int16_t *lsf, int order, Convert convert) {
    int k = cosineIntervals - 1;
    for (int i = order - 1; i >= 0; i--) {
        k = std::min(k, intervalOf(lsp[i]));
        lsf[i] = convert(k, lsp[i] - cosines[static_cast<size_t>(k)]);
    }
}

} // namespace ryxsc
