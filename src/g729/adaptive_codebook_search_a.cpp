// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop pitch search of ITU-T G.729 Annex A: the correlation of the backward-filtered target with the excitation.
#include <algorithm>

#include "common/checks.h"
#include "common/product_sums.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;

void ryxsc::g729::correlateBackwards(const int16_t *x, const int16_t *h, int32_t *sums) {
    if (!fitsSums(energy(x, subframe), energy(h, subframe))) [[unlikely]] {
        macCorrelations(h, x, subframe, subframe, sums, false);
        return;
    }
    for (int n = 0; n < subframe; n += 8) // fewer and fewer terms
        wrappedCorrelations(h, x + n, subframe - n, 8, sums + n);
    for (int n = 0; n < subframe; n++)
        sums[n] = wrapMul32(2, sums[n]);
}

void ryxsc::g729::backwardTarget(const int16_t *target, const int16_t *response, int16_t *d) {
    int16_t padded[2 * subframe] = {};
    std::copy_n(target, subframe, padded);
    int32_t sums[subframe];
    correlateBackwards(padded, response, sums);
    uint32_t magnitudes = 0; // all bits that any of them has: as long as the largest
    for (const int32_t sum : sums)
        magnitudes |= static_cast<uint32_t>(sum < 0 ? ~sum + (sum != min32) : sum);
    const int norm = magnitudes == 0 ? 0 : __builtin_clz(magnitudes) - 1;
    const int shift = 18 - std::min(norm, 16);
    for (int n = 0; n < subframe; n++)
        d[n] = extract_l(sums[n] >> shift);
}

ryxStatus ryxsAdaptiveCodebookSearch_G729A_16s_u8(int16_t openLoopLag, const int16_t *target, const int16_t *response,
                                                  int16_t *excitation, int16_t *delay, int16_t subframeFlag) {
    constexpr int longestWithFraction = 84; // in the first subframe
    if (anyNull(target, response, excitation, delay)) return ryxStsNullPtr;
    if (const ryxStatus status = checkSearch(openLoopLag, subframeFlag); status != ryxStsOk) return status;
    const LagRange range = lagRange(openLoopLag, subframeFlag);
    int16_t d[subframe];
    backwardTarget(target, response, d);
    const auto correlation = [&] { return macProducts(d, excitation, subframe).value; };

    int32_t correlations[16]; // of at most ten lags, the longest first
    macCorrelations(d, excitation - range.to, subframe, range.to - range.from + 1, correlations);
    int lag = range.to - lastLargestOfFew<3>(correlations, range.to - range.from + 1).index;

    buildAdaptiveVector(excitation, lag, 0);
    int best = 0;
    if (subframeFlag == 1 || lag <= longestWithFraction) {
        int32_t largest = correlation();
        int16_t vector[subframe];
        std::copy_n(excitation, subframe, vector);
        for (const int fraction : {-1, 1}) {
            buildAdaptiveVector(excitation, lag, fraction);
            const int32_t value = correlation();
            if (value > largest) {
                largest = value;
                best = fraction;
                std::copy_n(excitation, subframe, vector);
            }
        }
        std::copy_n(vector, subframe, excitation);
    }
    delay[0] = static_cast<int16_t>(lag);
    delay[1] = static_cast<int16_t>(best);
    return ryxStsOk;
}
