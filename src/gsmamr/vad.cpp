// SPDX-License-Identifier: BSD-2-Clause
// Voice activity detection of GSM-AMR, option 1 (3GPP TS 26.094). Names in the comments are those of the recommendation.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/state_block.h"
#include "common/sum_of_squares.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/implementations.h"
#include "gsmamr/vad_filter_bank.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int bands = vadBands;
constexpr int frameLength = vadFrameLength;
constexpr int lookAhead = 40;
constexpr int sections = 3;

using Bands = int16_t[bands];

} // namespace

struct VADState_GSMAMR {
    FilterBankMemory memory;
    Bands carried;      // sub_level
    Bands noise;        // bckr_est
    Bands previous;     // old_level
    Bands average;      // ave_level
    uint16_t decisions; // vadreg; in this and the next ones the newest bit is 0x4000
    uint16_t pitch;
    uint16_t tone;
    uint16_t complexHigh, complexLow;
    int16_t complexTimer;    // complex_hang_timer
    int16_t bestCorrelation; // best_corr_hp
    int16_t correlation;     // corr_hp_fast
    int16_t stationarity;    // stat_count
    int16_t burst;           // burst_count
    int16_t hangover;        // hang_count
    int16_t complexHangover; // complex_hang_count
    int16_t lastLag;         // oldlag
    int16_t lastLagCount;    // oldlag_count
    int16_t complexWarning;
};

namespace {

using State = VADState_GSMAMR;

constexpr uint16_t newest = 0x4000;
constexpr int16_t startLevel = 150;
constexpr int16_t lowCorrelation = 13106; // CVAD_LOWPOW_RESET

constexpr bool hasAll(uint16_t reg, unsigned mask) {
    return (reg & mask) == mask;
}
constexpr bool hasNone(uint16_t reg, unsigned mask) {
    return (reg & mask) == 0;
}

// Twice the sum of the magnitudes; the end of the frame counts for the next one too.
void measureLevels(const int16_t *frame, State &state, Bands &level) {
    const FrameMagnitudes magnitudes = splitFrame(frame, state.memory);
    for (int band = 0; band < bands; band++) {
        const int scale = band == bands - 1 ? 15 : 16;
        const int32_t late = 2 * magnitudes.late[band];
        const int32_t all = late + L_shl(state.carried[band], 16 - scale) + 2 * magnitudes.early[band];
        state.carried[band] = extract_h(L_shl(late, scale));
        level[band] = extract_h(L_shl(all, scale));
    }
}

// num / den, both 16 bits, with the quotient in the given format.
int16_t ratio(int16_t num, int16_t den, int format) {
    const int shift = norm_s(den);
    return shl(div_s(static_cast<int16_t>(num >> 1), shl(den, shift)), shift - format);
}

int16_t snrOf(const Bands &level, const State &state) {
    int32_t sum = 0;
    for (int i = 0; i < bands; i++) {
        const int16_t r = ratio(level[i], state.noise[i], 5);
        sum = L_mac(sum, r, r);
    }
    return mult(extract_h(L_shl(sum, 6)), 3641);
}

int16_t noiseLevelOf(const State &state) {
    int32_t sum = 0;
    for (const int16_t noise : state.noise)
        sum += noise;
    return extract_h(L_shl(sum, 13));
}

// complex_estimate_adapt and what follows from it: music and the like, whose open-loop correlation is high for long.
void followCorrelation(State &state, bool isLow) {
    const bool high = state.correlation >= 19660;
    const int16_t alpha = state.bestCorrelation < state.correlation ? (high ? 6553 : 2621) : (high ? 655 : 2621);
    int32_t sum = L_deposit_h(state.correlation);
    sum = L_mac(L_msu(sum, alpha, state.correlation), alpha, state.bestCorrelation);
    state.correlation = std::max(round(sum), lowCorrelation);
    if (isLow) state.correlation = lowCorrelation;

    const auto push = [](uint16_t &reg, bool bit) { reg = static_cast<uint16_t>((reg >> 1) | (bit ? newest : 0)); };
    push(state.complexHigh, !isLow && state.correlation > 19660);
    push(state.complexLow, !isLow && state.correlation > 16383);
    state.complexTimer = state.correlation > 22936 ? add(state.complexTimer, 1) : int16_t{0};
    state.complexWarning = hasAll(state.complexHigh, 0x7f80) || hasAll(state.complexLow, 0x7fff);
}

// How far the levels are from their averages.
int16_t unsteadiness(const Bands &level, const State &state) {
    constexpr int16_t least = 184;
    int16_t sum = 0;
    for (int i = 0; i < bands; i++) {
        const int16_t num = std::max({level[i], state.average[i], least});
        const int16_t den = std::max(std::min(level[i], state.average[i]), least);
        const int shift = norm_s(den);
        sum = add(sum, shr(div_s(static_cast<int16_t>(num >> 1), shl(den, shift)), 8 - shift));
    }
    return sum;
}

// update_cntrl
void followStationarity(const Bands &level, State &state) {
    constexpr int16_t start = 20;
    if (state.complexWarning != 0 && state.stationarity < 5) state.stationarity = 5;
    const bool speech = !hasNone(state.decisions, newest);
    if (hasAll(state.pitch, 0x6000) || hasAll(state.tone, 0x7c00) || hasNone(state.decisions, 0x7f80) ||
        unsteadiness(level, state) > 1000)
        state.stationarity = start;
    else if (speech && state.stationarity != 0)
        state.stationarity = sub(state.stationarity, 1);
    const int16_t alpha = state.stationarity == start ? max16 : speech ? int16_t{3276} : int16_t{16383};
    for (int i = 0; i < bands; i++)
        state.average[i] = add(state.average[i], mult_r(alpha, sub(level[i], state.average[i])));
}

// noise_estimate_update
void followNoise(const Bands &level, State &state) {
    struct Speeds {
        int16_t up, down, step;
    };
    followStationarity(level, state);
    Speeds speeds = {0, 1638, 0};
    if (hasNone(state.decisions, 0x7800) && hasNone(state.pitch, 0x7800) && state.complexHangover == 0)
        speeds = {1638, 2097, 2};
    else if (state.stationarity == 0 && state.complexHangover == 0)
        speeds = {491, 1867, 2};
    for (int i = 0; i < bands; i++) {
        int16_t &noise = state.noise[i];
        const int16_t difference = sub(state.previous[i], noise);
        if (difference < 0)
            noise = std::max(add(-2, add(noise, mult_r(speeds.down, difference))), int16_t{40});
        else
            noise = std::min(add(speeds.step, add(noise, mult_r(speeds.up, difference))), int16_t{16000});
        state.previous[i] = level[i];
    }
}

// hangover_addition
bool addHangover(State &state, int16_t noiseLevel, bool isLow) {
    const int16_t burstLength = noiseLevel > 100 ? 4 : 5, hangoverLength = noiseLevel > 100 ? 7 : 4;
    if (isLow) {
        state.burst = state.hangover = state.complexHangover = state.complexTimer = 0;
        return false;
    }
    if (state.complexTimer > 100 && state.complexHangover < 250) state.complexHangover = 250;
    if (state.complexHangover != 0) {
        state.burst = 4;
        state.complexHangover = sub(state.complexHangover, 1);
        return true;
    }
    if (hasNone(state.decisions, 0x3ff0) && state.correlation > 21298) return true;
    if (!hasNone(state.decisions, newest)) {
        state.burst = add(state.burst, 1);
        if (state.burst >= burstLength) state.hangover = hangoverLength;
        return true;
    }
    state.burst = 0;
    if (state.hangover <= 0) return false;
    state.hangover = sub(state.hangover, 1);
    return true;
}

bool detect(const int16_t *frame, State &state) {
    const int32_t energy = accumulatedEnergy<frameLength>(frame - lookAhead);
    if (energy < 343040) state.pitch &= 0x3fff;
    const bool isLow = energy < 15000;
    if (isLow) state.complexLow &= 0x3fff;

    Bands level;
    measureLevels(frame, state, level);
    const int16_t snr = snrOf(level, state), noiseLevel = noiseLevelOf(state);
    const int16_t threshold = std::max(add(mult(-2808, noiseLevel), 1260), int16_t{720});
    state.decisions = static_cast<uint16_t>((state.decisions >> 1) | (snr > threshold ? newest : 0));
    followCorrelation(state, isLow);
    followNoise(level, state);
    return addHangover(state, noiseLevel, isLow);
}

} // namespace

