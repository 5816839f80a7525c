// SPDX-License-Identifier: BSD-2-Clause
// Codebooks of the fifth-order pitch predictor of ITU-T G.723.1 by transmitted index: 85 vectors at 6.3 kbit/s for lags
// below 58, 170 vectors otherwise.
#pragma once

#include <cstdint>

namespace ryxsc::g723 {

// g0..g4 in Q14, g0 for the oldest sample; then what the search multiplies with energies, -g0^2 .. -g4^2, and with cross
// terms, -g1 g0, -g2 g0, -g2 g1, ... -g4 g3.
extern const int16_t pitchGains85[85][20];
extern const int16_t pitchGains170[170][20];

// Worst-case gain of each vector, Q13.
extern const int16_t tamingGains85[85];
extern const int16_t tamingGains170[170];

// The periodic part of the algebraic code: what is added to the lag (60: too long for any), and the gain in Q15.
extern const int8_t contributionLags[170];
extern const int16_t contributionGains[170];

} // namespace ryxsc::g723
