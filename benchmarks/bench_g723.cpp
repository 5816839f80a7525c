// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.723.1: the stages in which the codec spends its time, on speech at half scale as it stands inside the codec.
#include <algorithm>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr double subframeTime = 60 / 8000.0;
constexpr int history = 145;

// Of speech: quantised LP coefficients and those of the weighting, and the response of both.
constexpr int16_t lpc[10] = {9220, -3954, 3070, -1607, 520, -1274, 1926, -2190, 3841, -2702};
struct Filters {
    int16_t weights[20], impulse[60];

    Filters() {
        require(ryxsWeightingCoefs_G723_16s(lpc, weights));
        require(ryxsImpulseResponse_G723_16s(lpc, weights, 60, 4000, impulse));
    }
};

const std::vector<int16_t> &halvedSpeech() {
    static const std::vector<int16_t> samples = [] {
        std::vector<int16_t> halved(speech8k().begin(), speech8k().end());
        for (int16_t &x : halved)
            x = static_cast<int16_t>(x >> 1);
        return halved;
    }();
    return samples;
}

// The input: so many samples of the past, then a subframe or more.
template <class Call> void measureSubframe(benchmark::State &run, int before, int length, Call call) {
    const Workload work{.inputLength = before + length, .seconds = subframeTime, .units = 1, .unit = "subframe"};
    measure(run, work, halvedSpeech(), [&](const int16_t *in) { return call(in + before); });
}

void multipulse(benchmark::State &run, int lag) {
    const Filters filters;
    int16_t vector[60], signs, gain, grid, train;
    int32_t positions;
    measureSubframe(run, 0, 60, [&](const int16_t *target) {
        return ryxsMPMLQFixedCodebookSearch_G723(target, filters.impulse, lag, 0, vector, &positions, &signs, &gain,
                                                 &grid, &train);
    });
}

void algebraic(benchmark::State &run) {
    const Filters filters;
    int16_t vector[60], positions, signs, gain, grid;
    measureSubframe(run, 0, 60, [&](const int16_t *target) {
        int budget = 120;
        return ryxsACELPFixedCodebookSearch_G723_16s(target, filters.impulse, 70, 20, &budget, vector, &positions,
                                                     &signs, &gain, &grid);
    });
}

void adaptive(benchmark::State &run, int rate) {
    const Filters filters;
    const int32_t errors[5] = {4, 4, 4, 4, 4};
    int16_t offset, gain;
    measureSubframe(run, history, 60, [&](const int16_t *target) {
        int16_t lag = 70;
        return ryxsAdaptiveCodebookSearch_G723_16s(target, filters.impulse, target, errors, 0, 1, rate, &lag, &offset,
                                                   &gain);
    });
}

void weightedSynthesis(benchmark::State &run) {
    const Filters filters;
    int16_t memory[20] = {}, weighted[60];
    measureSubframe(run, 0, 60, [&](const int16_t *excitation) {
        return ryxsWeightedSynthesisFilter_G723_16s(excitation, lpc, filters.weights, weighted, memory);
    });
}

void shortTermPostFilter(benchmark::State &run) {
    int16_t memory[21] = {}, filtered[60];
    int32_t energy;
    measureSubframe(run, 0, 60, [&](const int16_t *speech) {
        return ryxsShortTermPostFilter_G723_16s(speech, lpc, filtered, &energy, memory);
    });
}

void openLoopPitch(benchmark::State &run) {
    int16_t lag;
    const Workload work{.inputLength = history + 120, .seconds = 2 * subframeTime, .units = 1, .unit = "half frame"};
    std::vector<int16_t> normalised(halvedSpeech());
    int scale = 3;
    require(ryxsAutoScale_16s_I(normalised.data(), static_cast<int>(normalised.size()), &scale));
    measure(run, work, normalised,
            [&](const int16_t *in) { return ryxsOpenLoopPitchSearch_G723_16s(in + history, &lag); });
}

void lpAnalysis(benchmark::State &run) {
    int16_t autoCorr[11], coefficients[10], reflection, energy;
    int shift;
    measureSubframe(run, 0, 180, [&](const int16_t *speech) {
        ryxsAutoCorr_NormE_G723_16s(speech, autoCorr, &shift);
        return ryxsLevinsonDurbin_G723_16s(autoCorr, coefficients, &reflection, &energy);
    });
}

void lsfQuant(benchmark::State &run) {
    const int16_t mean[10] = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};
    int16_t lsf[10];
    int32_t index;
    const Workload work{.inputLength = 10, .seconds = 4 * subframeTime, .units = 1, .unit = "frame"};
    measure(run, work, halvedSpeech(), [&](const int16_t *in) {
        for (int i = 0; i < 10; i++) // somewhere around the mean
            lsf[i] = static_cast<int16_t>(mean[i] + in[i] % 500);
        return ryxsLSFQuant_G723_16s32s(lsf, mean, &index);
    });
}

const Registration registration([] {
    addCase("G723/lp_analysis", lpAnalysis);
    addCase("G723/lsf_quant", lsfQuant);
    addCase("G723/open_loop_pitch", openLoopPitch);
    addCase("G723/adaptive_codebook/6.3", adaptive, ryxG723Rate63);
    addCase("G723/adaptive_codebook/5.3", adaptive, ryxG723Rate53);
    addCase("G723/mpmlq", multipulse, 70);
    addCase("G723/mpmlq/train", multipulse, 40);
    addCase("G723/acelp", algebraic);
    addCase("G723/weighted_synthesis", weightedSynthesis);
    addCase("G723/short_term_post_filter", shortTermPostFilter);
});

} // namespace
