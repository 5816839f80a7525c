// SPDX-License-Identifier: BSD-2-Clause
// Constants of the LP analysis, its conversions and its filters, ITU-T G.723.1.
#pragma once

#include <cstdint>

namespace ryxsc::g723 {

extern const int16_t lpWindow[180]; // Hamming, Q15
// cos(2 pi k / 512), Q14; the first point again at the end, for the interpolation.
extern const int16_t cosines[513];

inline constexpr int16_t lagWindow[10] = {32749, 32695, 32604, 32477, 32315,
                                          32118, 31887, 31622, 31324, 30995}; // lags 1 to 10, Q15

// Factors f^1 .. f^10 of LP coefficients, Q15.
inline constexpr int16_t bandwidthExpansion[10] = {32571, 32376, 32182, 31989, 31797,
                                                   31606, 31416, 31228, 31040, 30854}; // 0.994
inline constexpr int16_t weightingZeros[10] = {29491, 26542, 23888, 21499, 19349,
                                               17414, 15673, 14106, 12695, 11425};                               // 0.9
inline constexpr int16_t weightingPoles[10] = {16384, 8192, 4096, 2048, 1024, 512, 256, 128, 64, 32};            // 0.5
inline constexpr int16_t postFilterZeros[10] = {21299, 13844, 8999, 5849, 3802, 2471, 1606, 1044, 679, 441};     // 0.65
inline constexpr int16_t postFilterPoles[10] = {24576, 18432, 13824, 10368, 7776, 5832, 4374, 3281, 2460, 1845}; // 0.75

} // namespace ryxsc::g723
