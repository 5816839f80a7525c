// SPDX-License-Identifier: BSD-2-Clause
// ISF decoders of AMR-WB: speech frames, lost frames, comfort noise (3GPP TS 26.173).
#include "amrwb/implementations.h"
#include "amrwb/isf_steps.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

// Q15. They make 1 together.
constexpr int16_t lastWeight = 29491, meanWeight = 3277;

// The newest frame in front.
void pushHistory(const int16_t *isf, int16_t *history) {
    std::copy_backward(history, history + 2 * isfOrder, history + 3 * isfOrder);
    std::copy_n(isf, isfOrder, history);
}

// One weighted sum, rounded once, where the recommendation truncates two products.
int16_t towardsMean(int16_t last, int mean) {
    return static_cast<int16_t>((lastWeight * last + meanWeight * mean + 0x4000) >> 15);
}

// Moves the last frame's ISFs towards the mean of the long term and of three frames, and estimates the residual that would
// have led there; its difference wraps.
void conceal(const int16_t *last, const int16_t *history, int16_t *past, int16_t *isf) {
    for (int i = 0; i < isfOrder; i++) {
        const int16_t mean = isfMean[static_cast<size_t>(i)];
        isf[i] = towardsMean(last[i], (mean + history[i] + history[i + isfOrder] + history[i + 2 * isfOrder] + 2) >> 2);
        past[i] = static_cast<int16_t>(wrap16(isf[i] - mean - ((past[i] * predictionFactor) >> 15)) >> 1);
    }
}

// The recommendation's own steps: the mean of four vectors is rounded, both products are truncated, and the residual is
// predicted from that mean.
void concealExact(const int16_t *last, const int16_t *history, int16_t *past, int16_t *isf) {
    constexpr int16_t quarter = 8192;
    for (int i = 0; i < isfOrder; i++) {
        int32_t sum = L_mult(isfMean[static_cast<size_t>(i)], quarter);
        for (int k = 0; k < 3; k++)
            sum = L_mac(sum, history[k * isfOrder + i], quarter);
        const int16_t mean = round(sum);
        isf[i] = add(mult(lastWeight, last[i]), mult(meanWeight, mean));
        past[i] = shr(sub(isf[i], add(mean, mult(past[i], predictionFactor))), 1);
    }
}

} // namespace

ryxStatus ryxsISFConceal_AMRWB_16s_u8(const int16_t *history, int16_t *quantised, int16_t *residual,
                                      int16_t *prevQuantised) {
    if (anyNull(history, quantised, residual, prevQuantised)) return ryxStsNullPtr;
    Isfs isf;
    concealExact(prevQuantised, history, residual, isf.values);
    space(isf.values);
    std::copy_n(isf.values, isfOrder, quantised);
    std::copy_n(isf.values, isfOrder, prevQuantised);
    return ryxStsOk;
}

ryxStatus ryxsISFQuantDecode_AMRWB_16s_u8(const int16_t *indices, int16_t *quantised, int16_t *residual,
                                          int16_t *prevQuantised, int16_t *history, int bfi, int mode) {
    if (anyNull(indices, quantised, residual, prevQuantised, history)) return ryxStsNullPtr;
    if (!isSpeechMode(mode)) return ryxStsBadSize;
    Isfs isf;
    if (bfi == 0) {
        Isfs decoded;
        decodeResidual(indices, has36Bits(mode), decoded.values);
        rebuild(decoded.values, residual, isf.values);
        pushHistory(isf.values, history);
    } else {
        conceal(prevQuantised, history, residual, isf.values);
    }
    space(isf.values);
    std::copy_n(isf.values, isfOrder, quantised);
    std::copy_n(isf.values, isfOrder, prevQuantised);
    return ryxStsOk;
}

ryxStatus ryxsISFQuantDecodeDTX_AMRWB_16s_u8(const int16_t *indices, int16_t *quantised) {
    if (anyNull(indices, quantised)) return ryxStsNullPtr;
    Isfs isf;
    decodeVectors(indices, isf.values, noise1, noise2, noise3, noise4, noise5);
    forEach(isf.values, addWords, isf.values, noiseMean.data());
    space(isf.values);
    std::copy_n(isf.values, isfOrder, quantised);
    return ryxStsOk;
}
