// SPDX-License-Identifier: BSD-2-Clause
// ryxsc_compare_echo: the echo canceller of ryxecho beside free ones, on the same signals in one run.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <ryxecho.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "echo/scenes.h"

#ifdef RYXSC_HAVE_SPEEXDSP
#include "lib/speex_canceller.h"
#endif
#ifdef RYXSC_HAVE_WEBRTC
#include <webrtc/modules/audio_processing/include/audio_processing.h>
#include <webrtc/modules/interface/module_common_types.h>
#endif

namespace {

constexpr int rate = 8000;

class Canceller {
public:
    virtual ~Canceller() = default;

    virtual size_t frame() const = 0;
    virtual size_t delay() const = 0;
    virtual void process(const int16_t *far, const int16_t *near, int16_t *output) = 0;
};

class Ours : public Canceller {
public:
    Ours(int block, bool suppression) : block_(static_cast<size_t>(block)) {
        ryxEchoOptions options;
        int size = 0;
        ryxechoDefaults(&options);
        options.blockLength = options.callLength = block;
        options.suppression = suppression;
        if (ryxechoGetSize(&options, &size) != ryxStsOk) throw std::runtime_error("ryxecho refuses");
        memory_.resize(static_cast<size_t>(size));
        ryxechoInit(memory_.data(), &options);
    }
    size_t frame() const override { return block_; }
    size_t delay() const override {
        ryxEchoInfo info;
        ryxechoGetInfo(memory_.data(), &info);
        return static_cast<size_t>(info.delay);
    }
    void process(const int16_t *far, const int16_t *near, int16_t *output) override {
        ryxechoProcess(memory_.data(), far, near, output, static_cast<int>(block_));
    }

private:
    size_t block_;
    std::vector<std::byte> memory_;
};

#ifdef RYXSC_HAVE_SPEEXDSP
class Speex : public Canceller {
public:
    explicit Speex(bool suppression) : canceller_(rate, 160, 512, suppression) {}
    size_t frame() const override { return 160; }
    size_t delay() const override { return 0; }
    void process(const int16_t *far, const int16_t *near, int16_t *output) override {
        canceller_.process(far, near, output);
    }

private:
    SpeexCanceller canceller_;
};
#endif

#ifdef RYXSC_HAVE_WEBRTC
class WebRtc : public Canceller {
public:
    WebRtc() : processing_(webrtc::AudioProcessing::Create()) {
        processing_->echo_cancellation()->set_suppression_level(webrtc::EchoCancellation::kModerateSuppression);
        processing_->echo_cancellation()->Enable(true);
    }
    size_t frame() const override { return 80; }
    size_t delay() const override { return 0; }
    void process(const int16_t *far, const int16_t *near, int16_t *output) override {
        fill(far);
        processing_->AnalyzeReverseStream(&frame_);
        fill(near);
        processing_->set_stream_delay_ms(0);
        processing_->ProcessStream(&frame_);
        std::copy_n(frame_.data_, frame(), output);
    }

private:
    void fill(const int16_t *samples) {
        frame_.sample_rate_hz_ = rate;
        frame_.num_channels_ = 1;
        frame_.samples_per_channel_ = frame();
        std::copy_n(samples, frame(), frame_.data_);
    }

