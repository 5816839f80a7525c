// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop search of the fifth-order pitch predictor of ITU-T G.723.1, and the target that it leaves.
#include "common/checks.h"
#include "frame/implementations.h"
#include "g723/adaptive_codebook.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int taps = 5;
constexpr int terms = 20;     // of a gain vector: correlations with the target, energies, cross terms
constexpr int candidates = 4; // lags tried in an odd subframe; one less in an even one
constexpr int32_t errorLimit = 1 << 30;

// sum of x[i] * y[i] * 2^shift, undoubled, saturated after every term.
int32_t correlate(const int16_t *x, const int16_t *y, int shift) {
    int32_t acc = 0;
    for (int i = 0; i < subframeLength; i++)
        acc = L_add(acc, x[i] * y[i]);
    return L_shl(acc, shift);
}

// The five delayed excitations filtered by the impulse response. Each is its neighbour a sample later and one more
// response, so only the last is a convolution.
struct FilteredTaps {
    int16_t tap[taps][subframeLength];

    FilteredTaps(const int16_t *delayed, const int16_t *impulse) {
        for (int i = 0; i < subframeLength; i++) {
            int32_t acc = 0;
            for (int j = 0; j <= i; j++)
                acc = L_mac(acc, delayed[taps - 1 + j], impulse[i - j]);
            tap[taps - 1][i] = round(acc);
        }
        for (int m = taps - 2; m >= 0; m--) {
            tap[m][0] = mult_r(delayed[m], 8192);
            for (int j = 1; j < subframeLength; j++)
                tap[m][j] = round(L_mac(L_deposit_h(tap[m + 1][j - 1]), delayed[m], impulse[j]));
        }
    }
};

void correlateTaps(const FilteredTaps &filtered, const int16_t *target, int32_t *values) {
    for (const auto &tap : filtered.tap)
        *values++ = correlate(target, tap, 1);
    for (const auto &tap : filtered.tap)
        *values++ = dotProduct(tap, tap, subframeLength);
    for (int i = 1; i < taps; i++)
        for (int j = 0; j < i; j++)
            *values++ = correlate(filtered.tap[i], filtered.tap[j], 2);
}

// How many vectors of the two codebooks taming leaves.
struct AllowedGains {
    int few, many;

    AllowedGains(const int32_t *errors, int sine, int shortest, int longest) {
        const int first = std::max(1, shortest - 61) * 1092 >> 15, last = (longest + 2) * 1092 >> 15;
        const int32_t error = *std::max_element(errors + first, errors + last + 1);
        const int steps = error > errorLimit || sine != 0 ? 0 : (errorLimit - error) >> 23;
        few = std::min(85, 51 + 4 * steps);
        many = std::min(170, 93 + 8 * steps);
    }
};

struct Best {
    int32_t score = 0;
    int candidate = 1, gainIndex = 0;

    void search(const int16_t *terms20, int number, const int16_t (*book)[terms], int vectors) {
        for (int g = 0; g < vectors; g++) {
            int32_t acc = 0;
            for (int c = 0; c < terms; c++)
                acc = L_add(acc, terms20[c] * book[g][c]);
            if (acc <= score) continue;
            score = acc;
            candidate = number;
            gainIndex = g;
        }
    }
};

} // namespace

ryxStatus ryxsAdaptiveCodebookSearch_G723_16s_u8(const int16_t *target, const int16_t *impulse,
                                                 const int16_t *excitation, const int32_t *errors, int sine,
                                                 int subframe, int rate, int16_t *lag, int16_t *offset,
                                                 int16_t *gainIndex) {
    if (anyNull(target, impulse, excitation, errors, lag, offset, gainIndex)) return ryxStsNullPtr;
    if (subframe < 0 || subframe >= subframes || !isRate(rate)) return ryxStsOutOfRange;
    const bool even = !isOdd(subframe);
    if (*lag < shortestLag || *lag > (even ? longestLag - 1 : longestLag - 2)) return ryxStsOutOfRange;
    const int centre = even ? std::clamp<int>(*lag, 19, 140) : *lag;
    const int count = even ? candidates - 1 : candidates;

    int32_t values[candidates * terms];
    for (int k = 0; k < count; k++) {
        const DelayedExcitation delayed(excitation, centre - 1 + k);
        correlateTaps(FilteredTaps(delayed.words, impulse), target, values + k * terms);
    }
    const int shift = norm_l(largestMagnitude(values, count * terms));
    const AllowedGains allowed(errors, sine, centre - 1, centre - 2 + count);

    Best best;
    for (int k = 0; k < count; k++) {
        int16_t scaled[terms];
        for (int c = 0; c < terms; c++)
            scaled[c] = round(L_shl(values[k * terms + c], shift));
        if (hasFewGains(even ? centre - 1 + k : centre, rate))
            best.search(scaled, k, pitchGains85, allowed.few);
        else
            best.search(scaled, k, pitchGains170, allowed.many);
    }
    *lag = static_cast<int16_t>(even ? centre - 1 + best.candidate : centre);
    *offset = static_cast<int16_t>(even ? 1 : best.candidate);
    *gainIndex = static_cast<int16_t>(best.gainIndex);
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookTarget_G723_16s_I_u8(int16_t *srcDst, const int16_t *adaptive, const int16_t *impulse) {
    if (anyNull(srcDst, adaptive, impulse)) return ryxStsNullPtr;
    for (int i = 0; i < subframeLength; i++) {
        int32_t acc = srcDst[i] * 32768;
        for (int j = 0; j <= i; j++)
            acc = L_msu(acc, adaptive[j], impulse[i - j]);
        srcDst[i] = round(L_shl(acc, 1));
    }
    return ryxStsOk;
}
