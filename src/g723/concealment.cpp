// SPDX-License-Identifier: BSD-2-Clause
// Concealment of erased frames, ITU-T G.723.1: what each good frame prepares, and the excitation of an erased one.
#include "common/checks.h"
#include "common/product_sums.h"
#include "g723/codebook_tables.h"
#include "g723/implementations.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int length = 120; // half a frame decides
constexpr int16_t attenuation = 24576;

} // namespace

ryxStatus ryxsConcealmentUpdate_G723_16s_u8(const int16_t *src, int lag, const int16_t *gainIndices, int16_t *period,
                                            int16_t *energy, int16_t *gain) {
    if (anyNull(src, gainIndices, period, energy, gain)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag) return ryxStsOutOfRange;
    for (int k = 0; k < 2; k++)
        if (gainIndices[k] < 0 || gainIndices[k] >= gainLevels) return ryxStsBadIndex;
    const int16_t *last = src + frameLength - length;
    const int centre = std::min(lag, 141);
    constexpr int lags = 7;
    int32_t correlations[lags]; // the longest lag first
    macCorrelations(last, last - centre - 3, length, lags, correlations);
    int32_t largest = 0;
    int best = centre;
    for (int i = 0; i < lags; i++) {
        const int32_t correlation = correlations[lags - 1 - i];
        if (correlation <= largest) continue;
        largest = correlation;
        best = centre - 3 + i;
    }
    const int16_t total = round(macEnergy(last, length).value);
    const int16_t delayed = round(macEnergy(last - best, length).value);
    const int16_t correlation = round(largest);
    const bool voiced = correlation > 0 && L_msu(L_mult(delayed, total) >> 3, correlation, correlation) < 0;
    *period = static_cast<int16_t>(voiced ? best : 0);
    *energy = total;
    *gain = fixedGains[(gainIndices[0] + gainIndices[1]) >> 1];
    return ryxStsOk;
}

ryxStatus ryxsConcealExcitation_G723_16s_u8(int period, int16_t *gain, int16_t *seed, int16_t *excitation,
                                            int16_t *history) {
    if (anyNull(gain, seed, excitation, history)) return ryxStsNullPtr;
    if (period != 0 && (period < shortestLag - 3 || period > historyLength)) return ryxStsOutOfRange;
    *gain = mult_r(*gain, attenuation);
    if (period == 0) {
        for (int i = 0; i < frameLength; i++)
            excitation[i] = mult(*gain, random(*seed));
        std::fill_n(history, historyLength, int16_t{0});
        return ryxStsOk;
    }
    int16_t line[historyLength + frameLength];
    std::copy_n(history, historyLength, line);
    for (int i = historyLength; i < historyLength + frameLength; i++)
        line[i] = line[i - period];
    for (int i = 0; i < frameLength; i++)
        excitation[i] = line[historyLength + i] = mult(line[historyLength + i], attenuation);
    std::copy_n(line + frameLength, historyLength, history);
    return ryxStsOk;
}
