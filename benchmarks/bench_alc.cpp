// SPDX-License-Identifier: BSD-2-Clause
// Automatic level control (ITU-T G.169) in frames of 20 ms.
#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 160;
constexpr Workload frame{.inputLength = frameLength, .seconds = 0.020, .units = frameLength / 8, .unit = "block"};

void control(benchmark::State &run, const std::vector<int16_t> &input) {
    int16_t output[frameLength];
    StateBlock<ALCState_G169> state(ryxsALCGetStateSize_G169_16s);
    require(ryxsALCInit_G169_16s(state));
    measure(run, frame, input, [&](const int16_t *in) { return ryxsALC_G169_16s(in, output, frameLength, state); });
}

const Registration registration([] {
    addCase("ALC/speech", [](benchmark::State &run) { control(run, speech8k()); });
    addCase("ALC/silence", [](benchmark::State &run) { control(run, std::vector<int16_t>(frameLength)); });
});

} // namespace
