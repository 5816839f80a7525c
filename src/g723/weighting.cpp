// SPDX-License-Identifier: BSD-2-Clause
// Formant perceptual weighting and harmonic noise shaping of the encoder of ITU-T G.723.1.
#include "common/checks.h"
#include "frame/implementations.h"
#include "g723/combined_filter.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

ryxStatus ryxsWeightingCoefs_G723_16s_u8(const int16_t *lpc, int16_t *weights) {
    if (anyNull(lpc, weights)) return ryxStsNullPtr;
    for (int i = 0; i < order; i++) {
        const int16_t coefficient = lpc[i];
        weights[i] = mult_r(coefficient, weightingZeros[i]);
        weights[order + i] = mult_r(coefficient, weightingPoles[i]);
    }
    return ryxStsOk;
}

ryxStatus ryxsWeightingFilter_G723_16s_u8(const int16_t *src, const int16_t *weights, int16_t *dst, int16_t *memory) {
    if (anyNull(src, weights, dst, memory)) return ryxStsNullPtr;
    FilterLine inputs(memory), outputs(memory + order);
    for (int i = 0; i < subframeLength; i++) {
        int32_t acc = src[i] * 16384;
        acc = inputs.subtract(acc, weights);
        acc = outputs.add(acc, weights + order);
        inputs.push(src[i]);
        dst[i] = outputs.push(filterOutput(acc));
    }
    inputs.save(memory);
    outputs.save(memory + order);
    return ryxStsOk;
}

ryxStatus ryxsHarmonicSearch_G723_16s_u8(const int16_t *src, int openLoopLag, int16_t *lag, int16_t *gain) {
    if (anyNull(src, lag, gain)) return ryxStsNullPtr;
    if (openLoopLag < shortestLag || openLoopLag > longestLag - 1) return ryxStsOutOfRange;
    constexpr int lags = 7;
    const int first = openLoopLag - 3;
    int32_t sums[1 + 2 * lags]; // energy; energy at the lag and correlation, for each
    sums[0] = dotProduct(src, src, subframeLength);
    for (int i = 0; i < lags; i++) {
        const int16_t *delayed = src - first - i;
        sums[1 + 2 * i] = dotProduct(delayed, delayed, subframeLength);
        sums[2 + 2 * i] = dotProduct(src, delayed, subframeLength);
    }
    const int shift = norm_l(largestMagnitude(sums, 1 + 2 * lags));
    int16_t scaled[1 + 2 * lags];
    for (int i = 0; i < 1 + 2 * lags; i++)
        scaled[i] = round(L_shl(sums[i], shift));

    int best = -1;
    int16_t bestSquare = 1, bestEnergy = max16;
    for (int i = 0; i < lags; i++) {
        const int16_t energy = scaled[1 + 2 * i], correlation = scaled[2 + 2 * i];
        if (correlation <= 0) continue;
        const int16_t square = mult_r(correlation, correlation);
        if (L_msu(L_mult(square, bestEnergy), energy, bestSquare) <= 0) continue;
        bestSquare = square;
        bestEnergy = energy;
        best = i;
    }
    *lag = static_cast<int16_t>(best < 0 ? openLoopLag : first + best);
    *gain = 0;
    if (best < 0) return ryxStsOk;
    // Worth it from a prediction gain of 1.6 on (3/8 of the energy).
    const int16_t correlation = scaled[2 + 2 * best];
    const int32_t product = L_mult(scaled[0], bestEnergy);
    if (L_msu(L_add(product >> 2, product >> 3), correlation, correlation) >= 0) return ryxStsOk;
    *gain = correlation >= bestEnergy ? harmonicWeight : mult_r(div_s(correlation, bestEnergy), harmonicWeight);
    return ryxStsOk;
}

ryxStatus ryxsHarmonicFilter_G723_16s_u8(const int16_t *src, int lag, int16_t gain, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (!isHarmonicLag(lag)) return ryxStsOutOfRange;
    for (int i = 0; i < subframeLength; i++)
        dst[i] = round(L_msu(L_deposit_h(src[i]), gain, src[i - lag]));
    return ryxStsOk;
}
