// SPDX-License-Identifier: BSD-2-Clause
// Adaptation controller of a full-band echo canceller with two sets of coefficients: an adaptive set, which learns in every
// block, and a saved set, which holds the last good coefficients. Single precision.
#include <cfloat>
#include <cmath>
#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "ec/implementations.h"

using namespace ryxsc;

namespace {

struct State {
    float reserved;
    float adaptiveResidual, savedResidual; // smoothed energies of both residuals
    float coefficients;                    // smoothed energy of the adaptive coefficients
    float reference;                       // smoothed energy of the second frame of an update
    float alpha50, alpha20, alpha10;       // smoothing factors with time constants of 50, 20 and 10 ms
    int32_t blockLength, filterLength;
    float multiplier; // of the step size
    float divergence; // near 1 while the adaptive set has to be restored again and again
    float energyFloor, inverseFloor;
};
static_assert(sizeof(State) == 56);

// Whether the lengths are ones that the initialisation writes.
bool isSound(const State &state) {
    return state.blockLength >= 1 && state.filterLength >= 1;
}

constexpr double floorPerTap = 1500000;

ryxStatus checkConfiguration(int blockLength, int filterLength, int sampleRate) {
    if (blockLength < 1 || filterLength < 1) return ryxStsBadArg;
    if (sampleRate != 8000 && sampleRate != 16000) return ryxStsOutOfRange;
    return ryxStsOk;
}

// e^-x for blocks of x time constants, of second order.
float smoothingFactor(double seconds, int blockLength, int sampleRate) {
    const double x = blockLength / (seconds * sampleRate);
    return static_cast<float>(1 - x + x * x / 2);
}

// What leaves the range of the format stays at its end, so that the controller recovers. NaN counts as the largest value.
float limit(float x) {
    return !(x <= FLT_MAX) ? FLT_MAX : x < -FLT_MAX ? -FLT_MAX : x;
}

float smooth(float alpha, float old, float value) {
    return limit(alpha * old + (1 - alpha) * value);
}

// Four sums of every fourth element and their sum are done sooner than one chain, and are more exact.
float energy(const float *x, int len) {
    __m128 sums[4] = {_mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps()};
    int i = 0;
    for (; len - i >= 16; i += 16)
        for (int k = 0; k < 4; k++) {
            const __m128 four = _mm_loadu_ps(x + i + 4 * k);
            sums[k] = _mm_add_ps(sums[k], _mm_mul_ps(four, four));
        }
    float parts[4];
    _mm_storeu_ps(parts, _mm_add_ps(_mm_add_ps(sums[0], sums[1]), _mm_add_ps(sums[2], sums[3])));
    float sum = (parts[0] + parts[1]) + (parts[2] + parts[3]);
    for (; i < len; i++)
        sum += x[i] * x[i];
    return limit(sum);
}

// Energies of the far end in front of each sample, over the length of the filter. The sample that leaves is one later than
// the one that entered first, so the first sample of all stays in the sum: that is deliberate.
void runningEnergies(const float *x, const State &state, float *energies) {
    float sum = energy(x - state.filterLength, state.filterLength);
    energies[0] = sum;
    for (int n = 1; n < state.blockLength; n++) {
        const float leaving = x[n - state.filterLength];
        sum = sum + x[n - 1] * x[n - 1] - leaving * leaving;
        energies[n] = sum;
    }
}

// NaN is not above the floor.
void energiesToSteps(float *values, const State &state) {
    const auto four = [&](__m128 energies) {
        const __m128 loud = _mm_cmpgt_ps(energies, _mm_set1_ps(state.energyFloor));
        const __m128 steps = _mm_div_ps(_mm_set1_ps(0.5F), energies);
        return _mm_or_ps(_mm_and_ps(loud, steps), _mm_andnot_ps(loud, _mm_set1_ps(state.inverseFloor)));
    };
    int n = 0;
    for (; state.blockLength - n >= 4; n += 4)
        _mm_storeu_ps(values + n, four(_mm_loadu_ps(values + n)));
    for (; n < state.blockLength; n++)
        _mm_store_ss(values + n, four(_mm_load_ss(values + n)));
}

void copyCoefficients(float *to, const float *from, const State &state) {
    std::memcpy(to, from, static_cast<size_t>(state.filterLength) * sizeof(float));
}

// Saves the adaptive set when its residual is more than 10 dB below that of the saved set and it has settled; restores it
// when it has diverged.
void chooseCoefficients(float *adaptive, float *saved, State &state) {
    const float newEnergy = energy(adaptive, state.filterLength);
    const float change = std::fabs(state.coefficients - newEnergy);
    state.coefficients = smooth(state.alpha50, state.coefficients, newEnergy);
    if (0.1F * state.savedResidual > state.adaptiveResidual && 0.2F * newEnergy > change) {
        copyCoefficients(saved, adaptive, state);
        state.savedResidual = state.adaptiveResidual;
        state.divergence = limit(state.divergence * state.alpha20);
    } else if (state.adaptiveResidual > 1.3F * state.savedResidual) {
        copyCoefficients(adaptive, saved, state);
        state.adaptiveResidual = state.savedResidual;
        state.divergence = limit(state.divergence * state.alpha20 + 1 - state.alpha20);
    }
}

} // namespace

