// SPDX-License-Identifier: BSD-2-Clause
// The echo canceller for recordings.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <getopt.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lib/audio_file.h"
#include "lib/command_line.h"
#include "lib/echo_canceller.h"
#include "lib/failure.h"
#include "lib/input_file.h"
#include "lib/output_file.h"
#include "lib/progress.h"
#include "lib/room.h"
#include "lib/round_trip.h"
#include "ryxsc.h"

namespace {

constexpr char help[] = "Usage: echo_canceller FAR.wav MIC.wav OUT.wav [OPTIONS]\n"
                        "       echo_canceller --simulate FAR.wav [NEAR.wav] OUT.wav [OPTIONS]\n"
                        "\n"
                        "Removes from MIC, the recording of a microphone, the echo of FAR, which a loudspeaker\n"
                        "played at the same time. Both start at the same moment. OUT is as long as MIC, 16-bit\n"
                        "mono. Input may be any audio file that libsndfile knows; it is mixed down to one\n"
                        "channel and resampled when it has to be.\n"
                        "\n"
                        "With --simulate the program makes the echo itself: FAR comes back from a room, 6 dB\n"
                        "weaker, with a little noise and, if given, with the speech NEAR on top.\n"
                        "\n"
                        "  --method METHOD            transform: exact sub-band filters in blocks of 8 ms\n"
                        "                             fullband: adapts sample by sample, most work\n"
                        "                             subband: an oversampled filter bank (transform)\n"
                        "  --suppression on|off       weaken what the filter leaves of the echo, and noise (on)\n"
                        "  --tail MS                  longest echo in milliseconds, 8 to 500 (64)\n"
                        "  --rate 8000|16000          sampling rate in Hz (8000)\n"
                        "  --compare                  print what speexdsp does with the same signals, too\n"
                        "  --simulate                 make the echo\n"
                        "  --mic FILE.wav             with --simulate: write what the microphone picks up\n"
                        "  --help                     this text\n"
                        "  --version                  the library in use\n"
                        "\n"
                        "For every second the program prints by how many decibels the filter alone weakens what\n"
                        "the microphone picks up (echo return loss enhancement): with --simulate the echo alone,\n"
                        "otherwise everything, so that speech at the near end lowers the figure. With\n"
                        "suppression a second figure says by how much everything is weakened in the output.\n";

struct Arguments {
    int method = ryxEchoTransform;
    bool suppression = true;
    bool compare = false;
    int tailMilliseconds = 64;
    int sampleRate = 8000;
    bool simulate = false;
    std::string microphone;
    std::vector<std::string> files;
};

[[noreturn]] void reject(const std::string &sentence) {
    throw Failure(sentence + " (see echo_canceller --help)");
}

int parseTail(const std::string &text) {
    int tail = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, tail);
    if (error != std::errc() || stop != end || tail < 8 || tail > 500)
        reject("--tail takes milliseconds from 8 to 500, not " + text);
    return tail;
}

int parseMethod(const std::string &text) {
    const std::pair<const char *, int> methods[] = {
        {"transform", ryxEchoTransform}, {"fullband", ryxEchoFullband}, {"subband", ryxEchoSubband}};
    for (const auto &[name, method] : methods)
        if (text == name) return method;
    reject("--method takes transform, fullband or subband, not " + text);
}

void setOption(Arguments &arguments, char option, const std::string &value) {
    if (option == 'm') {
        arguments.method = parseMethod(value);
    } else if (option == 'p') {
        if (value != "on" && value != "off") reject("--suppression takes on or off, not " + value);
        arguments.suppression = value == "on";
    } else if (option == 'c') {
        if (!hasSpeexCanceller()) throw Failure("--compare needs speexdsp, which this program was built without");
        arguments.compare = true;
    } else if (option == 't') {
        arguments.tailMilliseconds = parseTail(value);
    } else if (option == 'r') {
        if (value != "8000" && value != "16000") reject("--rate takes 8000 or 16000, not " + value);
        arguments.sampleRate = value == "8000" ? 8000 : 16000;
    } else if (option == 's') {
        arguments.simulate = true;
    } else {
        arguments.microphone = value;
    }
}

