// SPDX-License-Identifier: BSD-2-Clause
// Search of the multipulse code of ITU-T G.723.1, 6.3 kbit/s (MP-MLQ): five or six pulses of one magnitude on the even or
// the odd samples, with and without repetition at the pitch lag.
#pragma once

#include <cstdlib>

#include "common/checks.h"
#include "g723/fixed_codebook.h"

namespace {

using namespace ryxsc;
using namespace ryxsc::g723;

constexpr int mostPulses = 6;
constexpr int lowestLevel = 2; // candidates go from two below the nearest level to one above
constexpr int highestLevel = 22;

struct MultipulseCode {
    int16_t level = 0, grid = 0, train = 0;
    int16_t position[mostPulses] = {}, amplitude[mostPulses] = {};
};

class MultipulseSearch {
public:
    MultipulseSearch(const int16_t *target, int pulses) : target_(target), pulses_(pulses) {}

    // With a response that repeats at the lag, or one that does not.
    void run(const int16_t *response, int16_t train) {
        response_ = response;
        train_ = train;
        correlate();
        for (int16_t grid = 0; grid < 2; grid++) {
            const int first = largestOf(grid);
            const int nearest = nearestLevel(L_abs(cross_[first]));
            for (int level = nearest - 2; level <= nearest + 1; level++)
                tryLevel(grid, first, static_cast<int16_t>(level));
        }
    }

    const MultipulseCode &best() const { return best_; }

private:
    void correlate() {
        int16_t halved[subframeLength];
        for (int i = 0; i < subframeLength; i++)
            halved[i] = response_[i] >> 1;
        const int32_t energy = dotProduct(halved, halved, subframeLength);
        const int shift = norm_l(energy);
        for (int lag = 0; lag < subframeLength; lag++) {
            auto_[lag] = round(L_shl(dotProduct(halved + lag, halved, subframeLength - lag), shift));
            cross_[lag] = L_shl(dotProduct(target_ + lag, response_, subframeLength - lag), shift - 4);
        }
    }

    // The last among equals.
    int largestOf(int grid) const {
        int best = grid;
        for (int l = grid; l < subframeLength; l += 2)
            if (L_abs(cross_[l]) >= L_abs(cross_[best])) best = l;
        return best;
    }

    int nearestLevel(int32_t magnitude) const {
        int nearest = highestLevel;
        int32_t smallest = errorStart;
        for (int level = highestLevel; level >= lowestLevel; level--) {
            const int32_t error = L_abs(L_sub(L_mult(fixedGains[level], auto_[0]), magnitude));
            if (error >= smallest) continue;
            smallest = error;
            nearest = level;
        }
        return nearest;
    }

    void tryLevel(int16_t grid, int first, int16_t level) {
        MultipulseCode code;
        code.level = level;
        code.grid = grid;
        code.train = train_;
        int32_t cross[subframeLength];
        bool taken[subframeLength] = {};
        std::copy_n(cross_, subframeLength, cross);
        int next = first;
        for (int k = 0;; k++) {
            code.position[k] = static_cast<int16_t>(next);
            code.amplitude[k] = static_cast<int16_t>(cross[next] >= 0 ? fixedGains[level] : -fixedGains[level]);
            taken[next] = true;
            if (k == pulses_ - 1) break;
            next = removePulse(code.position[k], code.amplitude[k], grid, taken, cross);
        }
        const int32_t score = scoreOf(code);
        if (score <= bestScore_) return;
        bestScore_ = score;
        best_ = code;
    }

    // Takes a pulse out of the free positions; where the largest magnitude remains.
    int removePulse(int position, int16_t amplitude, int grid, const bool *taken, int32_t *cross) const {
        int best = -1;
        int32_t largest = -1;
        for (int l = grid; l < subframeLength; l += 2) {
            if (taken[l]) continue;
            cross[l] = L_msu(cross[l], amplitude, auto_[std::abs(l - position)]);
            if (L_abs(cross[l]) <= largest) continue;
            largest = L_abs(cross[l]);
            best = l;
        }
        return best;
    }

    int32_t scoreOf(const MultipulseCode &code) const {
        int16_t vector[subframeLength] = {};
        for (int k = 0; k < pulses_; k++)
            vector[code.position[k]] = code.amplitude[k];
        int32_t score = 0;
        for (int l = 0; l < subframeLength; l++) {
            int32_t acc = 0;
            for (int j = 0; j <= l; j++)
                acc = L_mac(acc, vector[j], response_[l - j]);
            const int16_t filtered = extract_h(L_shl(acc, 2));
            score = L_mac(score, target_[l], filtered);
            score = L_sub(score, L_mult(filtered, filtered) >> 1);
        }
        return score;
    }

    static constexpr int32_t errorStart = 1 << 30;

    const int16_t *target_, *response_ = nullptr;
    int pulses_;
    int16_t train_ = 0;
    int16_t auto_[subframeLength];  // autocorrelation of the response
    int32_t cross_[subframeLength]; // its correlation with the target
    int32_t bestScore_ = -(1 << 30);
    MultipulseCode best_;
};

// Number of the combination of positions, and signs, the first pulse in the highest bit.
void numberPositions(const int16_t *vector, int grid, int pulses, int32_t *number, int16_t *signs) {
    int32_t sum = 0;
    int bits = 0;
    for (int i = 0, passed = 6 - pulses; i < gridPositions && passed < 6; i++) {
        const int16_t pulse = vector[grid + 2 * i];
        if (pulse == 0) {
            sum += combinations.value[passed][i];
            continue;
        }
        bits = 2 * bits + (pulse < 0 ? 1 : 0);
        passed++;
    }
    *number = sum;
    *signs = static_cast<int16_t>(bits);
}

ryxStatus searchMultipulse(const int16_t *target, const int16_t *impulse, int lag, int subframe, int16_t *vector,
                           int32_t *positions, int16_t *signs, int16_t *gainIndex, int16_t *grid, int16_t *train) {
    if (anyNull(target, impulse, vector, positions, signs, gainIndex, grid, train)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag || subframe < 0 || subframe >= subframes) return ryxStsOutOfRange;
    MultipulseSearch search(target, pulseCounts[subframe]);
    search.run(impulse, 0);
    int16_t periodic[subframeLength];
    if (lag < shortLagLimit) {
        addPulseTrain(impulse, lag, periodic);
        search.run(periodic, 1);
    }
    const MultipulseCode &code = search.best();
    int16_t pulses[subframeLength] = {};
    for (int k = 0; k < pulseCounts[subframe]; k++)
        pulses[code.position[k]] = code.amplitude[k];
    numberPositions(pulses, code.grid, pulseCounts[subframe], positions, signs);
    *gainIndex = code.level;
    *grid = code.grid;
    *train = code.train;
    if (code.train != 0)
        addPulseTrain(pulses, lag, vector);
    else
        std::copy_n(pulses, subframeLength, vector);
    return ryxStsOk;
}

} // namespace
