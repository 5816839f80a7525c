// SPDX-License-Identifier: BSD-2-Clause
// Constants of the LP analysis and LSP conversion of ITU-T G.729. What follows from another table is derived.
#pragma once

#include <array>
#include <cstdint>

#include "common/lsp_frequency.h"
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

// Slope of the cosine over interval k of 64, Q19; negative.
extern const std::array<int16_t, cosineIntervals> cosineSlopes;

} // namespace ryxsc::g729::lp
