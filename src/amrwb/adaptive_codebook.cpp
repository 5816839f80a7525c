// SPDX-License-Identifier: BSD-2-Clause
// The adaptive codebook: interpolation of the past excitation, its low-pass and the choice of it, the gain of the vector and
// what it leaves to the fixed codebook (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "common/checks.h"
#include "common/convolution.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int taps = 32, centre = 15;
constexpr int vectorLength = subframeLength + 1;

void lowPass(const int16_t *vector, int16_t *filtered) {
    // The weights make 32768: a sum can saturate, though only at full scale.
    for (int i = 0; i < subframeLength; i++)
        filtered[i] = round(L_mac(L_mac(L_mult(5898, vector[i - 1]), 20972, vector[i]), 5898, vector[i + 1]));
}

// A vector through the response, its gain, and the target without it.
struct Candidate {
    alignas(16) int16_t filtered[subframeLength];
    alignas(16) int16_t rest[subframeLength];
    int16_t correlations[4]; // energy and its exponent, correlation with the target and its exponent
    int16_t gain;            // Q14

    void measure(const int16_t *target, bool clip) {
        constexpr int16_t largest = 19661, clipped = 15565;
        const Scaled power = dotSquare(filtered, subframeLength);
        const Scaled correlation = dotProduct(target, filtered, subframeLength);
        correlations[0] = power.high();
        correlations[1] = static_cast<int16_t>(power.exponent);
        correlations[2] = correlation.high();
        correlations[3] = static_cast<int16_t>(correlation.exponent);
        gain = 0;
        if (correlations[2] >= 0) {
            const int16_t ratio = div_s(static_cast<int16_t>(correlations[2] >> 1), correlations[0]);
            gain = std::min(shl(ratio, correlation.exponent - power.exponent), largest);
        }
        if (clip) gain = std::min(gain, clipped);
    }
};

// high(2 * (x / 2 - gain * y)), truncated.
void removeContribution(const int16_t *x, const int16_t *y, int16_t gain, int16_t *rest) {
    for (int i = 0; i < subframeLength; i++)
        rest[i] = extract_h(L_shl(L_msu(L_mult(x[i], 16384), y[i], gain), 1));
}

// Whether the first vector is at least as long as the second one, both saturated.
bool isLonger(const int16_t *x, const int16_t *y) {
    int32_t difference = macEnergy(x, subframeLength).value;
    for (int i = 0; i < subframeLength; i++)
        difference = L_msu(difference, y[i], y[i]);
    return difference > 0;
}

} // namespace

ryxStatus ryxsDecodeAdaptiveVector_AMRWB_16s_I_u8(int lag, int fraction, int16_t *srcDst) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (lag < 34 || lag > 231 || fraction < 0 || fraction > 3) return ryxStsBadIndex;
    const int16_t *const past = srcDst - lag - (fraction > 0) - centre;
    const int16_t *const row = excitationTaps[-fraction & 3];
    for (int j = 0; j < vectorLength; j++)
        srcDst[j] = round(L_shl(macInOrder(past + j, row, taps).value, 1));
    return ryxStsOk;
}

ryxStatus ryxsAdaptiveLowPass_AMRWB_16s_u8(const int16_t *src, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    lowPass(src, dst);
    return ryxStsOk;
}

ryxStatus ryxsAdaptiveCodebookSelect_AMRWB_16s_u8(const int16_t *target, const int16_t *response, int clip, int mode,
                                                  int shift, int16_t *srcDstVector, int16_t *residual,
                                                  int16_t *codebookTarget, int16_t *filtered, int16_t *lowPassed,
                                                  int16_t *correlations, int16_t *gain, int16_t *select) {
    if (anyNull(target, response, srcDstVector, residual, codebookTarget, filtered, lowPassed, correlations, gain,
                select))
        return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    if (shift < -15 || shift > 15) return ryxStsOutOfRange;
    Candidate plain, soft;
    int16_t softVector[subframeLength];
    lowPass(srcDstVector, softVector);
    convolve<subframeLength>(softVector, response, soft.filtered, 0, Rounding::nearest);
    soft.measure(target, clip != 0);
    removeContribution(target, soft.filtered, soft.gain, soft.rest);
    bool isPlain = false;
    if (!isLowRate(mode)) {
        convolve<subframeLength>(srcDstVector, response, plain.filtered, 0, Rounding::nearest);
        plain.measure(target, clip != 0);
        removeContribution(target, plain.filtered, plain.gain, plain.rest);
        isPlain = !isLonger(plain.rest, soft.rest);
    }
    const Candidate &chosen = isPlain ? plain : soft;
    if (!isPlain) std::copy_n(softVector, subframeLength, srcDstVector);
    std::copy_n(chosen.rest, subframeLength, codebookTarget);
    std::copy_n(chosen.filtered, subframeLength, filtered);
    std::copy_n(soft.filtered, subframeLength, lowPassed);
    std::copy_n(chosen.correlations, 4, correlations);
    *gain = chosen.gain;
    *select = isPlain;
    removeContribution(residual, srcDstVector, chosen.gain, residual);
    scaleWords(residual, subframeLength, shift);
    return ryxStsOk;
}

ryxStatus ryxsPitchSharpen_AMRWB_16s_I_u8(int16_t *srcDst, int tilt, int lag) {
    constexpr int16_t sharpening = 27853; // 0.85
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (lag < 1) return ryxStsOutOfRange;
    preemphasize(srcDst, subframeLength, static_cast<int16_t>(tilt));
    for (int i = lag; i < subframeLength; i++)
        srcDst[i] = round(L_mac(srcDst[i] * 65536, srcDst[i - lag], sharpening));
    return ryxStsOk;
}
