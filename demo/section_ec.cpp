// SPDX-License-Identifier: BSD-2-Clause
// Echo cancellation: a simulated room, in single talk and in double talk.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "codec.h"
#include "lib/echo_canceller.h"
#include "lib/progress.h"
#include "lib/room.h"
#include "pictures.h"
#include "report.h"

namespace {

constexpr int sampleRate = 8000;
constexpr size_t tail = 512;
constexpr double totalSeconds = 16;
constexpr double talkFrom = 6, talkTo = 9;
constexpr size_t window = sampleRate / 2;

using Samples = std::vector<float>;

struct Method {
    std::string name;
    std::string file;
    EchoMethod method;
};

const Method methods[] = {{"full band", "full-band", EchoMethod::fullBand},
                          {"sub-band", "sub-band", EchoMethod::subBand}};

struct Scene {
    std::string name;
    std::string file;
    Samples near;
};

// The recordings one after the other, as often as it takes, from a second on.
Samples joined(const Recordings &recordings, double from, double seconds) {
    const auto count = static_cast<size_t>((from + seconds) * sampleRate);
    Samples samples;
    while (samples.size() < count)
        for (const Recording &recording : recordings.list)
            samples.insert(samples.end(), recording.samples.begin(), recording.samples.end());
    return {samples.begin() + static_cast<std::ptrdiff_t>(from * sampleRate),
            samples.begin() + static_cast<std::ptrdiff_t>(count)};
}

double power(const Samples &samples, double from, double to) {
    double sum = 0;
    for (auto i = static_cast<size_t>(from * sampleRate); i < static_cast<size_t>(to * sampleRate); i++)
        sum += static_cast<double>(samples[i]) * samples[i];
    return sum / ((to - from) * sampleRate);
}

// Other speech for three seconds, as loud as the echo of the far end and 5 dB more.
Samples nearEnd(const Recordings &recordings, const Samples &echo) {
    Samples near(echo.size());
    const Samples speech = joined(recordings, totalSeconds + 1, talkTo - talkFrom);
    std::copy(speech.begin(), speech.end(), near.begin() + static_cast<std::ptrdiff_t>(talkFrom * sampleRate));
    const double gain =
        std::sqrt(power(echo, talkFrom, talkTo) / std::max(power(near, talkFrom, talkTo), 1.0) * std::pow(10, 0.5));
    for (float &x : near)
        x *= static_cast<float>(gain);
    return near;
}

Samples difference(Samples a, const Samples &b) {
    for (size_t i = 0; i < a.size(); i++)
        a[i] -= b[i];
    return a;
}

Samples cancel(const Method &method, const Samples &far, const Samples &near) {
    return cancelEcho(*makeEchoCanceller(method.method, sampleRate, tail), far, near);
}

Recording recorded(const std::string &name, const Samples &samples) {
    Recording recording = {name, {}};
    for (const float x : samples)
        recording.samples.push_back(static_cast<int16_t>(std::lround(std::clamp(x, -32768.0F, 32767.0F))));
    return recording;
}

// By how much the echo alone falls, half second by half second. A canceller without far end passes the near end on.
std::vector<double> reductionOfEcho(const Method &method, const Samples &microphone, const Samples &cleaned,
                                    const Samples &near) {
    const Samples silence(microphone.size());
    return echoReduction(cancel(method, silence, difference(microphone, near)),
                         difference(cleaned, cancel(method, silence, near)), window);
}

Line track(const std::string &name, const std::string &colour, const std::vector<double> &reductions) {
    Line line = {name, colour, {}, 1.6};
    for (size_t i = 0; i < reductions.size(); i++)
        line.points.emplace_back((static_cast<double>(i) + 0.5) * window / sampleRate, reductions[i]);
    return line;
}

std::string mean(const std::vector<double> &reductions, double from, double to) {
    double sum = 0;
    int count = 0;
    for (size_t i = 0; i < reductions.size(); i++) {
        const double time = (static_cast<double>(i) + 0.5) * window / sampleRate;
        if (time < from || time > to || std::isnan(reductions[i])) continue;
        sum += reductions[i];
        count++;
    }
    return decimal(sum / count, 1);
}

} // namespace

void ecSection(const Speech &speech, Report &report) {
    Progress progress("echo cancellation", 2 * std::size(methods));
    const Samples far = joined(speech.at8k, 0, totalSeconds);
    const Samples response = roomResponse(sampleRate, tail);
    const Scene scenes[] = {
        {"single talk", "single", Samples(far.size())},
        {"double talk", "double", nearEnd(speech.at8k, pickUp(far, Samples(far.size()), response))}};

    report.beginSection("Echo cancellation");
    report.addParagraph(
        "The far end plays the recordings into a simulated room. The microphone picks up what comes back within 64 ms, "
        "6 dB weaker, some noise, and in double talk other speech from " +
        decimal(talkFrom, 0) + " to " + decimal(talkTo, 0) +
        " s, 5 dB above the echo. The full-band canceller adapts 512 taps sample by sample; the sub-band canceller "
        "adapts twelve spectra of 33 bands. Both send what the last coefficients leave that have proved good, and keep "
        "them while both ends talk.");
    Table table = {{"Method", "echo weakened, 1 to 3 s (dB)", "3 to 6 s", "6 to 9 s", "9 to 12 s", "12 to 16 s",
                    "times real time"},
                   {}};
    Recordings microphones = {sampleRate, {}}, cleaned[] = {microphones, microphones};
    size_t step = 0;
    for (const Scene &scene : scenes) {
        const Samples microphone = pickUp(far, scene.near, response);
        microphones.list.push_back(recorded(scene.name, microphone));
        std::vector<Line> lines;
        for (size_t i = 0; i < std::size(methods); i++) {
            Samples output;
            const Speed speed = measureSpeed(
                totalSeconds, [&] { output = cancel(methods[i], far, microphone); }, [] {});
            const auto reductions = reductionOfEcho(methods[i], microphone, output, scene.near);
            cleaned[i].list.push_back(recorded(scene.name, output));
            lines.push_back(track(methods[i].name, lineColour(i == 0 ? 0 : 3), reductions));
            table.rows.push_back({methods[i].name + ", " + scene.name, mean(reductions, 1, 3), mean(reductions, 3, 6),
                                  mean(reductions, 6, 9), mean(reductions, 9, 12), mean(reductions, 12, 16),
                                  decimal(speed.encoder, 0)});
            progress.update(++step);
        }
        if (scene.file == "double")
            lines.push_back({"the near end talks", lineColour(1), {{talkFrom, -8}, {talkTo, -8}}, 7});
        const std::string file = "ec-" + scene.file + ".png";
        drawTracks(report.place(file), cut(microphones, {microphones.list.size() - 1, 0, totalSeconds}),
                   {"echo weakened by (dB)", -10, 60}, lines);
        report.addPicture(
            file, scene.name == "single talk" ? "Single talk" : "Double talk",
            "what the microphone picks up, and by how much the echo in it is weakened in every half second");
    }
    report.addTable(table);
    report.addHeading("Listen to the cancellers");
    std::vector<Version> versions = {{"microphone", "ec-microphone", &microphones}};
    for (size_t i = 0; i < std::size(methods); i++)
        versions.push_back({methods[i].name, "ec-" + methods[i].file, &cleaned[i]});
    report.addPlayers(versions);
}
