// SPDX-License-Identifier: BSD-2-Clause
// Tables of ITU-T G.728, Annexes G and I.
#pragma once

#include <cstdint>

namespace ryxsc::g728 {

struct GainMagnitude {
    int16_t gain;     // Q13
    int16_t square;   // Q11
    int16_t boundary; // Q13
    int16_t shift;
    int16_t decibels; // Q11
};

extern const int16_t shapeCodebook[32][3][4][2];
extern const int16_t shapeLogGains[128];
extern const GainMagnitude gainMagnitudes[4];
extern const int16_t synthesisWindow[108];
extern const int16_t weightingWindow[60];
extern const int16_t logGainWindow[34];
extern const int16_t synthesisExpansion[50];
extern const int16_t logGainExpansion[10];
extern const int16_t weightingPoleExpansion[10];
extern const int16_t weightingZeroExpansion[10];
extern const int16_t postFilterPoleExpansion[10];
extern const int16_t postFilterZeroExpansion[10];
extern const int16_t erasureExpansion[50];
extern const int16_t decimationZeros[4];
extern const int16_t decimationPoles[3];
extern const int16_t voicedErasureGains[5];
extern const int16_t unvoicedErasureGains[6];
extern const uint32_t erasureRandomSeed[17];

} // namespace ryxsc::g728
