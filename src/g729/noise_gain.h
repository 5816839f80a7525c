// SPDX-License-Identifier: BSD-2-Clause
// Quantisation of the comfort noise gain of ITU-T G.729 Annex B (clause B.4.2), on both sides.
#pragma once

#include <cstdint>

namespace ryxsc::g729 {

struct NoiseGain {
    int16_t index;    // 0..31
    int16_t decibels; // quantised, 2 dB steps
};

// The gain of `count` prediction errors, energies[i] * 2^-shifts[i], 1 or 2; 0 for the decoder's estimate, one energy.
NoiseGain quantiseNoiseGain(const int16_t *energies, const int16_t *shifts, int count);

} // namespace ryxsc::g729
