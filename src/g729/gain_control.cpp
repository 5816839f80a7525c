// SPDX-License-Identifier: BSD-2-Clause
// Adaptive gain control behind the post-filter of ITU-T G.729 (clause 4.2.4).
#include "common/gain_control.h"
#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

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
    GainRecursion recursion(*gain, [decay = simd::words(32358), steps = simd::words(step)](Vector g) {
        return _mm_add_epi16(_mm_mulhrs_epi16(g, decay), steps);
    });
    for (int n = 0; n < subframe; n += 8) { // round(L_shl(2 * g * x, 1)) = sat16((g * x + 2^13) >> 14)
        const simd::Dwords products = simd::products(recursion.eight(), simd::load(srcDst + n));
        simd::store(srcDst + n, simd::ScaleDown(14)(products));
    }
    *gain = recursion.latest();
    return ryxStsOk;
}
