// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/arithmetic.h"

#include <array>

namespace ryxsc::gsmamr {

namespace {

// sqrt((k + 16) / 64), Q15.
constexpr std::array<int16_t, 49> squareRoots = {16384, 16888, 17378, 17854, 18318, 18770, 19212, 19644, 20066, 20480,
                                                 20886, 21283, 21674, 22058, 22435, 22806, 23170, 23530, 23884, 24232,
                                                 24576, 24915, 25249, 25580, 25905, 26227, 26545, 26859, 27170, 27477,
                                                 27780, 28081, 28378, 28672, 28963, 29251, 29537, 29819, 30099, 30377,
                                                 30652, 30924, 31194, 31462, 31727, 31991, 32252, 32511, 32767};

// 2^(k / 32), Q14.
constexpr std::array<int16_t, 33> powersOfTwo = {16384, 16743, 17109, 17484, 17867, 18258, 18658, 19066, 19484,
                                                 19911, 20347, 20792, 21247, 21713, 22188, 22674, 23170, 23678,
                                                 24196, 24726, 25268, 25821, 26386, 26964, 27554, 28158, 28774,
                                                 29405, 30048, 30706, 31379, 32066, 32767};

// Linear between the entries of a table, Q16 of them; position is Q15.
template <size_t size> int32_t interpolate(const std::array<int16_t, size> &table, int interval, int position) {
    const auto i = static_cast<size_t>(interval);
    return table[i] * 65536 + 2 * position * (table[i + 1] - table[i]);
}

} // namespace

Root squareRoot(int32_t x) {
    if (x <= 0) return {0, 0};
    const int exponent = norm_l(x) & ~1;
    const int32_t mantissa = x << exponent;
    return {interpolate(squareRoots, (mantissa >> 25) - 16, (mantissa >> 10) & 0x7fff), exponent};
}

int32_t powerOfTwo(int exponent, int fraction) {
    const int32_t mantissa = interpolate(powersOfTwo, fraction >> 10, (fraction << 5) & 0x7fff);
    return exponent < 30 ? L_shr_r(mantissa, 30 - exponent) : L_shl(mantissa, exponent - 30);
}

} // namespace ryxsc::gsmamr
