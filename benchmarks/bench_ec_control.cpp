// SPDX-License-Identifier: BSD-2-Clause
// Adaptation controller and tone detectors of the echo canceller, blocks of 10 ms.
#include <cmath>
#include <numbers>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int sampleRate = 8000;
constexpr int blockLength = 80;
constexpr int filterLength = 512; // 64 ms
constexpr Workload block{.inputLength = blockLength, .seconds = 0.010, .units = blockLength, .unit = "sample"};

struct ControllerState : StateBlock<FullbandControllerState_EC_32f> {
    ControllerState() : StateBlock(ryxsFullbandControllerGetSize_EC_32f, blockLength, filterLength, sampleRate) {
        require(ryxsFullbandControllerInit_EC_32f(*this, blockLength, filterLength, sampleRate));
    }
};

std::vector<float> toFloat(const std::vector<int16_t> &samples) {
    return {samples.begin(), samples.end()};
}

void update(benchmark::State &run) {
    ControllerState state;
    std::vector<float> farEnd(filterLength);
    const std::vector<float> speech = toFloat(speech8k());
    farEnd.insert(farEnd.end(), speech.begin(), speech.end());
    std::vector<float> steps(blockLength);
    measure(run, block, speech, [&](const float *in) {
        const float *x = farEnd.data() + filterLength + (in - speech.data());
        return ryxsFullbandControllerUpdate_EC_32f(x, in, steps.data(), state);
    });
}

// Equal residuals: nothing is copied, as in most blocks of a call.
void control(benchmark::State &run) {
    ControllerState state;
    std::vector<float> adaptive(filterLength, 0.01F), saved(filterLength, 0.02F);
    float multiplier;
    measure(run, block, toFloat(speech8k()), [&](const float *in) {
        return ryxsFullbandController_EC_32f(in, in, adaptive.data(), saved.data(), &multiplier, state);
    });
}

using Samples = std::vector<int16_t>;

Samples disablingTone() {
    constexpr int rate = sampleRate;
    std::vector<int16_t> samples(static_cast<size_t>(8 * rate));
    for (size_t n = 0; n < samples.size(); n++) {
        const double sign = n * 1000 / static_cast<size_t>(450 * rate) % 2 ? -1 : 1;
        const double phase = 2 * std::numbers::pi * 2100 * static_cast<double>(n) / rate;
        samples[n] = static_cast<int16_t>(std::lround(sign * 3000 * std::sin(phase)));
    }
    return samples;
}

Samples silenceBehindAClick() {
    Samples samples(8 * sampleRate);
    samples[0] = 10000;
    return samples;
}

template <class Sample, class State>
void detectTone(benchmark::State &run, ryxStatus (*getSize)(int, int *), ryxStatus (*initialise)(State *, int),
                ryxStatus (*detect)(const Sample *, int, int *, State *), int rate, Samples (*makeSignal)()) {
    StateBlock<State> state(getSize, rate);
    require(initialise(state, rate));
    int detected;
    const int length = rate / 100;
    const Samples samples = makeSignal();
    const Workload work{
        .inputLength = length, .seconds = 0.010, .units = static_cast<double>(length), .unit = "sample"};
    measure(run, work, std::vector<Sample>(samples.begin(), samples.end()),
            [&](const Sample *in) { return detect(in, length, &detected, state); });
}

void addToneCases(const std::string &signal, int rate, Samples (*samples)()) {
    addCase("EC/tone_detect/32f/" + signal, detectTone<float, ToneDetectState_EC_32f>,
            ryxsToneDetectGetStateSize_EC_32f, ryxsToneDetectInit_EC_32f, ryxsToneDetect_EC_32f, rate, samples);
    addCase("EC/tone_detect/16s/" + signal, detectTone<int16_t, ToneDetectState_EC_16s>,
            ryxsToneDetectGetStateSize_EC_16s, ryxsToneDetectInit_EC_16s, ryxsToneDetect_EC_16s, rate, samples);
}

const Registration registration([] {
    addCase("EC/controller_update", update);
    addCase("EC/controller", control);
    addToneCases("speech_8k", sampleRate, [] { return speech8k(); });
    addToneCases("speech_16k", 16000, [] { return speech16k(); });
    addToneCases("tone_8k", sampleRate, disablingTone);
    addToneCases("silence_8k", sampleRate, silenceBehindAClick);
});

} // namespace
