// SPDX-License-Identifier: BSD-2-Clause
// Adaptive gain control behind the post-filters of ITU-T G.729 (clause 4.2.4) and its Annex A.
#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/inv_sqrt.h"
#include "common/product_sums.h"
#include "frame/implementations.h"
#include "g729/adaptive_vector.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

int32_t sumOfMagnitudes40(const int16_t *x) {
    int32_t sum = 0;
    for (int n = 0; n < subframe; n++)
        sum += abs_s(x[n]);
    return sum;
}

int32_t energyOfQuarter(const int16_t *x) {
    int16_t quarter[subframe];
    for (int n = 0; n < subframe; n++)
        quarter[n] = static_cast<int16_t>(x[n] >> 2);
    return macEnergy(quarter, subframe).value;
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
    int16_t g = *gain;
    for (int n = 0; n < subframe; n++) {
        g = ryxsc::add(mult_r(32358, g), step);
        srcDst[n] = round(L_shl(L_mult(g, srcDst[n]), 1));
    }
    *gain = g;
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
    int16_t g = *gain;
    for (int n = 0; n < subframe; n++) {
        g = ryxsc::add(mult(g, 29491), step);
        srcDst[n] = extract_h(L_shl(L_mult(srcDst[n], g), 3));
    }
    *gain = g;
    return ryxStsOk;
}
