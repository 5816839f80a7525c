// SPDX-License-Identifier: BSD-2-Clause
// Tables of the LP analysis of GSM-AMR (3GPP TS 26.090, clause 5.2, TS 26.073).
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::gsmamr {

inline constexpr int lpWindowLength = 240;

// Analysis windows, Q15: of the rates up to 10.2 kbit/s; of 12.2 kbit/s, first and second analysis.
extern const std::array<int16_t, lpWindowLength> lpWindow;
extern const std::array<int16_t, lpWindowLength> lpWindow122Middle;
extern const std::array<int16_t, lpWindowLength> lpWindow122End;

} // namespace ryxsc::gsmamr
