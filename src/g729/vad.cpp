// SPDX-License-Identifier: BSD-2-Clause
// Voice activity detector of ITU-T G.729 Annex B (clause B.3): energies, zero crossings and spectral distance against
// running averages of the background.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/log2.h"
#include "common/state_block.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int order = 10, lags = 12;
constexpr int initialFrames = 32;
constexpr int minimaCount = 16;       // minima of eight frames each
constexpr int minimumFrames = 128;    // after which the minimum is that of all of them
constexpr int16_t faint = 3072;       // 15 dB; energies count 204.8 per dB
constexpr int16_t energyMargin = 614; // 3 dB

struct State {
    int16_t meanLsf[order];
    int16_t meanEnergy, meanSpeechEnergy, meanLowEnergy, meanCrossings;
    int16_t silentFrames, updates, extensions, faintFrames;
    int16_t mayExtend;
    int16_t minimum, previousMinimum, nextMinimum;
    int16_t minima[minimaCount];
    int16_t previousEnergy;
    int16_t frame; // counted from 1; after 32767 comes 256
};

// What a frame is judged by.
struct Features {
    int16_t energy, lowEnergy; // dB * 204.8
    int16_t distance;          // of the LSFs from their mean
    int16_t crossings;
};

int16_t decibels(int32_t energy, int exponent) {
    const Log2 level = log2(energy);
    int32_t sum = L_mult(static_cast<int16_t>(level.exponent), 9864);
    sum = L_mac(sum, mult(static_cast<int16_t>(level.fraction), 9864), 1);
    sum = L_mac(sum, 9864, sub(static_cast<int16_t>(exponent), 2));
    return sub(extract_h(L_shl(sum, 11)), 4875);
}

Features measure(const int16_t *speech, const int16_t *lsf, const int32_t *autoCorr, int exponent, const State &s) {
    Features f{};
    f.energy = decibels(clearBit0(autoCorr[0]), exponent);

    int32_t low = 0;
    for (size_t k = 1; k <= lags; k++)
        low = L_mac(low, extract_h(autoCorr[k]), lowBandCorrelation[k]);
    low = L_mac(L_shl(low, 1), extract_h(autoCorr[0]), lowBandCorrelation[0]);
    f.lowEnergy = decibels(low, exponent);

    int32_t distance = 0;
    for (int i = 0; i < order; i++) {
        const int16_t d = sub(lsf[i], s.meanLsf[i]);
        distance = L_mac(distance, d, d);
    }
    f.distance = extract_h(distance);

    int crossings = 0;
    for (int n = 121; n <= 200; n++)
        crossings += speech[n - 1] * speech[n] < 0 ? 1 : 0;
    f.crossings = static_cast<int16_t>(410 * crossings);
    return f;
}

// The smallest energy of the last 128 frames, in steps of eight.
void trackMinimum(int16_t energy, State &s) {
    const bool eighth = s.frame % 8 == 0;
    const auto smallestOfAll = [&] { return *std::min_element(s.minima, s.minima + minimaCount); };
    if (s.frame <= minimumFrames) {
        if (energy < s.minimum) s.minimum = s.previousMinimum = energy;
        if (eighth) {
            s.minima[s.frame / 8 - 1] = s.minimum;
            s.minimum = max16;
        }
    }
    if (eighth) s.previousMinimum = smallestOfAll();
    if (s.frame > minimumFrames) {
        if (s.frame % 8 == 1) {
            s.minimum = s.previousMinimum;
            s.nextMinimum = max16;
        }
        s.minimum = std::min(s.minimum, energy);
        s.nextMinimum = std::min(s.nextMinimum, energy);
        if (eighth) {
            std::copy(s.minima + 1, s.minima + minimaCount, s.minima);
            s.minima[minimaCount - 1] = s.nextMinimum;
            s.previousMinimum = smallestOfAll();
        }
    }
}

int16_t weighted(int16_t oldWeight, int16_t mean, int16_t newWeight, int16_t value) {
    return extract_h(L_mac(L_mult(oldWeight, mean), newWeight, value));
}

// The first frames make the averages; those below the threshold do not count.
bool initialDecision(const Features &f, const int16_t *lsf, State &s) {
    if (f.energy < faint) {
        s.faintFrames++;
        return false;
    }
    const auto include = [](int16_t &mean, int16_t value) { mean = extract_h(L_mac(mean * 65536, value, 1024)); };
    include(s.meanEnergy, f.energy);
    include(s.meanCrossings, f.crossings);
    for (int i = 0; i < order; i++)
        include(s.meanLsf[i], lsf[i]);
    return true;
}

void finishInitialisation(State &s) {
    const auto row = static_cast<size_t>(s.faintFrames);
    const auto scale = [&](int16_t &mean) {
        mean = extract_h(L_shl(L_mult(mean, initialFactor[row]), initialFactorShift[row]));
    };
    scale(s.meanEnergy);
    scale(s.meanCrossings);
    for (int16_t &mean : s.meanLsf)
        scale(mean);
    s.meanSpeechEnergy = sub(s.meanEnergy, 2048);
    s.meanLowEnergy = sub(s.meanEnergy, 2458);
}

