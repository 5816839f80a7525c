// SPDX-License-Identifier: BSD-2-Clause
// Discontinuous transmission of ITU-T G.729 Annex B, encoder (clause B.4.1): averages of the autocorrelation, and in
// pauses the decision whether a silence descriptor (SID) is sent and its parameters.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "g729/implementations.h"
#include "g729/noise_gain.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int order = 10, terms = order + 1;
constexpr int currentSums = 2, pastSums = 3; // frames of a sum, and sums that the past filter comes from
constexpr int16_t emptyShift = 40;

// An autocorrelation in 16 bits; the true values are value * 2^-shift.
struct Correlation {
    int16_t value[terms];
    int16_t shift;
};

struct State {
    Correlation current[currentSums], past[pastSums]; // the newest first
    int16_t phase;                                    // two frames make a past sum
    int16_t energy[2], energyShift[2];                // prediction errors, the newest first
    int16_t energyCount, framesSinceSid, changed;
    int16_t sentDecibels; // of the last descriptor
    int16_t sidGain, gain;
    int16_t sidLsp[order];
    Correlation filter; // of the coefficients of the last descriptor
};

template <size_t count> void push(Correlation (&rows)[count], const Correlation &newest) {
    std::copy_backward(rows, rows + count - 1, rows + count);
    rows[0] = newest;
}

Correlation sumOf(const Correlation *rows, int count) {
    int16_t smallest = rows[0].shift;
    for (int i = 1; i < count; i++)
        smallest = std::min(smallest, rows[i].shift);
    const auto common = static_cast<int16_t>(smallest + 14);
    int32_t sums[terms] = {};
    for (int j = 0; j < terms; j++)
        for (int i = 0; i < count; i++)
            sums[j] = L_add(sums[j], L_shl(rows[i].value[j], common - rows[i].shift));
    Correlation sum;
    const int up = norm_l(sums[0]);
    for (int j = 0; j < terms; j++)
        sum.value[j] = extract_h(L_shl(sums[j], up));
    sum.shift = static_cast<int16_t>(common + up - 16);
    return sum;
}

// What the speech analysis falls back on where it finds an unstable filter, and the comfort noise too.
struct StableFilter {
    int16_t *lpc, *reflection;
};

// The filter of an autocorrelation. An unstable one leaves the error as it was.
void predict(const Correlation &r, StableFilter stable, int16_t *lpc, int16_t *error) {
    int32_t autoCorr[terms];
    for (int j = 0; j < terms; j++)
        autoCorr[j] = L_deposit_h(r.value[j]);
    int16_t reflection[order], energy = 0;
    const ryxStatus status = ryxsLevinsonDurbin_G729E_32s16s_u8(autoCorr, order, lpc, reflection, &energy);
    if (status != ryxStsOk) {
        std::copy_n(stable.lpc, terms, lpc);
        return;
    }
    std::copy_n(lpc, terms, stable.lpc);
    std::copy_n(reflection, 2, stable.reflection);
    *error = energy;
}

// The autocorrelation of filter coefficients.
Correlation correlate(const int16_t *lpc) {
    Correlation r;
    const int32_t energy = macEnergy(lpc, terms).value;
    const int up = norm_l(energy);
    r.value[0] = round(L_shl(energy, up));
    for (int i = 1; i < terms; i++)
        r.value[i] = round(L_shl(macProducts(lpc, lpc + i, terms - i).value, up));
    r.shift = static_cast<int16_t>(up);
    return r;
}

// Whether the error of a filter on a signal is larger than that of the signal's own filter by the threshold (Itakura).
bool differs(const Correlation &filter, const Correlation &signal, int16_t error, int16_t threshold) {
    int filterShift = 0, signalShift = 0;
    bool signalNext = true;
    int32_t sum = 0;
    for (;;) {
        int16_t x[terms], y[terms];
        for (int i = 0; i < terms; i++) {
            x[i] = shr(filter.value[i], filterShift);
            y[i] = shr(signal.value[i], signalShift);
        }
        const WatchedSum watched = macInOrder(x + 1, y + 1, order, L_mult(x[0], y[0]) >> 1);
        sum = watched.value;
        if (!watched.saturated) break;
        (signalNext ? signalShift : filterShift)++;
        signalNext = !signalNext;
    }
    const int32_t limit = L_shl(mult_r(error, threshold) + error, filter.shift + 9 - (filterShift + signalShift));
    return L_sub(sum, limit) > 0;
}

} // namespace

