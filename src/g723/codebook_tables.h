// SPDX-License-Identifier: BSD-2-Clause
// Constants of the fixed codebooks of ITU-T G.723.1.
#pragma once

#include <cstdint>

namespace ryxsc::g723 {

inline constexpr int gainLevels = 24;
inline constexpr int16_t fixedGains[gainLevels] = {1,   2,   3,   4,   6,   9,   13,   18,   26,   38,   55,   80,
                                                   115, 166, 240, 348, 502, 726, 1050, 1517, 2193, 3170, 4582, 6623};

inline constexpr int pulseCounts[4] = {6, 5, 6, 5}; // of the multipulse code, by subframe
// Number of ways to place the pulses of a subframe on the 30 positions of a grid.
inline constexpr int32_t positionLimits[4] = {593775, 142506, 593775, 142506};

// n choose k, for 0 <= n < 30 and k <= 5.
struct Combinations {
    int32_t value[6][30]; // [j][i]: (29 - i) choose (5 - j)

    constexpr Combinations() : value{} {
        for (int j = 0; j < 6; j++)
            for (int i = 0; i < 30; i++)
                value[j][i] = choose(29 - i, 5 - j);
    }

    static constexpr int32_t choose(int n, int k) {
        int32_t ways = 1;
        for (int i = 0; i < k; i++)
            ways = ways * (n - i) / (i + 1);
        return ways;
    }
};
inline constexpr Combinations combinations;

} // namespace ryxsc::g723
