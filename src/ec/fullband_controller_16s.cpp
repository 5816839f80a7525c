// SPDX-License-Identifier: BSD-2-Clause
// Adaptation controller of a full-band echo canceller in integer arithmetic. The decisions are those of the controller in
// single precision; energies are exact sums, and everything else is rounded once per block.
#include <algorithm>
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "ec/controller_16s.h"
#include "ec/implementations.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

struct State {
    int64_t adaptiveResidual, savedResidual; // smoothed energies of both residuals
    int64_t coefficients;                    // smoothed energy of the adaptive coefficients
    int64_t reference;                       // smoothed energy of the second frame of an update
    int64_t energyFloor;
    int32_t alpha50, alpha20, alpha10; // smoothing factors with time constants of 50, 20 and 10 ms
    int32_t blockLength, filterLength;
    int32_t multiplier; // of the step size
    int32_t divergence; // near 1 while the adaptive set has to be restored again and again
    int32_t reserved;
};
static_assert(sizeof(State) == 72);

// Whether the lengths are ones that the initialisation writes.
bool isSound(const State &state) {
    return state.blockLength >= 1 && state.filterLength >= 1;
}

constexpr int64_t floorPerTap = 1500000;

ryxStatus checkConfiguration(int blockLength, int filterLength, int sampleRate) {
    if (blockLength < 1 || filterLength < 1) return ryxStsBadArg;
    if (sampleRate != 8000 && sampleRate != 16000) return ryxStsOutOfRange;
    return ryxStsOk;
}

// 1 - x + x*x/2 in Q15 for blocks of x time constants, rounded; at most 1, which keeps energies from growing by themselves.
int32_t smoothingFactor(int milliseconds, int blockLength, int sampleRate) {
    const int64_t constant = sampleRate / 1000 * milliseconds, length = blockLength;
    if (length >= 2 * constant) return one;
    // Below 2^15 * 2 * 1600^2.
    const int64_t factor = 2 * constant * constant - 2 * constant * length + length * length;
    return static_cast<int32_t>((one * factor + constant * constant) / (2 * constant * constant));
}

// 2^39 times 0.5 / energy above the floor, otherwise 1 / floor.
int32_t stepFor(int64_t energy, const State &state) {
    constexpr int64_t half = int64_t{1} << 38;
    if (energy > state.energyFloor) return static_cast<int32_t>((half + energy / 2) / energy);
    return static_cast<int32_t>((2 * half + state.energyFloor / 2) / state.energyFloor);
}

void copyCoefficients(int16_t *to, const int16_t *from, const State &state) {
    std::memcpy(to, from, static_cast<size_t>(state.filterLength) * sizeof *to);
}

// Saves the adaptive set when its residual is more than 10 dB below that of the saved set and it has settled; restores it
// when it has diverged.
void chooseCoefficients(int16_t *adaptive, int16_t *saved, State &state) {
    const int64_t newEnergy = energyOf(adaptive, state.filterLength);
    const int64_t change = std::max(state.coefficients, newEnergy) - std::min(state.coefficients, newEnergy);
    state.coefficients = smooth(state.coefficients, newEnergy, state.alpha50);
    if (timesIsMore(1, state.savedResidual, 10, state.adaptiveResidual) && timesIsMore(1, newEnergy, 5, change)) {
        copyCoefficients(saved, adaptive, state);
        state.savedResidual = state.adaptiveResidual;
        state.divergence = smooth(state.divergence, 0, state.alpha20);
    } else if (timesIsMore(10, state.adaptiveResidual, 13, state.savedResidual)) {
        copyCoefficients(adaptive, saved, state);
        state.adaptiveResidual = state.savedResidual;
        state.divergence = smooth(state.divergence, one, state.alpha20);
    }
}

} // namespace

ryxStatus ryxsFullbandControllerGetSize_EC_16s_u8(int blockLen, int filterLen, int sampleRate, int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(blockLen, filterLen, sampleRate)) return status;
    *size = alignedBlockBytes<State>;
    return ryxStsOk;
}

ryxStatus ryxsFullbandControllerInit_EC_16s_u8(FullbandControllerState_EC_16s *block, int blockLen, int filterLen,
                                               int sampleRate) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(blockLen, filterLen, sampleRate)) return status;
    State &state = alignedBlock<State>(block);
    state = {};
    state.energyFloor = filterLen * floorPerTap;
    state.alpha50 = smoothingFactor(50, blockLen, sampleRate);
    state.alpha20 = smoothingFactor(20, blockLen, sampleRate);
    state.alpha10 = smoothingFactor(10, blockLen, sampleRate);
    state.blockLength = blockLen;
    state.filterLength = filterLen;
    state.multiplier = state.divergence = one;
    return ryxStsOk;
}

ryxStatus ryxsFullbandControllerReset_EC_16s_u8(FullbandControllerState_EC_16s *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    state.adaptiveResidual = state.savedResidual = state.coefficients = 0;
    return ryxStsOk;
}

// The sample that leaves the energy is one later than the one that entered first, so the first sample of all stays in the
// sum: that is deliberate.
ryxStatus ryxsFullbandControllerUpdate_EC_16s_u8(const int16_t *x, const int16_t *s, int32_t *steps,
                                                 FullbandControllerState_EC_16s *block) {
    if (anyNull(x, s, steps, block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    if (!isSound(state)) return ryxStsBadContext;
    int64_t sum = energyOf(x - state.filterLength, state.filterLength);
    steps[0] = stepFor(sum, state);
    for (int n = 1; n < state.blockLength; n++) {
        sum += square(x[n - 1]) - square(x[n - state.filterLength]);
        steps[n] = stepFor(sum, state);
    }
    state.reference = smooth(state.reference, energyOf(s, state.blockLength), state.alpha50);
    return ryxStsOk;
}

ryxStatus ryxsFullbandController_EC_16s_u8(const int16_t *e1, const int16_t *e2, int16_t *a, int16_t *b, int32_t *mu,
                                           FullbandControllerState_EC_16s *block) {
    if (anyNull(e1, e2, a, b, mu, block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    if (!isSound(state)) return ryxStsBadContext;
    state.adaptiveResidual = smooth(state.adaptiveResidual, energyOf(e1, state.blockLength), state.alpha50);
    state.savedResidual = smooth(state.savedResidual, energyOf(e2, state.blockLength), state.alpha50);
    chooseCoefficients(a, b, state);
    // Without divergence the adaptation rests, unless much of the echo is still there.
    const bool adapt = state.divergence >= one / 2 || !timesIsMore(1, state.reference, 5, state.savedResidual);
    state.multiplier = smooth(state.multiplier, adapt ? one : 0, state.alpha10);
    *mu = state.multiplier;
    return ryxStsOk;
}
