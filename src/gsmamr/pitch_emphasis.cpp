// SPDX-License-Identifier: BSD-2-Clause
// Emphasis of the adaptive codebook's part of the excitation where the pitch gain is high (3GPP TS 26.090, clause 6.1).
#include "common/checks.h"
#include "frame/implementations.h"
#include "gsmamr/gain_control.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

ryxStatus ryxsPitchEmphasis_GSMAMR_16s_u8(const int16_t *excitation, const int16_t *adaptive, int16_t pitchGain,
                                          int16_t sharpening, int16_t *dst, int rate) {
    if (anyNull(excitation, adaptive, dst)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    int16_t emphasised[subframeLength];
    for (int n = 0; n < subframeLength; n++) {
        const int32_t part = L_mult(mult(adaptive[n], sharpening), pitchGain);
        emphasised[n] = add(round(of == Rate::r1220 ? part >> 1 : part), excitation[n]);
    }
    if (const int32_t energy = levelEnergy(emphasised); energy != 0) {
        const int16_t gain = levelRatio(energy, levelEnergy(excitation));
        for (int16_t &sample : emphasised)
            sample = extract_h(L_shl(L_mult(sample, gain), 3));
    }
    std::copy_n(emphasised, subframeLength, dst);
    return ryxStsOk;
}
