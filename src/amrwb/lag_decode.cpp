// SPDX-License-Identifier: BSD-2-Clause
// Adaptive-codebook lags: decoding, and concealment where a lag is lost or doubtful (3GPP TS 26.173, TS 26.191).
#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int historyLength = 5;

struct Lag {
    int samples, quarters;
};

Lag decodeAbsolute(int index, bool isLow) {
    if (isLow) return index < 116 ? Lag{34 + (index >> 1), 2 * (index & 1)} : Lag{index - 24, 0};
    if (index < 376) return {34 + (index >> 2), index & 3};
    if (index < 440) return {128 + ((index - 376) >> 1), 2 * (index & 1)};
    return {index - 280, 0};
}

class Concealment {
public:
    Concealment(const int16_t *lags, const int16_t *gains, int16_t &seed)
        : lags_(lags), gains_(gains), seed_(seed), least_(*std::min_element(lags, lags + historyLength)),
          most_(*std::max_element(lags, lags + historyLength)),
          leastGain_(*std::min_element(gains, gains + historyLength)) {}

    int16_t replaceLost(int16_t lastLag) { return replace(lastLag); }

    int16_t replaceDoubtful(int16_t lag) { return isCredible(lag) ? lag : replace(lags_[0]); }

private:
    bool isSteady() const { return most_ - least_ < 10; }
    bool isVoiced() const { return gains_[4] > 8192 && gains_[3] > 8192; }

    bool isCredible(int16_t lag) const {
        const int change = lag - lags_[0];
        if (isSteady() && lag > least_ - 5 && lag - most_ < 5) return true;
        if (isVoiced() && change > -10 && change < 10) return true;
        if (leastGain_ < 6554 && gains_[4] == leastGain_ && lag > least_ && lag < most_) return true;
        if (most_ - least_ < 70 && lag > least_ && lag < most_) return true;
        int sum = 0;
        for (int i = 0; i < historyLength; i++)
            sum += lags_[i];
        return lag > mult(sat16(sum), 6554) && lag < most_;
    }

    int16_t replace(int16_t steadyLag) {
        int16_t lag;
        if (leastGain_ > 8192 && isSteady())
            lag = steadyLag;
        else if (isVoiced())
            lag = lags_[0];
        else
            lag = randomLag();
        return std::max(std::min(lag, most_), least_);
    }

    // Around the mean of the three longest lags.
    int16_t randomLag() {
        int16_t sorted[historyLength];
        std::copy_n(lags_, historyLength, sorted);
        std::sort(sorted, sorted + historyLength);
        const auto spread = static_cast<int16_t>(std::min(sorted[4] - sorted[2], 40));
        const int16_t mean = mult(sat16(sorted[2] + sorted[3] + sorted[4]), 10923);
        return add(mean, mult(static_cast<int16_t>(spread >> 1), nextRandom(seed_)));
    }

    const int16_t *lags_, *gains_;
    int16_t &seed_;
    int16_t least_, most_, leastGain_;
};

} // namespace

ryxStatus ryxsDecodeLag_AMRWB_16s_u8(int index, int subframe, int mode, int16_t *range, int16_t *lag,
                                     int16_t *fraction) {
    if (anyNull(range, lag, fraction)) return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    if (subframe < 0 || subframe > 3) return ryxStsOutOfRange;
    const bool isLow = isLowRate(mode), isAbsolute = hasAbsoluteLag(subframe, mode);
    if (!isAbsolute && (range[0] < 34 || range[1] > 231 || range[1] - range[0] != 15)) return ryxStsOutOfRange;
    if (index < 0 || index >= (isAbsolute ? 512 : 64) >> int{isLow}) return ryxStsBadIndex;
    Lag decoded;
    if (isAbsolute) {
        decoded = decodeAbsolute(index, isLow);
        const LagRange next = lagRangeAround(decoded.samples);
        range[0] = next.first;
        range[1] = next.last;
    } else if (isLow) {
        decoded = {range[0] + (index >> 1), 2 * (index & 1)};
    } else {
        decoded = {range[0] + (index >> 2), index & 3};
    }
    *lag = static_cast<int16_t>(decoded.samples);
    *fraction = static_cast<int16_t>(decoded.quarters);
    return ryxStsOk;
}

ryxStatus ryxsLagConceal_AMRWB_16s_u8(const int16_t *lagHistory, const int16_t *gainHistory, int lastLag, int lost,
                                      int16_t *lag, int16_t *seed) {
    if (anyNull(lagHistory, gainHistory, lag, seed)) return ryxStsNullPtr;
    if (lost != 0 && lost != 1) return ryxStsOutOfRange;
    Concealment concealment(lagHistory, gainHistory, *seed);
    *lag = lost != 0 ? concealment.replaceLost(static_cast<int16_t>(lastLag)) : concealment.replaceDoubtful(*lag);
    return ryxStsOk;
}
