// SPDX-License-Identifier: BSD-2-Clause
// Constants of ITU-T G.722, with the names of the recommendation.
#include "g722/tables.h"

#include <array>
#include <cstddef>

namespace ryxsc::g722 {

namespace {

// Antilogarithm mantissas ILB: 2^11 * 2^(k/32).
constexpr int16_t antilogMantissas[32] = {2048, 2093, 2139, 2186, 2233, 2282, 2332, 2383, 2435, 2489, 2543,
                                          2599, 2656, 2714, 2774, 2834, 2896, 2960, 3025, 3091, 3158, 3228,
                                          3298, 3371, 3444, 3520, 3597, 3676, 3756, 3838, 3922, 4008};

// Decision levels Q6 of the low-band quantiser, index 0..30. Level 0 and level 30 are never asked for.
constexpr int16_t lowDecisionLevels[31] = {0,    35,   72,   110,  150,  190,  233,  276,  323,  370,  422,
                                           473,  530,  587,  650,  714,  786,  858,  940,  1023, 1121, 1219,
                                           1339, 1458, 1612, 1765, 1980, 2195, 2557, 2919, 3200};

// Low-band output codes by level index: ILN for negative, ILP for other differences. Entries 0 and 31 are not used.
constexpr int16_t lowCodesNegative[32] = {0,  63, 62, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19,
                                          18, 17, 16, 15, 14, 13, 12, 11, 10, 9,  8,  7,  6,  5,  4,  0};
constexpr int16_t lowCodesPositive[32] = {0,  61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47,
                                          46, 45, 44, 43, 42, 41, 40, 39, 38, 37, 36, 35, 34, 33, 32, 0};

// Signed inverse quantiser outputs by code, Q12 relative to the scale factor. Codes 0..3 of the six bits and 0, 1 of the
// five bits, which an encoder never sends, decode as the first negative magnitude.
constexpr int16_t levels6[64] = {
    -17,  -17,  -17,  -17,  -3101, -2738, -2376, -2088, -1873, -1689, -1535, -1399, -1279, -1170, -1072, -982,
    -899, -822, -750, -682, -618,  -558,  -501,  -447,  -396,  -347,  -300,  -254,  -211,  -170,  -130,  -91,
    3101, 2738, 2376, 2088, 1873,  1689,  1535,  1399,  1279,  1170,  1072,  982,   899,   822,   750,   682,
    618,  558,  501,  447,  396,   347,   300,   254,   211,   170,   130,   91,    54,    17,    -54,   -17};
constexpr int16_t levels5[32] = {-35,  -35,  -2919, -2195, -1765, -1458, -1219, -1023, -858, -714, -587,
                                 -473, -370, -276,  -190,  -110,  2919,  2195,  1765,  1458, 1219, 1023,
                                 858,  714,  587,   473,   370,   276,   190,   110,   35,   -35};
constexpr int16_t levels4[16] = {0,    -2557, -1612, -1121, -786, -530, -323, -150,
                                 2557, 1612,  1121,  786,   530,  323,  150,  0};
constexpr int16_t levels2[4] = {-926, -202, 926, 202};

// Log scale factor multipliers WL and WH, by the magnitude index of the 4-bit and of the 2-bit code.
constexpr int16_t lowLogMultipliers[8] = {-60, -30, 58, 172, 334, 538, 1198, 3042};
constexpr int16_t highLogMultipliers[3] = {0, -214, 798};
constexpr int magnitudeIndex4[16] = {0, 7, 6, 5, 4, 3, 2, 1, 7, 6, 5, 4, 3, 2, 1, 0};
constexpr int magnitudeIndex2[4] = {2, 1, 2, 1};

constexpr auto makeScaleFactors() {
    std::array<int16_t, antilogEntries> factors{};
    for (size_t k = 0; k < factors.size(); k++) {
        const int mantissa = antilogMantissas[k % 32];
        const int octave = static_cast<int>(k / 32);
        const int antilog = octave <= 10 ? mantissa >> (10 - octave) : mantissa << (octave - 10);
        factors[k] = static_cast<int16_t>(4 * antilog);
    }
    return factors;
}

constexpr auto makeLowLevels16() {
    std::array<uint16_t, 32> levels{};
    for (size_t i = 0; i < decisionLevels; i++)
        levels[i] = static_cast<uint16_t>(16 * lowDecisionLevels[i + 1]);
    return levels;
}

constexpr auto makeLowBandDecisions() {
    std::array<LowBandDecision, 64> decisions{};
    for (size_t i = 0; i < decisions.size(); i++) {
        const int16_t code = i < 32 ? lowCodesPositive[i] : lowCodesNegative[i - 32];
        decisions[i] = {levels4[code >> 2], code, lowLogMultipliers[magnitudeIndex4[code >> 2]]};
    }
    return decisions;
}

constexpr auto makeLowBandLevels() {
    std::array<std::array<LowBandLevels, 64>, decoderModes> levels{};
    for (size_t code = 0; code < 64; code++) {
        levels[0][code] = {levels4[code >> 2], levels6[code]};
        levels[1][code] = {levels4[code >> 2], levels5[code >> 1]};
        levels[2][code] = {levels4[code >> 2], levels4[code >> 2]};
    }
    return levels;
}

constexpr auto makeLowLogSteps() {
    std::array<int16_t, 16> steps{};
    for (size_t code = 0; code < steps.size(); code++)
        steps[code] = lowLogMultipliers[magnitudeIndex4[code]];
    return steps;
}

constexpr auto makeHighBandCodes() {
    std::array<HighBandCode, 4> codes{};
    for (size_t code = 0; code < codes.size(); code++)
        codes[code] = {{levels2[code], levels2[code]}};
    return codes;
}

constexpr auto makeHighLogSteps() {
    std::array<int16_t, 4> steps{};
    for (size_t code = 0; code < steps.size(); code++)
        steps[code] = highLogMultipliers[magnitudeIndex2[code]];
    return steps;
}

} // namespace

constexpr std::array<int16_t, antilogEntries> scaleFactors = makeScaleFactors();
constexpr std::array<uint16_t, 32> lowLevels16 = makeLowLevels16();
constexpr std::array<LowBandDecision, 64> lowBandDecisions = makeLowBandDecisions();
constexpr std::array<std::array<LowBandLevels, 64>, decoderModes> lowBandLevels = makeLowBandLevels();
constexpr std::array<int16_t, 16> lowLogSteps = makeLowLogSteps();
constexpr std::array<HighBandCode, 4> highBandCodes = makeHighBandCodes();
constexpr std::array<int16_t, 4> highLogSteps = makeHighLogSteps();

} // namespace ryxsc::g722
