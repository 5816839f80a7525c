// SPDX-License-Identifier: BSD-2-Clause
// Limits of the sub-band adaptive filters, and the filter itself.
#pragma once

#include "ryxsc/ec.h"

namespace ryxsc::ec {

constexpr int mostBands = 4097; // of a real transform of 8192 points
constexpr int mostTaps = 255;

constexpr bool isBadBandCount(int numBands) {
    return numBands < 1 || numBands > mostBands;
}
constexpr bool isBadTapCount(int taps) {
    return taps < 1 || taps > mostTaps;
}

// The sum of history[t][k] * coefs[t][k] over t, for every band; what ryxsFIRSubband_EC_32fc() does behind its checks.
void filterSpectra(const ryx32fc *const *history, const ryx32fc *const *coefs, ryx32fc *dst, int taps, int numBands);

} // namespace ryxsc::ec
