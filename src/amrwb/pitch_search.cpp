// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop search of the adaptive-codebook lag, with resolutions of a quarter and half a sample, and the code of the lag
// (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/convolution.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int margin = 4; // correlations around the range, for the interpolation
constexpr int mostLags = 16 + 2 * margin;

class LagSearch {
public:
    LagSearch(const int16_t *target, const int16_t *response, const int16_t *excitation, LagRange range)
        : range_(range) {
        const uint64_t targetEnergy = energy(target, subframeLength);
        const int scale = -((30 - norm_l(sat32(static_cast<int64_t>(1 + 2 * targetEnergy))) + 2) >> 1);
        const int first = range.first - margin, last = range.last + margin;
        alignas(16) int16_t filtered[subframeLength];
        convolve<subframeLength>(excitation - first, response, filtered, 0, Rounding::nearest);
        for (int lag = first;; lag++) {
            correlations_[lag - first] = normalisedCorrelation(target, targetEnergy, filtered, scale);
            if (lag == last) break;
            const int16_t sample = excitation[-lag - 1];
            delayConvolution<subframeLength, 15>(filtered, response, sample, mult(sample, response[0]));
        }
    }

    // The lag of the largest correlation, of equal ones the longest.
    int best() const {
        int lag = range_.first;
        for (int t = range_.first; t <= range_.last; t++)
            if (at(t) >= at(lag)) lag = t;
        return lag;
    }

    // Of the fractions, in quarters, the first one of those with the largest interpolated correlation.
    int bestFraction(int lag, int first, int step) const {
        int fraction = first, largest = interpolated(lag, first);
        for (int f = first + step; f <= 3; f += step) {
            const int16_t correlation = interpolated(lag, f);
            if (correlation <= largest) continue;
            largest = correlation;
            fraction = f;
        }
        return fraction;
    }

private:
    static int16_t normalisedCorrelation(const int16_t *target, uint64_t targetEnergy, const int16_t *filtered,
                                         int scale) {
        const uint64_t filteredEnergy = energy(filtered, subframeLength);
        const int32_t sum = fitsSums(targetEnergy, filteredEnergy)
                                ? 1 + 2 * wrappedProducts(target, filtered, subframeLength)
                                : macInOrder(target, filtered, subframeLength, 1).value;
        const Scaled product = normalised(sum);
        const Scaled root = inverseRoot(normalised(sat32(static_cast<int64_t>(1 + 2 * filteredEnergy))));
        return round(L_shl(L_mult(product.high(), root.high()), product.exponent + root.exponent + scale));
    }

    int16_t interpolated(int lag, int fraction) const {
        const int base = fraction < 0 ? lag - 1 : lag;
        const int32_t sum = macInOrder(&at(base - 3), correlationTaps[fraction & 3], 8).value;
        return round(L_shl(sum, 1));
    }

    const int16_t &at(int lag) const { return correlations_[lag - range_.first + margin]; }

    LagRange range_;
    int16_t correlations_[mostLags];
};

int codeOf(int lag, int fraction, bool isAbsolute, bool isLow, int firstLag) {
    const int half = fraction >> 1;
    if (isLow) {
        if (!isAbsolute) return 2 * (lag - firstLag) + half;
        return lag < 92 ? 2 * lag + half - 68 : lag - 92 + 116;
    }
    if (!isAbsolute) return 4 * (lag - firstLag) + fraction;
    if (lag < 128) return 4 * lag + fraction - 136;
    return lag < 160 ? 2 * lag + half - 256 + 376 : lag - 160 + 376 + 64;
}

} // namespace

ryxStatus ryxsAdaptiveCodebookSearch_AMRWB_16s_u8(const int16_t *target, const int16_t *response,
                                                  const int16_t *excitation, int openLoopLag, int subframe, int mode,
                                                  int16_t *range, int16_t *lag, int16_t *fraction, int16_t *index) {
    if (anyNull(target, response, excitation, range, lag, fraction, index)) return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    const bool isAbsolute = hasAbsoluteLag(subframe, mode);
    if (subframe < 0 || subframe > 3) return ryxStsOutOfRange;
    if (isAbsolute ? openLoopLag < 34 || openLoopLag > 231
                   : range[0] < 34 || range[1] > 231 || range[1] - range[0] != 15)
        return ryxStsOutOfRange;
    const LagLimits limits = lagLimitsOf(mode);
    const LagRange tried = isAbsolute ? lagRangeAround(openLoopLag) : LagRange{range[0], range[1]};
    const LagSearch search(target, response, excitation, tried);
    int t = search.best(), f = 0;
    if (!isAbsolute || t < limits.half) {
        const bool halves = isLowRate(mode) || (isAbsolute && t >= limits.quarter);
        const int step = halves ? 2 : 1;
        f = search.bestFraction(t, t == tried.first ? 0 : halves ? -2 : -3, step);
        if (f < 0) {
            f += 4;
            t--;
        }
    }
    if (isAbsolute) {
        const LagRange next = lagRangeAround(t);
        range[0] = next.first;
        range[1] = next.last;
    }
    *lag = static_cast<int16_t>(t);
    *fraction = static_cast<int16_t>(f);
    *index = static_cast<int16_t>(codeOf(t, f, isAbsolute, isLowRate(mode), tried.first));
    return ryxStsOk;
}
