// SPDX-License-Identifier: BSD-2-Clause
// The fifth-order pitch predictor of ITU-T G.723.1.
#pragma once

#include <algorithm>

#include "g723/operators.h"
#include "g723/pitch_tables.h"
#include "ryxsc.h"

namespace ryxsc::g723 {

constexpr bool isRate(int rate) {
    return rate == ryxG723Rate63 || rate == ryxG723Rate53;
}
constexpr bool hasFewGains(int lag, int rate) {
    return rate == ryxG723Rate63 && lag < shortLagLimit;
}
constexpr int gainCount(int lag, int rate) {
    return hasFewGains(lag, rate) ? 85 : 170;
}
inline const int16_t *gainVector(int lag, int rate, int index) {
    return hasFewGains(lag, rate) ? pitchGains85[index] : pitchGains170[index];
}

// The excitation a lag ago, two samples more in front and two behind; a lag that is shorter than that repeats itself.
struct DelayedExcitation {
    int16_t words[subframeLength + 4];

    // excitation: where the subframe begins.
    DelayedExcitation(const int16_t *excitation, int lag) {
        const int16_t *from = excitation - lag;
        words[0] = from[-2];
        words[1] = from[-1];
        for (int i = 0; i < subframeLength + 2; i++)
            words[2 + i] = i < lag ? from[i] : words[2 + i - lag];
    }
};

// The predictor's output with the gains of one vector.
inline void predict(const DelayedExcitation &delayed, const int16_t *gains, int16_t *dst) {
    for (int i = 0; i < subframeLength; i++)
        dst[i] = round(L_shl(dotProduct(delayed.words + i, gains, 5), 1));
}

} // namespace ryxsc::g723
