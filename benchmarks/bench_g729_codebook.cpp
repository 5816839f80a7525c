// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.729: the searches and filters in which the codecs spend their time, on subframes of speech. The target is the
// speech itself, the past excitation the speech before it, the impulse response that of a resonance with a short decay.
#include <algorithm>
#include <cmath>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int subframe = 40, history = 154;
constexpr Workload subframes{.inputLength = history + subframe, .seconds = 0.005, .units = 1, .unit = "subframe"};

struct Response {
    Response() {
        for (int n = 0; n < subframe; n++)
            h[n] = static_cast<int16_t>(4096 * std::pow(0.85, n) * std::cos(0.6 * n));
    }
    int16_t h[subframe];
};

using OpenLoopSearch = decltype(ryxsOpenLoopPitchSearch_G729_16s);
void openLoop(benchmark::State &run, OpenLoopSearch *search) {
    int16_t lag;
    const Workload frames{.inputLength = 143 + 80, .seconds = 0.01, .units = 1, .unit = "frame"};
    measure(run, frames, speech8k(), [&](const int16_t *in) { return search(in + 143, &lag); });
}

using ClosedLoopSearch = decltype(ryxsAdaptiveCodebookSearch_G729_16s);
void closedLoop(benchmark::State &run, ClosedLoopSearch *search) {
    const Response response;
    int16_t excitation[history + subframe], delay[2];
    measure(run, subframes, speech8k(), [&](const int16_t *in) {
        std::copy_n(in, history + subframe, excitation);
        return search(60, in + history, response.h, excitation + history, delay, 0);
    });
}

void focusedSearch(benchmark::State &run) {
    const Response response;
    int16_t code[subframe], filtered[subframe], index[2], extraTime;
    measure(run, subframes, speech8k(), [&](const int16_t *in) {
        return ryxsFixedCodebookSearch_G729_16s(in + history, response.h, 60, 8000, code, filtered, index, &extraTime,
                                                0);
    });
}

using PulseSearch = decltype(ryxsFixedCodebookSearch_G729A_16s);
void pulseSearch(benchmark::State &run, PulseSearch *search) {
    const Response response;
    int16_t code[subframe], filtered[subframe], index[2];
    measure(run, subframes, speech8k(),
            [&](const int16_t *in) { return search(in + history, response.h, 60, 8000, code, filtered, index); });
}

void manyPulses(benchmark::State &run, int backward) {
    const Response response;
    int16_t code[subframe], filtered[subframe], words[5];
    measure(run, subframes, speech8k(), [&](const int16_t *in) {
        return ryxsFixedCodebookSearch_G729E_16s(in + history, in + history, response.h, 60, 8000, backward, code,
                                                 filtered, words);
    });
}

void adaptiveVector(benchmark::State &run) {
    const int16_t delay[2] = {60, 1};
    int16_t vector[subframe];
    measure(run, subframes, speech8k(),
            [&](const int16_t *in) { return ryxsDecodeAdaptiveVector_G729_16s(delay, in + history, vector); });
}

void longTermPostFilter(benchmark::State &run) {
    int16_t filtered[subframe], delay;
    measure(run, subframes, speech8k(), [&](const int16_t *in) {
        return ryxsLongTermPostFilter_G729_16s(60, in + history, 16384, filtered, &delay);
    });
}

void longTermPostFilterA(benchmark::State &run) {
    int16_t filtered[subframe];
    measure(run, subframes, speech8k(),
            [&](const int16_t *in) { return ryxsLongTermPostFilter_G729A_16s(60, in + history, filtered); });
}

using Synthesis = decltype(ryxsSynthesisFilter_G729E_16s);
void synthesis(benchmark::State &run, Synthesis *filter, int order) {
    const int16_t zeros[30] = {};
    int16_t lpc[31] = {4096, -6000, 3500, -800, 300, -200, 150, -100, 60, -30, 20}, output[subframe];
    measure(run, subframes, speech8k(),
            [&](const int16_t *in) { return filter(lpc, order, in + history, output, subframe, zeros); });
}

const Registration registration([] {
    addCase("G729/open_loop/main", openLoop, ryxsOpenLoopPitchSearch_G729_16s);
    addCase("G729/open_loop/annex_a", openLoop, ryxsOpenLoopPitchSearch_G729A_16s);
    addCase("G729/adaptive_codebook/main", closedLoop, ryxsAdaptiveCodebookSearch_G729_16s);
    addCase("G729/adaptive_codebook/annex_a", closedLoop, ryxsAdaptiveCodebookSearch_G729A_16s);
    addCase("G729/adaptive_vector", adaptiveVector);
    addCase("G729/fixed_codebook/main", focusedSearch);
    addCase("G729/fixed_codebook/annex_a", pulseSearch, ryxsFixedCodebookSearch_G729A_16s);
    addCase("G729/fixed_codebook/annex_d", pulseSearch, ryxsFixedCodebookSearch_G729D_16s);
    addCase("G729/fixed_codebook/annex_e_forward", manyPulses, 0);
    addCase("G729/fixed_codebook/annex_e_backward", manyPulses, 1);
    addCase("G729/synthesis/10", synthesis, ryxsSynthesisFilter_G729E_16s, 10);
    addCase("G729/synthesis/30", synthesis, ryxsSynthesisFilter_G729E_16s, 30);
    addCase("G729/long_term_post_filter/main", longTermPostFilter);
    addCase("G729/long_term_post_filter/annex_a", longTermPostFilterA);
});

} // namespace
