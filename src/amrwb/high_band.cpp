// SPDX-License-Identifier: BSD-2-Clause
// The band from 6.4 to 7 kHz: noise at the level of the excitation, its gain, and its filter (3GPP TS 26.190, TS 26.173).
#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/double_precision.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

// 1 / sqrt(signal / reference), the larger one first brought below the other by a bit.
Scaled inverseRootOfRatio(Scaled signal, Scaled reference) {
    int16_t mantissa = signal.high();
    if (mantissa > reference.high()) {
        mantissa = static_cast<int16_t>(mantissa >> 1);
        signal.exponent++;
    }
    return inverseRoot({div_s(mantissa, reference.high()) * 65536, signal.exponent - reference.exponent});
}

constexpr int longOrder = 20;

// Energies of the differences of ISFs from those 2, 3 and 4 earlier, without their mean: the smallest period wins.
int repetition(const int16_t *differences, int16_t mean) {
    int32_t correlations[3] = {};
    for (int v = 0; v < 3; v++)
        for (int i = 7; i < 14; i++) {
            const int32_t product = L_mult(sub(differences[i], mean), sub(differences[i - 2 - v], mean));
            correlations[v] = L_add(correlations[v], multiply(product, product));
        }
    int best = correlations[0] > correlations[1] ? 0 : 1;
    if (correlations[2] > correlations[best]) best = 2;
    return best + 1;
}

// From 16 ISFs to the 20 of a filter at 16 kHz.
void extrapolate(int16_t *isf) {
    isf[longOrder - 1] = isf[lpOrder - 1];
    int16_t differences[14];
    int16_t largest = 0;
    int32_t sum = 0;
    for (int i = 0; i < 14; i++) {
        differences[i] = sub(isf[i + 1], isf[i]);
        largest = std::max(largest, differences[i]);
        if (i >= 2) sum = L_mac(sum, differences[i], 2731);
    }
    const int n = norm_s(largest);
    for (int16_t &difference : differences)
        difference = shl(difference, n);
    const int period = repetition(differences, shl(round(sum), n));
    for (int i = 15; i < 19; i++)
        isf[i] = add(isf[i - 1], sub(isf[i - 1 - period], isf[i - 2 - period]));

    // Up to 7.6 kHz or less, in steps of the extrapolation.
    int16_t target = mult(sub(isf[2], add(isf[4], isf[3])), 5461);
    target = std::min<int16_t>(add(target, 20390), 19456);
    target = sub(target, isf[14]);
    const int16_t reached = sub(isf[18], isf[14]);
    const int reachedShift = norm_s(reached), targetShift = norm_s(target) - 1;
    const int16_t num = shl(target, targetShift), den = shl(reached, reachedShift);
    const int16_t coefficient = num >= 0 && den > 0 && num <= den ? div_s(num, den) : int16_t{0};
    int16_t steps[4];
    for (int i = 0; i < 4; i++)
        steps[i] = shl(mult(sub(isf[15 + i], isf[14 + i]), coefficient), reachedShift - targetShift);
    for (int i = 1; i < 4; i++) {
        if (sub(add(steps[i], steps[i - 1]), 1280) >= 0) continue;
        if (steps[i] > steps[i - 1])
            steps[i - 1] = sub(1280, steps[i]);
        else
            steps[i] = sub(1280, steps[i - 1]);
    }
    for (int i = 0; i < 4; i++)
        isf[15 + i] = add(isf[14 + i], steps[i]);
    for (int i = 0; i < longOrder - 1; i++)
        isf[i] = mult(isf[i], 26214); // 12.8 of 16 kHz
}

} // namespace

ryxStatus ryxsHighBandNoise_AMRWB_16s_u8(const int16_t *excitation, int q, int16_t *dst, int16_t *seed) {
    if (anyNull(excitation, dst, seed)) return ryxStsNullPtr;
    fillWithNoise(dst, wideSubframeLength, 3, *seed);
    int16_t reduced[subframeLength];
    std::copy_n(excitation, subframeLength, reduced);
    scaleWords(reduced, subframeLength, -3);
    Scaled power = dotSquare(reduced, subframeLength);
    power.exponent -= 2 * (std::clamp(q, -64, 64) - 3); // beyond, every gain is at its limit
    const Scaled root = inverseRootOfRatio(dotSquare(dst, wideSubframeLength), power);
    const int16_t gain = extract_h(L_shl(root.mantissa, root.exponent + 1));
    multiplyWords(dst, wideSubframeLength, gain);
    return ryxStsOk;
}

