// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.728 pole-zero filter on vectors of five samples and on frames.
#include <algorithm>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr double samplesPerSecond = 8000;

// A perceptual weighting filter of speech: 1.6 z^-1 - 0.9 z^-2 and what follows, weighted by 0.9^k and by 0.6^k.
constexpr int16_t weighting[20] = {-23593, 11944, -1194, 2687, -1935, 1306, -784, 423, -127, 57,
                                   -15729, 5308,  -354,  531,  -255,  115,  -46,  17,  -3,   1};

// Poles whose products may leave 32 bits, so that every step saturates on its own.
constexpr int16_t extreme[20] = {-23593, 11944, -1194,  2687,  -1935,  1306,  -784,  423,   -127,   57,
                                 -32768, 32767, -20000, 15000, -12000, 10000, -9000, 20000, -20000, 9000};

void filter(benchmark::State &run, const int16_t *coefficients, int len) {
    std::vector<int16_t> output(static_cast<size_t>(len));
    StateBlock<IIRState_G728> state(ryxsIIR16sGetStateSize_G728_16s);
    require(ryxsIIR16sInit_G728_16s(state));
    const Workload work{.inputLength = len, .seconds = len / samplesPerSecond, .units = double(len), .unit = "sample"};
    measure(run, work, speech8k(),
            [&](const int16_t *in) { return ryxsIIR16s_G728_16s(coefficients, in, output.data(), len, state); });
}

const Registration registration([] {
    addCase("G728/iir/5", filter, weighting, 5);
    addCase("G728/iir/160", filter, weighting, 160);
    addCase("G728/iir_saturating/160", filter, extreme, 160);
});

} // namespace
