// SPDX-License-Identifier: BSD-2-Clause
// Formant perceptual weighting and harmonic noise shaping of the encoder of ITU-T G.723.1.
#include "common/checks.h"
#include "common/product_sums.h"
#include "g723/combined_filter.h"
#include "g723/implementations.h"
#include "g723/line_filters.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

// False where a sum may have saturated.
bool weightOnVectors(const Line &inputs, const int16_t *weights, Line &outputs) {
    const int16_t *zeros = weights, *poles = weights + order;
    if (!hasNegative(poles)) return false;
    constexpr int scale = 13; // that of the coefficients
    const Taps taps(zeros);
    const int16_t *x = inputs.begin();
    recurse(poles, outputs, [&](int n) { return scaled(x + n, scale) - taps(x + n); });
    return int64_t{inputs.peak()} * ((1 << scale) + sumOfMagnitudes(zeros)) +
               int64_t{outputs.peak()} * sumOfMagnitudes(poles) <
           1 << 30;
}

constexpr int harmonicLags = 7; // around the open-loop lag

// Energy of the subframe; then for each lag that of the delayed one, and their correlation.
void correlateLags(const int16_t *src, int first, int32_t *sums) {
    const int last = first + harmonicLags - 1;
    Range range;
    range.add(src - last, last + subframeLength);
    if (!range.isWithin(1 << 12)) [[unlikely]] {
        sums[0] = dotProduct(src, src, subframeLength);
        for (int i = 0; i < harmonicLags; i++) {
            const int16_t *delayed = src - first - i;
            sums[1 + 2 * i] = dotProduct(delayed, delayed, subframeLength);
            sums[2 + 2 * i] = dotProduct(src, delayed, subframeLength);
        }
        return;
    }
    // Normalised: nothing saturates, and the energy can follow from lag to lag.
    int32_t correlation[harmonicLags];
    wrappedCorrelations(src, src - last, subframeLength, harmonicLags, correlation);
    sums[0] = 2 * wrappedProducts(src, src, subframeLength);
    int32_t delayedEnergy = wrappedProducts(src - first, src - first, subframeLength);
    for (int i = 0; i < harmonicLags; i++) {
        sums[1 + 2 * i] = 2 * delayedEnergy;
        sums[2 + 2 * i] = 2 * correlation[harmonicLags - 1 - i];
        const int16_t *delayed = src - first - i;
        if (i + 1 < harmonicLags)
            delayedEnergy += delayed[-1] * delayed[-1] - delayed[subframeLength - 1] * delayed[subframeLength - 1];
    }
}

} // namespace

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
    const int16_t *poles = weights + order;
    Line inputs(memory), outputs(memory + order);
    std::copy_n(src, subframeLength, inputs.begin());
    if (!weightOnVectors(inputs, weights, outputs)) [[unlikely]]
        for (int n = 0; n < subframeLength; n++) {
            const int16_t *x = inputs.begin() + n;
            int16_t *y = outputs.begin() + n;
            *y = filterOutput(addTaps(subtractTaps(*x * 16384, weights, x), poles, y));
        }
    std::copy_n(outputs.begin(), subframeLength, dst);
    inputs.save(memory);
    outputs.save(memory + order);
    return ryxStsOk;
}

ryxStatus ryxsHarmonicSearch_G723_16s_u8(const int16_t *src, int openLoopLag, int16_t *lag, int16_t *gain) {
    if (anyNull(src, lag, gain)) return ryxStsNullPtr;
    if (openLoopLag < shortestLag || openLoopLag > longestLag - 1) return ryxStsOutOfRange;
    const int first = openLoopLag - 3;
    int32_t sums[1 + 2 * harmonicLags];
    correlateLags(src, first, sums);
    const int shift = norm_l(largestMagnitude(sums, 1 + 2 * harmonicLags));
    int16_t scaled[1 + 2 * harmonicLags];
    for (int i = 0; i < 1 + 2 * harmonicLags; i++)
        scaled[i] = round(L_shl(sums[i], shift));

    int best = -1;
    int16_t bestSquare = 1, bestEnergy = max16;
    for (int i = 0; i < harmonicLags; i++) {
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
    if (gain == min16)
        shapeHarmonicsInOrder(src, src - lag, gain, dst);
    else
        shapeHarmonics(src, src - lag, gain, dst);
    return ryxStsOk;
}
