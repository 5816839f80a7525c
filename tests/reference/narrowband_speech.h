// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <vector>

#include "common/fixed_point.h"
#include "harness/signals.h"
#include "ryxsc.h"

// 8 kHz speech: the low band of the recording.
inline std::vector<int16_t> narrowbandSpeech() {
    std::vector<int16_t> bands = signals::speech();
    int16_t delay[24] = {};
    ryxsQMFEncode_G722_16s(bands.data(), bands.data(), static_cast<int>(bands.size()), delay);
    std::vector<int16_t> speech;
    for (size_t i = 0; i < bands.size(); i += 2)
        speech.push_back(ryxsc::shl(bands[i], 1));
    return speech;
}
