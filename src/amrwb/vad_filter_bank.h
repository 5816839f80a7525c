// SPDX-License-Identifier: BSD-2-Clause
// The filter bank of the AMR-WB voice activity detector (3GPP TS 26.194): twelve bands of 0 to 6.4 kHz.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ryxsc::amrwb {

inline constexpr int vadFrameLength = 256;
inline constexpr int vadBands = 12; // from the lowest to the highest

// Memories of the splitting stages, in the order of the recommendation.
struct FilterBankMemory {
    int16_t fifthOrder[5][2];
    int16_t thirdOrder[6];
};

// Sums of the magnitudes of each band's samples.
using BandMagnitudes = std::array<int32_t, vadBands>;

struct FrameMagnitudes {
    BandMagnitudes early; // over the first quarter of the frame
    BandMagnitudes late;  // over the rest, which counts in the next frame once more
};

FrameMagnitudes splitFrame(const int16_t *frame, FilterBankMemory &memory);

} // namespace ryxsc::amrwb
