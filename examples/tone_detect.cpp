// SPDX-License-Identifier: BSD-2-Clause
// When would an echo canceller be disabled? Looks for the 2100 Hz tone with phase reversals in a recording.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "lib/audio_file.h"
#include "lib/command_line.h"
#include "lib/failure.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "ryxsc.h"

namespace {

constexpr int blocksPerSecond = 1000; // the precision of the times
constexpr double longestPause = 0.5;  // seconds between two reversals of the same tone

const ProgramDescription program = {
    "tone_detect",
    "Usage: tone_detect IN.wav [--arithmetic 16bit|float] [--rate 8000|16000]\n"
    "\n"
    "Names the moments at which a network echo canceller would be disabled: a tone of\n"
    "2100 Hz, the answer tone of modems and fax machines, whose phase is reversed every\n"
    "450 ms (ITU-T G.164, G.165). The second reversal disables; a plain tone does not.\n"
    "Input may be any audio file that libsndfile knows; it is mixed down to one channel\n"
    "and resampled when it has to be.\n"
    "\n"
    "  --arithmetic 16bit|float  which of the library's detectors (16bit)\n"
    "  --rate 8000|16000         sampling rate at which it listens (8000)\n"
    "  --help                    this text\n"
    "  --version                 the library in use\n"
    "\n"
    "One line for each tone: the time of the second reversal, at which the canceller\n"
    "would be disabled, and that of the last one. Reversals count at 430 to 470 ms from\n"
    "the beginning of the tone or the one before, at any level; after one that does not\n"
    "count, something else than the tone has to be heard first. Digital silence right\n"
    "behind a tone is mostly taken for its continuation, so it does not help.\n",
    {},
    {{"arithmetic", {"16bit", "float"}}, {"rate", {"8000", "16000"}}},
    {"a recording"},
};

// One of the two detectors of the library.
template <class Sample, class State> class Detector {
public:
    using Initialise = ryxStatus(State *, int);
    using Detect = ryxStatus(const Sample *, int, int *, State *);

    Detector(ryxStatus (*getSize)(int, int *), Initialise *initialise, Detect *detect, int sampleRate)
        : state_(getSize, sampleRate), detect_(detect) {
        check(initialise(state_, sampleRate));
    }

    bool findsReversal(const int16_t *samples, size_t count) {
        const std::vector<Sample> block(samples, samples + count);
        int detected = 0;
        check(detect_(block.data(), static_cast<int>(count), &detected, state_));
        return detected != 0;
    }

private:
    StateBlock<State> state_;
    Detect *detect_;
};

// The times of all reversals from the second one on, in seconds.
template <class Detector> std::vector<double> reversals(Detector detector, const Audio &audio) {
    const auto blockLength = static_cast<size_t>(audio.sampleRate / blocksPerSecond);
    std::vector<double> times;
    Progress progress("listening", audio.samples.size());
    for (size_t start = 0; start < audio.samples.size(); start += blockLength) {
        const size_t length = std::min(blockLength, audio.samples.size() - start);
        if (detector.findsReversal(&audio.samples[start], length))
            times.push_back(static_cast<double>(start) / audio.sampleRate);
        progress.update(start + length);
    }
    return times;
}

void print(const std::vector<double> &times, double duration) {
    if (times.empty()) std::printf("no disabling tone in %.3f s\n", duration);
    for (size_t first = 0; first < times.size();) {
        size_t last = first;
        while (last + 1 < times.size() && times[last + 1] - times[last] <= longestPause)
            last++;
        std::printf("%.3f s: disabling tone, last reversal at %.3f s\n", times[first], times[last]);
        first = last + 1;
    }
}

int run(int argc, char **argv) {
    const std::optional<CommandLine> line = parseCommandLine(program, argc, argv);
    if (!line) return 0;
    const int rate = std::stoi(line->values.at("rate"));
    const Audio audio = readMono(line->files[0], rate);
    using FloatDetector = Detector<float, ToneDetectState_EC_32f>;
    using FixedDetector = Detector<int16_t, ToneDetectState_EC_16s>;
    const bool useFloat = line->values.at("arithmetic") == "float";
    const std::vector<double> times =
        useFloat ? reversals(FloatDetector(ryxsToneDetectGetStateSize_EC_32f, ryxsToneDetectInit_EC_32f,
                                           ryxsToneDetect_EC_32f, rate),
                             audio)
                 : reversals(FixedDetector(ryxsToneDetectGetStateSize_EC_16s, ryxsToneDetectInit_EC_16s,
                                           ryxsToneDetect_EC_16s, rate),
                             audio);
    print(times, static_cast<double>(audio.samples.size()) / rate);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram(program.name, argc, argv, run);
}
