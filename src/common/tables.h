// SPDX-License-Identifier: BSD-2-Clause
// Tables that several codecs share.
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc {

// Intervals of the inverse square root, shared by ITU-T G.729, GSM-AMR and AMR-WB. Interval k covers the arguments
// x = (16 + k)/16 .. (17 + k)/16; inside it the root falls linearly.
struct InverseSqrtInterval {
    int32_t start; // 1/sqrt(x) where the interval begins, Q31
    int32_t slope; // fall over the interval, Q16
};
inline constexpr int inverseSqrtIntervals = 48;
extern const std::array<InverseSqrtInterval, inverseSqrtIntervals> inverseSqrtTable;

// log2(1 + k/32), Q15, shared by GSM-AMR and AMR-WB; the last entry is 32767.
inline constexpr int log2Intervals = 32;
extern const std::array<int16_t, log2Intervals + 1> log2Table;

} // namespace ryxsc
