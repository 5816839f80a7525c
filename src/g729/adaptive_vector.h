// SPDX-License-Identifier: BSD-2-Clause
// The adaptive codebook vector of ITU-T G.729 (clause 3.7.1) and what the searches share.
#pragma once

#include <cstdint>

#include "ryxsc/g729.h"

namespace ryxsc::g729 {

inline constexpr int subframe = 40;
inline constexpr int excitationHistory = 154; // 143, the delay's fraction and the filter's reach
inline constexpr int shortestLag = 18, longestLag = 144;

constexpr bool isDelay(int16_t lag, int16_t fraction) {
    return lag >= shortestLag && lag <= longestLag && fraction >= -1 && fraction <= 1;
}

// excitation[0 .. 39] from [-154 .. -1], the later samples from the earlier new ones where the lag is short.
void buildAdaptiveVector(int16_t *excitation, int lag, int fraction);

// Lags that the closed loop tries.
struct LagRange {
    int from, to;
};
constexpr LagRange rangeAround(int lag, int below, int width) {
    const int from = lag - below > 20 ? lag - below : 20;
    return from + width > 143 ? LagRange{143 - width, 143} : LagRange{from, from + width};
}
constexpr LagRange lagRange(int lag, int16_t subframeFlag) {
    return subframeFlag == 0 ? rangeAround(lag, 3, 6) : rangeAround(lag, 5, 9);
}

// What a search checks first; ryxStsOk also for null pointers, which come before.
constexpr ryxStatus checkSearch(int16_t lag, int16_t subframeFlag) {
    if (lag < 18 || lag > 145 || subframeFlag < 0 || subframeFlag > 1) return ryxStsOutOfRange;
    return ryxStsOk;
}

// sums[n] = sum of 2 * x[j] * h[j - n] over j = n .. 39, saturating from term to term. Behind x follow 40 zeros.
void correlateBackwards(const int16_t *x, const int16_t *h, int32_t *sums);

// The target filtered backwards: d[n] = sum of x[j] * h[j - n] over j >= n, scaled to at most 13 bits (clause 3.8.1).
void backwardTarget(const int16_t *target, const int16_t *response, int16_t *d);

} // namespace ryxsc::g729
