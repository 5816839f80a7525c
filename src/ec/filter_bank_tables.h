// SPDX-License-Identifier: BSD-2-Clause
// Prototype windows of the echo canceller's sub-band filter bank, tap 0 first: symmetric low-passes of linear phase, least
// squares with unit weight in both bands and nothing asked in between.
//
//     order   hop   taps   pass band up to   stop band from   gain
//       5      24    128   pi/40             pi/24            28.41389
//       6      44    256   pi/73             pi/44            51.70044
//
// The Q13 forms are the floats times 8192, truncated towards zero.
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::ec {

extern const std::array<float, 128> windowOrder5;
extern const std::array<int16_t, 128> windowOrder5Q13;
extern const std::array<float, 256> windowOrder6;
extern const std::array<int16_t, 256> windowOrder6Q13;

} // namespace ryxsc::ec
