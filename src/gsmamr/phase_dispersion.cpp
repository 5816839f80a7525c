// SPDX-License-Identifier: BSD-2-Clause
// Phase dispersion of the code vector of GSM-AMR (3GPP TS 26.090, clause 6.1): few pulses sound harsh where the pitch gain is
// low.
#include <algorithm>

#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/codebook.h"
#include "gsmamr/implementations.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

struct PhaseDispersionState_GSMAMR {
    int16_t pitchGains[5]; // newest first
    int16_t strength;      // 0: strong, 1: weak, 2: none
    int16_t codeGain;
    int16_t onset;
};

namespace {

using State = PhaseDispersionState_GSMAMR;

constexpr int none = 2;

// Q15: of 7.95 kbit/s strong and weak, of the other rates strong; weak they have the same.
constexpr int16_t responses[3][subframeLength] = {
    {26777, 801,   2505,  -683,  -1382, 582,  604,  -1274, 3511, -5894, 4534, -499,  -1940, 3011,
     -5058, 5614,  -1990, -1061, -1459, 4442, -700, -5335, 4609, 452,   -589, -3352, 2953,  1267,
     -1212, -2590, 1731,  3670,  -4475, -975, 4391, -2537, 949,  -1363, -979, 5734},
    {30274, 3831,  -4036, 2972, -1048, -1002, 2477,  -3043, 2815, -2231, 1753, -1611, 1714,  -1775,
     1543,  -1008, 429,   -169, 472,   -1264, 2176,  -2706, 2523, -1621, 344,  826,   -1529, 1724,
     -1657, 1701,  -2063, 2644, -3060, 2897,  -1978, 557,   780,  -1369, 842,  655},
    {14690, 11518, 1268,  -2761, -5671, 7514,  -35,  -2807, -3040, 4823,  2952, -8424, 3785, 1455,
     2179,  -8637, 8051,  -2103, -1454, 777,   1108, -2385, 2254,  -363,  -674, -2103, 6046, -5681,
     1072,  3123,  -5058, 5312,  -2329, -3728, 6924, -3889, 675,   -1775, 29,   10145}};

int chooseStrength(int16_t pitchGain, int16_t codeGain, bool lock, State &state) {
    constexpr int16_t low = 9830, high = 14746; // 0.6, 0.9
    pushFront<5>(state.pitchGains, pitchGain);
    int strength = pitchGain >= high ? none : pitchGain > low ? 1 : 0;
    if (codeGain > round(L_shl(L_mult(state.codeGain, 16384), 2)))
        state.onset = 2;
    else if (state.onset > 0)
        state.onset--;
    const auto count = std::count_if(state.pitchGains, state.pitchGains + 5, [](int16_t gain) { return gain < low; });
    if (state.onset == 0 && count > 2) strength = 0;
    if (strength > state.strength + 1 && state.onset == 0) strength--;
    if (strength < none && state.onset > 0) strength++;
    if (codeGain < 10) strength = none;
    if (lock) strength = 0;
    state.strength = static_cast<int16_t>(strength);
    state.codeGain = codeGain;
    return strength;
}

// Circular convolution, pulse by pulse, each sample saturating. No value of a response is -32768.
void disperse(const int16_t *code, const int16_t *response, int16_t *dst) {
    int16_t twice[2 * subframeLength];
    std::copy_n(response, subframeLength, twice);
    std::copy_n(response, subframeLength, twice + subframeLength);
    simd::Vector sums[subframeLength / 8] = {};
    for (int pulse = 0; pulse < subframeLength; pulse++) {
        if (code[pulse] == 0) continue;
        const simd::Vector amplitude = simd::words(code[pulse]);
        const int16_t *const turned = twice + subframeLength - pulse;
        for (int n = 0; n < subframeLength; n += 8)
            sums[n / 8] = _mm_adds_epi16(sums[n / 8], simd::mulShift<15>(simd::load(turned + n), amplitude));
    }
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(dst + n, sums[n / 8]);
}

} // namespace

ryxStatus ryxsPhaseDispersionGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsPhaseDispersionInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, State{});
    return ryxStsOk;
}

ryxStatus ryxsPhaseDispersion_GSMAMR_16s_u8(const int16_t *code, int16_t pitchGain, int16_t codeGain, int lock,
                                            int16_t *dst, int rate, State *state) {
    if (anyNull(code, dst, state)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    State memory = loadBlock<State>(state);
    const int strength = chooseStrength(pitchGain, codeGain, lock != 0, memory);
    const bool hasDispersion = of <= Rate::r670 || of == Rate::r795;
    if (strength < none && hasDispersion)
        disperse(code, responses[strength == 1 ? 1 : of == Rate::r795 ? 0 : 2], dst);
    else
        std::copy_n(code, subframeLength, dst);
    saveBlock(state, memory);
    return ryxStsOk;
}
