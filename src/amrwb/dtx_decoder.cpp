// SPDX-License-Identifier: BSD-2-Clause
// Discontinuous transmission in the decoder: states from frame types, histories, comfort noise (3GPP TS 26.192, TS 26.193).
#include <cstdlib>

#include "amrwb/comfort_noise.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/state_block.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

enum FrameType { speechGood, speechDegraded, speechLost, speechBad, sidFirst, sidUpdate, sidBad, noData };
enum Reception : int16_t { receivesSpeech, receivesSilence, isMuting };

constexpr int16_t hangoverFrames = 7;

struct State {
    int16_t reception, previousReception;
    int16_t sinceSid;                // frames since the last silence descriptor
    int16_t inversePeriod;           // between the descriptors, Q15
    int16_t logEnergy, oldLogEnergy; // Q9
    int16_t isf[lpOrder], oldIsf[lpOrder];
    int16_t seed, ditherSeed;
    int16_t newest; // place in the histories
    int16_t isfHistory[historyFrames][lpOrder];
    int16_t logEnergies[historyFrames]; // Q7
    int16_t hangover, elapsed;          // what the encoder's counters must be
    int16_t isSid, hasParameters, addsHangover, wasUpdated, dithers;
};

// The period between descriptors, as 1024 / 2^10 of it; 32 and more count alike.
int16_t inverseOfPeriod(int16_t frames) {
    return div_s(1024, shl(frames, 10));
}

int16_t receptionOf(const State &state, int type) {
    const bool isSid = type == sidFirst || type == sidUpdate || type == sidBad;
    const bool inSilence = state.previousReception != receivesSpeech;
    if (!isSid && !(inSilence && (type == noData || type == speechBad || type == speechLost))) return receivesSpeech;
    const bool staysMuted = state.previousReception == isMuting &&
                            (type == sidBad || type == sidFirst || type == speechLost || type == noData);
    const bool isLate = type != sidUpdate && state.sinceSid >= 50;
    return staysMuted || isLate ? isMuting : receivesSilence;
}

// Follows the encoder's hangover, to know when its histories hold noise.
void followEncoder(State &state, int type, bool isSilent) {
    constexpr int16_t leastPeriod = 30;
    if (state.wasUpdated == 0 && type == sidUpdate) state.elapsed = 0;
    state.elapsed = add(state.elapsed, 1);
    state.addsHangover = 0;
    if (!isSilent) {
        state.hangover = hangoverFrames;
    } else if (state.elapsed > leastPeriod) {
        state.addsHangover = 1;
        state.elapsed = 0;
        state.hangover = 0;
    } else if (state.hangover == 0) {
        state.elapsed = 0;
    } else {
        state.hangover--;
    }
}

void keepOld(State &state) {
    std::copy_n(state.isf, lpOrder, state.oldIsf);
    state.oldLogEnergy = state.logEnergy;
}

// Means of the histories of the hangover, for a descriptor without parameters.
void averageHistories(State &state) {
    const int16_t place = nextPlace(state.newest);
    std::copy_n(state.isfHistory[state.newest], lpOrder, state.isfHistory[place]);
    state.logEnergies[place] = state.logEnergies[state.newest];
    int16_t energy = 0;
    for (const int16_t value : state.logEnergies)
        energy = add(energy, value);
    state.logEnergy = std::max<int16_t>(add(shr(energy, 1), 1024), 0);
    for (int j = 0; j < lpOrder; j++) {
        int32_t sum = 0;
        for (const auto &isf : state.isfHistory)
            sum += isf[j];
        state.isf[j] = extract_l(sum >> 3);
    }
}

void takeParameters(State &state, const int16_t *indices) {
    const int16_t period = std::min<int16_t>(state.sinceSid, 32);
    state.inversePeriod = period >= 2 ? inverseOfPeriod(period) : int16_t{16384};
    ryxsISFQuantDecodeDTX_AMRWB_16s_u8(indices, state.isf);
    state.logEnergy = logEnergyOfIndex(indices[5]);
    state.dithers = indices[6];
    if (state.wasUpdated == 0 || state.previousReception == receivesSpeech) keepOld(state);
}

// Between the last two descriptors. Returns the energy.
int32_t interpolate(const State &state, int16_t *isf) {
    const int16_t position = std::min<int16_t>(mult(shl(state.sinceSid, 10), state.inversePeriod), 1024);
    const int16_t weight = shl(position, 4), oldWeight = sub(16384, weight);
    for (int i = 0; i < lpOrder; i++)
        isf[i] = shl(add(mult(weight, state.isf[i]), mult(oldWeight, state.oldIsf[i])), 1);
    return L_mac(L_mult(weight, state.logEnergy), oldWeight, state.oldLogEnergy);
}

int16_t triangularRandom(int16_t &seed) {
    const auto half = static_cast<int16_t>(nextRandom(seed) >> 1);
    return add(half, static_cast<int16_t>(nextRandom(seed) >> 1));
}