// Nothing when the help or the version was asked for.
std::optional<Arguments> parseArguments(int argc, char **argv) {
    const option options[] = {
        {"method", required_argument, nullptr, 'm'}, {"suppression", required_argument, nullptr, 'p'},
        {"tail", required_argument, nullptr, 't'},   {"rate", required_argument, nullptr, 'r'},
        {"compare", no_argument, nullptr, 'c'},      {"simulate", no_argument, nullptr, 's'},
        {"mic", required_argument, nullptr, 'o'},    {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},      {nullptr, 0, nullptr, 0}};
    Arguments arguments;
    opterr = 0;
    for (int answer; (answer = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
        if (answer == 'h') return std::fputs(help, stdout), std::nullopt;
        if (answer == 'v') return printVersion(), std::nullopt;
        if (answer == ':') reject(std::string(argv[optind - 1]) + " needs a value");
        if (answer == '?') reject("unknown option " + std::string(argv[optind - 1]));
        setOption(arguments, static_cast<char>(answer), optarg ? optarg : "");
    }
    arguments.files.assign(argv + optind, argv + argc);
    const size_t least = arguments.simulate ? 2 : 3;
    if (arguments.files.size() < least) reject("the names of " + std::to_string(least) + " files are needed");
    if (arguments.files.size() > 3) reject("one argument too many, " + arguments.files[3]);
    if (!arguments.simulate && !arguments.microphone.empty()) reject("--mic means nothing without --simulate");
    return arguments;
}

using Samples = std::vector<float>;

Samples readSamples(const std::string &path, int sampleRate) {
    const Audio audio = readMono(path, sampleRate);
    return {audio.samples.begin(), audio.samples.end()};
}

Audio rounded(const Samples &samples, int sampleRate) {
    Audio audio = {sampleRate, {}};
    for (const float x : samples)
        audio.samples.push_back(static_cast<int16_t>(std::lround(std::clamp(x, -32768.0F, 32767.0F))));
    return audio;
}

struct Recordings {
    Samples far, near, microphone; // near: the part of the microphone's recording that is known to be no echo
};

Recordings readRecordings(const Arguments &arguments) {
    Recordings recordings;
    recordings.far = readSamples(arguments.files[0], arguments.sampleRate);
    if (!arguments.simulate) {
        recordings.microphone = readSamples(arguments.files[1], arguments.sampleRate);
        recordings.far.resize(recordings.microphone.size());
        recordings.near.resize(recordings.microphone.size());
        return recordings;
    }
    if (arguments.files.size() == 3) recordings.near = readSamples(arguments.files[1], arguments.sampleRate);
    recordings.near.resize(recordings.far.size());
    const auto length = static_cast<size_t>(arguments.sampleRate * arguments.tailMilliseconds / 1000);
    recordings.microphone = pickUp(recordings.far, recordings.near, roomResponse(arguments.sampleRate, length));
    return recordings;
}

Samples difference(Samples samples, const Samples &less) {
    for (size_t i = 0; i < samples.size(); i++)
        samples[i] -= less[i];
    return samples;
}

// A column of the table: by how much something falls in every second.
struct Column {
    std::string title;
    std::vector<double> decibels;
};

void printTable(const std::vector<Column> &columns) {
    std::printf("second");
    for (const Column &column : columns)
        std::printf("  %s", column.title.c_str());
    std::printf("\n");
    for (size_t second = 0; second < columns.front().decibels.size(); second++) {
        std::printf("%6zu", second + 1);
        for (const Column &column : columns) {
            const auto width = static_cast<int>(column.title.size());
            if (std::isnan(column.decibels[second]))
                std::printf("  %*s", width, "silence");
            else
                std::printf("  %*.1f dB", width - 3, column.decibels[second]);
        }
        std::printf("\n");
    }
}

// What is written, the microphone's recording included, must replace neither what is read nor each other.
void requireSeparateFiles(const Arguments &arguments) {
    const std::string &target = arguments.files.back(), &microphone = arguments.microphone;
    for (size_t i = 0; i + 1 < arguments.files.size(); i++) {
        requireDifferentFiles(arguments.files[i], target);
        requireDifferentFiles(arguments.files[i], microphone);
    }
    if (!microphone.empty() && wouldBeTheSameFile(microphone, target))
        reject("--mic and the output name the same file, " + target);
}

std::vector<double> perSecond(const Samples &before, const Samples &after, int rate) {
    return echoReduction(before, after, static_cast<size_t>(rate));
}

// A canceller that hears no far end passes the near end, as well as its filter bank does.
std::vector<Column> ownColumns(ryxEchoOptions options, const Recordings &recordings, const Samples &cleaned) {
    const bool suppression = options.suppression;
    options.suppression = 0;
    const auto passed = [&](const Samples &samples) { return cancelEcho(options, Samples(samples.size()), samples); };
    const Samples &microphone = recordings.microphone;
    const Samples filtered = suppression ? cancelEcho(options, recordings.far, microphone) : cleaned;
    std::vector<Column> columns = {
        {"echo weakened by", perSecond(passed(difference(microphone, recordings.near)),
                                       difference(filtered, passed(recordings.near)), options.sampleRate)}};
    if (suppression) columns.push_back({"all, in the output", perSecond(microphone, cleaned, options.sampleRate)});
    return columns;
}

// Its filter lets the near end through as it is.
std::vector<Column> speexColumns(ryxEchoOptions options, const Recordings &recordings, const Samples &cleaned) {
    const bool suppression = options.suppression;
    options.suppression = 0;
    const Samples &microphone = recordings.microphone;
    const Samples filtered = suppression ? cancelEchoBySpeex(options, recordings.far, microphone) : cleaned;
    std::vector<Column> columns = {
        {"speexdsp, echo", perSecond(difference(microphone, recordings.near), difference(filtered, recordings.near),
                                     options.sampleRate)}};
    if (suppression) columns.push_back({"speexdsp, all", perSecond(microphone, cleaned, options.sampleRate)});
    return columns;
}

int run(int argc, char **argv) {
    const std::optional<Arguments> arguments = parseArguments(argc, argv);
    if (!arguments) return 0;
    requireSeparateFiles(*arguments);
    OutputFile output(arguments->files.back());
    std::optional<OutputFile> microphone;
    if (!arguments->microphone.empty()) microphone.emplace(arguments->microphone);
    const Recordings recordings = readRecordings(*arguments);
    const int rate = arguments->sampleRate;
    if (microphone) writeMono(*microphone, rounded(recordings.microphone, rate));

    const ryxEchoOptions options =
        echoOptions(rate, arguments->tailMilliseconds, arguments->method, arguments->suppression);
    Samples cleaned;
    Stopwatch stopwatch;
    {
        Progress progress("cancelling", recordings.microphone.size());
        cleaned =
            cancelEcho(options, recordings.far, recordings.microphone, [&](size_t done) { progress.update(done); });
    }
    const double seconds = stopwatch.lap();
    writeMono(output, rounded(cleaned, rate));
    output.commit();
    if (microphone) microphone->commit();

    std::vector<Column> columns = ownColumns(options, recordings, cleaned);
    const double duration = static_cast<double>(recordings.microphone.size()) / rate;
    double speexSeconds = 0;
    if (arguments->compare) {
        stopwatch.lap();
        const Samples theirs = cancelEchoBySpeex(options, recordings.far, recordings.microphone);
        speexSeconds = stopwatch.lap();
        for (Column &column : speexColumns(options, recordings, theirs))
            columns.push_back(std::move(column));
    }
    printTable(columns);
    const auto times = [duration](double spent) { return duration / std::max(spent, 1e-9); };
    std::printf("%.2f s at %.0f times real time", duration, times(seconds));
    if (arguments->compare) std::printf(", speexdsp at %.0f", times(speexSeconds));
    std::printf("\n");
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram("echo_canceller", argc, argv, run);
}
