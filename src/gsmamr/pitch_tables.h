// SPDX-License-Identifier: BSD-2-Clause
// Tables of the pitch search of GSM-AMR (3GPP TS 26.090, clauses 5.3 and 5.6, TS 26.073).
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::gsmamr {

// Interpolation of the normalised correlation, Q15: row k gives the value k sixths of a sample behind the fourth of eight
// words.
struct SearchInterpolation {
    alignas(16) int16_t rows[6][8];
    const int16_t *operator[](int k) const { return rows[k]; }
};
extern const SearchInterpolation searchInterpolation;

// Weights of the open-loop search at 10.2 kbit/s, Q15: that of lag L is entry 143 - L, and that of its distance from the
// lag M of the voiced frames before entry 127 + M - L.
extern const std::array<int16_t, 251> openLoopWeights;

} // namespace ryxsc::gsmamr
