// SPDX-License-Identifier: BSD-2-Clause
// Tables of the LSF quantiser and decoder of ITU-T G.729, each stored once, in the arrangement that the searches read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/vector_quantiser.h"

namespace ryxsc::g729 {

inline constexpr int lsfOrder = 10;
inline constexpr int modes = 2;        // L0
inline constexpr int historyDepth = 4; // past frames, the newest first

inline constexpr size_t firstStageSize = 128;
inline constexpr size_t secondStageSize = 32;
inline constexpr size_t noiseFirstSize = 32;
inline constexpr size_t noiseSecondSize = 16;

// Codebook vectors of floats, radians, by fours: [g][j] holds value j of the vectors 4g .. 4g + 3.
template <size_t vectors, size_t values> struct FloatCodebook {
    alignas(16) float quads[vectors / 4][values][4];

    float value(size_t vector, size_t j) const { return quads[vector / 4][j][vector % 4]; }
};

// MA predictor of one mode, with room for whole vectors; the last entries of each row are zero.
struct Predictor {
    alignas(16) int16_t taps[historyDepth][16]; // Q15; with the gain they add up to less than 1
    alignas(16) int16_t gain[16];               // of the residual, Q15
    alignas(16) int16_t inverseGain[16];        // Q12
};
struct FloatPredictor {
    float taps[historyDepth][lsfOrder];
    float gain[lsfOrder];
    float inverseGain[lsfOrder];
};

// First stage, index L1. 16-bit values are in Q13.
extern const PairCodebook<firstStageSize, 10> firstStage;
extern const FloatCodebook<firstStageSize, 10> firstStageFloat;

// Second stage, values 0..4 by L2 and 5..9 by L3. The sixth value of the pairs is zero.
extern const PairCodebook<secondStageSize, 5> secondStage[2];
extern const FloatCodebook<secondStageSize, 5> secondStageFloat[2];

extern const Predictor predictors[modes];
extern const FloatPredictor floatPredictors[modes];

// Annex B: the first-stage vectors in use, the second-stage vectors joined from their two halves, which one index
// picks, and the predictor, whose mode 1 is a blend of the two of speech.
extern const PairCodebook<noiseFirstSize, 10> noiseFirst;
extern const PairCodebook<noiseSecondSize, 10> noiseSecond;
extern const FloatCodebook<noiseFirstSize, 10> noiseFirstFloat;
extern const FloatCodebook<noiseSecondSize, 10> noiseSecondFloat;
extern const Predictor noisePredictors[modes];
extern const FloatPredictor noiseFloatPredictors[modes];

} // namespace ryxsc::g729
