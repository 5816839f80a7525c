// SPDX-License-Identifier: BSD-2-Clause
// Code of the block maximum of 13 RPE pulses: a logarithmic scale of an exponent and three bits of mantissa (GSM 06.10,
// clause 4.2.15).
#pragma once

#include "common/fixed_point.h"
#include "gsmfr/tables.h"

namespace ryxsc::gsmfr {

// Of a maximum of 0 .. 32767: 0 .. 63.
constexpr int16_t blockMaximumCode(int16_t maximum) {
    const int exponent = maximum < 512 ? 0 : floorLog2(static_cast<uint32_t>(maximum)) - 8;
    return static_cast<int16_t>((maximum >> (exponent + 5)) + 8 * exponent);
}

struct BlockScale {
    int8_t mantissa; // 0 .. 7
    int8_t shift;    // 6 - exponent: 0 .. 10
};

constexpr BlockScale decodeBlockMaximum(int code) {
    int exponent = code > 15 ? (code >> 3) - 1 : 0;
    int mantissa = code - 8 * exponent;
    if (mantissa == 0) {
        exponent = -4;
        mantissa = 15;
    }
    for (; mantissa < 8; exponent--)
        mantissa = 2 * mantissa + 1;
    return {static_cast<int8_t>(mantissa - 8), static_cast<int8_t>(6 - exponent)};
}

} // namespace ryxsc::gsmfr
