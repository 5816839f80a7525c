// SPDX-License-Identifier: BSD-2-Clause
// Ratio of the levels of two signals of a subframe, for adaptive gain control (3GPP TS 26.090, clause 6.2.1).
#pragma once

#include "gsmamr/arithmetic.h"
#include "gsmamr/energy.h"

namespace ryxsc::gsmamr {

// A sixteenth of the energy, from quarters of the samples where the sum would saturate.
inline int32_t levelEnergy(const int16_t *x) {
    const int32_t energy = saturatedEnergy(0, x);
    if (energy < max32) return energy >> 4;
    int16_t quarters[subframeLength];
    for (int n = 0; n < subframeLength; n++)
        quarters[n] = static_cast<int16_t>(x[n] >> 2);
    return saturatedEnergy(0, quarters);
}

// The gain, Q12, that brings a signal of this energy, not 0, to that of the reference; 0 for a silent reference.
inline int16_t levelRatio(int32_t energy, int32_t reference) {
    if (reference == 0) return 0;
    const int shift = norm_l(energy) - 1, referenceShift = norm_l(reference);
    const int16_t ratio = div_s(round(L_shl(energy, shift)), round(L_shl(reference, referenceShift)));
    return round(L_shl(inverseSqrt(L_shr(ratio * 128, shift - referenceShift)), 9));
}

} // namespace ryxsc::gsmamr
