// SPDX-License-Identifier: BSD-2-Clause
// The combined filter of the encoder of ITU-T G.723.1: its impulse response, what it still rings with, and its run over
// the excitation that was chosen.
#include "g723/combined_filter.h"

#include "common/checks.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

// Synthesis and formant weighting. The weighting's zeros take the rounded output of the synthesis from their line but its
// full sum as their input.
struct WeightedSynthesis {
    FilterLine synthesis, weighted;
    const int16_t *lpc, *weights;

    WeightedSynthesis(const int16_t *givenLpc, const int16_t *givenWeights) : lpc(givenLpc), weights(givenWeights) {}
    WeightedSynthesis(const int16_t *givenLpc, const int16_t *givenWeights, const int16_t *memory)
        : synthesis(memory), weighted(memory + order), lpc(givenLpc), weights(givenWeights) {}

    // input: excitation times 2^13, half the scale of the taps. The impulse response doubles between zeros and poles.
    int16_t step(int32_t input, int doubling) {
        int32_t acc = synthesis.add(input, lpc);
        const int16_t synthesised = filterOutput(acc);
        acc = L_shl(synthesis.subtract(acc, weights), doubling);
        synthesis.push(synthesised);
        return weighted.push(filterOutput(weighted.add(acc, weights + order)));
    }
};

} // namespace

ryxStatus ryxsImpulseResponse_G723_16s_u8(const int16_t *lpc, const int16_t *weights, int lag, int16_t gain,
                                          int16_t *impulse) {
    if (anyNull(lpc, weights, impulse)) return ryxStsNullPtr;
    if (!isHarmonicLag(lag)) return ryxStsOutOfRange;
    WeightedSynthesis filter(lpc, weights);
    int16_t line[historyLength + subframeLength] = {};
    int16_t *response = line + historyLength;
    for (int n = 0; n < subframeLength; n++) {
        response[n] = filter.step(n == 0 ? 1 << 26 : 0, 1);
        impulse[n] = round(L_msu(L_deposit_h(response[n]), gain, response[n - lag]));
    }
    return ryxStsOk;
}

ryxStatus ryxsTarget_G723_16s_I_u8(int16_t *srcDst, const int16_t *lpc, const int16_t *weights, int lag, int16_t gain,
                                   const int16_t *memory, const int16_t *history) {
    if (anyNull(srcDst, lpc, weights, memory, history)) return ryxStsNullPtr;
    if (!isHarmonicLag(lag)) return ryxStsOutOfRange;
    WeightedSynthesis filter(lpc, weights, memory);
    int16_t line[historyLength + subframeLength];
    std::copy_n(history, historyLength, line);
    int16_t *ringing = line + historyLength;
    for (int n = 0; n < subframeLength; n++) {
        ringing[n] = filter.step(0, 0);
        srcDst[n] = round(L_mac(L_deposit_h(sub(srcDst[n], ringing[n])), gain, ringing[n - lag]));
    }
    return ryxStsOk;
}

ryxStatus ryxsWeightedSynthesisFilter_G723_16s_u8(const int16_t *src, const int16_t *lpc, const int16_t *weights,
                                                  int16_t *dst, int16_t *memory) {
    if (anyNull(src, lpc, weights, dst, memory)) return ryxStsNullPtr;
    WeightedSynthesis filter(lpc, weights, memory);
    for (int n = 0; n < subframeLength; n++)
        dst[n] = filter.step(src[n] * 8192, 0);
    filter.synthesis.save(memory);
    filter.weighted.save(memory + order);
    return ryxStsOk;
}