ryxStatus ryxsHighBandGainEstimate_AMRWB_16s_u8(const int16_t *synthesis, int noiseFrames, int16_t *gain) {
    if (anyNull(synthesis, gain)) return ryxStsNullPtr;
    const int32_t power = macEnergy(synthesis, subframeLength, 1).value;
    const int n = norm_l(power);
    const int16_t r0 = extract_h(L_shl(power, n));
    const int32_t product = macProducts(synthesis, synthesis + 1, subframeLength - 1, 1).value;
    const int16_t r1 = extract_h(L_shl(product, n));
    const int16_t tilt = r1 > 0 ? div_s(r1, r0) : int16_t{0};
    const int16_t speech = sub(max16, tilt);
    const int16_t noise = shl(mult(speech, 20480), 1);
    int16_t estimate = noiseFrames > 0 ? mult(max16, noise) : mult(max16, speech);
    if (estimate != 0) estimate = add(estimate, 1);
    *gain = std::max<int16_t>(estimate, 3277);
    return ryxStsOk;
}

ryxStatus ryxsHighBandGainQuant_AMRWB_16s_u8(const int16_t *noise, const int16_t *original, int estimate, int hangover,
                                             int16_t *weight, int16_t *index) {
    if (anyNull(noise, original, weight, index)) return ryxStsNullPtr;
    if (hangover < 0 || hangover > 7) return ryxStsOutOfRange;
    int16_t halved[wideSubframeLength];
    std::copy_n(original, wideSubframeLength, halved);
    scaleWords(halved, wideSubframeLength, -1);
    const Scaled root = inverseRootOfRatio(dotSquare(noise, wideSubframeLength), dotSquare(halved, wideSubframeLength));
    const int16_t measured = extract_h(L_shl(root.mantissa, root.exponent));
    *weight = hangover > 6 ? max16 : mult(*weight, static_cast<int16_t>(4681 * hangover));
    const int16_t gain = add(mult(measured, *weight), mult(sub(max16, *weight), static_cast<int16_t>(estimate >> 1)));
    int16_t smallest = max16, best = 0;
    for (int16_t i = 0; i < 16; i++) {
        const int16_t difference = sub(gain, highBandGains[i]);
        const int16_t error = mult(difference, difference);
        if (error >= smallest) continue;
        smallest = error;
        best = i;
    }
    *index = best;
    return ryxStsOk;
}

ryxStatus ryxsHighBandGain_AMRWB_16s_I_u8(int16_t *srcDst, int estimate, int index) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (index < -1 || index > 15) return ryxStsBadIndex;
    multiplyWords(srcDst, wideSubframeLength, index < 0 ? static_cast<int16_t>(estimate) : highBandGains[index]);
    if (index >= 0) scaleWords(srcDst, wideSubframeLength, 1);
    return ryxStsOk;
}

ryxStatus ryxsHighBandLPC_AMRWB_16s_u8(const int16_t *prevIsf, const int16_t *isf, int subframe, int16_t *lpc) {
    if (anyNull(prevIsf, isf, lpc)) return ryxStsNullPtr;
    if (subframe < 0 || subframe > 3) return ryxStsOutOfRange;
    constexpr int16_t newWeights[subframes] = {14746, 26214, 31457, 32767};
    const int16_t weight = newWeights[subframe];
    int16_t longIsf[longOrder], isp[longOrder];
    for (int i = 0; i < lpOrder; i++)
        longIsf[i] = round(L_mac(L_mult(prevIsf[i], static_cast<int16_t>(max16 - weight)), isf[i], weight));
    extrapolate(longIsf);
    ryxsISFToISP_AMRWB_16s_u8(longIsf, isp, longOrder);
    return ryxsISPToLPC_AMRWB_16s_u8(isp, lpc, longOrder);
}

ryxStatus ryxsHighBandAdd_AMRWB_16s_u8(const int16_t *low, const int16_t *high, int16_t *dst) {
    if (anyNull(low, high, dst)) return ryxStsNullPtr;
    for (int i = 0; i < wideSubframeLength; i += 8) {
        const Vector sum = _mm_adds_epi16(simd::load(low + i), simd::load(high + i));
        simd::store(dst + i, _mm_and_si128(sum, simd::words(~3)));
    }
    return ryxStsOk;
}
