// SPDX-License-Identifier: BSD-2-Clause
// Brings a recording of speech to a wanted level.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lib/audio_file.h"
#include "lib/command_line.h"
#include "lib/failure.h"
#include "lib/input_file.h"
#include "lib/library_call.h"
#include "lib/output_file.h"
#include "lib/progress.h"
#include "lib/speech_level.h"
#include "ryxsc.h"

namespace {

constexpr int sampleRate = 8000;
constexpr size_t blockLength = 160;                // 20 ms
constexpr size_t settlingLength = 20 * sampleRate; // what is heard before the work begins

const ProgramDescription program = {
    "level_control",
    "Usage: level_control IN.wav OUT.wav [--target DB] [--ceiling DB] [--gain DB]\n"
    "                                    [--start settled|fresh]\n"
    "\n"
    "Automatic level control of telephone speech (ITU-T G.169): brings speech to a target\n"
    "level, however loud it is, and leaves noise, clicks and pauses alone. Input may be any\n"
    "audio file that libsndfile knows; it is mixed down to one channel and resampled to\n"
    "8 kHz when it has to be. Output is a 16-bit mono WAV file of the same length.\n"
    "\n"
    "  --target DB            level of the speech in dB below full scale, 0 to 60 (26.1)\n"
    "  --ceiling DB           largest peak in dB below full scale, 0 to 60 (0)\n"
    "  --gain DB              largest gain in dB, 0 to 60 (11.6)\n"
    "  --start settled|fresh  settled: the control has heard the first 20 s of the recording\n"
    "                         before it begins (default); fresh: it begins without any\n"
    "                         knowledge, nearly silent, as on a telephone line\n"
    "  --help                 this text\n"
    "  --version              the library in use\n"
    "\n"
    "Prints active speech levels (ITU-T P.56) and peaks before and after, in dB relative\n"
    "to full scale. The control has a meter of its own: the active speech level comes out\n"
    "about 3 dB above the target. Speech below -45 dB is hard to tell from noise and may stay\n"
    "too quiet.\n",
    {},
    {{"target", {"26.1"}, {}, Range{0, 60}},
     {"ceiling", {"0"}, {}, Range{0, 60}},
     {"gain", {"11.6"}, {}, Range{0, 60}},
     {"start", {"settled", "fresh"}}},
};

class LevelControl {
public:
    explicit LevelControl(const CommandLine &line) {
        const auto decibels = [&](const char *option) { return static_cast<float>(line.number(option)); };
        check(ryxsALCInit_G169_16s(&state_));
        check(ryxsALCSetGain_G169_16s(&state_, decibels("gain")));
        check(ryxsALCSetLevel_G169_16s(&state_, decibels("target"), decibels("ceiling")));
    }

    // The library takes blocks of eight; zeros fill the last one.
    std::vector<int16_t> apply(std::span<const int16_t> speech, const std::string &what) {
        std::vector<int16_t> output;
        Progress progress(what, speech.size());
        for (size_t start = 0; start < speech.size(); start += blockLength) {
            const std::span<const int16_t> samples =
                speech.subspan(start, std::min(blockLength, speech.size() - start));
            std::array<int16_t, blockLength> block = {};
            std::copy(samples.begin(), samples.end(), block.begin());
            check(
                ryxsALC_G169_16s(block.data(), block.data(), static_cast<int>((samples.size() + 7) / 8 * 8), &state_));
            output.insert(output.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(samples.size()));
            progress.update(start + samples.size());
        }
        return output;
    }

private:
    ALCState_G169 state_;
};

std::string described(std::span<const int16_t> samples) {
    const double level = activeSpeechLevel(samples, sampleRate);
    char text[100];
    if (std::isnan(level))
        std::snprintf(text, sizeof text, "no speech, peak %.1f dB", peakLevel(samples));
    else
        std::snprintf(text, sizeof text, "speech %.1f dB, peak %.1f dB", level, peakLevel(samples));
    return text;
}

int run(int argc, char **argv) {
    const std::optional<CommandLine> line = parseCommandLine(program, argc, argv);
    if (!line) return 0;
    requireDifferentFiles(line->files[0], line->files[1]);
    OutputFile output(line->files[1]);
    const std::vector<int16_t> speech = readMono(line->files[0], sampleRate).samples;
    LevelControl control(*line);
    if (line->values.at("start") == "settled")
        control.apply(std::span(speech).first(std::min(settlingLength, speech.size())), "settling");
    const std::vector<int16_t> levelled = control.apply(speech, "levelling");
    writeMono(output, {sampleRate, levelled});
    output.commit();
    std::printf("%.2f s: %s before; %s after\n", static_cast<double>(speech.size()) / sampleRate,
                described(speech).c_str(), described(levelled).c_str());
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram(program.name, argc, argv, run);
}
