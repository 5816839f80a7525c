// SPDX-License-Identifier: BSD-2-Clause
// Music detector of ITU-T G.729 Annex I, which at 11.8 kbit/s overrules the VAD of Annex B.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/log2.h"
#include "common/state_block.h"
#include "g729/implementations.h"

using namespace ryxsc;

namespace {

constexpr int order = 10, depth = 5;
constexpr int window = 64; // frames of the counters

struct State {
    int16_t meanReflection[order];
    int16_t meanEnergy, meanPitchGain;
    int16_t backwardCount, meanBackward, withoutBackward;
    int16_t periodicCount, meanPeriodic, withoutPeriodic;
    int16_t weakPrediction;
    int16_t frame; // counted from 1; after 32767 comes 256
};

int16_t weighted(int16_t oldWeight, int16_t mean, int16_t newWeight, int16_t value) {
    return extract_h(L_mac(L_mult(oldWeight, mean), newWeight, value));
}

// The prediction error of order 4 in dB * 204.8.
int16_t errorLevel(int32_t energy, int exponent, const int16_t *k) {
    int16_t part = max16;
    for (int i = 0; i < 4; i++)
        part = mult(part, sub(max16, mult(k[i], k[i])));
    const Log2 level = log2(multiplyShort(clearBit0(energy), part));
    int32_t sum = L_mult(static_cast<int16_t>(level.exponent), 9864);
    sum = L_mac(sum, mult(static_cast<int16_t>(level.fraction), 9864), 1);
    sum = L_mac(sum, 9864, sub(static_cast<int16_t>(exponent), 2));
    return sub(extract_h(L_shl(sum, 11)), 4875);
}

int16_t distance(const int16_t *mean, const int16_t *k) {
    int32_t sum = 0;
    for (int i = 0; i < order; i++) {
        const int16_t d = sub(mean[i], k[i]);
        sum = L_mac(sum, d, d);
    }
    return extract_h(sum);
}

// Strong or steady long-term prediction.
bool isPeriodic(int rate, const int16_t *lags, const int16_t *gains, bool pastVad, State &s) {
    int32_t gain = 0;
    for (int i = 0; i < depth; i++)
        gain = L_mac(gain, gains[i], 6554);
    s.meanPitchGain = weighted(6554, extract_h(gain), 26214, s.meanPitchGain);
    int total = 0;
    for (int i = 0; i < depth; i++)
        total += lags[i];
    int32_t variance = 0;
    for (int i = 0; i < depth; i++) {
        const auto d = sat16(depth * lags[i] - total);
        variance = L_mac(variance, d, d);
    }
    const int16_t deviation = extract_h(L_shl(variance, 22));
    const bool strong = s.meanPitchGain > (rate == ryxG729Rate6k4 ? 11960 : 10322);
    const bool steady = deviation < 21632 && s.meanPitchGain > 7373;
    return strong || (pastVad && steady);
}

// How often a property held in the windows of 64 frames; a long time without it clears the mean.
void countWindow(bool holds, int patience, const State &s, int16_t oldWeight, int16_t newWeight, int16_t &count,
                 int16_t &mean, int16_t &without) {
    if (holds) count = add(count, 256);
    const bool ends = s.frame % window == 0;
    if (ends) mean = s.frame == window ? count : weighted(oldWeight, mean, newWeight, count);
    without = count == 0 ? add(without, 1) : int16_t{0};
    if (without > patience || s.weakPrediction > 150) mean = 0;
    if (ends) count = 0;
}

} // namespace

ryxStatus ryxsMusicDetectGetSize_G729I_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsMusicDetectInit_G729I_16s_u8(MusicDetectState_G729I *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    state.meanPitchGain = 8192;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsMusicDetect_G729I_16s_u8(int rate, int32_t autoCorr0, int16_t exponent, const int16_t *reflection,
                                       const int16_t *lags, const int16_t *gains, int backwardMode, int pastVad,
                                       int16_t energy, int *vad, MusicDetectState_G729I *block) {
    if (anyNull(reflection, lags, gains, vad, block)) return ryxStsNullPtr;
    if (rate < ryxG729Rate6k4 || rate > ryxG729Rate11k8) return ryxStsOutOfRange;
    auto s = loadBlock<State>(block);
    s.frame = s.frame == max16 ? int16_t{256} : static_cast<int16_t>(s.frame + 1);
    const int16_t error = errorLevel(autoCorr0, exponent, reflection);
    const int16_t change = distance(s.meanReflection, reflection);
    if (*vad == 0) {
        for (int i = 0; i < order; i++)
            s.meanReflection[i] = weighted(29491, s.meanReflection[i], 3277, reflection[i]);
        s.meanEnergy = weighted(29491, s.meanEnergy, 3277, error);
    }
    const bool periodic = isPeriodic(rate, lags, gains, pastVad != 0, s);
    const bool weak = reflection[1] >= 0 && reflection[1] <= 14746 && s.meanPitchGain < 8192;
    s.weakPrediction = weak ? add(s.weakPrediction, 1) : int16_t{0};

    countWindow(backwardMode != 0 && *vad != 0, 500, s, 29491, 3277, s.backwardCount, s.meanBackward,
                s.withoutBackward);
    const int periodicCount = s.periodicCount + (periodic ? 256 : 0);
    const int16_t oldWeight = periodicCount > 6400 ? 32113 : periodicCount > 5120 ? 31130 : 29491;
    countWindow(periodic, 100, s, oldWeight, static_cast<int16_t>(32768 - oldWeight), s.periodicCount, s.meanPeriodic,
                s.withoutPeriodic);

    if (rate == ryxG729Rate11k8) {
        const bool loudAndNew = (change > 12452 || sub(error, s.meanEnergy) > 819) && energy > 10240;
        const bool music = (s.meanPeriodic > 2560 || s.meanBackward > 280 || s.frame < window) && energy > 1433;
        if (loudAndNew || music) *vad = 1;
    }
    saveBlock(block, s);
    return ryxStsOk;
}
