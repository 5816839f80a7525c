// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.729.1 high-pass filter in frames of 20 ms.
#include <cstring>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 160;
constexpr Workload frame{.inputLength = frameLength, .seconds = 0.020, .units = frameLength, .unit = "sample"};

// Butterworth, 50 Hz at 8 kHz, with a gain of 1/16.
constexpr int16_t coefficients[] = {16384, 31858, -15499, 996, -1992, 996};

// Includes a copy of the frame, since the filter works in place and has to meet speech in every call.
void highPass(benchmark::State &run, int sf) {
    int16_t samples[frameLength];
    StateBlock<FilterHighpassState_G7291> state(ryxsFilterHighpassGetStateSize_G7291_16s);
    require(ryxsFilterHighpassInit_G7291_16s(state, coefficients));
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        std::memcpy(samples, in, sizeof samples);
        return ryxsFilterHighpass_G7291_16s_ISfs(samples, frameLength, state, sf);
    });
}

const Registration registration([] {
    addCase("G7291/high_pass/up", highPass, 4);
    addCase("G7291/high_pass/down", highPass, 0);
});

} // namespace
