// SPDX-License-Identifier: BSD-2-Clause
// Backward adaptation of the excitation gain in ITU-T G.728, Annex G: prediction of the log-gain and its way into the linear
// domain, and the log-gain of the vector that was sent.
#include "common/checks.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

constexpr int16_t offset = 16384; // 32 dB in Q9, which log-gains do not contain

// 10^(x / 20) for x in dB, Q9, 0..30720: a power of two from the integer part of x * log2(10) / 20, the rest by a
// polynomial of the fourth degree.
Scaled exp10(int32_t x) {
    const int64_t binary = 10 * x + upperOf<16>(int64_t{2 * 20649} * x); // Q15
    const auto integer = static_cast<int32_t>(binary >> 15);
    const int64_t fraction = binary & 0x7fff;
    int64_t y = upperOf<16>(2 * 323 * fraction + (1874 << 16));
    y = upperOf<16>(2 * y * fraction + (7866 << 16));
    y = upperOf<16>(2 * y * fraction + (22702 << 16));
    return {upperOf<16>(y * fraction + (16384 << 16)), 14 - integer};
}

} // namespace

ryxStatus ryxsLogGainPredict_G728_16s_u8(const int16_t *coefficients, const int16_t *logGains, int16_t limit,
                                         int16_t *prediction, int16_t *gain, int16_t *gainExponent) {
    if (anyNull(coefficients, logGains, prediction, gain, gainExponent)) return ryxStsNullPtr;
    int64_t sum = 0;
    for (int i = 0; i < order; i++)
        sum -= coefficients[i] * logGains[order - 1 - i];
    int32_t predicted = std::clamp<int32_t>(sat32(sum) >> 14, -offset, 14336);
    predicted = std::clamp<int32_t>(limit, -offset, predicted);
    const Scaled linear = exp10(predicted + offset);
    *prediction = wrap16(predicted);
    *gain = linear.mantissa;
    *gainExponent = asExponent(linear.exponent);
    return ryxStsOk;
}

ryxStatus ryxsLogGainUpdate_G728_16s_u8(int16_t prediction, int16_t shape, int16_t gainIndex, int16_t *logGain) {
    if (anyNull(logGain)) return ryxStsNullPtr;
    if (shape < 0 || shape > 127 || gainIndex < 0 || gainIndex > 7) return ryxStsBadIndex;
    const int32_t gain = gainMagnitudes[gainIndex & 3].decibels;
    const int32_t sum = (prediction * 128 + gain * 32 + shapeLogGains[shape] * 32) >> 7;
    *logGain = sat16(std::max<int32_t>(sum, -offset));
    return ryxStsOk;
}