    std::unique_ptr<webrtc::AudioProcessing> processing_;
    webrtc::AudioFrame frame_;
};
#endif

struct Candidate {
    std::string name;
    bool suppresses;
    std::unique_ptr<Canceller> (*make)();
    double fastest = 1e9; // seconds for the scene "double"
};

std::vector<Candidate> candidates() {
    std::vector<Candidate> list = {
        {"ryxecho, 8 ms", false, []() -> std::unique_ptr<Canceller> { return std::make_unique<Ours>(64, false); }},
        {"ryxecho, 16 ms", false, []() -> std::unique_ptr<Canceller> { return std::make_unique<Ours>(128, false); }}};
#ifdef RYXSC_HAVE_SPEEXDSP
    list.push_back({"speexdsp", false, []() -> std::unique_ptr<Canceller> { return std::make_unique<Speex>(false); }});
#else
    std::printf("speexdsp is not there (Debian package: libspeexdsp-dev)\n");
#endif
    list.push_back(
        {"ryxecho, 8 ms", true, []() -> std::unique_ptr<Canceller> { return std::make_unique<Ours>(64, true); }});
    list.push_back(
        {"ryxecho, 16 ms", true, []() -> std::unique_ptr<Canceller> { return std::make_unique<Ours>(128, true); }});
#ifdef RYXSC_HAVE_SPEEXDSP
    list.push_back({"speexdsp", true, []() -> std::unique_ptr<Canceller> { return std::make_unique<Speex>(true); }});
#endif
#ifdef RYXSC_HAVE_WEBRTC
    list.push_back(
        {"webrtc, moderate", true, []() -> std::unique_ptr<Canceller> { return std::make_unique<WebRtc>(); }});
#else
    std::printf("webrtc-audio-processing is not there (Debian package: libwebrtc-audio-processing-dev)\n");
#endif
    return list;
}

struct Output {
    std::vector<float> samples;
    size_t delay;
    double seconds;
};

Output run(const Candidate &candidate, const Scene &scene) {
    const auto canceller = candidate.make();
    const size_t frame = canceller->frame(), whole = scene.far.size() / frame * frame;
    std::vector<int16_t> output(whole);
    const auto start = std::chrono::steady_clock::now();
    for (size_t n = 0; n < whole; n += frame)
        canceller->process(&scene.far[n], &scene.microphone[n], &output[n]);
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    return {{output.begin(), output.end()}, canceller->delay(), spent.count()};
}

// By how much everything falls from one second to another, seconds counted from 1.
double attenuation(const Scene &scene, const Output &output, size_t first, size_t last) {
    double before = 0, after = 1;
    for (size_t n = (first - 1) * rate; n < last * rate; n++) {
        before += static_cast<double>(scene.microphone[n]) * scene.microphone[n];
        after += static_cast<double>(output.samples[n + output.delay]) * output.samples[n + output.delay];
    }
    return 10 * std::log10(before / after);
}

// Near speech over what the output makes of it, segments of 32 ms between -10 and 35 dB, from 8 to 16 s.
double nearQuality(const SceneSignals &signals, const Output &output, size_t delay) {
    constexpr size_t segment = 256, from = 8 * rate, to = 16 * rate;
    double active = 0, sum = 0;
    for (size_t n = from; n < to; n++)
        active += signals.near[n] * signals.near[n];
    int count = 0;
    for (size_t start = from; start + segment <= to; start += segment) {
        double speech = 0, error = 1e-9;
        for (size_t n = start; n < start + segment; n++) {
            const double difference = output.samples[n + delay] - signals.near[n];
            speech += signals.near[n] * signals.near[n];
            error += difference * difference;
        }
        if (speech / segment < 0.01 * active / (to - from)) continue;
        sum += std::clamp(10 * std::log10(speech / error), -10.0, 35.0);
        count++;
    }
    return sum / std::max(count, 1);
}

// With the delay that is best: not every suppressor tells its own.
double nearQuality(const SceneSignals &signals, const Output &output) {
    double best = -10;
    for (size_t delay = 0; delay <= 320; delay++)
        best = std::max(best, nearQuality(signals, output, delay));
    return best;
}

void printLinear(const SceneSignals &signals, const std::vector<Candidate> &list) {
    std::printf("Filter alone: echo weakened by (dB)\n%-18s%22s %14s%20s %12s%23s\n", "", "single talk, second 1",
                "2     3  8-24", "double talk 10-16", "from start", "changed, second 1 2 3");
    for (const Candidate &candidate : list) {
        if (candidate.suppresses) continue;
        const auto measured = [&](const char *name) {
            const Scene scene = makeScene(signals, name);
            const Output output = run(candidate, scene);
            return reductions(scene, output.samples, output.delay);
        };
        const std::vector<double> single = measured("single"), both = measured("double"), start = measured("start"),
                                  change = measured("change");
        std::printf("%-18s%22.1f %5.1f %5.1f %5.1f%18.1f %12.1f %12.1f %5.1f %5.1f\n", candidate.name.c_str(),
                    single[0], single[1], single[2], meanOf(single, 8, 23), meanOf(both, 10, 16), meanOf(start, 2, 12),
                    change[12], change[13], change[14]);
    }
}

void printSuppressed(const SceneSignals &signals, const std::vector<Candidate> &list) {
    std::printf(
        "\nWith suppression: everything weakened in single talk (dB), near speech over its error in double talk\n"
        "%-18s%22s %5s %5s %5s%18s\n",
        "", "second 1", "2", "3", "4-8", "near end, dB");
    const Scene single = makeScene(signals, "single"), both = makeScene(signals, "double");
    for (const Candidate &candidate : list) {
        if (!candidate.suppresses) continue;
        const Output output = run(candidate, single);
        std::printf("%-18s%22.1f %5.1f %5.1f %5.1f%18.1f\n", candidate.name.c_str(), attenuation(single, output, 1, 1),
                    attenuation(single, output, 2, 2), attenuation(single, output, 3, 3),
                    attenuation(single, output, 4, 8), nearQuality(signals, run(candidate, both)));
    }
}

// The fastest of many runs, one canceller after the other.
void printSpeed(const SceneSignals &signals, std::vector<Candidate> &list, int repetitions) {
    const Scene scene = makeScene(signals, "double");
    for (int repetition = 0; repetition < repetitions; repetition++)
        for (Candidate &candidate : list)
            candidate.fastest = std::min(candidate.fastest, run(candidate, scene).seconds);
    std::printf("\nTimes real time, 8 kHz, 64 ms, best of %d\n", repetitions);
    for (const Candidate &candidate : list)
        std::printf("%-18s%-18s%8.0f\n", candidate.name.c_str(),
                    candidate.suppresses ? "with suppression" : "filter alone",
                    static_cast<double>(scene.far.size()) / rate / candidate.fastest);
}

} // namespace

int main(int argc, char **argv) {
    try {
        const int repetitions = argc > 1 ? std::atoi(argv[1]) : 12;
        if (repetitions < 1) return std::puts("Usage: ryxsc_compare_echo [REPETITIONS]"), 1;
        const SceneSignals signals(RYXSC_ECHO_SIGNALS, rate);
        std::vector<Candidate> list = candidates();
        printLinear(signals, list);
        printSuppressed(signals, list);
        printSpeed(signals, list, repetitions);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "ryxsc_compare_echo: %s\n", failure.what());
        return 1;
    }
    return 0;
}
