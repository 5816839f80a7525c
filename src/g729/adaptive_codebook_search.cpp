// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop pitch search of ITU-T G.729 (clause 3.7) and, for the second subframe, of Annex D.
#include <algorithm>

#include "common/checks.h"
#include "common/convolution.h"
#include "common/double_precision.h"
#include "common/inv_sqrt.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int margin = 4; // of lags on either side, for the interpolation
constexpr int mostLags = 10 + 2 * margin;

// The normalised correlations of the lags range.from - margin .. range.to + margin.
class Correlations {
public:
    Correlations(const LagRange &range, const int16_t *target, const int16_t *response, const int16_t *excitation)
        : first_(range.from - margin) {
        const int last = range.to + margin;
        alignas(16) int16_t filtered[subframe];
        convolve<subframe>(excitation - first_, response, filtered, 3, Rounding::truncate);
        const bool strong = macEnergy(filtered, subframe).value > 67108864;
        if (strong)
            for (int16_t &x : filtered)
                x = static_cast<int16_t>(x >> 2);
        for (int lag = first_;; lag++) {
            const int32_t norm = inverseSqrt(macEnergy(filtered, subframe).value);
            const int32_t correlation = macProducts(target, filtered, subframe).value;
            values_[lag - first_] = sat16(multiply(correlation, norm));
            if (lag == last) break;
            const int16_t next = excitation[-lag - 1];
            if (strong)
                delayConvolution<subframe, 14>(filtered, response, next, static_cast<int16_t>(next >> 2));
            else
                delayConvolution<subframe, 12>(filtered, response, next, next);
        }
    }

    // The largest, the longest lag among equals.
    int bestLag(const LagRange &range) const {
        int best = range.from;
        for (int lag = range.from; lag <= range.to; lag++)
            if (at(lag) >= at(best)) best = lag;
        return best;
    }

    // At a lag and -2 .. 2 thirds.
    int16_t interpolated(int lag, int thirds) const {
        const auto weight = [](int k) { return correlationFilter[static_cast<size_t>(k)]; };
        const int base = thirds < 0 ? lag - 1 : lag, phase = thirds < 0 ? thirds + 3 : thirds;
        int32_t sum = 0;
        for (int i = 0; i < margin; i++) {
            sum = L_mac(sum, at(base - i), weight(phase + 3 * i));
            sum = L_mac(sum, at(base + 1 + i), weight(3 - phase + 3 * i));
        }
        return round(sum);
    }

private:
    int16_t at(int lag) const { return values_[lag - first_]; }

    int first_;
    int16_t values_[mostLags];
};

// The best of the fractions from .. to, in thirds; the first one among equals. The outer ones belong to the neighbours.
void chooseFraction(const Correlations &correlations, int lag, int from, int to, int16_t *delay) {
    int best = from;
    int16_t largest = correlations.interpolated(lag, from);
    for (int thirds = from + 1; thirds <= to; thirds++) {
        const int16_t value = correlations.interpolated(lag, thirds);
        if (value > largest) {
            largest = value;
            best = thirds;
        }
    }
    const int carry = best == -2 ? -1 : best == 2 ? 1 : 0;
    delay[0] = static_cast<int16_t>(lag + carry);
    delay[1] = static_cast<int16_t>(best - 3 * carry);
}

void withoutFraction(int lag, int16_t *delay) {
    delay[0] = static_cast<int16_t>(lag);
    delay[1] = 0;
}

enum class Resolution { main, annexD };

ryxStatus search(Resolution resolution, int16_t openLoopLag, const int16_t *target, const int16_t *response,
                 int16_t *excitation, int16_t *delay, int16_t subframeFlag) {
    constexpr int longestWithFraction = 84; // in the first subframe
    if (anyNull(target, response, excitation, delay)) return ryxStsNullPtr;
    if (const ryxStatus status = checkSearch(openLoopLag, subframeFlag); status != ryxStsOk) return status;
    const LagRange range = lagRange(openLoopLag, subframeFlag);
    const Correlations correlations(range, target, response, excitation);
    const int lag = correlations.bestLag(range);
    const int offset = lag - (range.to - 4); // from the middle lag of Annex D
    if (subframeFlag == 0 ? lag > longestWithFraction : resolution == Resolution::annexD && (offset < -2 || offset > 1))
        withoutFraction(lag, delay);
    else if (subframeFlag == 1 && resolution == Resolution::annexD)
        chooseFraction(correlations, lag, offset == -2 ? 0 : -2, offset == 1 ? 0 : 2, delay);
    else
        chooseFraction(correlations, lag, -2, 2, delay);
    buildAdaptiveVector(excitation, delay[0], delay[1]);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsAdaptiveCodebookSearch_G729_16s_u8(int16_t openLoopLag, const int16_t *target, const int16_t *response,
                                                 int16_t *excitation, int16_t *delay, int16_t subframeFlag) {
    return search(Resolution::main, openLoopLag, target, response, excitation, delay, subframeFlag);
}

ryxStatus ryxsAdaptiveCodebookSearch_G729D_16s_u8(int16_t openLoopLag, const int16_t *target, const int16_t *response,
                                                  int16_t *excitation, int16_t *delay, int16_t subframeFlag) {
    return search(Resolution::annexD, openLoopLag, target, response, excitation, delay, subframeFlag);
}
