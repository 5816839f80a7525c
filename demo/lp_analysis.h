// SPDX-License-Identifier: BSD-2-Clause
// Linear prediction of 8 kHz speech as in ITU-T G.729.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/** LP coefficients of order ten in Q12, the first one being 4096. */
using Lpc = std::array<int16_t, 11>;

constexpr size_t lpFrameLength = 80; // 10 ms

struct LpAnalysis {
    std::vector<Lpc> filters; /**< one for each whole frame */
    size_t unstable;          /**< frames that keep the filter before them because their own would be unstable */
};

/** Analyses the frames of a recording; beyond both of its ends there is silence. */
LpAnalysis analyseFrames(std::span<const int16_t> speech);
