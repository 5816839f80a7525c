// SPDX-License-Identifier: BSD-2-Clause
// The inverse square root of ITU-T G.729, GSM-AMR and AMR-WB.
#pragma once

#include <algorithm>
#include <cstddef>

#include "common/fixed_point.h"
#include "common/tables.h"

namespace ryxsc {

// 1/sqrt of a mantissa m in 2^29 .. 2^31 - 1: 2^31 / sqrt(m / 2^29), from a linear interpolation in 48 intervals.
inline int32_t inverseSqrtOfMantissa(int32_t mantissa) {
    const InverseSqrtInterval &interval = inverseSqrtTable[static_cast<size_t>((mantissa >> 25) - 16)];
    const int32_t position = (mantissa >> 10) & 0x7fff;
    return interval.start - position * interval.slope;
}

// 2^30 / sqrt(x), interpolated and rounded down; 0x3fffffff for x <= 0.
inline int32_t inverseSqrt(int32_t x) {
    if (x <= 0) return 0x3fffffff;
    const int exponent = floorLog2(static_cast<uint32_t>(x));
    // x = mantissa * 4^k with a mantissa in 2^29 .. 2^31 - 1.
    const int32_t mantissa = (x << (30 - exponent)) >> (~exponent & 1);
    return inverseSqrtOfMantissa(mantissa) >> (exponent / 2 + 1);
}

} // namespace ryxsc
