// SPDX-License-Identifier: BSD-2-Clause
// Excitation codebook of ITU-T G.728, Annex G: 128 shapes of five samples, four gains with a sign.
#include "common/checks.h"
#include "frame/implementations.h"
#include "g728/arithmetic.h"
#include "g728/tables.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

int16_t shapeSample(int shape, int n) {
    return shapeCodebook[shape >> 2][n >> 1][shape & 3][n & 1];
}

} // namespace

ryxStatus ryxsTarget_G728_16s_u8(const int16_t *weightedSpeech, const int16_t *weightedZeroInput, int16_t gain,
                                 int16_t gainExponent, int16_t *target, int16_t *exponent) {
    if (anyNull(weightedSpeech, weightedZeroInput, target, exponent)) return ryxStsNullPtr;
    if (gain < 1) return ryxStsOutOfRange;
    const Scaled inverse = divide(one, {gain, gainExponent});
    for (int n = 0; n < vectorLength; n++)
        target[n] = sat16((inverse.mantissa * sub(weightedSpeech[n], weightedZeroInput[n])) >> 15);
    const int shift = normaliseVector(target, 16);
    *exponent = asExponent(2 + inverse.exponent - 15 + shift);
    return ryxStsOk;
}

ryxStatus ryxsImpulseResponse_G728_16s_u8(const int16_t *synthesis, const int16_t *weighting, int16_t *response) {
    if (anyNull(synthesis, weighting, response)) return ryxStsNullPtr;
    int16_t synthesised[vectorLength] = {8192};
    response[0] = 8192;
    for (int n = 1; n < vectorLength; n++) {
        int64_t poles = 0, zeros = 0;
        for (int i = 1; i <= n; i++) {
            poles -= synthesis[i - 1] * synthesised[n - i];
            zeros += weighting[i - 1] * synthesised[n - i] - int64_t{weighting[order + i - 1]} * response[n - i];
        }
        synthesised[n] = sat16(sat32(poles >> 14));
        response[n] = sat16(sat32((poles + zeros) >> 14));
    }
    return ryxStsOk;
}

ryxStatus ryxsCodebookEnergy_G728_16s_u8(const int16_t *impulse, int16_t *energies) {
    if (anyNull(impulse, energies)) return ryxStsNullPtr;
    for (int shape = 0; shape < 128; shape++) {
        int64_t energy = 0;
        for (int n = 0; n < vectorLength; n++) {
            int64_t sum = 0;
            for (int m = 0; m <= n; m++)
                sum += shapeSample(shape, m) * impulse[n - m];
            const int16_t filtered = sat16(sat32(sum >> 14));
            energy += filtered * filtered;
        }
        energies[shape] = sat16(sat32(energy >> 15));
    }
    return ryxStsOk;
}

ryxStatus ryxsCodebookSearch_G728_16s_u8(const int16_t *target, int16_t exponent, const int16_t *impulse,
                                         const int16_t *energies, int16_t *shape, int16_t *gainIndex) {
    if (anyNull(target, impulse, energies, shape, gainIndex)) return ryxStsNullPtr;
    int16_t backward[vectorLength];
    for (int n = 0; n < vectorLength; n++) {
        int64_t sum = 0;
        for (int m = n; m < vectorLength; m++)
            sum += impulse[m - n] * target[m];
        backward[n] = sat16(shiftLimited(sat32(sum), 7 - 13 - exponent));
    }
    int32_t smallest = max32;
    for (int j = 0; j < 128; j++) {
        int32_t correlation = 0;
        for (int n = 0; n < vectorLength; n++)
            correlation += shapeSample(j, n) * backward[n];
        const bool negative = correlation <= 0;
        correlation = std::abs(correlation);
        int index = 0;
        while (index < 3 && correlation > gainMagnitudes[index].boundary * energies[j])
            index++;
        const GainMagnitude &g = gainMagnitudes[index];
        const int32_t distortion = g.square * energies[j] - g.gain * std::min(correlation >> 14, 32767);
        if (distortion >= smallest) continue;
        smallest = distortion;
        *shape = static_cast<int16_t>(j);
        *gainIndex = static_cast<int16_t>(index + (negative ? 4 : 0));
    }
    return ryxStsOk;
}

ryxStatus ryxsCodebookDecode_G728_16s_u8(int16_t shape, int16_t gainIndex, int16_t gain, int16_t gainExponent,
                                         int16_t *excitation, int16_t *exponent) {
    if (anyNull(excitation, exponent)) return ryxStsNullPtr;
    if (shape < 0 || shape > 127 || gainIndex < 0 || gainIndex > 7) return ryxStsBadIndex;
    const GainMagnitude &g = gainMagnitudes[gainIndex & 3];
    const int32_t product = gain * (gainIndex > 3 ? -g.gain : g.gain);
    const int16_t scale = round(shiftLimited(product, g.shift));
    for (int n = 0; n < vectorLength; n++)
        excitation[n] = shapeSample(shape, n);
    const int shift = normaliseVector(excitation, 16);
    for (int n = 0; n < vectorLength; n++)
        excitation[n] = round(scale * excitation[n]);
    *exponent = asExponent(gainExponent + 13 + g.shift - 16 + 11 + shift - 16);
    return ryxStsOk;
}