ryxStatus ryxsVADGetSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsVADInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    State start = {};
    std::fill_n(start.noise, bands, startLevel);
    std::fill_n(start.previous, bands, startLevel);
    std::fill_n(start.average, bands, startLevel);
    start.bestCorrelation = start.correlation = lowCorrelation;
    saveBlock(state, start);
    return ryxStsOk;
}

ryxStatus ryxsVAD_GSMAMR_16s_u8(const int16_t *speech, State *state, int16_t *vad) {
    if (anyNull(speech, state, vad)) return ryxStsNullPtr;
    State memory = loadBlock<State>(state);
    *vad = detect(speech, memory);
    saveBlock(state, memory);
    return ryxStsOk;
}

ryxStatus ryxsVADToneDetection_GSMAMR_16s_u8(const int32_t *correlations, const int32_t *energies, int oneLag,
                                             State *state) {
    if (anyNull(correlations, energies, state)) return ryxStsNullPtr;
    State memory = loadBlock<State>(state);
    memory.tone >>= 1;
    if (oneLag != 0) memory.tone = static_cast<uint16_t>((memory.tone >> 1) | 0x2000);
    for (int i = 0; i < sections; i++) {
        const int16_t energy = round(energies[i]);
        if (energy > 0 && L_msu(correlations[i], energy, 21298) > 0) memory.tone |= newest;
    }
    saveBlock(state, memory);
    return ryxStsOk;
}

ryxStatus ryxsVADPitchDetection_GSMAMR_16s_u8(const int16_t *lags, int16_t highPass, State *state) {
    if (anyNull(lags, state)) return ryxStsNullPtr;
    State memory = loadBlock<State>(state);
    int16_t count = 0;
    for (int half = 0; half < 2; half++) {
        if (std::abs(memory.lastLag - lags[half]) < 4) count++;
        memory.lastLag = lags[half];
    }
    memory.pitch >>= 1;
    if (memory.lastLagCount + count >= 4) memory.pitch |= newest;
    memory.lastLagCount = count;
    memory.bestCorrelation = highPass;
    saveBlock(state, memory);
    return ryxStsOk;
}
