// Constants of the LP analysis and LSP conversion of ITU-T G.729. What follows from another table is derived.
#pragma once

#include <array>
#include <cstdint>

#include "common/root_search.h"

namespace ryxsc::g729::lp {

inline constexpr int order = 10;

// Lag window of 60 Hz with the white-noise correction 1.0001, Q31 in double-precision format; entry k-1 serves lag k. Lags
// 11 and 12 are those of Annex B.
inline constexpr int maxLag = 12;
extern const std::array<int32_t, maxLag> lagWindow;

// Where the Chebyshev series are evaluated.
using roots::Grid;
extern const Grid<int16_t> mainGrid, annexAGrid;
extern const Grid<float> mainFloatGrid, annexAFloatGrid;

// cos(pi * k / 64), Q15, the lower edge in frequency of interval k; entry 0 is 32767.
inline constexpr int intervals = 64;
extern const std::array<int16_t, intervals> cosines;
extern const std::array<int16_t, intervals / 8> everyEighthCosine; // cosines[0], cosines[8], ...

// Slope of the cosine, Q19, and of the arc cosine, Q12, over interval k; both negative.
extern const std::array<int16_t, intervals> cosineSlopes;
extern const std::array<int16_t, intervals> arccosineSlopes;

} // namespace ryxsc::g729::lp
