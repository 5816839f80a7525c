// SPDX-License-Identifier: BSD-2-Clause
// Tables of the LP analysis of GSM-AMR (3GPP TS 26.090, clause 5.2, TS 26.073).
#pragma once

#include "common/lp_window.h"

namespace ryxsc::gsmamr {

// Analysis windows of 12.2 kbit/s, Q15, first and second analysis. The other rates have that of G.729.
extern const std::array<int16_t, lpWindowLength> lpWindow122Middle;
extern const std::array<int16_t, lpWindowLength> lpWindow122End;

} // namespace ryxsc::gsmamr
