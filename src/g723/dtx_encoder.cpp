// SPDX-License-Identifier: BSD-2-Clause
// Discontinuous transmission of ITU-T G.723.1 Annex A: what a frame without speech becomes, and its silence descriptor.
#include <cstdlib>
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "g723/implementations.h"
#include "g723/operators.h"
#include "g723/sid_gain.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int lags = order + 1;
constexpr int frames = 4;        // whose autocorrelations are kept
constexpr int energyFrames = 3;  // whose residual energies are
constexpr int gainTolerance = 3; // steps that the gain may stray from the last descriptor's

// Autocorrelation of the coefficients of an inverse filter, for Itakura's distance.
struct Reference {
    int16_t value[lags];
    int16_t shift;

    Reference() = default;
    explicit Reference(const int16_t *lpc) {
        int32_t acc = L_add(dotProduct(lpc, lpc, order) >> 1, 1 << 26);
        shift = static_cast<int16_t>(norm_l(acc) - 2);
        value[0] = round(L_shl(acc, shift));
        for (int i = 1; i < lags; i++) {
            acc = L_mult(-8192, lpc[i - 1]);
            for (int j = 0; j < order - i; j++)
                acc = L_mac(acc, lpc[j], lpc[j + i]);
            value[i] = round(L_shl(acc, shift));
        }
    }

    // Whether this filter leaves about as little of a signal as its own filter, which leaves the given energy.
    bool isSimilar(const int16_t *autoCorr, int16_t energy) const {
        int32_t left = 0;
        for (int i = 0; i < lags; i++)
            left = L_mac(left, value[i], static_cast<int16_t>(autoCorr[i] >> 2));
        return left <= L_shl(energy + mult_r(energy, 7000), shift + 9);
    }
};

struct Dtx {
    int16_t autoCorr[frames][lags] = {}; // the latest first, as everything here
    int shift[frames] = {40, 40, 40, 40};
    int16_t energy[energyFrames] = {};
    int16_t lpc[order] = {}; // of this frame
    Reference reference = {};
    int energyCount = 0;
    int gainIndex = 0, sentGainIndex = 0;
    bool speechBefore = true;

    // Mean energy of the last frames, in steps of the gain.
    int quantisedGain() const {
        const int lowest = *std::min_element(shift, shift + energyCount);
        int32_t sum = 0;
        for (int i = 0; i < energyCount; i++)
            sum += mult_r(energyFactors[energyCount], shr(energy[i], shift[i] - lowest));
        return sidGainIndex(L_shl(sum, 15 - lowest));
    }
};

void levinson(const int16_t *autoCorr, int16_t *lpc, int16_t *energy) {
    int16_t secondReflection;
    ryxsLevinsonDurbin_G723_16s_u8(autoCorr, lpc, &secondReflection, energy);
}

} // namespace

ryxStatus ryxsEncDTXGetStateSize_G723_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = static_cast<int>(sizeof(Dtx));
    return ryxStsOk;
}

ryxStatus ryxsEncDTXInit_G723_16s_u8(EncDTXState_G723 *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, Dtx{});
    return ryxStsOk;
}

ryxStatus ryxsEncDTXBuffer_G723_16s_u8(const int16_t *autoCorrs, const int *shifts, EncDTXState_G723 *state) {
    if (anyNull(autoCorrs, shifts, state)) return ryxStsNullPtr;
    Dtx dtx = loadBlock<Dtx>(state);
    std::memmove(dtx.autoCorr[1], dtx.autoCorr[0], sizeof dtx.autoCorr - sizeof dtx.autoCorr[0]);
    std::copy_backward(dtx.shift, dtx.shift + frames - 1, dtx.shift + frames);
    const ryxStatus status = ryxsAutoCorr_G723_16s_u8(autoCorrs, shifts, subframes, dtx.autoCorr[0], dtx.shift);
    if (status == ryxStsOk) saveBlock(state, dtx);
    return status;
}

ryxStatus ryxsEncDTXHandler_G723_16s_u8(int vad, EncDTXState_G723 *state, int *frameType) {
    if (anyNull(state, frameType)) return ryxStsNullPtr;
    Dtx dtx = loadBlock<Dtx>(state);
    if (vad != 0) {
        dtx.speechBefore = true;
        *frameType = ryxG723FrameSpeech;
    } else {
        std::copy_backward(dtx.energy, dtx.energy + energyFrames - 1, dtx.energy + energyFrames);
        levinson(dtx.autoCorr[0], dtx.lpc, dtx.energy);
        dtx.energyCount = dtx.speechBefore ? 1 : std::min(dtx.energyCount + 1, energyFrames);
        dtx.gainIndex = dtx.quantisedGain();
        const bool changed = dtx.speechBefore || !dtx.reference.isSimilar(dtx.autoCorr[0], dtx.energy[0]) ||
                             std::abs(dtx.gainIndex - dtx.sentGainIndex) > gainTolerance;
        *frameType = changed ? ryxG723FrameSID : ryxG723FrameNothing;
        dtx.speechBefore = false;
    }
    saveBlock(state, dtx);
    return ryxStsOk;
}

ryxStatus ryxsEncDTXSID_G723_16s_u8(const int16_t *previousLsf, EncDTXState_G723 *state, int16_t *pastLpc,
                                    int32_t *index, int *gainIndex) {
    if (anyNull(previousLsf, state, pastLpc, index, gainIndex)) return ryxStsNullPtr;
    Dtx dtx = loadBlock<Dtx>(state);
    // The filter of the three frames before, unless this frame is too far from it.
    int16_t autoCorr[lags], energy, lsf[order];
    int shift;
    ryxsAutoCorr_G723_16s_u8(dtx.autoCorr[1], dtx.shift + 1, frames - 1, autoCorr, &shift);
    levinson(autoCorr, pastLpc, &energy);
    const int16_t *lpc = pastLpc;
    dtx.reference = Reference(pastLpc);
    if (!dtx.reference.isSimilar(dtx.autoCorr[0], dtx.energy[0])) {
        lpc = dtx.lpc;
        dtx.reference = Reference(lpc);
    }
    ryxsLPCToLSF_G723_16s_u8(lpc, previousLsf, lsf);
    ryxsLSFQuant_G723_16s32s_u8(lsf, previousLsf, index);
    *gainIndex = dtx.sentGainIndex = dtx.gainIndex;
    saveBlock(state, dtx);
    return ryxStsOk;
}