// Fourteen linear bounds in the space of the differences (clause B.3.5). Any that is crossed means voice.
bool isVoice(int16_t distance, int16_t energy, int16_t lowEnergy, int16_t crossings) {
    const int16_t z = crossings, e = energy, l = lowEnergy, d = distance;
    const auto sum = [](int16_t x, int16_t y, int16_t u, int16_t v) { return L_mac(L_mult(x, y), u, v); };
    const auto high = [](int16_t x) { return L_deposit_h(x); };
    return L_add(sum(z, -14680, 8192, -28521) >> 8, high(d)) > 0 ||
           L_add(sum(z, 19065, 8192, -19446) >> 7, high(d)) > 0 ||
           L_add(sum(z, 20480, 8192, 16384) >> 2, high(e)) < 0 ||
           L_add(sum(z, -16384, 8192, 19660) >> 2, high(e)) < 0 || sum(e, 32767, 1024, 30802) < 0 ||
           L_mac(sum(d, -28160, 64, 19988), e, 512) < 0 || sum(d, 32767, 32, -30199) > 0 ||
           L_add(sum(z, -20480, 8192, 22938) >> 2, high(e)) < 0 ||
           L_add(sum(z, 23831, 4096, 31576) >> 2, high(e)) < 0 || sum(e, 32767, 2048, 17367) < 0 ||
           L_mac(sum(d, -22400, 32, 25395), l, 256) < 0 || L_add(sum(e, -30427, 256, -29959), high(l)) > 0 ||
           L_add(sum(e, -23406, 512, 28087), high(l)) < 0 || L_mac(sum(e, 24576, 1024, 29491), l, 16384) < 0;
}

void updateBackground(const Features &f, const int16_t *lsf, State &s) {
    s.updates = add(s.updates, 1);
    const size_t row = s.updates < 20 ? 0 : std::min<size_t>(static_cast<size_t>(s.updates) / 10 - 1, 5);
    const auto &w = backgroundUpdate[row];
    s.meanSpeechEnergy = weighted(w[0], s.meanSpeechEnergy, w[1], f.energy);
    s.meanLowEnergy = weighted(w[0], s.meanLowEnergy, w[1], f.lowEnergy);
    s.meanCrossings = weighted(w[2], s.meanCrossings, w[3], f.crossings);
    for (int i = 0; i < order; i++)
        s.meanLsf[i] = weighted(w[4], s.meanLsf[i], w[5], lsf[i]);
}

bool laterDecision(const Features &f, const int16_t *lsf, int16_t reflection, bool pastVad, bool ppastVad, State &s) {
    const int16_t energyBelow = sub(s.meanSpeechEnergy, f.energy);
    bool voice = f.energy >= faint &&
                 isVoice(f.distance, energyBelow, sub(s.meanLowEnergy, f.lowEnergy), sub(s.meanCrossings, f.crossings));
    const int16_t change = sub(f.energy, s.previousEnergy);
    const bool nearBackground = sub(f.energy, energyMargin) < s.meanSpeechEnergy;

    // Smoothing: voice goes on while the energy stays up, but for no more than four frames by this alone.
    bool extended = false;
    if (pastVad && !voice && ryxsc::add(energyBelow, 410) < 0 && f.energy > faint) voice = extended = true;
    if (s.mayExtend != 0) {
        if (ppastVad && pastVad && !voice && abs_s(change) <= energyMargin) {
            s.extensions++;
            voice = extended = true;
            s.mayExtend = s.extensions <= 4;
            if (s.mayExtend == 0) s.extensions = 0;
        }
    } else {
        s.mayExtend = 1;
    }
    if (!voice) s.silentFrames = add(s.silentFrames, 1);
    if (voice && s.silentFrames > 10 && change <= energyMargin) {
        voice = false;
        s.silentFrames = 0;
    }
    if (voice) s.silentFrames = 0;
    if (nearBackground && s.frame > minimumFrames && !extended && reflection < 19661) voice = false;

    constexpr int16_t close = 83;
    if (nearBackground && reflection < 24576 && f.distance < close) updateBackground(f, lsf, s);
    if (s.frame > minimumFrames &&
        ((s.meanSpeechEnergy < s.minimum && f.distance < close) || sub(s.meanSpeechEnergy, s.minimum) > 2048)) {
        s.meanSpeechEnergy = s.minimum;
        s.updates = 0;
    }
    return voice;
}

} // namespace

ryxStatus ryxsVADGetSize_G729B_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsVADInit_G729B_16s_u8(VADState_G729B *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    state.mayExtend = 1;
    state.minimum = max16;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsVAD_G729B_16s_u8(const int16_t *speech, const int16_t *lsf, const int32_t *autoCorr, int16_t exponent,
                               int16_t reflection, int pastVad, int ppastVad, int *vad, int16_t *energy,
                               VADState_G729B *block) {
    if (anyNull(speech, lsf, autoCorr, vad, energy, block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    s.frame = s.frame == max16 ? int16_t{256} : static_cast<int16_t>(s.frame + 1);
    const Features features = measure(speech, lsf, autoCorr, exponent, s);
    trackMinimum(features.energy, s);
    bool voice = true;
    if (s.frame <= initialFrames) voice = initialDecision(features, lsf, s);
    if (s.frame == initialFrames) finishInitialisation(s);
    if (s.frame >= initialFrames) voice = laterDecision(features, lsf, reflection, pastVad != 0, ppastVad != 0, s);
    s.previousEnergy = features.energy;
    *vad = voice ? 1 : 0;
    *energy = features.energy;
    saveBlock(block, s);
    return ryxStsOk;
}
