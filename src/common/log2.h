// SPDX-License-Identifier: BSD-2-Clause
// The base-2 logarithm of GSM-AMR and AMR-WB.
#pragma once

#include <cstddef>

#include "common/fixed_point.h"
#include "common/tables.h"

namespace ryxsc {

// exponent + fraction / 2^15.
struct Log2 {
    int exponent;
    int fraction; // 0..32766
};

// By linear interpolation in 32 intervals, rounded down; 0 for x <= 0.
inline Log2 log2(int32_t x) {
    if (x <= 0) return {0, 0};
    const int exponent = floorLog2(static_cast<uint32_t>(x));
    const int32_t mantissa = x << (30 - exponent);
    const auto interval = static_cast<size_t>((mantissa >> 25) - 32);
    const int position = (mantissa >> 10) & 0x7fff;
    const int rise = log2Table[interval + 1] - log2Table[interval];
    return {exponent, (log2Table[interval] * 65536 + 2 * position * rise) >> 16};
}

} // namespace ryxsc
