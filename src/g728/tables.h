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

// The shapes eight to a vector.
struct ShapeGroups {
    alignas(16) int16_t samples[16][5][8];
};

// What an impulse response makes of shapes by its first sample alone, 1 in Q13, four to a vector: samples y[2] and y[4] of the
// shape times 8192, and the square of y[0] >> 1.
struct FirstSampleOnly {
    alignas(16) int32_t third[32][4], fifth[32][4], firstSquare[32][4];
};

// The gain magnitudes as lines, for eight shapes. A shape of energy E and correlation C gains g C - s E with the lowest gain g,
// whose square is s; with a higher one more from a boundary on, in proportion to what C exceeds that multiple of E. The
// multiples of E, times 2^17 and rounded down: s / g, the first boundary, and what the second and the third one add. The slopes
// of what they add, over 4 g, Q15.
struct GainLines {
    alignas(16) uint16_t multiples[4][8];
    alignas(16) int16_t slopes[3][8];
};

extern const int16_t shapeCodebook[32][3][4][2];
extern const GainCells gainCells;
extern const SingleShapes singleShapes;
extern const ShapeGroups shapeGroups;
extern const FirstSampleOnly firstSampleOnly;
extern const GainLines gainLines;
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
