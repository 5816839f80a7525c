// SPDX-License-Identifier: BSD-2-Clause
// Decoding and concealment of the gains of GSM-AMR (3GPP TS 26.090, clause 6.1; TS 26.091, clause 6).
#include <array>

#include "common/checks.h"
#include "common/state_block.h"
#include "gsmamr/gain_steps.h"
#include "gsmamr/gain_tables.h"
#include "gsmamr/implementations.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int history = 5;
constexpr int worst = 6; // of the concealment states 0..6

// Received gains of one kind.
struct GainHistory {
    int16_t past[history];
    int16_t last;     // received or concealed
    int16_t lastGood; // received in a good frame

    int16_t lost(int16_t attenuation) const { return mult(std::min(median<history>(past), last), attenuation); }

    // A gain that follows a bad frame does not rise.
    int16_t enter(int16_t gain, bool bad, bool prevBad, int16_t largest) {
        if (!bad) {
            if (prevBad) gain = std::min(gain, lastGood);
            lastGood = gain;
        }
        last = std::min(gain, largest);
        pushBack<history>(past, last);
        return gain;
    }
};

constexpr std::array<int16_t, worst + 1> pitchAttenuations = {32767, 32112, 32112, 26214, 9830, 6553, 6553};
constexpr std::array<int16_t, worst + 1> codeAttenuations = {32767, 32112, 32112, 32112, 32112, 32112, 22937};

constexpr int indicesOf(Rate rate) {
    switch (rate) {
    case Rate::r475:
        return 256;
    case Rate::r515:
    case Rate::r590:
        return 64;
    default:
        return 128;
    }
}

constexpr bool isScalar(Rate rate) {
    return rate == Rate::r795 || rate == Rate::r1220;
}

int16_t pitchGainAt(int16_t index, int subframe, Rate rate) {
    const auto i = static_cast<size_t>(index);
    switch (rate) {
    case Rate::r475:
        return gainsOf475[i].subframe[subframe % 2].pitchGain;
    case Rate::r515:
    case Rate::r590:
        return gainsOf515And590[i].pitchGain;
    case Rate::r795:
        return pitchGains[i];
    case Rate::r1220:
        return static_cast<int16_t>(pitchGains[i] & ~3);
    default:
        return gainsOf670To1020[i].pitchGain;
    }
}

struct Correction {
    int16_t factor;
    CorrectionEnergies energies;
};
Correction correctionAt(int16_t index, int subframe, Rate rate) {
    const auto i = static_cast<size_t>(index);
    if (rate == Rate::r475) {
        const int16_t factor = gainsOf475[i].subframe[subframe % 2].correction;
        return {factor, energiesOfCorrection(factor)};
    }
    if (isScalar(rate)) return {codeGains[i].correction, {codeGains[i].energy, codeGains[i].log2Energy}};
    const GainRow &row = rate <= Rate::r590 ? gainsOf515And590[i] : gainsOf670To1020[i];
    return {row.correction, {row.energy, row.log2Energy}};
}

// A quarter of the sum, with a limit.
int16_t meanOf(const int16_t *past, int16_t least) {
    int16_t sum = 0;
    for (int k = 0; k < pastFrames; k++)
        sum = add(sum, past[k]);
    return std::max(mult(sum, 8192), least);
}

} // namespace

struct GainConcealState_GSMAMR {
    GainHistory pitch, code;
};

ryxStatus ryxsGainConcealGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(GainConcealState_GSMAMR);
    return ryxStsOk;
}

ryxStatus ryxsGainConcealInit_GSMAMR_16s_u8(GainConcealState_GSMAMR *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, GainConcealState_GSMAMR{{{1640, 1640, 1640, 1640, 1640}, 0, 16384}, {{1, 1, 1, 1, 1}, 0, 1}});
    return ryxStsOk;
}

ryxStatus ryxsPitchGainDecode_GSMAMR_16s_u8(int16_t index, int badFrame, int prevBadFrame, int lossState, int16_t *gain,
                                            int subframe, int rate, GainConcealState_GSMAMR *state) {
    if (anyNull(gain, state)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || subframe < 0 || subframe > 3 || lossState < 0 || lossState > worst) return ryxStsOutOfRange;
    const bool bad = badFrame != 0;
    if (!bad && (index < 0 || index >= (isScalar(of) ? 16 : indicesOf(of)))) return ryxStsBadIndex;
    auto memory = loadBlock<GainConcealState_GSMAMR>(state);
    const int16_t received =
        bad ? memory.pitch.lost(pitchAttenuations[static_cast<size_t>(lossState)]) : pitchGainAt(index, subframe, of);
    *gain = memory.pitch.enter(received, bad, prevBadFrame != 0, 16384);
    saveBlock(state, memory);
    return ryxStsOk;
}

ryxStatus ryxsCodeGainDecode_GSMAMR_16s_u8(int16_t index, const int16_t *code, int badFrame, int prevBadFrame,
                                           int lossState, int16_t *pastEnergies, int16_t *pastEnergies122,
                                           int16_t *gain, int subframe, int rate, GainConcealState_GSMAMR *state) {
    if (anyNull(code, pastEnergies, pastEnergies122, gain, state)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || subframe < 0 || subframe > 3 || lossState < 0 || lossState > worst) return ryxStsOutOfRange;
    const bool bad = badFrame != 0;
    if (!bad && (index < 0 || index >= (isScalar(of) ? 32 : indicesOf(of)))) return ryxStsBadIndex;
    auto memory = loadBlock<GainConcealState_GSMAMR>(state);
    const Predictor predictor = {pastEnergies, pastEnergies122};
    int16_t received;
    if (bad) {
        received = memory.code.lost(codeAttenuations[static_cast<size_t>(lossState)]);
        predictor.update(meanOf(pastEnergies, -14336), meanOf(pastEnergies122, -2381));
    } else {
        const Prediction prediction = predictGain(code, predictor, of);
        const Correction correction = correctionAt(index, subframe, of);
        if (of == Rate::r1220) {
            const int16_t predicted = shl(extract_l(powerOfTwo(prediction.exponent, prediction.fraction)), 4);
            received = shl(mult(predicted, correction.factor), 1);
        } else {
            received = codeGainOf(correction.factor, prediction, of == Rate::r795 ? 9 : 10);
        }
        predictor.update(correction.energies.energy, correction.energies.energy122);
    }
    *gain = memory.code.enter(received, bad, prevBadFrame != 0, max16);
    saveBlock(state, memory);
    return ryxStsOk;
}
