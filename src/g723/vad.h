// SPDX-License-Identifier: BSD-2-Clause
// State of the voice activity detector of ITU-T G.723.1 Annex A.
#pragma once

#include <cstdint>

#include "g723/operators.h"

namespace ryxsc::g723 {

struct Vad {
    int32_t energy = 1024; // of the residual of the last frame
    int32_t noiseLevel = 1024;
    int16_t pitch[4] = {1, 1, 1, 1}; // open-loop lags of the last two frames
    int16_t noiseFilter[order] = {};
    int16_t hangover = 3;
    int16_t speechRun = 0;
    int16_t adaptation = 0; // above 0 while the input is voiced or a sine: the noise level hardly rises then
};

} // namespace ryxsc::g723
