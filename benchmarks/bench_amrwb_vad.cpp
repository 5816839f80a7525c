// SPDX-License-Identifier: BSD-2-Clause
// The voice activity detector of AMR-WB, frames of 20 ms at 12.8 kHz.
#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr Workload frame{.inputLength = 256, .seconds = 0.020, .units = 256, .unit = "sample"};

void decide(benchmark::State &run) {
    StateBlock<VADState_AMRWB> state(ryxsVADGetSize_AMRWB_16s);
    require(ryxsVADInit_AMRWB_16s(state));
    int16_t tone = 0, vad;
    measure(run, frame, speech12k8(), [&](const int16_t *in) { return ryxsVAD_AMRWB_16s(in, state, &tone, &vad); });
}

const Registration registration([] { addCase("AMRWB/vad", decide); });

} // namespace
