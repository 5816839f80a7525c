// SPDX-License-Identifier: BSD-2-Clause
// ISPs over the subframes of a frame, the stability of the filter from frame to frame, and what follows from narrow ISFs:
// clipping of the pitch gain (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

// Weights of the new ISPs in the first three subframes, Q15; the fourth one has them alone.
constexpr int16_t newWeights[] = {14746, 26214, 31457};

constexpr int16_t widestLow = 384, widestHigh = 307, narrow = 154;
constexpr int16_t leastGain = 9830, clippedGain = 14746;

} // namespace

ryxStatus ryxsInterpolate_AMRWB_16s_u8(const int16_t *prevIsp, const int16_t *isp, int16_t *lpc) {
    if (anyNull(prevIsp, isp, lpc)) return ryxStsNullPtr;
    for (const int16_t weight : newWeights) {
        int16_t between[lpOrder];
        for (int i = 0; i < lpOrder; i++)
            between[i] = round(L_mac(L_mult(prevIsp[i], static_cast<int16_t>(32768 - weight)), isp[i], weight));
        ryxsISPToLPC_AMRWB_16s_u8(between, lpc, lpOrder);
        lpc += lpOrder + 1;
    }
    return ryxsISPToLPC_AMRWB_16s_u8(isp, lpc, lpOrder);
}

ryxStatus ryxsStability_AMRWB_16s_u8(const int16_t *isf, const int16_t *prevIsf, int16_t *stability) {
    if (anyNull(isf, prevIsf, stability)) return ryxStsNullPtr;
    int32_t distance = 0;
    for (int i = 0; i < lpOrder - 1; i++) {
        const int16_t difference = sub(isf[i], prevIsf[i]);
        distance = L_mac(distance, difference, difference);
    }
    const int16_t change = mult(extract_h(L_shl(distance, 8)), 26214);
    *stability = std::max<int16_t>(shl(sub(20480, change), 1), 0);
    return ryxStsOk;
}

ryxStatus ryxsGainClipUpdateISF_AMRWB_16s_u8(const int16_t *isf, int mode, int16_t *memory) {
    if (anyNull(isf, memory)) return ryxStsNullPtr;
    int16_t closest = sub(isf[1], isf[0]);
    for (int i = 2; i < lpOrder - 1; i++)
        closest = std::min(closest, sub(isf[i], isf[i - 1]));
    const int16_t distance = extract_h(L_mac(L_mult(26214, memory[0]), 6554, closest));
    memory[0] = std::min(distance, isLowRate(mode) ? widestLow : widestHigh);
    return ryxStsOk;
}

ryxStatus ryxsGainClipTest_AMRWB_16s_u8(const int16_t *memory, int mode, int16_t *clip) {
    if (anyNull(memory, clip)) return ryxStsNullPtr;
    const int16_t distance = memory[0], gain = memory[1];
    if (isLowRate(mode))
        *clip = gain > add(clippedGain, mult(1638, static_cast<int16_t>(84 * std::min<int16_t>(distance, widestLow))));
    else
        *clip = distance < narrow && gain > clippedGain;
    return ryxStsOk;
}

ryxStatus ryxsGainClipUpdateGain_AMRWB_16s_u8(int16_t pitchGain, int mode, int16_t *memory) {
    if (anyNull(memory)) return ryxStsNullPtr;
    const int32_t mean = isLowRate(mode) ? L_mac(L_mult(32113, memory[1]), 655, pitchGain)
                                         : L_mac(L_mult(29491, memory[1]), 3277, pitchGain);
    memory[1] = std::max(extract_h(mean), leastGain);
    return ryxStsOk;
}