ryxStatus ryxsFullbandControllerGetSize_EC_32f_u8(int blockLen, int filterLen, int sampleRate, int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(blockLen, filterLen, sampleRate)) return status;
    *size = alignedBlockBytes<State>;
    return ryxStsOk;
}

ryxStatus ryxsFullbandControllerInit_EC_32f_u8(FullbandControllerState_EC_32f *block, int blockLen, int filterLen,
                                               int sampleRate) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(blockLen, filterLen, sampleRate)) return status;
    State &state = alignedBlock<State>(block);
    state = {};
    state.alpha50 = smoothingFactor(0.05, blockLen, sampleRate);
    state.alpha20 = smoothingFactor(0.02, blockLen, sampleRate);
    state.alpha10 = smoothingFactor(0.01, blockLen, sampleRate);
    state.blockLength = blockLen;
    state.filterLength = filterLen;
    state.multiplier = state.divergence = 1;
    state.energyFloor = static_cast<float>(filterLen * floorPerTap);
    state.inverseFloor = 1 / state.energyFloor;
    return ryxStsOk;
}

ryxStatus ryxsFullbandControllerReset_EC_32f_u8(FullbandControllerState_EC_32f *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    state.reserved = state.adaptiveResidual = state.savedResidual = state.coefficients = 0;
    return ryxStsOk;
}

ryxStatus ryxsFullbandControllerUpdate_EC_32f_u8(const float *x, const float *s, float *steps,
                                                 FullbandControllerState_EC_32f *block) {
    if (anyNull(x, s, steps, block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    if (!isSound(state)) return ryxStsBadContext;
    runningEnergies(x, state, steps);
    energiesToSteps(steps, state);
    state.reference = smooth(state.alpha50, state.reference, energy(s, state.blockLength));
    return ryxStsOk;
}

ryxStatus ryxsFullbandController_EC_32f_u8(const float *e1, const float *e2, float *a, float *b, float *mu,
                                           FullbandControllerState_EC_32f *block) {
    if (anyNull(e1, e2, a, b, mu, block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    if (!isSound(state)) return ryxStsBadContext;
    state.adaptiveResidual = smooth(state.alpha50, state.adaptiveResidual, energy(e1, state.blockLength));
    state.savedResidual = smooth(state.alpha50, state.savedResidual, energy(e2, state.blockLength));
    chooseCoefficients(a, b, state);
    // Without divergence the adaptation rests, unless much of the echo is still there.
    const bool adapt = state.divergence >= 0.5F || state.savedResidual >= 0.2F * state.reference;
    state.multiplier = smooth(state.alpha10, state.multiplier, adapt ? 1.0F : 0.0F);
    *mu = state.multiplier;
    return ryxStsOk;
}
