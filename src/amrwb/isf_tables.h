// SPDX-License-Identifier: BSD-2-Clause
// Constants of the conversions and quantisers of AMR-WB immittance spectral pairs (ISPs) and frequencies (ISFs), 3GPP
// TS 26.173. ISFs are stored in the recommendation's scale: 128 for a step of the cosine table, 16384 for 6400 Hz; the last
// one at half of that.
#pragma once

#include <array>
#include <cstdint>

#include "common/root_search.h"
#include "common/vector_quantiser.h"

namespace ryxsc::amrwb {

inline constexpr int isfOrder = 16;

// cos(pi * k / 128), Q15, k = 0 .. 128; the ends are 32767 and -32768.
inline constexpr int intervals = 128;
extern const std::array<int16_t, intervals + 1> cosines;
extern const std::array<int16_t, intervals / 8> everyEighthCosine; // cosines[0], cosines[8], ...

// 128 over the width of interval k in cosines, Q11; negative.
extern const std::array<int16_t, intervals> inverseSlopes;

// cos(pi * k / 100), Q15, k = 0 .. 100.
inline constexpr int gridCapacity = 104;
using IspGrid = roots::Grid<int16_t, gridCapacity>;
extern const IspGrid ispGrid;

// What is removed before quantisation, of speech and of comfort noise.
extern const std::array<int16_t, isfOrder> isfMean, noiseMean;

// Speech, first stage: ISFs 1 to 9 and 10 to 16.
extern const PairCodebook<256, 9> firstStageLow;
extern const PairCodebook<256, 7> firstStageHigh;

// Speech, second stage of the 46-bit quantiser: ISFs 1 to 3, 4 to 6, 7 to 9, 10 to 12 and 13 to 16.
extern const PairCodebook<64, 3> secondStage46Low1;
extern const PairCodebook<128, 3> secondStage46Low2, secondStage46Low3;
extern const PairCodebook<32, 3> secondStage46High1;
extern const PairCodebook<32, 4> secondStage46High2;

// Speech, second stage of the 36-bit quantiser: ISFs 1 to 5, 6 to 9 and 10 to 16.
extern const PairCodebook<128, 5> secondStage36Low1;
extern const PairCodebook<128, 4> secondStage36Low2;
extern const PairCodebook<64, 7> secondStage36High;

// Comfort noise: ISFs 1 and 2, 3 to 5, 6 to 8, 9 to 12 and 13 to 16.
extern const PairCodebook<64, 2> noise1;
extern const PairCodebook<64, 3> noise2, noise3;
extern const PairCodebook<32, 4> noise4, noise5;

} // namespace ryxsc::amrwb
