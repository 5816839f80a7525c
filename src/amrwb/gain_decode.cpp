// SPDX-License-Identifier: BSD-2-Clause
// Gains of both codebooks: decoding, and concealment in lost and bad frames (3GPP TS 26.173, TS 26.191).
#include <cstring>

#include "amrwb/gain_prediction.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int historyLength = 5;

// The caller's 22 words; histories with the newest last.
struct Memory {
    int16_t predictor[predictorOrder];
    int16_t lastPitchGain, lastCodeGain, lastGoodCodeGain;
    int16_t pitchGains[historyLength], codeGains[historyLength], goodPitchGains[historyLength];
};
static_assert(sizeof(Memory) == 22 * sizeof(int16_t));

void append(int16_t *history, int16_t value) {
    std::copy(history + 1, history + historyLength, history);
    history[historyLength - 1] = value;
}

int16_t median(const int16_t *history) {
    int16_t sorted[historyLength];
    std::copy_n(history, historyLength, sorted);
    std::sort(sorted, sorted + historyLength);
    return sorted[2];
}

struct Gains {
    int16_t pitch;
    int32_t code;
};

// 1 / (root of the energy of the code), Q12.
int16_t inverseAmplitude(const int16_t *code) {
    Scaled power = dotSquare(code, subframeLength);
    power.exponent -= 24;
    const Scaled root = inverseRoot(power);
    return extract_h(L_shl(root.mantissa, root.exponent - 3));
}

Gains conceal(Memory &memory, int16_t inverse, bool lost, int badFrames, bool isNoise) {
    const auto state = static_cast<size_t>(badFrames);
    const int16_t *const pitchAttenuation = concealmentAttenuations[lost ? 0 : 2];
    const int16_t *const codeAttenuation = concealmentAttenuations[lost ? 1 : 3];
    memory.lastPitchGain = std::min<int16_t>(median(memory.pitchGains), 15565);
    const int16_t code = median(memory.codeGains);
    memory.lastCodeGain = isNoise ? code : mult(codeAttenuation[state], code);

    int32_t sum = 0;
    for (const int16_t error : memory.predictor)
        sum = L_mac(sum, error, 8192);
    const int16_t mean = std::max<int16_t>(sub(extract_h(sum), 3072), -14336);
    std::copy_backward(memory.predictor, memory.predictor + predictorOrder - 1, memory.predictor + predictorOrder);
    memory.predictor[0] = mean;

    append(memory.codeGains, memory.lastCodeGain);
    append(memory.pitchGains, memory.lastPitchGain);
    return {mult(pitchAttenuation[state], memory.lastPitchGain), L_mult(memory.lastCodeGain, inverse)};
}

Gains decode(Memory &memory, const GainPair &row, int16_t inverse, bool afterBadFrame) {
    const PredictedGain predicted(predictEnergy(meanEnergy << 24, memory.predictor));
    int32_t code = predicted.times(row.code);
    if (afterBadFrame) {
        const int32_t limit = L_mult(memory.lastGoodCodeGain, 5120);
        if (code > limit && code > 6553600) code = limit;
    }
    memory.lastCodeGain = round(L_shl(code, 3));
    memory.lastPitchGain = row.pitch;
    memory.lastGoodCodeGain = memory.lastCodeGain;
    append(memory.codeGains, memory.lastCodeGain);
    append(memory.pitchGains, memory.lastPitchGain);
    append(memory.goodPitchGains, memory.lastPitchGain);
    updatePredictor(memory.predictor, row.code);
    return {row.pitch, L_shl(multiplyShort(code, inverse), 3)};
}

} // namespace

ryxStatus ryxsGainDecode_AMRWB_16s_u8(int index, const int16_t *code, int mode, int bfi, int lost, int prevBfi,
                                      int badFrames, int noiseFrames, int16_t *memory, int16_t *pitchGain,
                                      int32_t *codeGain) {
    if (anyNull(code, memory, pitchGain, codeGain)) return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    if (badFrames < 0 || badFrames > 6) return ryxStsOutOfRange;
    const bool isLow = isLowRate(mode);
    if (bfi == 0 && (index < 0 || index >= (isLow ? 64 : 128))) return ryxStsBadIndex;
    Memory state;
    std::memcpy(&state, memory, sizeof state);
    const int16_t inverse = inverseAmplitude(code);
    const Gains gains = bfi != 0 ? conceal(state, inverse, lost != 0, badFrames, noiseFrames > 2)
                                 : decode(state, (isLow ? gains6 : gains7)[index], inverse, prevBfi != 0);
    std::memcpy(memory, &state, sizeof state);
    *pitchGain = gains.pitch;
    *codeGain = gains.code;
    return ryxStsOk;
}
