// SPDX-License-Identifier: BSD-2-Clause
// The window of the LP analysis of ITU-T G.729 (clause 3.2.1) and of GSM-AMR up to 10.2 kbit/s (3GPP TS 26.090, clause 5.2.1).
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc {

inline constexpr int lpWindowLength = 240;

// Q15, the oldest sample first.
extern const std::array<int16_t, lpWindowLength> lpWindow;

} // namespace ryxsc
