// SPDX-License-Identifier: BSD-2-Clause
// Discontinuous transmission in the encoder: hangover, histories of background noise, parameters of silence descriptors
// (3GPP TS 26.192, TS 26.193).
#include "amrwb/comfort_noise.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/state_block.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int16_t hangoverFrames = 7;
constexpr int distanceCount = historyFrames * (historyFrames - 1) / 2;

struct State {
    int32_t distances[distanceCount]; // between the vectors: of the newest to the 7 older ones, of the next to 6, ...
    int32_t distanceSums[historyFrames]; // of each vector to all others, the newest first
    int16_t isf[historyFrames][lpOrder];
    int16_t logEnergies[historyFrames];
    int16_t newest; // place in the histories
    int16_t seed;
    int16_t hangover, elapsed;

    const int16_t *older(int age) const { return isf[(newest - age + historyFrames) % historyFrames]; }
};

int32_t distance(const int16_t *x, const int16_t *y) {
    int32_t sum = 0;
    for (int i = 0; i < lpOrder; i++) {
        const int16_t difference = sub(x[i], y[i]);
        sum = L_mac(sum, difference, difference);
    }
    return sum;
}

// One vector takes the place of the oldest. This happens once for each silence descriptor, though the history moves with
// every frame of noise: the recommendation's program does so.
void updateDistances(State &state) {
    for (int i = 0, j = -1; i < historyFrames - 1; i++) {
        j += historyFrames - 1 - i;
        state.distanceSums[i] = L_sub(state.distanceSums[i], state.distances[j]);
    }
    std::copy_backward(state.distanceSums, state.distanceSums + historyFrames - 1, state.distanceSums + historyFrames);
    state.distanceSums[0] = 0;
    // Row r of the triangle becomes row r + 1, which is shorter by one.
    for (int i = distanceCount - 1, t = 0; i >= 12;) {
        t++;
        for (int j = t; j > 0; j--)
            state.distances[i - j + 1] = state.distances[i - j - t];
        i -= t;
    }
    for (int i = 1; i < historyFrames; i++) {
        state.distances[i - 1] = distance(state.older(0), state.older(i));
        state.distanceSums[0] = L_add(state.distanceSums[0], state.distances[i - 1]);
        state.distanceSums[i] = L_add(state.distanceSums[i], state.distances[i - 1]);
    }
}

// Ages of the vectors farthest from the others, -1 where they stand out too little, and of the one nearest to them.
struct Outliers {
    int first, second, median;
};
Outliers findOutliers(const State &state) {
    constexpr int16_t ratio = 14564;
    const int32_t *const sums = state.distanceSums;
    int first = 0, median = 0, second = -1;
    for (int i = 1; i < historyFrames; i++) {
        if (sums[i] > sums[first]) first = i;
        if (sums[i] < sums[median]) median = i;
    }
    int32_t secondSum = min32 + 1;
    for (int i = 0; i < historyFrames; i++)
        if (i != first && sums[i] > secondSum) {
            secondSum = sums[i];
            second = i;
        }
    const int n = norm_l(sums[first]);
    const int32_t smallest = L_shl(sums[median], n);
    const auto standsOut = [&](int32_t sum) { return L_mult(round(L_shl(sum, n)), ratio) > smallest; };
    return {standsOut(sums[first]) ? first : -1, standsOut(secondSum) ? second : -1, median};
}

void averageIsf(const State &state, const Outliers &outliers, int16_t *mean) {
    for (int j = 0; j < lpOrder; j++) {
        int32_t sum = 0;
        for (int age = 0; age < historyFrames; age++) {
            const bool isReplaced = age == outliers.first || age == outliers.second;
            sum += state.older(isReplaced ? outliers.median : age)[j];
        }
        mean[j] = extract_l(sum >> 3);
    }
}

int16_t sumOfEnergies(const State &state) {
    int16_t sum = 0;
    for (const int16_t energy : state.logEnergies)
        sum = add(sum, energy);
    return sum;
}

// Whether the noise changes so much that the decoder had better dither it.
bool isUnsteady(const State &state) {
    int32_t spectral = 0;
    for (const int32_t sum : state.distanceSums)
        spectral = L_add(spectral, sum);
    if (spectral >> 26 > 0) return true;
    const int16_t mean = shr(sumOfEnergies(state), 3);
    int16_t deviation = 0;
    for (const int16_t energy : state.logEnergies)
        deviation = add(deviation, abs_s(sub(energy, mean)));
    return deviation > 180;
}

} // namespace

ryxStatus ryxsEncDTXGetStateSize_AMRWB_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXInit_AMRWB_16s_u8(EncDTXState_AMRWB *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state = {};
    for (auto &isf : state.isf)
        std::copy_n(startIsf, lpOrder, isf);
    state.seed = 21845;
    state.hangover = hangoverFrames;
    state.elapsed = max16;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXHandler_AMRWB_16s_u8(int vad, int16_t *silence, int16_t *hangover, EncDTXState_AMRWB *block) {
    constexpr int16_t leastPeriod = 30;
    if (anyNull(silence, hangover, block)) return ryxStsNullPtr;
    State state = loadBlock<State>(block);
    state.elapsed = add(state.elapsed, 1);
    *silence = 0;
    if (vad != 0) {
        state.hangover = hangoverFrames;
    } else if (state.hangover == 0) {
        state.elapsed = 0;
        *silence = 1;
    } else {
        state.hangover--;
        *silence = add(state.hangover, state.elapsed) < leastPeriod;
    }
    *hangover = state.hangover;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXBuffer_AMRWB_16s_u8(const int16_t *residual, int q, const int16_t *isf, int mode,
                                        EncDTXState_AMRWB *block) {
    if (anyNull(residual, isf, block)) return ryxStsNullPtr;
    const int speechMode = speechModeIndex(mode);
    if (speechMode < 0) return ryxStsBadSize;
    State state = loadBlock<State>(block);
    int16_t unscaled[frameLength];
    for (int i = 0; i < frameLength; i++)
        unscaled[i] = shr(residual[i], q);
    state.newest = nextPlace(state.newest);
    std::copy_n(isf, lpOrder, state.isf[state.newest]);
    state.logEnergies[state.newest] =
        logEnergy(macEnergy(unscaled, frameLength).value >> 1, noiseEnergyAdjustments[speechMode]);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXSID_AMRWB_16s_u8(int16_t *indices, int16_t *isf, int16_t *excitation, EncDTXState_AMRWB *block) {
    if (anyNull(indices, isf, excitation, block)) return ryxStsNullPtr;
    State state = loadBlock<State>(block);
    updateDistances(state);
    averageIsf(state, findOutliers(state), isf);
    ryxsISFQuantDTX_AMRWB_16s_u8(isf, isf, indices);
    const int16_t energy = mult(add(shr(sumOfEnergies(state), 2), 512), 21504);
    indices[5] = static_cast<int16_t>(std::clamp(energy >> 6, 0, 63));
    indices[6] = isUnsteady(state);
    const int16_t level = logEnergyOfIndex(indices[5]);
    makeNoise(powerOfTwo((level >> 10) + 15, static_cast<int16_t>((level & 1023) << 5)), state.seed, excitation);
    saveBlock(block, state);
    return ryxStsOk;
}
