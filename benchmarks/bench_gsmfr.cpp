// SPDX-License-Identifier: BSD-2-Clause
// GSM full rate in frames of 20 ms: the functions as coder and decoder call them.
#include <algorithm>
#include <array>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 160;
constexpr double frameSeconds = 0.020;
constexpr int subblock = 40;
constexpr int border = 5;
constexpr int segments[] = {13, 14, 13, 120}; // of a frame, with coefficients of their own

constexpr Workload samples(int count) {
    return {.inputLength = count,
            .seconds = frameSeconds * count / frameLength,
            .units = static_cast<double>(count),
            .unit = "sample"};
}
constexpr Workload frame = samples(frameLength);

// Calls function(from, length) for the segments of a frame.
template <class Function> ryxStatus inSegments(Function function) {
    ryxStatus statuses = ryxStsOk;
    int from = 0;
    for (const int length : segments) {
        statuses |= function(from, length);
        from += length;
    }
    return statuses;
}

constexpr int16_t reflection[8] = {-29000, 15000, -8000, 6000, -4000, 3000, -2000, 1000};

void highPass(benchmark::State &run) {
    int16_t output[frameLength];
    int32_t state[2] = {};
    measure(run, frame, speech8k(),
            [&](const int16_t *in) { return ryxsHighPassFilter_GSMFR_16s(in, output, frameLength, state); });
}

void preemphasize(benchmark::State &run) {
    int16_t output[frameLength], state = 0;
    measure(run, frame, speech8k(),
            [&](const int16_t *in) { return ryxsPreemphasize_GSMFR_16s(in, output, frameLength, &state); });
}

// The functions that work in place include a copy of the block.
void deemphasize(benchmark::State &run) {
    int16_t block[frameLength], state = 0;
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        std::copy_n(in, frameLength, block);
        return ryxsDeemphasize_GSMFR_16s_I(block, frameLength, &state);
    });
}

void analysis(benchmark::State &run, bool segmented) {
    int16_t block[frameLength], u[8] = {};
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        std::copy_n(in, frameLength, block);
        if (!segmented) return ryxsShortTermAnalysisFilter_GSMFR_16s_I(reflection, block, frameLength, u);
        return inSegments([&](int from, int len) {
            return ryxsShortTermAnalysisFilter_GSMFR_16s_I(reflection, block + from, len, u);
        });
    });
}

void synthesis(benchmark::State &run, bool segmented) {
    int16_t output[frameLength], v[8] = {};
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        if (!segmented) return ryxsShortTermSynthesisFilter_GSMFR_16s(reflection, in, output, frameLength, v);
        return inSegments([&](int from, int len) {
            return ryxsShortTermSynthesisFilter_GSMFR_16s(reflection, in + from, output + from, len, v);
        });
    });
}

// Doubled lags 0 to 8 of the frames of speech.
const std::vector<int32_t> &autocorrelations() {
    static const std::vector<int32_t> lags = [] {
        std::vector<int32_t> all;
        const std::vector<int16_t> &speech = speech8k();
        for (size_t start = 0; start + frameLength <= speech.size(); start += frameLength)
            for (size_t lag = 0; lag <= 8; lag++) {
                int64_t sum = 0;
                for (size_t i = lag; i < frameLength; i++)
                    sum += (speech[start + i] >> 4) * (speech[start + i - lag] >> 4);
                all.push_back(static_cast<int32_t>(2 * sum));
            }
        return all;
    }();
    return lags;
}

void schur(benchmark::State &run, int order) {
    int16_t r[8];
    measure(run, {.inputLength = 9, .seconds = frameSeconds}, autocorrelations(),
            [&](const int32_t *in) { return ryxsSchur_GSMFR_32s16s(in, r, order); });
}

void weightingFilter(benchmark::State &run) {
    std::vector<int16_t> input(border);
    input.insert(input.end(), speech8k().begin(), speech8k().end());
    int16_t output[subblock];
    Workload work = samples(subblock);
    work.products = 9 * subblock; // two of the eleven taps are 0
    input.resize(input.size() / subblock * subblock + 2 * border);
    measure(run, work, input,
            [&](const int16_t *in) { return ryxsWeightingFilter_GSMFR_16s(in + border, output, subblock); });
}

