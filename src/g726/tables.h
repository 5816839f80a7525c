// Constants of ITU-T G.726, one set per rate.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ryxsc::g726 {

inline constexpr int rates = 4;        // 16, 24, 32, 40 kbit/s: codes of 2, 3, 4, 5 bits
inline constexpr int mostLevels = 16;  // decision levels that can be reached, at most
inline constexpr int mostCodes = 32;

// What a code stands for.
struct Code {
    int32_t logMagnitudeBits; // DQLN as the upper half of a float's bits: (DQLN + 127 * 128) << 16
    int32_t signMask;         // -1 for a code with the sign bit, else 0
    int32_t scaleMultiplier;  // W(I) times 32
    int16_t rateFunction;     // F(I) times 512
    int16_t value;            // the code itself
};

struct RateTables {
    // Decision levels of the quantiser, descending, filled up with -32768.
    std::array<int16_t, mostLevels> levels;
    // The code for 0, 1, 2 ... levels above the log difference, of a non-negative and of a negative difference.
    std::array<std::array<Code, mostLevels + 1>, 2> decisions;
    std::array<Code, mostCodes> codes;
    int codeMask;
    int signBit;
    int zeroLeak; // shift of the zero-predictor coefficients' leakage
};
extern const std::array<RateTables, rates> rateTables;

} // namespace ryxsc::g726
