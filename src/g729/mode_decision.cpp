// SPDX-License-Identifier: BSD-2-Clause
// Choice between forward and backward LP analysis in ITU-T G.729 Annex E (clause E.3.2.7): prediction gains, stationarity
// of the signal, dominance of one mode.
#include <algorithm>

#include "common/checks.h"
#include "common/lp_filters.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int frame = 80, shortOrder = 10, longOrder = 30;
constexpr int16_t initialStationarity = 10000, highStationarity = 13000, fullStationarity = 32000;
constexpr int16_t initialInterpolation = 4506; // 1.1, Q12
constexpr int16_t silence = 8192;              // 40 dB; energies count 204.8 per dB

struct State {
    int16_t interpolation; // weight of the previous filter, Q12
    int16_t previousMode, dominant;
    int16_t counts[2]; // of forward and backward frames
    int16_t stationarity, run, runValue;
    int16_t previousFilter[longOrder + 1];
};

// 10 log10 of the energy * 204.8, in steps of 1/17 bit.
int16_t logEnergy(const int16_t *signal) {
    int32_t energy = macEnergy(signal, frame, 1).value >> 1;
    int16_t bits = 0;
    for (; energy > 32; bits++)
        energy >>= 1;
    if (energy < 16) return 1;
    return static_cast<int16_t>(617 * std::max<int16_t>(bits, 1) + energyLogarithm[static_cast<size_t>(energy - 16)]);
}

template <int order> int16_t residualEnergy(const int16_t *first, const int16_t *second, const int16_t *speech) {
    int16_t residual[frame];
    residualFilter<order>(first, speech, residual, subframe);
    residualFilter<order>(second, speech + subframe, residual + subframe, subframe);
    return logEnergy(residual);
}

void countMode(int mode, int16_t *counts, int16_t &dominant) {
    constexpr int most = 100, least = 10;
    counts[mode]++;
    const int total = counts[0] + counts[1];
    if (total == most) {
        counts[0] = static_cast<int16_t>(counts[0] >> 1);
        counts[1] = static_cast<int16_t>(counts[1] >> 1);
    }
    dominant = (total == most ? total >> 1 : total) >= least && counts[1] > 4 * counts[0];
}

// Prediction gains.
struct Gains {
    int16_t backward, interpolated, forward;
};

int chooseMode(const Gains &g, const int16_t *oldLsp, const int16_t *lsp, const State &s) {
    const auto margin = static_cast<int16_t>(3 * (s.stationarity >> 7) + 205);
    const int16_t needed = sub(g.forward, margin);
    const bool predicts = g.backward > 0 && g.interpolated > 0;
    bool backward = predicts && g.interpolated > needed && g.backward > needed;
    if (s.stationarity < highStationarity) backward = false;

    int32_t distance = 0;
    for (int i = 0; i < shortOrder; i++) {
        const int16_t d = sub(oldLsp[i], lsp[i]);
        distance = L_mac(distance, d, d);
    }
    // A very steady signal stays in backward mode.
    if (s.stationarity >= fullStationarity && distance < 64424509 && s.previousMode == 1 && predicts) backward = true;
    return backward ? 1 : 0;
}

void updateStationarity(int mode, int16_t advantage, State &s) {
    if (mode == 1) {
        s.run = add(s.run, 1);
        s.runValue = add(s.runValue, 250);
        if (s.run == 20)
            s.stationarity = add(s.stationarity, 2500);
        else if (s.run > 20)
            s.stationarity = add(s.stationarity, 500);
    } else if (s.previousMode == 1) {
        if (s.run < 20) s.stationarity = sub(s.stationarity, sub(5000, s.runValue));
        s.run = s.runValue = 0;
    }
    struct Step {
        int16_t bound, change;
    };
    constexpr Step rises[] = {{819, 3200}, {614, 2400}, {410, 1600}, {205, 800}, {0, 400}};
    constexpr Step falls[] = {{-955, 6400}, {-819, 3200}, {-614, 1600}, {-410, 800}, {-205, 400}};
    if (s.stationarity < highStationarity)
        for (const Step &rise : rises)
            if (advantage > rise.bound) {
                s.stationarity = add(s.stationarity, rise.change);
                break;
            }
    for (const Step &fall : falls)
        if (advantage < fall.bound) {
            s.stationarity = sub(s.stationarity, fall.change);
            break;
        }
    s.stationarity = std::clamp<int16_t>(s.stationarity, 0, fullStationarity);
}

// Both subframes' filters from the new one and the previous one; `filters` holds the new one second.
void interpolate(int16_t *filters, const int16_t *previous, int16_t weight) {
    int16_t *const first = filters, *const second = filters + longOrder + 1;
    for (int i = 0; i <= longOrder; i++) {
        const int value = extract_l(second[i] * (4096 - weight) >> 12) + extract_l(previous[i] * weight >> 12);
        second[i] = sat16(value);
        first[i] = add(static_cast<int16_t>(second[i] >> 1), static_cast<int16_t>(previous[i] >> 1));
    }
}

} // namespace

