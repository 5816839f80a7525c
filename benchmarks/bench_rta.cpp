// SPDX-License-Identifier: BSD-2-Clause
// RTA codec in frames of 20 ms at 16 kHz.
#include <algorithm>
#include <cstring>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 320;
constexpr int pairs = frameLength / 2;
constexpr Workload frame{.inputLength = frameLength, .seconds = 0.020, .units = frameLength, .unit = "sample"};

const std::vector<float> &speech() {
    static const std::vector<float> samples(speech16k().begin(), speech16k().end());
    return samples;
}

// Half the taps make each of two sums per pair.
Workload qmfFrame(int taps) {
    return {.inputLength = frameLength,
            .seconds = 0.020,
            .units = pairs,
            .unit = "pair",
            .products = double(taps) * pairs,
            .limit = Limit::floatMultiplyAdds};
}

struct QmfState : StateBlock<QMFState_RTA> {
    explicit QmfState(int taps) : StateBlock(ryxsQMFGetStateSize_RTA_32f) { require(ryxsQMFInit_RTA_32f(*this, taps)); }
};

void qmfEncode(benchmark::State &run, int taps) {
    float low[pairs], high[pairs];
    QmfState state(taps);
    measure(run, qmfFrame(taps), speech(),
            [&](const float *in) { return ryxsQMFEncode_RTA_32f(in, frameLength, low, high, state); });
}

// The two halves of a frame serve as bands.
void qmfDecode(benchmark::State &run, int taps) {
    float joined[frameLength];
    QmfState state(taps);
    measure(run, qmfFrame(taps), speech(),
            [&](const float *in) { return ryxsQMFDecode_RTA_32f(in, in + pairs, pairs, joined, state); });
}

void highPass(benchmark::State &run, int order) {
    float output[frameLength], memory[6] = {};
    measure(run, frame, speech(),
            [&](const float *in) { return ryxsHighPassFilter_RTA_32f(in, output, frameLength, order, 16000, memory); });
}

// Includes a copy of the frame, since the filter works in place and has to meet speech in every call.
void bandPass(benchmark::State &run) {
    float samples[frameLength], memory[3] = {};
    measure(run, frame, speech(), [&](const float *in) {
        std::memcpy(samples, in, sizeof samples);
        return ryxsBandPassFilter_RTA_32f_I(samples, frameLength, memory);
    });
}

// Frames of a correlation each, with a white-noise correction.
void levinson(benchmark::State &run, int order) {
    const int lags = order + 1;
    std::vector<float> correlations;
    for (size_t start = 0; start + frameLength <= speech().size(); start += frameLength)
        for (int lag = 0; lag < lags; lag++) {
            double sum = 0;
            for (size_t i = start; i + static_cast<size_t>(lag) < start + frameLength; i++)
                sum += double{speech()[i]} * speech()[i + static_cast<size_t>(lag)];
            correlations.push_back(static_cast<float>(lag == 0 ? 1.0001 * sum + 2 : sum));
        }
    float lpc[16], reflection[16];
    measure(run, {.inputLength = lags, .seconds = 0.020}, correlations,
            [&](const float *in) { return ryxsLevinsonDurbin_RTA_32f(in, lpc, reflection, order); });
}

const Registration registration([] {
    for (const int taps : {24, 48}) {
        addCase("RTA/qmf_encode/" + std::to_string(taps), qmfEncode, taps);
        addCase("RTA/qmf_decode/" + std::to_string(taps), qmfDecode, taps);
    }
    for (const int order : {4, 5})
        addCase("RTA/high_pass/" + std::to_string(order), highPass, order);
    addCase("RTA/band_pass", bandPass);
    for (const int order : {10, 16})
        addCase("RTA/levinson/" + std::to_string(order), levinson, order);
});

} // namespace
