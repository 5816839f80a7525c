// SPDX-License-Identifier: BSD-2-Clause
// Comfort noise of the GSM-AMR decoder (3GPP TS 26.092, clause 6).
#include <array>
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "g729/implementations.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/codebook.h"
#include "gsmamr/dtx_receive.h"
#include "gsmamr/gain_steps.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lp_filter.h"
#include "gsmamr/lsf_prediction.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

using State = DecDTXState_GSMAMR;

constexpr int historyFrames = 8;
constexpr int frameLength = 160;
constexpr int16_t longestPeriod = 32;

// What the logarithm of the energy is off at each rate.
constexpr std::array<int16_t, 8> rateAdjustments = {-1023, -878, -732, -586, -440, -294, -148, 0};
constexpr Lsf variabilityScales = {20000, 20000, 20000, 20000, 20000, 18000, 16384, 8192, 0, 0};

// The caller's histories.
struct History {
    int16_t *lsf, *logEnergy;
    int newest;

    // A frame of hangover that did not come counts as its predecessor.
    void repeatNewest() const {
        const int next = newest == historyFrames - 1 ? 0 : newest + 1;
        std::copy_n(lsf + newest * lsfOrder, lsfOrder, lsf + next * lsfOrder);
        logEnergy[next] = logEnergy[newest];
    }
};

// Far deviations from the mean are compressed, then cut.
int16_t limited(int16_t deviation) {
    constexpr int knee = 655, most = 1310;
    int magnitude = abs_s(deviation);
    if (magnitude > knee) magnitude = knee + ((magnitude - knee) >> 2);
    magnitude = std::min(magnitude, most);
    return static_cast<int16_t>(deviation < 0 ? -magnitude : magnitude);
}

// Parameters from the decoded speech of the hangover.
void analyseHangover(const History &history, int16_t adjustment, State &state) {
    state.adjustment = adjustment;
    history.repeatNewest();
    int16_t energy = 0;
    for (int k = 0; k < historyFrames; k++)
        energy = add(energy, static_cast<int16_t>(history.logEnergy[k] >> 3));
    state.energy = sub(energy, adjustment);
    Lsf mean;
    for (int i = 0; i < lsfOrder; i++) {
        int32_t sum = 0;
        for (int k = 0; k < historyFrames; k++)
            sum += history.lsf[k * lsfOrder + i];
        mean[static_cast<size_t>(i)] = static_cast<int16_t>(sum >> 3);
    }
    state.lsp = lspOf(mean);
    for (int k = 0; k < historyFrames; k++)
        for (size_t i = 0; i < lsfOrder; i++) {
            const int16_t deviation = sub(history.lsf[static_cast<size_t>(k) * lsfOrder + i], mean[i]);
            state.variability[k][i] = limited(mult(deviation, variabilityScales[i]));
        }
}

void readDescriptor(const int16_t *parameters, int16_t *pastResidual, int16_t *pastLsf, State &state) {
    const int16_t frames = std::min(state.since, longestPeriod);
    state.since = 0;
    state.period = frames >= 2 ? div_s(1024, shl(frames, 10)) : int16_t{16384};
    Lsf predicted;
    int16_t residual[lsfOrder];
    readVector(initialLsfs, parameters[0], predicted.data());
    readSplit(parameters + 1, Rate::r740, residual);
    const Lsf lsf = reconstructLsf(predicted, residual);
    std::copy_n(lsf.data(), lsfOrder, pastLsf);
    state.lsp = lspOf(lsf);
    std::fill_n(pastResidual, lsfOrder, int16_t{0});
    const int16_t index = parameters[4];
    state.energy = index == 0 ? min16 : static_cast<int16_t>(512 * index - 5120);
}

int noiseBits(uint32_t &reg, int count) {
    int result = 0;
    for (; count > 0; count--) {
        const uint32_t feedback = (reg ^ (reg >> 28)) & 1;
        result = 2 * result + static_cast<int>(reg & 1);
        reg = (reg >> 1) | (feedback << 30);
    }
    return result;
}

// Between the last two descriptors.
struct Interpolated {
    int32_t logEnergy;
    Lsp lsp;
};
Interpolated interpolate(const State &state) {
    const auto newer =
        static_cast<int16_t>(16 * std::min(mult(shl(add(state.since, 1), 10), state.period), int16_t{1024}));
    const int16_t older = sub(16384, newer);
    Interpolated result;
    result.logEnergy = L_mac(L_mult(newer, state.energy), older, state.lastEnergy);
    for (size_t i = 0; i < lsfOrder; i++)
        result.lsp[i] = shl(add(mult(newer, state.lsp[i]), mult(older, state.lastLsp[i])), 1);
    return result;
}

// Reflection coefficients of A(z); all zero where it is unstable.
Lsf reflections(const int16_t *lpc) {
    int16_t a[lpOrder];
    std::copy_n(lpc + 1, lpOrder, a);
    Lsf k = {};
    for (int i = lpOrder - 1; i >= 0; i--) {
        if (abs_s(a[i]) >= 4096) return {};
        const int16_t reflection = shl(a[i], 3);
        k[static_cast<size_t>(i)] = reflection;
        const int32_t rest = L_sub(max32, L_mult(reflection, reflection));
        const int shift = norm_l(rest);
        const int16_t reciprocal = div_s(16384, round(L_shl(rest, shift)));
        int16_t lower[lpOrder];
        for (int j = 0; j < i; j++) {
            const int16_t v = round(L_msu(L_deposit_h(a[j]), reflection, a[i - 1 - j]));
            const int32_t t = L_shr_r(L_mult(reciprocal, v), 15 - shift);
            if (L_abs(t) > max16) return {};
            lower[j] = extract_l(t);
        }
        std::copy_n(lower, i, a);
    }
    return k;
}

