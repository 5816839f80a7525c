// SPDX-License-Identifier: BSD-2-Clause
// Post-filter of ITU-T G.728, Annex G: long-term and short-term filter without a rounding between them, automatic gain
// control, coefficients from the predictor of order 10. And the way from block floating point to samples.
#include <cstddef>

#include "common/checks.h"
#include "common/state_block.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vector_filter.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

struct State {
    int16_t zeros[order], poles[order]; // outputs of the long-term filter and of the poles, newest first
};
static_assert(sizeof(State) == 40);

constexpr int minLag = 20, maxLag = 140;

int32_t magnitudeSum(const int16_t *x) {
    int32_t sum = 0;
#pragma GCC unroll 5
    for (int n = 0; n < vectorLength; n++)
        sum += std::abs(x[n]);
    return sum;
}

// Long-term filter: sums in Q16, and the samples in Q2 that the short-term filter remembers.
struct LongTerm {
    int64_t sums[vectorLength];
    VectorOutputs samples;

    LongTerm(const int16_t *src, const int16_t *periodBefore, int16_t gain, int16_t pitchGain) {
#pragma GCC unroll 5
        for (int n = 0; n < vectorLength; n++) {
            sums[n] = int64_t{gain} * src[n] + pitchGain * periodBefore[n];
            samples.values[n] = upperOf<14>(sums[n]);
        }
    }
};

// What all inputs and the outputs before the vector contribute: zeros less poles.
struct PastSums {
    int64_t values[vectorLength];
};

PastSums pastSums(const int16_t *zeros, const int16_t *poles, const Ten &pastZeros, const Ten &pastPoles,
                  const VectorOutputs &current) {
    PastSums sums;
    const Ten zeroFactors(zeros), poleFactors(poles);
    // Sums of magnitudes below 2^16: 32 bits will do.
    if (std::max(zeroFactors.magnitudeSum(), poleFactors.magnitudeSum()) < 65536) [[likely]] {
        const VectorSums z = zeroSums(zeroFactors, pastZeros, current.reversed());
        const VectorSums p = poleSums(poleFactors, pastPoles);
        for (int n = 0; n < vectorLength; n++)
            sums.values[n] = int64_t{z.values[n]} - p.values[n];
        return sums;
    }
    int16_t x[order], y[order];
    pastZeros.save(x);
    pastPoles.save(y);
    for (int n = 0; n < vectorLength; n++) {
        sums.values[n] = 0;
        for (int i = 1; i <= order; i++) {
            sums.values[n] += zeros[i - 1] * (i <= n ? current.values[n - i] : x[i - n - 1]);
            if (i > n) sums.values[n] -= poles[i - 1] * y[i - n - 1];
        }
    }
    return sums;
}

} // namespace

ryxStatus ryxsConvertBlock_G728_16s_u8(const int16_t *src, int16_t exponent, int16_t fraction, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (fraction < 0 || fraction > 15) return ryxStsOutOfRange;
    const int shift = 16 + fraction - exponent;
    if (shift > 16) [[unlikely]] {
        for (int n = 0; n < vectorLength; n++)
            dst[n] = roundUpper(shiftLimited(src[n], shift));
        return ryxStsOk;
    }
    const Vector x = loadFive(src);
    const Vector left = _mm_cvtsi32_si128(std::max(shift, 0)), right = _mm_cvtsi32_si128(std::max(-shift, 0));
    const auto shifted = [=](Vector dwords) { return _mm_sra_epi32(_mm_sll_epi32(dwords, left), right); };
    storeFive(dst, roundedUpperHalves(shifted(simd::frontDwords(x)), shifted(simd::backDwords(x))));
    return ryxStsOk;
}

ryxStatus ryxsPostFilterGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsPostFilterInit_G728_16s_u8(PostFilterState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    saveBlock(block, State{});
    return ryxStsOk;
}

ryxStatus ryxsPostFilter_G728_16s_u8(const int16_t *src, const int16_t *speech, int16_t lag, int16_t gain,
                                     int16_t pitchGain, const int16_t *zeros, const int16_t *poles, int16_t tilt,
                                     int16_t *dst, PostFilterState_G728 *block) {
    if (anyNull(src, speech, zeros, poles, dst, block)) return ryxStsNullPtr;
    if (lag < minLag || lag > maxLag) return ryxStsOutOfRange;
    auto *const octets = reinterpret_cast<unsigned char *>(block);
    auto *const zeroMemory = octets + offsetof(State, zeros), *const poleMemory = octets + offsetof(State, poles);
    const LongTerm longTerm(src, speech - lag, gain, pitchGain);
    const Ten pastZeros(zeroMemory), pastPoles(poleMemory);
    const PastSums past = pastSums(zeros, poles, pastZeros, pastPoles, longTerm.samples);
    auto before = static_cast<int16_t>(_mm_cvtsi128_si32(pastPoles.front));
    const VectorOutputs shortTerm = recurseVector(
        poles, [&](int n) { return longTerm.sums[n] + past.values[n]; },
        [&](int n, int64_t sum) {
            dst[n] = outputOf(sum + tilt * before);
            return before = outputOf(sum);
        });
    advanced(pastZeros, longTerm.samples.reversed()).save(zeroMemory);
    advanced(pastPoles, shortTerm.reversed()).save(poleMemory);
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G728_16s_u8(const int16_t *speech, const int16_t *src, int16_t *dst, int16_t *scale) {
    if (anyNull(speech, src, dst, scale)) return ryxStsNullPtr;
    const int32_t wanted = magnitudeSum(speech), actual = magnitudeSum(src);
    const Scaled ratio = actual > 4 ? divide(normalised(wanted, 16), normalised(actual, 16)) : one;
    const int shift = ratio.exponent - 7;
    const int32_t step = shift > 30 ? 0 : shiftLimited(20972 * ratio.mantissa, -shift);
    int16_t s = *scale;
    for (int n = 0; n < vectorLength; n++) {
        s = upperOf<14>(int64_t{step} + 16220 * s);
        dst[n] = sat16(2 * upperOf<14>(int64_t{s} * src[n]));
    }
    *scale = s;
    return ryxStsOk;
}

ryxStatus ryxsPostFilterCoefficients_G728_16s_u8(const int16_t *lpc, int16_t fraction, int16_t reflection,
                                                 int16_t *inverse, int16_t *zeros, int16_t *poles, int16_t *tilt) {
    if (anyNull(lpc, inverse, zeros, poles, tilt)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    for (int i = 0; i < order; i++)
        inverse[i] = roundUpper(lpc[i] * (1 << (29 - fraction)));
    int16_t expanded[order];
    if (ryxsBandwidthExpand_G728_16s_u8(lpc, fraction, ryxG728PostFilterPoleExpansion, expanded) != ryxStsOk)
        return ryxStsOverflow;
    std::copy_n(expanded, order, poles);
    ryxsBandwidthExpand_G728_16s_u8(lpc, fraction, ryxG728PostFilterZeroExpansion, zeros);
    *tilt = roundUpper(4915 * reflection); // 0.15 in Q15
    return ryxStsOk;
}
