// SPDX-License-Identifier: BSD-2-Clause
// Phase dispersion of ITU-T G.729 Annex D: spreads the two pulses of a subframe where the pitch contribution is small.
#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/state_block.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int depth = 6;
constexpr int16_t lowGain = 9830, highGain = 14745; // 0.6 and 0.9, Q14
constexpr int16_t noDispersion = 2;

struct State {
    int16_t gains[depth]; // of the pitch, the newest first
    int16_t strength;     // 0 strong, 1 medium, 2 none
    int16_t codeGain;
    int16_t onset;
    int16_t reserved;
};
static_assert(sizeof(State) == 20);

void push(int16_t gain, State &s) {
    std::copy_backward(s.gains, s.gains + depth - 1, s.gains + depth);
    s.gains[0] = gain;
}

int16_t chooseStrength(int16_t pitchGain, int16_t codeGain, State &s) {
    int strength = pitchGain >= highGain ? 2 : pitchGain > lowGain ? 1 : 0;
    push(pitchGain, s);
    s.onset = (codeGain >> 1) > s.codeGain ? int16_t{2} : std::max<int16_t>(static_cast<int16_t>(s.onset - 1), 0);
    if (s.onset == 0) {
        const auto low = std::count_if(s.gains, s.gains + depth, [](int16_t gain) { return gain < lowGain; });
        if (low > 2) strength = 0;
        if (strength > s.strength + 1) strength--;
    } else if (strength < noDispersion) {
        strength++;
    }
    s.strength = static_cast<int16_t>(strength);
    s.codeGain = codeGain;
    return s.strength;
}

// The circular convolution of the pulses with a response.
void disperse(const int16_t *code, const int16_t *response, int16_t *dispersed) {
    std::fill_n(dispersed, subframe, int16_t{0});
    for (int p = 0; p < subframe; p++) {
        if (code[p] == 0) continue;
        for (int k = 0; k < subframe; k++) {
            int16_t &z = dispersed[(p + k) % subframe];
            z = add(z, mult(code[p], response[k]));
        }
    }
}

} // namespace

ryxStatus ryxsPhaseDispersionGetStateSize_G729D_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsPhaseDispersionInit_G729D_16s_u8(PhaseDispersionState_G729D *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    saveBlock(block, State{});
    return ryxStsOk;
}

ryxStatus ryxsPhaseDispersion_G729D_16s_u8(const int16_t *excitation, const int16_t *code, const int16_t *gains,
                                           int16_t *dst, PhaseDispersionState_G729D *block) {
    constexpr std::array<int16_t, subframe> impulse = {max16};
    if (anyNull(excitation, code, gains, dst, block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    const int16_t codeGain = gains[1];
    const int16_t strength = chooseStrength(gains[0], codeGain, s);
    const auto &response = strength == 0 ? dispersionLow : strength == 1 ? dispersionMiddle : impulse;
    int16_t dispersed[subframe];
    disperse(code, response.data(), dispersed);
    const auto contribution = [codeGain](int16_t pulse) { return round(L_shl(L_mult(codeGain, pulse), 1)); };
    for (int n = 0; n < subframe; n++) {
        const int16_t adaptive = sub(excitation[n], contribution(code[n]));
        dst[n] = add(adaptive, contribution(dispersed[n]));
    }
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsPhaseDispersionUpdate_G729D_16s_u8(int16_t pitchGain, int16_t codeGain,
                                                 PhaseDispersionState_G729D *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    push(pitchGain, s);
    s.strength = noDispersion;
    s.codeGain = codeGain;
    s.onset = 0;
    saveBlock(block, s);
    return ryxStsOk;
}
