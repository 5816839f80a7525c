// SPDX-License-Identifier: BSD-2-Clause
// Speech at 8 kHz that comes back from a room, for whole echo cancellers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ec {

struct Scene {
    std::string name;
    std::vector<int16_t> far, microphone;
    std::vector<double> echo; // the part of the microphone's signal that is to go
};

// Eight seconds of speech and a path of 64 ms, echo 6 dB below the far end.
Scene singleTalk();
// The same with other speech on top from 4 to 6 s, as loud as the echo.
Scene doubleTalk();

// By how many decibels the echo alone is weakened, second by second.
std::vector<double> reductions(const Scene &scene, const std::vector<double> &output);

} // namespace ec