ryxStatus ryxsLPModeGetStateSize_G729E_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsLPModeInit_G729E_16s_u8(LPModeState_G729E *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    state.interpolation = initialInterpolation;
    state.stationarity = initialStationarity;
    state.previousFilter[0] = 4096;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsLPModeDecision_G729E_16s_u8(const int16_t *speech, const int16_t *forward, const int16_t *oldLsp,
                                          const int16_t *lsp, int16_t *backward, int *mode, int *dominant,
                                          LPModeState_G729E *block) {
    if (anyNull(speech, forward, oldLsp, lsp, backward, mode, dominant, block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    int16_t *const first = backward, *const second = backward + longOrder + 1;
    const int16_t level = logEnergy(speech);
    Gains gains{};
    gains.backward = sub(level, residualEnergy<longOrder>(second, second, speech));
    s.interpolation = std::max<int16_t>(static_cast<int16_t>(s.interpolation - 410), 0);
    interpolate(backward, s.previousFilter, s.interpolation);
    gains.interpolated = sub(level, residualEnergy<longOrder>(first, second, speech));
    gains.forward = sub(level, residualEnergy<shortOrder>(forward, forward + shortOrder + 1, speech));

    int chosen = chooseMode(gains, oldLsp, lsp, s);
    if (level < silence) {
        chosen = 0;
        s.stationarity = std::min(s.stationarity, highStationarity);
    } else {
        countMode(chosen, s.counts, s.dominant);
        updateStationarity(chosen, sub(gains.backward, gains.forward), s);
    }
    *mode = chosen;
    *dominant = s.dominant;
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsLPModeReset_G729E_16s_u8(LPModeState_G729E *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    s.dominant = 0;
    s.interpolation = initialInterpolation;
    if (s.stationarity > initialStationarity)
        s.stationarity = std::max<int16_t>(static_cast<int16_t>(s.stationarity - 2621), initialStationarity);
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsLPModeUpdate_G729E_16s_u8(int mode, const int16_t *filter, int order, LPModeState_G729E *block) {
    if (anyNull(filter, block)) return ryxStsNullPtr;
    if (order < 1) return ryxStsBadSize;
    if (order > longOrder || mode < 0 || mode > 1) return ryxStsOutOfRange;
    auto s = loadBlock<State>(block);
    if (mode == 0) s.interpolation = initialInterpolation;
    s.previousMode = static_cast<int16_t>(mode);
    std::fill_n(s.previousFilter, longOrder + 1, int16_t{0});
    std::copy_n(filter, order + 1, s.previousFilter);
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsLPModeInterpolate_G729E_16s_u8(int16_t *backward, LPModeState_G729E *block) {
    if (anyNull(backward, block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    s.interpolation = std::max<int16_t>(static_cast<int16_t>(s.interpolation - 410), 0);
    interpolate(backward, s.previousFilter, s.interpolation);
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsLPModeDominance_G729E_16s_u8(const int16_t *synthesis, int mode, int *dominant,
                                           LPModeState_G729E *block) {
    if (anyNull(synthesis, dominant, block)) return ryxStsNullPtr;
    if (mode < 0 || mode > 1) return ryxStsOutOfRange;
    auto s = loadBlock<State>(block);
    if (logEnergy(synthesis) >= silence) countMode(mode, s.counts, s.dominant);
    *dominant = s.dominant;
    saveBlock(block, s);
    return ryxStsOk;
}

// The lag that a lost frame repeats is a multiple or a fraction of the true one: take the one that stood before.
ryxStatus ryxsPitchTracking_G729E_16s_u8(int16_t *delay, int16_t *memory) {
    constexpr int close = 5, mostSteady = 7;
    if (anyNull(delay, memory)) return ryxStsNullPtr;
    int16_t &previous = memory[0], &steady = memory[1];
    int16_t *const kept = memory + 2;
    const int lag = delay[0], distance = std::abs(lag - previous);
    const auto keep = [&] { std::copy_n(delay, 2, kept); };
    if (distance < close) {
        steady = std::min<int16_t>(static_cast<int16_t>(steady + 1), mostSteady);
        keep();
    } else {
        const int smaller = std::min<int>(lag, previous), larger = std::max<int>(lag, previous);
        int nearest = distance;
        for (int multiple = 2; multiple <= 4; multiple++)
            nearest = std::min(nearest, std::abs(multiple * smaller - larger));
        if (nearest < close) {
            if (steady > 0) std::copy_n(kept, 2, delay);
            steady = std::max<int16_t>(static_cast<int16_t>(steady - 1), 0);
        } else {
            steady = 0;
            keep();
        }
    }
    previous = delay[0];
    return ryxStsOk;
}
