// SPDX-License-Identifier: BSD-2-Clause
// Backward adaptation of the excitation gain in ITU-T G.728, Annex G: prediction of the log-gain and its way into the linear
// domain, and the log-gain of the vector that was sent.
#include "common/checks.h"
#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int16_t offset = 16384; // 32 dB in Q9, which log-gains do not contain

// 10^(x / 20) for x in dB, Q9, 0..30720: a power of two from the integer part of x * log2(10) / 20, the rest by a
// polynomial of the fourth degree. With a fraction below 1 nothing is limited: y is at most 2197, 10060, 32763 and 32767,
// and its sums are below 2^31.
Scaled exp10(int32_t x) {
    const auto rounded = [](int32_t sum) { return (sum + (1 << 15)) >> 16; };
    const int32_t binary = 10 * x + rounded(2 * 20649 * x); // Q15
    const int32_t fraction = binary & 0x7fff;
    int32_t y = rounded(2 * 323 * fraction + (1874 << 16));
    y = rounded(2 * y * fraction + (7866 << 16));
    y = rounded(2 * y * fraction + (22702 << 16));
    return {wrap16(rounded(y * fraction + (16384 << 16))), 14 - (binary >> 15)};
}

// The sum of c[i] * x[9 - i]. Pairs of products, less 1, fit 32 bits; their upper and lower halves are summed apart.
int64_t reversedProducts(const int16_t *c, const int16_t *x) {
    const auto lessOne = [](Vector pairs) { return _mm_sub_epi32(pairs, simd::dwords(1)); };
    const Vector most = lessOne(_mm_madd_epi16(simd::reverseWords(simd::load(c + 2)), simd::load(x)));
    const Vector swapped = _mm_shufflelo_epi16(simd::load32(c), _MM_SHUFFLE(3, 2, 0, 1));
    const Vector last = lessOne(_mm_madd_epi16(swapped, simd::load32(x + 8)));
    const Vector upper = _mm_add_epi32(_mm_srai_epi32(most, 16), _mm_srai_epi32(last, 16)), low = simd::dwords(0xffff);
    const Vector lower = _mm_add_epi32(_mm_and_si128(most, low), _mm_and_si128(last, low));
    const Vector sums = _mm_hadd_epi32(upper, lower);
    const int64_t both = _mm_cvtsi128_si64(_mm_hadd_epi32(sums, sums));
    return static_cast<int32_t>(both) * int64_t{65536} + (both >> 32) + 8; // the ones of eight lanes
}

} // namespace

ryxStatus ryxsLogGainPredict_G728_16s_u8(const int16_t *coefficients, const int16_t *logGains, int16_t limit,
                                         int16_t *prediction, int16_t *gain, int16_t *gainExponent) {
    if (anyNull(coefficients, logGains, prediction, gain, gainExponent)) return ryxStsNullPtr;
    const int64_t sum = -reversedProducts(coefficients, logGains) >> 14; // the limits are narrower than 32 bits
    auto predicted = static_cast<int32_t>(std::clamp<int64_t>(sum, -offset, 14336));
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