ryxStatus ryxsEncDTXGetSize_G729B_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXInit_G729B_16s_u8(EncDTXState_G729B *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    for (Correlation &row : state.current)
        row.shift = emptyShift;
    for (Correlation &row : state.past)
        row.shift = emptyShift;
    std::fill_n(state.energyShift, 2, emptyShift);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXUpdate_G729B_16s_u8(const int16_t *autoCorr, int16_t exponent, int vad, EncDTXState_G729B *block) {
    if (anyNull(autoCorr, block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    Correlation newest;
    std::copy_n(autoCorr, terms, newest.value);
    newest.shift = negate(add(16, exponent));
    push(s.current, newest);
    if (++s.phase == currentSums) {
        s.phase = 0;
        if (vad != 0) push(s.past, sumOf(s.current, currentSums));
    }
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXSID_G729B_16s_u8(int pastVad, int annexA, const int16_t *oldLsp, int16_t *history,
                                     int16_t *stableLpc, int16_t *stableReflection, int *frameType, int16_t *indices,
                                     int16_t *gain, int16_t *sidLsp, EncDTXState_G729B *block) {
    constexpr int16_t largeChange = 4855, smallChange = 3161; // thresholds of the Itakura distance less 1, Q15
    if (anyNull(oldLsp, history, stableLpc, stableReflection, frameType, indices, gain, sidLsp, block))
        return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    const StableFilter stable{stableLpc, stableReflection};

    s.energy[1] = s.energy[0];
    s.energyShift[1] = s.energyShift[0];
    const Correlation signal = sumOf(s.current, currentSums);
    s.energyShift[0] = signal.shift;
    int16_t ownLpc[terms];
    predict(signal, stable, ownLpc, &s.energy[0]);

    bool send = true;
    NoiseGain level;
    if (pastVad != 0) {
        s.framesSinceSid = 0;
        s.energyCount = 1;
        level = quantiseNoiseGain(s.energy, s.energyShift, s.energyCount);
    } else {
        s.energyCount = std::min<int16_t>(static_cast<int16_t>(s.energyCount + 1), 2);
        level = quantiseNoiseGain(s.energy, s.energyShift, s.energyCount);
        if (differs(s.filter, signal, s.energy[0], largeChange)) s.changed = 1;
        if (std::abs(s.sentDecibels - level.decibels) > 2) s.changed = 1;
        s.framesSinceSid++;
        send = s.framesSinceSid >= 3 && s.changed != 0;
        s.framesSinceSid = std::min<int16_t>(s.framesSinceSid, 3);
    }
    if (send) {
        s.framesSinceSid = s.changed = 0;
        // The filter of the past, unless the present differs from it.
        const Correlation pastSignal = sumOf(s.past, pastSums);
        int16_t lpc[terms] = {4096}, error = 0;
        if (pastSignal.value[0] != 0) predict(pastSignal, stable, lpc, &error);
        s.filter = correlate(lpc);
        if (differs(s.filter, signal, s.energy[0], smallChange)) {
            std::copy_n(ownLpc, terms, lpc);
            s.filter = correlate(lpc);
        }
        int16_t vector[order];
        if (annexA != 0)
            ryxsLPCToLSP_G729A_16s_u8(lpc, oldLsp, vector);
        else
            ryxsLPCToLSP_G729_16s_u8(lpc, oldLsp, vector);
        ryxsLSPToLSF_G729_16s_u8(vector, vector);
        ryxsLSFQuant_G729B_16s_u8(vector, history, vector, indices);
        ryxsLSFToLSP_G729_16s_u8(vector, s.sidLsp);
        indices[3] = level.index;
        s.sentDecibels = level.decibels;
        s.sidGain = sidGains[static_cast<size_t>(level.index)];
    }
    s.gain = pastVad != 0 ? s.sidGain : add(mult_r(s.gain, 28672), mult_r(s.sidGain, 4096));
    if (s.phase == 0) push(s.past, sumOf(s.current, currentSums));

    *frameType = send ? 2 : 0;
    *gain = s.gain;
    std::copy_n(s.sidLsp, order, sidLsp);
    saveBlock(block, s);
    return ryxStsOk;
}
