// SPDX-License-Identifier: BSD-2-Clause
// Tables of the LSF quantisation of GSM-AMR (3GPP TS 26.073), in the arrangement that the searches read; 16384 stands for
// half the sampling frequency.
#pragma once

#include <array>

#include "common/vector_quantiser.h"

namespace ryxsc::gsmamr {

inline constexpr int lsfOrder = 10;

// Means of the LSFs: of the split quantiser, and of the split-matrix quantiser of 12.2 kbit/s.
inline constexpr std::array<int16_t, lsfOrder> lsfMean = {1546, 2272,  3778,  5488,  6972,
                                                          8382, 10047, 11229, 12766, 13714};
inline constexpr std::array<int16_t, lsfOrder> lsfMean122 = {1384, 2077, 3420,  5108,  6742,
                                                             8122, 9863, 11092, 12714, 13701};

// How much of the last residual is predicted, Q15.
inline constexpr std::array<int16_t, lsfOrder> lsfPrediction = {9556,  10769, 12571, 13292, 14381,
                                                                11651, 10588, 9767,  8593,  6484};
inline constexpr int16_t lsfPrediction122 = 21299;

// The LSPs of every history at the start.
inline constexpr std::array<int16_t, lsfOrder> initialLsp = {30000, 26000, 21000,  15000,  8000,
                                                             0,     -8000, -15000, -21000, -26000};

// The first predictions of a silence descriptor's LSFs: the mean plus one of eight residuals.
extern const PairCodebook<8, lsfOrder> initialLsfs;

// Split codebooks of the prediction residual, shared with the rates other than 12.2 kbit/s: LSFs 1 to 3, 4 to 6, 7 to 10.
extern const PairCodebook<256, 3> lowLsfs;
extern const PairCodebook<512, 3> middleLsfs;
extern const PairCodebook<512, 4> highLsfs;

// What single rates have instead: 7.95 kbit/s for LSFs 1 to 3; 4.75 and 5.15 kbit/s for 4 to 6, where they have every other
// vector, and for 7 to 10.
extern const PairCodebook<512, 3> lowLsfs795;
extern const PairCodebook<256, 3> middleLsfsSmall;
extern const PairCodebook<128, 4> highLsfsSmall;

// The split-matrix quantiser: two neighbouring LSFs of the vector in the middle of the frame, then of that at its end. The
// third one is used with both signs.
extern const PairCodebook<128, 4> firstLsfMatrix;
extern const PairCodebook<256, 4> secondLsfMatrix;
extern const PairCodebook<256, 4> thirdLsfMatrix;
extern const PairCodebook<256, 4> fourthLsfMatrix;
extern const PairCodebook<64, 4> fifthLsfMatrix;

} // namespace ryxsc::gsmamr
