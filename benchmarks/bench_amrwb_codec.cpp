// SPDX-License-Identifier: BSD-2-Clause
// Stages in which the AMR-WB encoder and decoder spend their time, beside the codebook search. Figures are for 20 ms.
#include <algorithm>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr Workload frame{.inputLength = 384, .seconds = 0.020, .units = 256, .unit = "sample"};
constexpr Workload subframe{.inputLength = 320, .seconds = 0.005, .units = 64, .unit = "sample"};
constexpr Workload wideSubframe{.inputLength = 80, .seconds = 0.005, .units = 80, .unit = "sample"};

// A filter of speech, and the same weighted by powers of 0.92.
constexpr int16_t lpc[17] = {4096, -7340, 5118, -2210, 1490, -1105, 702, -398, 251,
                             -190, 133,   -80,  62,    -41,  30,    -22, 11};

void analyse(benchmark::State &run) {
    int32_t correlations[17];
    int16_t result[17], stable[16] = {};
    measure(run, frame, speech12k8(), [&](const int16_t *in) {
        ryxsAutoCorr_AMRWB_16s32s(in, correlations);
        ryxsLagWindow_AMRWB_32s_I(correlations);
        return ryxsLevinsonDurbin_AMRWB_32s16s(correlations, result, stable);
    });
}

void searchOpenLoop(benchmark::State &run) {
    StateBlock<OpenLoopPitchState_AMRWB> state(ryxsOpenLoopPitchSearchGetStateSize_AMRWB_16s);
    require(ryxsOpenLoopPitchSearchInit_AMRWB_16s(state));
    int16_t decimated[128], memory[3] = {}, scaling[2] = {}, exponent, lags[2], tone = 0;
    measure(run, frame, speech12k8(), [&](const int16_t *in) {
        ryxsOpenLoopDownsample_AMRWB_16s(in, decimated, memory, scaling, 0, &exponent);
        return ryxsOpenLoopPitchSearch_AMRWB_16s(decimated, 2, exponent, lags, &tone, state);
    });
}

// The excitation is the speech itself: 248 samples of the past, then the subframe.
void searchLag(benchmark::State &run) {
    int16_t weighted[17], response[64], codebookResponse[64], target[64], range[2], lag, fraction, index;
    require(ryxsMulPowerC_NR_16s_Sfs(lpc, 30147, weighted, 17, 15));
    require(ryxsImpulseResponse_AMRWB_16s(lpc, weighted, -2, response, codebookResponse));
    measure(run, subframe, speech12k8(), [&](const int16_t *in) {
        std::transform(in + 248, in + 312, target, [](int16_t x) { return static_cast<int16_t>(x >> 2); });
        return ryxsAdaptiveCodebookSearch_AMRWB_16s(target, response, in + 248, 100, 0, 13, range, &lag, &fraction,
                                                    &index);
    });
}

void interpolateVector(benchmark::State &run) {
    int16_t excitation[248 + 72];
    int lag = 34;
    measure(run, subframe, speech12k8(), [&](const int16_t *in) {
        std::copy_n(in, 248, excitation);
        lag = lag < 231 ? lag + 1 : 34;
        return ryxsDecodeAdaptiveVector_AMRWB_16s_I(lag, lag & 3, excitation + 248);
    });
}

void synthesise(benchmark::State &run) {
    int32_t speech[16 + 64] = {};
    measure(run, subframe, speech12k8(), [&](const int16_t *in) {
        std::copy_n(speech + 64, 16, speech);
        return ryxsSynthesisFilter_AMRWB_16s32s_I(lpc, in, speech + 16, 64, 3);
    });
}

void highPass(benchmark::State &run) {
    int16_t samples[64], memory[6] = {};
    measure(run, subframe, speech12k8(), [&](const int16_t *in) {
        std::copy_n(in, 64, samples);
        return ryxsHighPassFilter50_AMRWB_16s_I(samples, 64, memory);
    });
}

void upsample(benchmark::State &run) {
    int16_t wide[80], history[24] = {};
    measure(run, subframe, speech12k8(),
            [&](const int16_t *in) { return ryxsUpsampleFilter_AMRWB_16s(in, wide, history); });
}

void bandPass(benchmark::State &run) {
    int16_t samples[80], memory[30] = {};
    measure(run, wideSubframe, speech12k8(), [&](const int16_t *in) {
        std::copy_n(in, 80, samples);
        return ryxsBandPassFilter_AMRWB_16s_I(samples, memory);
    });
}

const Registration registration([] {
    addCase("AMRWB/lp_analysis", analyse);
    addCase("AMRWB/open_loop_pitch", searchOpenLoop);
    addCase("AMRWB/adaptive_codebook", searchLag);
    addCase("AMRWB/adaptive_vector", interpolateVector);
    addCase("AMRWB/synthesis_28_bits", synthesise);
    addCase("AMRWB/high_pass_50", highPass);
    addCase("AMRWB/upsample", upsample);
    addCase("AMRWB/band_pass", bandPass);
});

} // namespace
