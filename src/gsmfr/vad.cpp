// SPDX-License-Identifier: BSD-2-Clause
// Voice activity detector of GSM full rate (GSM 06.32, clause 3).
#include <algorithm>
#include <utility>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/state_block.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;

namespace {

constexpr int lags = stages + 1;
constexpr int storedFrames = 3, storedSums = 4;

constexpr int32_t stationarityThreshold = 3277;
constexpr int adaptationDelay = 8;
constexpr int burstLength = 3, hangover = 5;
constexpr int lagCountThreshold = 4;

// The numbers of the threshold's adaptation: 2^exponent * mantissa / 32768 with a mantissa of 16384..32767.
struct Level {
    int32_t exponent, mantissa;

    friend bool operator<(const Level &x, const Level &y) {
        return x.exponent != y.exponent ? x.exponent < y.exponent : x.mantissa < y.mantissa;
    }
    Level normalised() const { return mantissa > max16 ? Level{exponent + 1, mantissa >> 1} : *this; }
};

constexpr Level energyFloor = {19, 18750};    // pth
constexpr Level thresholdFloor = {20, 25000}; // plev
constexpr Level margin = {27, 19531};

struct State {
    int32_t frames[storedFrames][lags]; // scaled autocorrelations of the last frames
    int32_t sums[storedSums][lags];     // their sums, of the last frames
    int32_t lastDistance;
    Level threshold;
    int16_t inverse[lags]; // autocorrelation of the adaptive inverse filter, rvad
    int16_t inverseShift;  // normrvad
    int16_t nextFrame, nextSum;
    int16_t adaptCount, burstCount, hangCount;
    int16_t lastLag, lagCount, previousLagCount;
};

void initialise(State &state) {
    state = {};
    state.threshold = {20, 31250};
    state.inverse[0] = 24576;
    state.inverse[1] = -16384;
    state.inverse[2] = 4096;
    state.inverseShift = 7;
    state.hangCount = -1;
    state.lastLag = minLag;
}

constexpr int32_t wrapShl(int32_t x, int count) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) << count);
}

struct Energies {
    Level signal;   // of the frame, acf0
    Level residual; // behind the adaptive inverse filter, pvad
};

// Clause 3.1.
Energies energies(const State &state, const int32_t *acf, int scale) {
    if (acf[0] == 0) return {{-32768, 0}, {-32768, 0}};
    const int count = norm_l(acf[0]);
    int16_t scaled[lags];
    for (int i = 0; i < lags; i++)
        scaled[i] = static_cast<int16_t>(wrapShl(acf[i], count) >> 19);
    const Level signal = {32 + 2 * scale - count, scaled[0] << 3};
    int32_t sum = 0;
    for (int i = 1; i < lags; i++)
        sum = L_mac(sum, scaled[i], state.inverse[i]);
    sum = std::max(L_add(sum, L_mult(scaled[0], state.inverse[0]) >> 1), 1);
    const int residualCount = norm_l(sum);
    return {signal, {signal.exponent + 14 - state.inverseShift - residualCount, extract_h(sum << residualCount)}};
}

// Clause 3.2: the sums over four frames, now and four frames ago.
void average(State &state, const int32_t *acf, int scale, int32_t *now, int32_t *before) {
    int32_t *const oldest = state.frames[state.nextFrame];
    int32_t *const stored = state.sums[state.nextSum];
    for (int i = 0; i < lags; i++) {
        const int32_t scaled = acf[i] >> (10 - 2 * scale);
        now[i] = scaled;
        for (const auto &frame : state.frames)
            now[i] = L_add(now[i], frame[i]);
        oldest[i] = scaled;
        before[i] = std::exchange(stored[i], now[i]);
    }
    state.nextFrame = static_cast<int16_t>((state.nextFrame + 1) % storedFrames);
    state.nextSum = static_cast<int16_t>((state.nextSum + 1) % storedSums);
}

// An inverse filter as the autocorrelation of its coefficients.
struct InverseFilter {
    int16_t acf[lags];
    int16_t shift;
};

// Clause 3.3: coefficients from reflection coefficients, Q15 from the upper halves of 32 bits.
void stepUp(const int16_t *reflection, int16_t *coefficients) {
    int32_t c[lags] = {16384 << 15, reflection[0] * 16384};
    for (int m = 2; m < lags; m++) {
        int32_t next[lags];
        for (int i = 1; i < m; i++)
            next[i] = L_mac(c[i], reflection[m - 1], extract_h(c[m - i]));
        std::copy(next + 1, next + m, c + 1);
        c[m] = reflection[m - 1] * 16384;
    }
    for (int i = 0; i < lags; i++)
        coefficients[i] = static_cast<int16_t>(c[i] >> 19);
}

InverseFilter inverseFilter(const int32_t *averages) {
    int16_t reflection[stages], coefficients[lags];
    ryxsSchur_GSMFR_32s16s_u8(averages, reflection, stages);
    stepUp(reflection, coefficients);
    int32_t sums[lags] = {};
    for (int i = 0; i < lags; i++)
        for (int k = 0; k + i < lags; k++)
            sums[i] = L_mac(sums[i], coefficients[k], coefficients[k + i]);
    InverseFilter filter{};
    filter.shift = norm_l(sums[0]);
    for (int i = 0; i < lags; i++)
        filter.acf[i] = extract_h(wrapShl(sums[i], filter.shift));
    return filter;
}

