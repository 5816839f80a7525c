// SPDX-License-Identifier: BSD-2-Clause
// Constants of the excitation, the post-filters and the annexes of ITU-T G.729. The LP and LSP tables are apart.
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::g729 {

// Interpolation of the excitation at thirds of a sample: entry k weighs a sample k / 3 periods away, Q15 (clause 3.7.1).
inline constexpr std::array<int16_t, 31> excitationFilter = {
    29443, 25207, 14701, 3143, -4402, -5850, -2783, 1211, 3130, 2259, 0,   -1652, -1666, -464, 756, 1099,
    550,   -245,  -634,  -451, 0,     308,   296,   78,   -120, -165, -79, 34,    91,    70,   0};
// The same for the correlations of the closed-loop search (clause 3.7).
extern const std::array<int16_t, 13> correlationFilter;
// Delays of 1/8 .. 7/8 sample for the search of the long-term post-filter, Q15 (clause 4.2.1).
extern const int16_t shortFractions[7][4];
// The same for its output.
extern const int16_t longFractions[7][16];
// 2^(i / 32), Q14, the last entry limited.
extern const std::array<int16_t, 33> powerOfTwo;
// Moving-average predictor of the code gain, Q13, the newest subframe first (clause 3.9.1).
extern const std::array<int16_t, 4> gainPrediction;
// Gain codebook, first stage: pitch gain Q14, correction of the code gain Q13 (clause 3.9.2).
extern const int16_t gainFirst[8][2];
// Second stage.
extern const int16_t gainSecond[16][2];
// What is sent for a vector of the first stage (clause 3.9.3).
extern const std::array<int16_t, 8> firstGainIndex;
// And of the second.
extern const std::array<int16_t, 16> secondGainIndex;
// The vector of the first stage for what was sent.
extern const std::array<int16_t, 8> firstGainVector;
// And of the second.
extern const std::array<int16_t, 16> secondGainVector;
// Gain codebook of Annex D, first stage: pitch gain Q14, correction of the code gain Q14.
extern const int16_t gainFirstD[8][2];
// Second stage.
extern const int16_t gainSecondD[8][2];
// What Annex D sends for a vector of the first stage.
extern const std::array<int16_t, 8> firstGainIndexD;
// The vector of the first stage for what was sent.
extern const std::array<int16_t, 8> firstGainVectorD;
// What Annex D sends for a vector of the second stage.
extern const std::array<int16_t, 8> secondGainIndexD;
// The vector of the second stage for what was sent.
extern const std::array<int16_t, 8> secondGainVectorD;
// Gray code of Annex D.
extern const std::array<int16_t, 32> grayCode;
// And its inverse.
extern const std::array<int16_t, 32> grayDecode;
// Positions of the first pulse of Annex D.
extern const std::array<int16_t, 16> firstTrackD;
// Positions of the second pulse of Annex D.
extern const std::array<int16_t, 32> secondTrackD;
// Phase dispersion of Annex D for a low pitch gain, Q15.
extern const std::array<int16_t, 40> dispersionLow;
// And for a medium one.
extern const std::array<int16_t, 40> dispersionMiddle;
// Window of the backward analysis of Annex E, Q15, the oldest sample first.
extern const std::array<int16_t, 145> hybridWindow;
// Its lag window, lags 1 .. 30, in double-precision format, Q31.
extern const std::array<int32_t, 30> backwardLagWindow;
// Logarithms of 16 .. 32 for the mode decision of Annex E.
extern const std::array<int16_t, 17> energyLogarithm;
// Autocorrelation of the low-pass filter of the VAD, Q15 (Annex B).
extern const std::array<int16_t, 13> lowBandCorrelation;
// Weights of the background averages by the number of updates: old and new for energies, zero crossings, LSFs; Q15.
extern const int16_t backgroundUpdate[6][6];
// 32 / (32 - n) for n frames without speech: shift, ...
extern const std::array<int16_t, 33> initialFactorShift;
// ... and factor, Q15.
extern const std::array<int16_t, 33> initialFactor;
// Gains of comfort noise, Q3 (Annex B).
extern const std::array<int16_t, 32> sidGains;

} // namespace ryxsc::g729
