// SPDX-License-Identifier: BSD-2-Clause
// Concealment of lost frames of ITU-T G.728, Annex I: excitation from the past excitation, one pitch period or a random
// time back, and the log-gain that belongs to it.
#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

constexpr int historyLength = 140;

// The recommendation's generator: each word grows by the one 12 places on.
struct Generator {
    uint32_t words[17];
    uint8_t first, second;

    uint16_t operator()() {
        first = static_cast<uint8_t>((first + 1) % 17);
        second = static_cast<uint8_t>((second + 1) % 17);
        words[first] += words[second];
        return (words[first] >> 15) & 0x7fff;
    }
};

struct State {
    int16_t excitation[historyLength]; // Q2, oldest first
    int16_t voiced;
    int16_t delay;
    int16_t scale, scaleExponent;     // of the excitation in this part of the erasure
    int16_t average, averageExponent; // magnitude of the excitation before the erasure
    Generator random;
};
static_assert(sizeof(State) == 364);

int32_t magnitudeSum(const int16_t *x, int len) {
    int32_t sum = 0;
    for (int i = 0; i < len; i++)
        sum += std::abs(x[i]);
    return sum;
}

// log2 of a mantissa in Q15, 0.5 to 1, in Q10, by a polynomial around 0.75.
int32_t log2(int16_t mantissa) {
    constexpr int32_t coefficients[] = {-3400, 15758, -10505, 9338, -9338, 9961}; // Q13
    const int32_t x = 2 * (mantissa - 24576);
    int32_t sum = 0;
    for (int i = 5; i >= 1; i--)
        sum = ((sum + coefficients[i]) * x) >> 16;
    return (sum + coefficients[0]) >> 3;
}

// Mean power of an excitation in dB, Q9, less 32 dB.
int16_t logGainOf(const int16_t *excitation, int exponent) {
    int64_t energy = 0;
    for (int n = 0; n < vectorLength; n++)
        energy += excitation[n] * excitation[n];
    const int32_t sum = sat32(energy);
    const int energyShift = normalisation(sum, 32);
    Scaled power = {static_cast<int16_t>((sum << energyShift) >> 16), energyShift + 2 * exponent - 16};
    const int32_t mean = 13107 * power.mantissa; // a fifth
    const int meanShift = normalisation(mean, 32);
    power = {static_cast<int16_t>((mean << meanShift) >> 16), power.exponent + meanShift};
    if (power.exponent > 14) power = one;
    const int32_t logarithm = (15 - power.exponent) * 1024 + log2(power.mantissa);
    return sat16(sat32((int64_t{24660} * logarithm - (16384 << 14)) >> 14));
}

// Moves the past excitation on by what is new.
template <size_t len> void append(const int16_t (&newest)[len], ConcealmentState_G728 *block) {
    auto *const octets = reinterpret_cast<unsigned char *>(block) + offsetof(State, excitation);
    constexpr size_t kept = sizeof State::excitation - sizeof newest;
    // Each vector is finished by itself, or a compiler would call memmove.
    const auto move = [=](size_t at) {
        simd::Vector x = simd::load(octets + sizeof newest + at);
        simd::finish(x);
        simd::store(octets + at, x);
    };
    const simd::Vector last = simd::load(octets + sizeof State::excitation - 16);
    for (size_t at = 0; at + 16 < kept; at += 16)
        move(at);
    simd::store(octets + kept - 16, last);
    std::memcpy(octets + kept, newest, sizeof newest);
}

} // namespace

ryxStatus ryxsConcealmentGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsConcealmentInit_G728_16s_u8(ConcealmentState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    std::copy_n(erasureRandomSeed, 17, state.random.words);
    state.random.second = 12;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsConcealmentSetup_G728_16s_u8(int elapsed, int16_t tap, int16_t lag, ConcealmentState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (elapsed < 0 || !isLag(lag)) return ryxStsOutOfRange;
    auto state = loadBlock<State>(block);
    if (elapsed == 0) {
        state.voiced = tap > 7022;
        if (state.voiced) {
            state.delay = static_cast<int16_t>(lag - vectorLength);
        } else {
            const Scaled average = normalised(magnitudeSum(state.excitation + historyLength - 40, 40), 0);
            state.average = average.mantissa;
            state.averageExponent = asExponent(average.exponent + 5);
        }
    }
    state.scale = 0;
    state.scaleExponent = 15;
    if (state.voiced && elapsed < 5) state.scale = voicedErasureGains[elapsed];
    if (!state.voiced && elapsed < 6) {
        const Scaled scale = normalised(state.average * unvoicedErasureGains[elapsed], state.averageExponent + 15);
        state.scale = scale.mantissa;
        state.scaleExponent = asExponent(scale.exponent);
    }
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsConcealmentExcitation_G728_16s_u8(int16_t *excitation, int16_t *exponent, int16_t *logGain,
                                                ConcealmentState_G728 *block) {
    if (anyNull(excitation, exponent, logGain, block)) return ryxStsNullPtr;
    auto state = loadBlock<State>(block);
    const auto source = [&] { return state.excitation + historyLength - vectorLength - state.delay; };
    Scaled scale = {0, 14};
    if (state.voiced) {
        scale = {state.scale, state.scaleExponent};
    } else if (state.scale != 0) {
        state.delay = static_cast<int16_t>(state.random() / 243);
        const Scaled level = normalised(magnitudeSum(source(), vectorLength), 2);
        scale = level.mantissa == 0 ? one : divide({state.scale, state.scaleExponent}, level);
    }
    for (int n = 0; n < vectorLength; n++)
        excitation[n] = sat16(shiftLimited(scale.mantissa * source()[n], -scale.exponent));
    simd::Vector samples = loadFive(excitation);
    const int q = 2 + normaliseFive(samples, 15);
    storeFive(excitation, samples);
    *exponent = asExponent(q);
    *logGain = logGainOf(excitation, q);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsConcealmentUpdate_G728_16s_u8(const int16_t *excitation, int16_t exponent, ConcealmentState_G728 *block) {
    if (anyNull(excitation, block)) return ryxStsNullPtr;
    int16_t newest[vectorLength];
    storeFive(newest, inQ2(loadFive(excitation), exponent));
    append(newest, block);
    return ryxStsOk;
}

ryxStatus ryxsConcealmentUpdateCycle_G728_16s_u8(const int16_t *excitation, const int16_t *exponents,
                                                 ConcealmentState_G728 *block) {
    if (anyNull(excitation, exponents, block)) return ryxStsNullPtr;
    simd::Vector vectors[cycleVectors];
    for (int v = 0; v < cycleVectors; v++)
        vectors[v] = inQ2(loadFive(excitation + v * vectorLength), exponents[v]);
    int16_t newest[cycleLength];
    storeCycle(newest, vectors);
    append(newest, block);
    return ryxStsOk;
}