// Clause 3.4: distance of the present spectrum to that of the inverse filter.
int32_t spectralDistance(const InverseFilter &filter, const int32_t *averages) {
    int16_t scaled[lags];
    std::fill_n(scaled, lags, int16_t{4095});
    if (averages[0] != 0) {
        const int count = norm_l(averages[0]) - 3;
        for (int i = 0; i < lags; i++)
            scaled[i] = extract_h(count < 0 ? averages[i] >> -count : wrapShl(averages[i], count));
    }
    int32_t sum = 0;
    for (int i = 1; i < lags; i++)
        sum = L_mac(sum, filter.acf[i], scaled[i]);
    int32_t distance = 0;
    int count = 0;
    if (sum != 0) {
        const int32_t magnitude = L_abs(sum);
        const auto reference = static_cast<int16_t>(scaled[0] << 3);
        count = norm_l(magnitude);
        const int16_t numerator = extract_h(magnitude << count);
        const int32_t quotient = reference >= numerator
                                     ? div_s(numerator, reference)
                                     : 32768 + div_s(static_cast<int16_t>(numerator - reference), reference);
        distance = sum < 0 ? -(quotient * 2) : quotient * 2;
    }
    distance = distance * 16384 >> count; // at most 2^17 - 2 before
    return L_add(distance, filter.acf[0] * 2048) >> filter.shift;
}

bool isStationary(State &state, int32_t distance) {
    const int32_t change = L_abs(L_sub(distance, state.lastDistance));
    state.lastDistance = distance;
    return change < stationarityThreshold;
}

Level sumOfLevels(Level x, Level y) {
    if (x < y) std::swap(x, y);
    const int distance = std::min(x.exponent - y.exponent, 15);
    return Level{x.exponent, x.mantissa + (y.mantissa >> distance)}.normalised();
}

Level threefold(Level x) {
    return Level{x.exponent + 1, (3 * x.mantissa) >> 1}.normalised();
}

Level raised(Level x) {
    return Level{x.exponent, x.mantissa + (x.mantissa >> 4)}.normalised();
}

Level lowered(Level x) {
    x.mantissa -= x.mantissa >> 5;
    return x.mantissa < 16384 ? Level{x.exponent - 1, x.mantissa << 1} : x;
}

// Clause 3.6.
void adaptThreshold(State &state, const Energies &energy, bool mayAdapt, const InverseFilter &filter) {
    if (energy.signal < energyFloor) {
        state.threshold = thresholdFloor;
        return;
    }
    if (!mayAdapt) {
        state.adaptCount = 0;
        return;
    }
    if (++state.adaptCount <= adaptationDelay) return;
    state.threshold = lowered(state.threshold);
    const Level upper = threefold(energy.residual);
    if (state.threshold < upper) state.threshold = std::min(raised(state.threshold), upper);
    state.threshold = std::min(state.threshold, sumOfLevels(energy.residual, margin));
    std::copy_n(filter.acf, lags, state.inverse);
    state.inverseShift = filter.shift;
    state.adaptCount = adaptationDelay + 1;
}

// Clause 3.8.
bool withHangover(State &state, bool speech) {
    state.burstCount = static_cast<int16_t>(speech ? state.burstCount + 1 : 0);
    if (state.burstCount >= burstLength) {
        state.hangCount = hangover;
        state.burstCount = burstLength;
    }
    if (state.hangCount < 0) return speech;
    state.hangCount--;
    return true;
}

// Clause 3.9: lags of which one is nearly a multiple of the one before.
void countSteadyLags(State &state, const int16_t *frameLags) {
    int count = 0;
    for (int i = 0; i < segments; i++) {
        const int lag = frameLags[i];
        const int smaller = std::min<int>(lag, state.lastLag), larger = std::max<int>(lag, state.lastLag);
        int rest = larger;
        for (int k = 0; k < 3; k++)
            if (rest >= smaller) rest -= smaller;
        if (std::min(rest, smaller - rest) < 2) count++;
        state.lastLag = frameLags[i];
    }
    state.previousLagCount = std::exchange(state.lagCount, static_cast<int16_t>(count));
}

} // namespace

static_assert(sizeof(State) == 300);

ryxStatus ryxsVADGetSize_GSMFR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsVADInit_GSMFR_16s_u8(VADState_GSMFR *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    State block;
    initialise(block);
    saveBlock(state, block);
    return ryxStsOk;
}

ryxStatus ryxsVAD_GSMFR_16s_u8(const int32_t *acf, int16_t scale, const int16_t *frameLags, int16_t tone, int16_t *vad,
                               VADState_GSMFR *block) {
    if (anyNull(acf, frameLags, vad, block)) return ryxStsNullPtr;
    if (acf[0] < 0 || scale < minScale || scale > maxScale || tone < 0 || tone > 1) return ryxStsOutOfRange;
    State state = loadBlock<State>(block);
    const int samplesShift = std::max<int>(scale, 0);
    int32_t now[lags], before[lags];
    const Energies energy = energies(state, acf, samplesShift);
    average(state, acf, samplesShift, now, before);
    const InverseFilter filter = inverseFilter(before);
    const bool stationary = isStationary(state, spectralDistance(filter, now));
    const bool periodic = state.lagCount + state.previousLagCount >= lagCountThreshold;
    adaptThreshold(state, energy, stationary && !periodic && tone == 0, filter);
    *vad = withHangover(state, state.threshold < energy.residual);
    countSteadyLags(state, frameLags);
    saveBlock(block, state);
    return ryxStsOk;
}