// Half the logarithm of the LP filter's power gain.
int16_t logGain(const int16_t *lpc) {
    int16_t error = max16;
    for (const int16_t k : reflections(lpc))
        error = mult(error, sub(max16, mult(k, k)));
    const Log2 logarithm = log2(error);
    const int16_t sum =
        add(shl(static_cast<int16_t>(logarithm.exponent - 15), 12), static_cast<int16_t>(logarithm.fraction >> 3));
    return static_cast<int16_t>(negate(sum) >> 1);
}

int16_t levelOf(int32_t logEnergy, int16_t gain, int16_t adjustment) {
    logEnergy = L_add(logEnergy >> 10, 4 << 16);
    logEnergy = L_add(L_sub(logEnergy, gain * 16), adjustment * 32);
    return extract_l(powerOfTwo(highPart(logEnergy), lowPart(logEnergy)));
}

void toLpc(const Lsf &lsf, int16_t *lpc) {
    const Lsp lsp = lspOf(lsf);
    ryxsLSPToLPC_G729_16s_u8(lsp.data(), lpc);
}

// Ten pulses a subframe through 1/A(z).
void synthesise(const int16_t *lpc, int16_t level, uint32_t &noise, int16_t *memory, int16_t *speech) {
    int16_t signal[lpOrder + frameLength];
    std::copy_n(memory, lpOrder, signal);
    const LpFilter filter(lpc);
    for (int start = 0; start < frameLength; start += subframeLength) {
        int16_t excitation[subframeLength] = {};
        for (int k = 0; k < 10; k++) {
            const int position = 10 * noiseBits(noise, 2) + k;
            excitation[position] = mult(level, noiseBits(noise, 1) != 0 ? 4096 : -4096);
        }
        filter.synthesise(excitation, signal + lpOrder + start, subframeLength);
    }
    std::copy_n(signal + lpOrder, frameLength, speech);
    std::copy_n(signal + frameLength, lpOrder, memory);
}

void keepParameters(State &state) {
    state.lastLsp = state.lsp;
    state.lastEnergy = state.energy;
}

bool areParameters(const int16_t *parameters) {
    constexpr int sizes[5] = {8, 256, 512, 512, 64};
    for (int i = 0; i < 5; i++)
        if (parameters[i] < 0 || parameters[i] >= sizes[i]) return false;
    return true;
}

} // namespace

ryxStatus ryxsDecDTXComfortNoise_GSMAMR_16s_u8(const int16_t *parameters, int16_t *lsfHistory,
                                               int16_t *logEnergyHistory, int16_t newest, int16_t *pastResidual,
                                               int16_t *pastLsf, int16_t *pastEnergies, int16_t *pastEnergies122,
                                               int16_t *memory, int16_t *speech, int16_t *lpc, int rate,
                                               State *dtxState) {
    if (anyNull(parameters, lsfHistory, logEnergyHistory, pastResidual, pastLsf, pastEnergies, pastEnergies122, memory,
                speech, lpc, dtxState))
        return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || newest < 0 || newest >= historyFrames) return ryxStsOutOfRange;
    State state = loadBlock<State>(dtxState);
    if (state.isValid != 0 && !areParameters(parameters)) return ryxStsBadIndex;
    const int16_t adjustment = rateAdjustments[static_cast<size_t>(of)];
    if (state.isAdded != 0 && state.isSid != 0)
        analyseHangover({lsfHistory, logEnergyHistory, newest}, adjustment, state);
    if (state.isSid != 0) {
        keepParameters(state);
        if (state.isValid != 0) readDescriptor(parameters, pastResidual, pastLsf, state);
        if (state.wasUpdated == 0 || state.previous == ryxGSMAMRSpeech) keepParameters(state);
        const int16_t level =
            std::clamp(sub(static_cast<int16_t>(state.energy >> 1), 9000), int16_t{-14436}, int16_t{0});
        std::fill_n(pastEnergies, pastFrames, level);
        std::fill_n(pastEnergies122, pastFrames, mult(5443, level));
    }
    state.adjustment = add(mult(state.adjustment, 29491), static_cast<int16_t>(mult(shl(adjustment, 5), 3277) >> 5));

    const Interpolated now = interpolate(state);
    const int16_t spread16 =
        shl(std::clamp(sub(4096, mult(sub(state.predictionGain, 2457), 9830)), int16_t{0}, int16_t{4096}), 3);
    const Lsf &deviation = state.variability[noiseBits(state.noise, 3)];
    Lsf lsf = lsfOf(now.lsp), varied;
    for (size_t i = 0; i < lsfOrder; i++)
        varied[i] = add(lsf[i], mult(spread16, deviation[i]));
    spread(lsf);
    spread(varied);
    std::copy_n(lsf.data(), lsfOrder, pastLsf);
    int16_t plain[lpOrder + 1], shaking[lpOrder + 1];
    toLpc(lsf, plain);
    toLpc(varied, shaking);

    const int16_t gain = logGain(plain);
    state.predictionGain = add(mult(29491, state.predictionGain), mult(3277, gain));
    synthesise(shaking, levelOf(now.logEnergy, gain, state.adjustment), state.noise, memory, speech);
    std::copy_n(plain, lpOrder + 1, lpc);

    if (state.current == ryxGSMAMRMute) {
        const int16_t frames = std::min(state.since, longestPeriod);
        state.period = div_s(1024, shl(frames <= 0 ? int16_t{8} : frames, 10));
        state.since = 0;
        keepParameters(state);
        state.energy = sub(state.energy, 256);
    }
    if (state.isSid != 0 && (state.isValid != 0 || state.isAdded != 0)) {
        state.since = 0;
        state.wasUpdated = 1;
    }
    saveBlock(dtxState, state);
    return ryxStsOk;
}
