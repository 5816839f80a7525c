// SPDX-License-Identifier: BSD-2-Clause
// The filter bank of the GSM-AMR voice activity detector, option 1 (3GPP TS 26.094): nine bands of 0 to 4 kHz.
#pragma once

#include <cstdint>

namespace ryxsc::gsmamr {

inline constexpr int vadFrameLength = 160;
inline constexpr int vadBands = 9; // from the lowest to the highest

// Memories of the splitting stages, in the order of the recommendation.
struct FilterBankMemory {
    int16_t fifthOrder[3][2];
    int16_t thirdOrder[5];
};

// Sums of the magnitudes of each band's samples.
struct FrameMagnitudes {
    int32_t early[vadBands]; // over all of the frame but its last fifth
    int32_t late[vadBands];  // over that, which counts in the next frame once more
};

FrameMagnitudes splitFrame(const int16_t *frame, FilterBankMemory &memory);

} // namespace ryxsc::gsmamr
