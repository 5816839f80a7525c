// SPDX-License-Identifier: BSD-2-Clause
// Energy of a subframe for adaptive gain control (3GPP TS 26.090, clause 6.2.1).
#pragma once

#include "common/gain_control.h"
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

} // namespace ryxsc::gsmamr
