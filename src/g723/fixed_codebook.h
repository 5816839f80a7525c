// SPDX-License-Identifier: BSD-2-Clause
// What search and decoder of the fixed codebooks of ITU-T G.723.1 share.
#pragma once

#include <algorithm>

#include "g723/codebook_tables.h"
#include "g723/operators.h"
#include "g723/pitch_tables.h"

namespace ryxsc::g723 {

inline constexpr int gridPositions = 30; // every other sample

// Repeats a vector with the period of the lag and adds up, the latest repetition first.
inline void addPulseTrain(const int16_t *src, int lag, int16_t *dst) {
    for (int i = 0; i < subframeLength; i++) {
        int16_t sum = src[i];
        for (int j = i - lag; j >= 0; j -= lag)
            sum = add(sum, src[j]);
        dst[i] = sum;
    }
}

// The periodic part of the algebraic code: lag and gain that go with a vector of the pitch predictor.
struct PitchContribution {
    int lag;
    int16_t gain;

    PitchContribution(int delay, int gainIndex)
        : lag(delay + contributionLags[gainIndex]), gain(contributionGains[gainIndex]) {}

    // Recursive. For lags below 58 only; offsets are small, so none comes near 0.
    void addTo(int16_t *vector) const {
        if (lag >= shortLagLimit) return;
        for (int i = lag; i < subframeLength; i++)
            vector[i] = add(vector[i], mult(vector[i - lag], gain));
    }
};

} // namespace ryxsc::g723
