// SPDX-License-Identifier: BSD-2-Clause
// Constants of the GSM full-rate codec (ETSI GSM 06.10).
#pragma once

#include <cstdint>

namespace ryxsc::gsmfr {

inline constexpr int stages = 8; // of the short-term lattices

inline constexpr int16_t emphasis = 28180; // 0.86, Q15, of pre-emphasis and de-emphasis

// Impulse response H of the RPE section's weighting filter, symmetric, Q13 (table 4.4).
inline constexpr int weightingTaps = 11;
inline constexpr int16_t weightingFilter[weightingTaps] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};

} // namespace ryxsc::gsmfr
