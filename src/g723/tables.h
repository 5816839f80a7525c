// SPDX-License-Identifier: BSD-2-Clause
// Constants of the LSP frequency decoder of ITU-T G.723.1; 32768 stands for pi.
#pragma once

#include <cstdint>

namespace ryxsc::g723 {

// Codebooks by transmitted index. Vector 0 is zero in each of them.
extern const int16_t lowBand[256][3];    // LSFs 1 to 3
extern const int16_t middleBand[256][3]; // LSFs 4 to 6
extern const int16_t highBand[256][4];   // LSFs 7 to 10

// Long-term mean of the LSFs.
inline constexpr int16_t lsfMean[10] = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};

} // namespace ryxsc::g723