void rpeDecode(benchmark::State &run) {
    std::vector<int16_t> codes = speech8k();
    for (int16_t &code : codes)
        code = static_cast<int16_t>(code & 7);
    int16_t pulses[13];
    measure(run, {.inputLength = 13, .seconds = frameSeconds / 4}, codes,
            [&](const int16_t *in) { return ryxsRPEQuantDecode_GSMFR_16s(in, 28671, 3, pulses); });
}

void autocorrelation(benchmark::State &run) {
    int16_t block[frameLength], scale;
    int32_t acf[9];
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        std::copy_n(in, frameLength, block);
        return ryxsAutoCorr_GSMFR_16s32s_I(block, frameLength, 8, acf, &scale);
    });
}

std::array<int16_t, 32> frameReflections() {
    std::array<int16_t, 32> r;
    for (size_t i = 0; i < r.size(); i++)
        r[i] = reflection[i % 8];
    return r;
}

void analysisFrame(benchmark::State &run) {
    const auto r = frameReflections();
    int16_t block[frameLength], u[8] = {};
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        std::copy_n(in, frameLength, block);
        return ryxsShortTermAnalysisFrame_GSMFR_16s_I(r.data(), block, u);
    });
}

void synthesisFrame(benchmark::State &run) {
    const auto r = frameReflections();
    int16_t output[frameLength], v[8] = {}, m = 0;
    measure(run, frame, speech8k(),
            [&](const int16_t *in) { return ryxsSynthesisFrame_GSMFR_16s(r.data(), in, output, v, &m); });
}

// A sub-segment of speech behind 120 samples of it.
void ltpSearch(benchmark::State &run) {
    Workload work = samples(4 * subblock);
    work.seconds = frameSeconds / 4;
    work.units = subblock;
    work.products = 81 * subblock;
    int16_t lag, gain;
    measure(run, work, speech8k(),
            [&](const int16_t *in) { return ryxsLTPSearch_GSMFR_16s(in + 120, in + 120, &lag, &gain); });
}

void gridAndQuantiser(benchmark::State &run) {
    int16_t pulses[13], grid, maximum, scale;
    measure(run, samples(subblock), speech8k(), [&](const int16_t *in) {
        return ryxsRPEGridSelect_GSMFR_16s(in, pulses, &grid) |
               ryxsRPEQuant_GSMFR_16s(pulses, pulses, &maximum, &scale);
    });
}

void vad(benchmark::State &run) {
    const int16_t lags[4] = {40, 80, 120, 60};
    alignas(16) char state[512];
    auto *const detector = reinterpret_cast<VADState_GSMFR *>(state);
    ryxsVADInit_GSMFR_16s(detector);
    int16_t speech;
    measure(run, {.inputLength = 9, .seconds = frameSeconds}, autocorrelations(),
            [&](const int32_t *in) { return ryxsVAD_GSMFR_16s(in, 4, lags, 0, &speech, detector); });
}

void toneDetect(benchmark::State &run) {
    int16_t tone;
    measure(run, frame, speech8k(), [&](const int16_t *in) { return ryxsToneDetect_GSMFR_16s(in, &tone); });
}

const Registration registration([] {
    addCase("GSMFR/high_pass", highPass);
    addCase("GSMFR/preemphasize", preemphasize);
    addCase("GSMFR/deemphasize", deemphasize);
    addCase("GSMFR/schur/8", schur, 8);
    addCase("GSMFR/schur/4", schur, 4);
    addCase("GSMFR/analysis", analysis, false);
    addCase("GSMFR/analysis/segments", analysis, true);
    addCase("GSMFR/synthesis", synthesis, false);
    addCase("GSMFR/synthesis/segments", synthesis, true);
    addCase("GSMFR/weighting_filter", weightingFilter);
    addCase("GSMFR/rpe_decode", rpeDecode);
    addCase("GSMFR/autocorrelation", autocorrelation);
    addCase("GSMFR/analysis/frame", analysisFrame);
    addCase("GSMFR/synthesis/frame", synthesisFrame);
    addCase("GSMFR/ltp_search", ltpSearch);
    addCase("GSMFR/grid_and_quantiser", gridAndQuantiser);
    addCase("GSMFR/vad", vad);
    addCase("GSMFR/tone_detect", toneDetect);
});

} // namespace
