// SPDX-License-Identifier: BSD-2-Clause
// Adaptive gain control behind the post-filters of ITU-T G.729 (clause 4.2.4) and its Annex A.
#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/inv_sqrt.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g729/adaptive_vector.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

using simd::Vector;

// Magnitudes up to 32767.
int32_t sumOfMagnitudes40(const int16_t *x) {
    Vector sum = _mm_setzero_si128();
    for (int n = 0; n < subframe; n += 8) {
        const Vector words = simd::load(x + n);
        const Vector magnitudes = _mm_max_epi16(words, _mm_subs_epi16(_mm_setzero_si128(), words));
        sum = _mm_add_epi32(sum, _mm_madd_epi16(magnitudes, simd::words(1)));
    }
    return simd::sumOfDwords(sum);
}

// 2 * sum of (x[n] >> 2)^2, saturating: a pair of squares has at most 27 bits.
int32_t energyOfQuarter(const int16_t *x) {
    Vector sum = _mm_setzero_si128();
    for (int n = 0; n < subframe; n += 8) {
        const Vector quarter = _mm_srai_epi16(simd::load(x + n), 2);
        sum = _mm_add_epi32(sum, _mm_madd_epi16(quarter, quarter));
    }
    const auto total = static_cast<uint32_t>(simd::sumOfDwords(sum)); // up to 40 * 2^26
    return total > static_cast<uint32_t>(max32) / 2 ? max32 : static_cast<int32_t>(2 * total);
}

// The gains of the samples, g = next(g): the recursion alone, apart from the multiplications. Its factor and the largest
// step, 32358 and 410 or 29491 and 3276, add up to less than 32768: no gain saturates.
template <class Next> void runGain(int16_t *gain, int16_t *gains, Next next) {
    int g = *gain;
    for (int n = 0; n < subframe; n++)
        gains[n] = static_cast<int16_t>(g = next(g));
    *gain = static_cast<int16_t>(g);
}

// The ratio of two sums of magnitudes, input over output, times 1 - 0.9875 in Q14.
int16_t gainStep(int32_t in, int32_t out) {
    const int normIn = norm_l(in), normOut = norm_l(out);
    const int16_t mantissaIn = extract_h(in << normIn), mantissaOut = extract_h(out << normOut);
    int exponent = normIn + 1 - normOut;
    int16_t quotient = 0;
    if (mantissaIn < mantissaOut) {
        quotient = div_s(mantissaIn, mantissaOut);
    } else {
        quotient = static_cast<int16_t>((div_s(sub(mantissaIn, mantissaOut), mantissaOut) >> 1) + 0x4000);
        exponent--;
    }
    return mult_r(shl(quotient, -exponent), 410);
}

} // namespace

ryxStatus ryxsGainControl_G729_16s_I_u8(const int16_t *reference, int16_t *srcDst, int16_t *gain) {
    if (anyNull(reference, srcDst, gain)) return ryxStsNullPtr;
    const int32_t in = sumOfMagnitudes40(reference), out = sumOfMagnitudes40(srcDst);
    if (in != 0 && out == 0) {
        *gain = 0;
        return ryxStsOk;
    }
    const int16_t step = in == 0 ? int16_t{0} : gainStep(in, out);
    int16_t gains[subframe];
    runGain(gain, gains, [step](int g) { return ((32358 * g + 0x4000) >> 15) + step; });
    for (int n = 0; n < subframe; n += 8) { // round(L_shl(2 * g * x, 1)) = sat16((g * x + 2^13) >> 14)
        const simd::Dwords products = simd::products(simd::load(gains + n), simd::load(srcDst + n));
        simd::store(srcDst + n, simd::ScaleDown(14)(products));
    }
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G729A_16s_I_u8(const int16_t *reference, int16_t *srcDst, int16_t *gain) {
    if (anyNull(reference, srcDst, gain)) return ryxStsNullPtr;
    const int32_t out = energyOfQuarter(srcDst);
    if (out == 0) {
        *gain = 0;
        return ryxStsOk;
    }
    int exponent = norm_l(out) - 1;
    const int16_t mantissaOut = round(L_shl(out, exponent));
    int16_t step = 0;
    if (const int32_t in = energyOfQuarter(reference); in != 0) {
        const int shift = norm_l(in);
        const int16_t mantissaIn = round(L_shl(in, shift));
        exponent -= shift;
        const int32_t ratio = L_shl(L_shl(div_s(mantissaOut, mantissaIn), 7), -exponent);
        step = mult(round(L_shl(inverseSqrt(ratio), 9)), 3276);
    }
    int16_t gains[subframe];
    runGain(gain, gains, [step](int g) { return (g * 29491 >> 15) + step; });
    for (int n = 0; n < subframe; n += 8) // hi(L_shl(2 * g * x, 3)) = sat16(g * x >> 12)
        simd::store(srcDst + n, simd::mulShiftSaturated<12>(simd::load(gains + n), simd::load(srcDst + n)));
    return ryxStsOk;
}
