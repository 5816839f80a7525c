// SPDX-License-Identifier: BSD-2-Clause
// Limits of the sub-band adaptive filters.
#pragma once

namespace ryxsc::ec {

constexpr int mostBands = 4097; // of a real transform of 8192 points
constexpr int mostTaps = 255;

constexpr bool isBadBandCount(int numBands) {
    return numBands < 1 || numBands > mostBands;
}
constexpr bool isBadTapCount(int taps) {
    return taps < 1 || taps > mostTaps;
}

} // namespace ryxsc::ec
