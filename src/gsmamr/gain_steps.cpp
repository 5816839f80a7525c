// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/gain_steps.h"

#include "gsmamr/subframe_sums.h"

namespace ryxsc::gsmamr {

namespace {

int32_t predictLog(const int16_t *past, const int16_t (&weights)[pastFrames], int32_t start) {
    for (int k = 0; k < pastFrames; k++)
        start = L_mac(start, past[k], weights[k]);
    return start;
}

// Mean energy of the innovation, less that of the code vector's format, times 2^15.
constexpr int32_t meanEnergyOf(Rate rate) {
    switch (rate) {
    case Rate::r795:
        return 2 * 17062 * 64;
    case Rate::r740:
        return 2 * 32588 * 32;
    case Rate::r670:
        return 2 * 32268 * 32;
    default:
        return 2 * 16678 * 64;
    }
}

} // namespace

Prediction predictGain(const int16_t *code, const Predictor &predictor, Rate rate) {
    int32_t energy = saturatedEnergy(0, code), predicted;
    Scaled codeEnergy = {};
    if (rate == Rate::r1220) {
        energy = L_mult(round(energy), 26214);
        const Log2 logarithm = log2(energy);
        predicted = predictLog(predictor.energies122, {44, 37, 22, 12}, 783741);
        predicted = L_shr(L_sub(predicted, compose(logarithm.exponent - 30, logarithm.fraction)), 1);
    } else {
        const int shift = norm_l(energy);
        energy <<= shift;
        const Log2 logarithm = log2Normalised(energy, shift);
        codeEnergy = {extract_h(energy), -11 - shift};
        predicted = multiplyShort(compose(logarithm.exponent, logarithm.fraction), -24660);
        predicted = L_shl(L_add(predicted, meanEnergyOf(rate)), 10);
        predicted = predictLog(predictor.energies, {5571, 4751, 2785, 1556}, predicted);
        predicted = L_mult(extract_h(predicted), rate == Rate::r740 ? 5439 : 5443) >> 8;
    }
    return {highPart(predicted), lowPart(predicted), codeEnergy};
}

CorrectionEnergies energiesOf(Log2 logarithm) {
    const auto exponent = static_cast<int16_t>(logarithm.exponent);
    const int16_t energy122 = add(shr_r(static_cast<int16_t>(logarithm.fraction), 5), shl(exponent, 10));
    return {round(L_shl(multiplyShort(compose(exponent, logarithm.fraction), 24660), 13)), energy122};
}

FilteredEnergies filteredEnergies(const int16_t *target, const int16_t *target2, const int16_t *adaptive,
                                  const int16_t *filtered, const int16_t *pitchEnergies, Rate rate) {
    const bool withOptimum = rate == Rate::r475 || rate == Rate::r795;
    const int32_t start = withOptimum ? 0 : 1;
    alignas(16) int16_t z[subframeLength];
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(z + n, _mm_srai_epi16(simd::load(filtered + n), 3));
    const Normalised zz(saturatedEnergy(start, z)), xz(saturatedProducts(start, target, z));
    const Normalised yz(saturatedProducts(start, adaptive, z));
    FilteredEnergies result = {{{pitchEnergies[0], pitchEnergies[1]},
                                {negate(pitchEnergies[2]), pitchEnergies[3] + 1},
                                {zz.mantissa, -3 - zz.shift},
                                {negate(xz.mantissa), 7 - xz.shift},
                                {yz.mantissa, 7 - yz.shift}},
                               {0, 0}};
    if (withOptimum) {
        const Normalised product(saturatedProducts(start, target2, z));
        if (product.mantissa > 0)
            result.optimum = {div_s(static_cast<int16_t>(product.mantissa >> 1), zz.mantissa),
                              6 - product.shift - result.terms[2].exponent - 14};
    }
    return result;
}

} // namespace ryxsc::gsmamr
