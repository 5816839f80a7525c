// SPDX-License-Identifier: BSD-2-Clause
// Constants of ITU-T G.722. Each is stored once; what a kernel needs in another arrangement is derived here.
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::g722 {

// QMF coefficients, doubled: Q15 for the transmit, Q12 for the receive filter. The even-indexed 2*h[0], 2*h[2] ...
// 2*h[22]; the odd-indexed ones are the same numbers backwards.
inline constexpr int qmfTaps = 12;
inline constexpr std::array<int16_t, qmfTaps> qmfEven = {6, -22, 24, 64, -420, 1902, 7752, -1610, 724, -312, 106, -22};

inline constexpr int16_t subbandMax = 16383;
inline constexpr int16_t subbandMin = -16384;

// Upper limits of the log scale factors NBL and NBH.
inline constexpr int lowLogMax = 18432;
inline constexpr int highLogMax = 22528;

// Scale factor DET = 4 * antilog(k): DETL from k = (NBL >> 6) + 64, DETH from k = NBH >> 6, k in 0..352.
inline constexpr int antilogEntries = 353;
inline constexpr int lowAntilogOffset = 64;
extern const std::array<int16_t, antilogEntries> scaleFactors;

// Low-band decision levels Q6[1] .. Q6[29], times 16, so that the upper half of the product with DETL is
// (Q6 * DETL) >> 12; as unsigned words. The last three entries decide nothing.
inline constexpr int decisionLevels = 29;
extern const std::array<uint16_t, 32> lowLevels16;

// High-band decision level Q2, compared as (Q2 * DETH) >> 12.
inline constexpr int highLevel = 564;

// What a low-band difference is quantised to, by the number of the first decision level above its magnitude (1 .. 30),
// plus 32 for a negative difference: the 6-bit code and what the adaptation makes of its upper four bits.
struct LowBandDecision {
    int32_t level;   // signed inverse quantiser output QM4, Q12 relative to DETL
    int16_t code;    // ILP or ILN
    int16_t logStep; // WL
};
extern const std::array<LowBandDecision, 64> lowBandDecisions;

// What the decoder makes of a 6-bit low-band code in each mode.
struct LowBandLevels {
    int32_t adaptation; // signed QM4 of the upper four bits
    int32_t output;     // signed QM6, QM5 or QM4 of the bits that the mode uses
};
inline constexpr int decoderModes = 3; // 64, 56, 48 kbit/s
extern const std::array<std::array<LowBandLevels, 64>, decoderModes> lowBandLevels;
extern const std::array<int16_t, 16> lowLogSteps; // WL by 4-bit code

// What a 2-bit high-band code stands for. The level is there twice, for the adaptation and for the output.
struct HighBandCode {
    int32_t level[2]; // signed QM2, Q12 relative to DETH
};
extern const std::array<HighBandCode, 4> highBandCodes;
extern const std::array<int16_t, 4> highLogSteps; // WH by 2-bit code

} // namespace ryxsc::g722
