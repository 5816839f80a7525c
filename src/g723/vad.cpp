// SPDX-License-Identifier: BSD-2-Clause
// Voice activity detector of ITU-T G.723.1 Annex A: the energy that the filter of the noise leaves, against a threshold
// over the noise level.
#include "g723/vad.h"

#include <cstdlib>

#include "common/checks.h"
#include "common/state_block.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int16_t thresholdFactors[11] = {9170,  9170,  9170,  9170,  10289, 11544,
                                          12953, 14533, 16306, 18296, 20529}; // by the normalisation of the noise level
constexpr int32_t quietest = 128, noisiest = 131071;
constexpr int16_t perFrame = 2913; // energies are those of 180 samples / 11.25

// Whether the lags of two frames are multiples of the smallest of them.
bool isVoiced(const int16_t *pitch) {
    const int smallest = *std::min_element(pitch, pitch + 4);
    int matches = 0;
    for (int i = 0; i < 4; i++)
        for (int multiple = 1; multiple <= 8; multiple++)
            matches += std::abs(multiple * smallest - pitch[i]) <= 3 ? 1 : 0;
    return matches == 4;
}

int32_t residualEnergy(const int16_t *src, const int16_t *filter) {
    int32_t energy = 0;
    for (int i = subframeLength; i < frameLength; i++) {
        int32_t acc = src[i] * 16384;
        for (int j = 0; j < order; j++)
            acc = L_msu(acc, src[i - 1 - j], filter[j]);
        const int16_t residual = round(acc);
        energy = L_mac(energy, residual, residual);
    }
    return scale(energy, perFrame);
}

int32_t followNoise(const Vad &vad) {
    int32_t level = vad.noiseLevel;
    if (level > vad.energy) level = vad.energy - (vad.energy >> 2) + (level >> 2);
    return vad.adaptation == 0 ? L_add(level, level >> 5) : level - (level >> 11);
}

// noiseLevel in quietest..noisiest.
int32_t thresholdOver(int32_t noiseLevel) {
    int32_t mantissa = noiseLevel << 13;
    const int shift = norm_l(mantissa);
    mantissa <<= shift;
    const int16_t fraction = extract_h((mantissa & 0x3f000000) << 1);
    int32_t acc = L_deposit_h(thresholdFactors[shift]);
    acc = L_mac(acc, fraction, thresholdFactors[shift - 1]);
    acc = L_msu(acc, fraction, thresholdFactors[shift]);
    return L_mult(static_cast<int16_t>(noiseLevel >> 2), extract_h(acc)) >> 11;
}

int hangOver(Vad &vad, bool speech) {
    if (speech) {
        vad.speechRun++;
        vad.hangover++;
    } else {
        vad.speechRun = std::max<int16_t>(0, static_cast<int16_t>(vad.speechRun - 1));
    }
    if (vad.speechRun >= 2) {
        vad.hangover = 6;
        vad.speechRun = std::min<int16_t>(vad.speechRun, 3);
    }
    if (vad.hangover == 0) return speech ? 1 : 0;
    if (vad.speechRun == 0) vad.hangover--;
    return 1;
}

} // namespace

ryxStatus ryxsVADGetStateSize_G723_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = static_cast<int>(sizeof(Vad));
    return ryxStsOk;
}

ryxStatus ryxsVADInit_G723_16s_u8(VADState_G723 *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, Vad{});
    return ryxStsOk;
}

ryxStatus ryxsVAD_G723_16s_u8(const int16_t *src, const int16_t *openLoopLags, int sine, VADState_G723 *state,
                              int *vad) {
    if (anyNull(src, openLoopLags, state, vad)) return ryxStsNullPtr;
    Vad detector = loadBlock<Vad>(state);
    std::copy_n(detector.pitch + 2, 2, detector.pitch);
    std::copy_n(openLoopLags, 2, detector.pitch + 2);
    const int step = sine != 0 || isVoiced(detector.pitch) ? 2 : -1;
    detector.adaptation = static_cast<int16_t>(std::clamp(detector.adaptation + step, 0, 6));
    const int32_t energy = residualEnergy(src, detector.noiseFilter);
    detector.noiseLevel = std::clamp(followNoise(detector), quietest, noisiest);
    detector.energy = energy;
    *vad = hangOver(detector, thresholdOver(detector.noiseLevel) <= energy);
    saveBlock(state, detector);
    return ryxStsOk;
}

ryxStatus ryxsVADNoiseUpdate_G723_16s_u8(const int16_t *lpc, VADState_G723 *state) {
    if (anyNull(lpc, state)) return ryxStsNullPtr;
    Vad detector = loadBlock<Vad>(state);
    if (detector.adaptation == 0) std::copy_n(lpc, order, detector.noiseFilter);
    saveBlock(state, detector);
    return ryxStsOk;
}
