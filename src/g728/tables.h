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

// The gain magnitudes for four comparisons at once: their boundaries with a zero behind each of them, square and -gain of the
// first one, and what changes in these two (exclusive or) at each boundary.
struct GainCells {
    alignas(16) int16_t boundaries[3][4][2];
    alignas(16) int16_t first[4][2], changes[3][4][2];
};

// The shapes one by one: five samples and zeros, and the samples shifted to the left until they use all bits, with the count
// behind them.
struct SingleShapes {
    alignas(16) int16_t samples[128][8], normalised[128][8];
};

// The shapes with a norm of 32767, rounded, eight to a vector, and the norms that they have in shapeCodebook, times
// 512^1/2 (1 + 2^-11).
struct UnitShapes {
    alignas(16) int16_t samples[16][5][8];
    alignas(16) float scaledNorms[128];
};

extern const int16_t shapeCodebook[32][3][4][2];
extern const GainCells gainCells;
extern const SingleShapes singleShapes;
extern const UnitShapes unitShapes;
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
