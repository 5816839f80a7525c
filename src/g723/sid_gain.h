// SPDX-License-Identifier: BSD-2-Clause
// Quantiser of the gain in silence descriptors of ITU-T G.723.1 Annex A: three segments of steps 2, 4 and 8.
#pragma once

#include <cstdint>

namespace ryxsc::g723 {

// Factors of the mean of 1, 2 or 3 energies; with index 0 that of the energy which the decoder keeps.
inline constexpr int16_t energyFactors[4] = {273, 998, 499, 333};

int sidGainIndex(int32_t energy);
int16_t sidGain(int index); // 0..63

} // namespace ryxsc::g723