int32_t dither(State &state, int32_t energy, int16_t *isf) {
    constexpr int16_t energyFactor = 75, isfFactor = 256, leastGap = 448;
    energy = std::max(L_mac(energy, triangularRandom(state.ditherSeed), energyFactor), 0);
    isf[0] = std::max<int16_t>(add(isf[0], mult_r(triangularRandom(state.ditherSeed), isfFactor)), 128);
    int16_t factor = isfFactor;
    for (int i = 1; i < lpOrder - 1; i++) {
        factor = static_cast<int16_t>(factor + 2);
        const int16_t moved = add(isf[i], mult_r(triangularRandom(state.ditherSeed), factor));
        isf[i] = sub(moved, isf[i - 1]) < leastGap ? add(isf[i - 1], leastGap) : moved;
    }
    isf[14] = std::min<int16_t>(isf[14], 16384);
    return energy;
}

void fade(State &state) {
    const int16_t period = std::min<int16_t>(state.sinceSid, 32);
    state.inversePeriod = inverseOfPeriod(period <= 0 ? int16_t{8} : period);
    state.sinceSid = 0;
    state.oldLogEnergy = state.logEnergy;
    state.logEnergy = sub(state.logEnergy, 64);
}

} // namespace

ryxStatus ryxsDecDTXGetStateSize_AMRWB_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXInit_AMRWB_16s_u8(DecDTXState_AMRWB *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state = {};
    state.inversePeriod = 8192;
    state.logEnergy = state.oldLogEnergy = 3500;
    std::copy_n(startIsf, lpOrder, state.isf);
    std::copy_n(startIsf, lpOrder, state.oldIsf);
    state.seed = state.ditherSeed = 21845;
    for (auto &isf : state.isfHistory)
        std::copy_n(startIsf, lpOrder, isf);
    std::fill_n(state.logEnergies, historyFrames, int16_t{437});
    state.hangover = hangoverFrames;
    state.elapsed = max16;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXHandler_AMRWB_16s_u8(int type, int noiseFrames, int16_t *reception, DecDTXState_AMRWB *block) {
    if (anyNull(reception, block)) return ryxStsNullPtr;
    if (type < speechGood || type > noData) return ryxStsBadIndex;
    State state = loadBlock<State>(block);
    state.previousReception = state.reception;
    state.reception = receptionOf(state, type);
    state.sinceSid = state.reception == receivesSpeech ? int16_t{0} : add(state.sinceSid, 1);
    const bool isSid = type == sidFirst || type == sidUpdate || type == sidBad;
    const bool inSilence = state.previousReception != receivesSpeech || noiseFrames >= hangoverFrames;
    followEncoder(state, type, isSid || (type == noData && inSilence));
    if (state.reception != receivesSpeech) {
        state.isSid = isSid;
        state.hasParameters = type == sidUpdate;
        if (type == sidBad) state.addsHangover = 0;
    }
    *reception = state.reception;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXBuffer_AMRWB_16s_u8(const int16_t *excitation, int q, const int16_t *isf,
                                        DecDTXState_AMRWB *block) {
    if (anyNull(excitation, isf, block)) return ryxStsNullPtr;
    State state = loadBlock<State>(block);
    int16_t unscaled[frameLength];
    std::copy_n(excitation, frameLength, unscaled);
    scaleWords(unscaled, frameLength, std::clamp(-q, -17, 17));
    state.newest = nextPlace(state.newest);
    std::copy_n(isf, lpOrder, state.isfHistory[state.newest]);
    state.logEnergies[state.newest] = logEnergy(macEnergy(unscaled, frameLength).value >> 1, 0);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXNoise_AMRWB_16s_u8(const int16_t *indices, int16_t *isf, int16_t *excitation,
                                       DecDTXState_AMRWB *block) {
    if (anyNull(indices, isf, excitation, block)) return ryxStsNullPtr;
    if (indices[5] < 0 || indices[5] > 63 || indices[6] < 0 || indices[6] > 1) return ryxStsBadIndex;
    State state = loadBlock<State>(block);
    const bool hasParameters = state.hasParameters != 0, isSid = state.isSid != 0;
    if (state.addsHangover != 0 && isSid) averageHistories(state);
    if (isSid) keepOld(state);
    if (hasParameters) {
        takeParameters(state, indices);
        state.sinceSid = 0;
    }
    int32_t energy = interpolate(state, isf);
    if (state.dithers != 0) energy = dither(state, energy, isf);
    energy >>= 9;
    const int16_t integer = extract_h(energy);
    const int16_t fraction = extract_l((energy - integer * 65536) >> 1);
    makeNoise(powerOfTwo(integer + 15, fraction), state.seed, excitation);
    if (state.reception == isMuting) fade(state);
    if (isSid && (hasParameters || state.addsHangover != 0)) {
        state.sinceSid = 0;
        state.wasUpdated = 1;
    }
    saveBlock(block, state);
    return ryxStsOk;
}
