// SPDX-License-Identifier: BSD-2-Clause
// Constants of the GSM full-rate codec (ETSI GSM 06.10).
#pragma once

#include <cstdint>

namespace ryxsc::gsmfr {

inline constexpr int stages = 8; // of the short-term lattices
inline constexpr int frameLength = 160;
inline constexpr int segments = 4;
inline constexpr int segmentEnds[segments] = {13, 27, 40, 160}; // of the interpolated log-area ratios
inline constexpr int subSegmentLength = 40;
inline constexpr int pulsesPerGrid = 13, gridSpacing = 3, grids = 4;
inline constexpr int minLag = 40, maxLag = 120;
inline constexpr int gainCodes = 4;
inline constexpr int scaleCodes = 64;              // of the block maximum
inline constexpr int minScale = -10, maxScale = 4; // of the autocorrelation

// The 76 parameters of a frame: log-area ratios, then sub-segments of 17.
inline constexpr int frameParameters = 76;
inline constexpr int subSegmentParameters = 17;
enum SubSegmentParameter { lagParameter, gainParameter, gridParameter, scaleParameter, firstPulse };
constexpr int parameterOf(int segment, int parameter) {
    return stages + segment * subSegmentParameters + parameter;
}

inline constexpr int16_t emphasis = 28180; // 0.86, Q15, of pre-emphasis and de-emphasis

// Impulse response H of the RPE section's weighting filter, symmetric, Q13 (table 4.4).
inline constexpr int weightingTaps = 11;
inline constexpr int16_t weightingFilter[weightingTaps] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};

// Quantiser of the log-area ratios (table 4.1): slope A, Q10, offset B, Q9, lowest and highest code; 1/A, Q18 (table 4.2).
alignas(16) inline constexpr int16_t larSlope[stages] = {20480, 20480, 20480, 20480, 13964, 15360, 8534, 9036};
alignas(16) inline constexpr int16_t larOffset[stages] = {0, 0, 2048, -2560, 94, -1792, -341, -1144};
alignas(16) inline constexpr int16_t larLowest[stages] = {-32, -32, -16, -16, -8, -8, -4, -4};
alignas(16) inline constexpr int16_t larHighest[stages] = {31, 31, 15, 15, 7, 7, 3, 3};
alignas(16) inline constexpr int16_t larInverseSlope[stages] = {13107, 13107, 13107, 13107, 19223, 17476, 31454, 29708};

// Gain of the long-term predictor, Q15: decision levels and values (tables 4.3a and 4.3b).
inline constexpr int16_t gainDecision[gainCodes - 1] = {6554, 16384, 26214};
inline constexpr int16_t gainValue[gainCodes] = {3277, 11469, 21299, 32767};

// Mantissa of the block maximum, Q15: the inverse for the quantiser and the factor for the decoder (tables 4.5 and 4.6).
inline constexpr int16_t inverseMantissa[8] = {29128, 26215, 23832, 21846, 20165, 18725, 17476, 16384};
inline constexpr int16_t mantissaFactor[8] = {18431, 20479, 22527, 24575, 26623, 28671, 30719, 32767};

// First half of the symmetric Hanning window of the tone detector, Q15 (GSM 06.32, table 3.2).
inline constexpr int16_t hanningWindow[80] = {0,     12,    51,    114,   204,   318,   458,   622,   811,   1025,  //
                                              1262,  1523,  1807,  2114,  2444,  2795,  3167,  3560,  3972,  4405,  //
                                              4856,  5325,  5811,  6314,  6832,  7365,  7913,  8473,  9046,  9631,  //
                                              10226, 10831, 11444, 12065, 12693, 13326, 13964, 14607, 15251, 15898, //
                                              16545, 17192, 17838, 18482, 19122, 19758, 20389, 21014, 21631, 22240, //
                                              22840, 23430, 24009, 24575, 25130, 25670, 26196, 26707, 27201, 27679, //
                                              28139, 28581, 29003, 29406, 29789, 30151, 30491, 30809, 31105, 31377, //
                                              31626, 31852, 32053, 32230, 32382, 32509, 32611, 32688, 32739, 32764};

} // namespace ryxsc::gsmfr
