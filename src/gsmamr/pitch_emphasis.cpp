// SPDX-License-Identifier: BSD-2-Clause
// Emphasis of the adaptive codebook's part of the excitation where the pitch gain is high (3GPP TS 26.090, clause 6.1).
#include "common/checks.h"
#include "common/gain_control.h"
#include "gsmamr/energy.h"
#include "gsmamr/implementations.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

ryxStatus ryxsPitchEmphasis_GSMAMR_16s_u8(const int16_t *excitation, const int16_t *adaptive, int16_t pitchGain,
                                          int16_t sharpening, int16_t *dst, int rate) {
    if (anyNull(excitation, adaptive, dst)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    int16_t emphasised[subframeLength];
    const simd::Vector p = simd::words(pitchGain), factor = simd::words(sharpening);
    const simd::ScaleDown halved(16);
    for (int n = 0; n < subframeLength; n += 8) {
        const simd::Vector part = simd::mulShiftSaturated<15>(simd::load(adaptive + n), factor);
        const simd::Vector scaled =
            of == Rate::r1220 ? halved(simd::products(part, p)) : simd::roundedProductQ15(part, p);
        simd::store(emphasised + n, _mm_adds_epi16(scaled, simd::load(excitation + n)));
    }
    if (const int32_t energy = levelEnergy(emphasised); energy != 0) {
        const simd::Vector gain = simd::words(levelGain(energy, levelEnergy(excitation)));
        for (int n = 0; n < subframeLength; n += 8)
            simd::store(emphasised + n, simd::mulShiftSaturated<12>(simd::load(emphasised + n), gain));
    }
    std::copy_n(emphasised, subframeLength, dst);
    return ryxStsOk;
}
