// SPDX-License-Identifier: BSD-2-Clause
// Echo cancellation: a simulated room from the first word on, with double talk and a change of the echo path.
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
constexpr int tailMilliseconds = 64;
constexpr double totalSeconds = 24;
constexpr double talkFrom = 8, talkTo = 12, changeAt = 16;
constexpr size_t window = sampleRate / 2;

using Samples = std::vector<float>;

struct Canceller {
    std::string name;
    std::string file;
    bool isSpeex;

    Samples run(const Samples &far, const Samples &near, bool suppression) const {
        const ryxEchoOptions options = echoOptions(sampleRate, tailMilliseconds, ryxEchoTransform, suppression);
        return isSpeex ? cancelEchoBySpeex(options, far, near) : cancelEcho(options, far, near);
    }
};

std::vector<Canceller> cancellers() {
    std::vector<Canceller> list = {{"ryxecho", "own", false}};
    if (hasSpeexCanceller()) list.push_back({"speexdsp", "speexdsp", true});
    return list;
}

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

// Other speech for four seconds, as loud as the echo of the far end.
Samples nearEnd(const Recordings &recordings, const Samples &echo) {
    Samples near(echo.size());
    const Samples speech = joined(recordings, totalSeconds + 1, talkTo - talkFrom);
    std::copy(speech.begin(), speech.end(), near.begin() + static_cast<std::ptrdiff_t>(talkFrom * sampleRate));
    const double gain = std::sqrt(power(echo, talkFrom, talkTo) / std::max(power(near, talkFrom, talkTo), 1.0));
    for (float &x : near)
        x *= static_cast<float>(gain);
    return near;
}

// What comes back from the room, and from the moment of the change on, what comes back when somebody has moved: everything
// 3 ms later and upside down.
Samples echoOf(const Samples &far) {
    const Samples response = roomResponse(sampleRate, tail);
    Samples moved(24);
    for (size_t i = 0; i + 24 < response.size(); i++)
        moved.push_back(-response[i]);
    const Samples silence(far.size());
    Samples echo = pickUp(far, silence, response);
    const Samples later = pickUp(far, silence, moved);
    const auto change = static_cast<std::ptrdiff_t>(changeAt * sampleRate);
    std::copy(later.begin() + change, later.end(), echo.begin() + change);
    return echo;
}

Samples combined(Samples a, const Samples &b, float sign) {
    for (size_t i = 0; i < a.size(); i++)
        a[i] += sign * b[i];
    return a;
}

Recording recorded(const std::string &name, const Samples &samples) {
    Recording recording = {name, {}};
    for (const float x : samples)
        recording.samples.push_back(static_cast<int16_t>(std::lround(std::clamp(x, -32768.0F, 32767.0F))));
    return recording;
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

const std::string explanation = "The far end plays the recordings into a simulated room. The microphone picks up what "
                                "comes back within 64 ms, 6 dB "
                                "weaker, and some noise. From 8 to 12 s somebody speaks at the near end, as loud as "
                                "the echo; at 16 s the echo path "
                                "changes from one sample to the next. The lines show by how much the filter alone "
                                "weakens the echo, without the near "
                                "end's speech, so that nothing is gained by weakening everything. ";

const std::string reading =
    "What to look at: how steep the line is at the start; that it hardly falls while both ends talk, where a canceller "
    "that mistakes the near end for an error of its filter unlearns the path; and how soon it is back behind the "
    "change, "
    "for which a second set of coefficients, always adapting at full speed, takes the place of the first. The "
    "recordings "
    "are with suppression, which weakens what the filter leaves, band by band: the near end must sound as it does in "
    "the "
    "microphone.";

} // namespace

void ecSection(const Speech &speech, Report &report) {
    const std::vector<Canceller> list = cancellers();
    Progress progress("echo cancellation", 2 * list.size());
    const Samples far = joined(speech.at8k, 0, totalSeconds), echo = echoOf(far);
    const Samples near = nearEnd(speech.at8k, echo), microphone = combined(echo, near, 1);

    report.beginSection("Echo cancellation");
    report.addParagraph(explanation + (list.size() > 1 ? "The canceller of speexdsp works on the same signals."
                                                       : "Built with speexdsp, the picture shows its canceller, too."));
    Table table = {{"Canceller", "echo weakened, 0 to 2 s (dB)", "2 to 8 s", "double talk, 8 to 12 s", "12 to 16 s",
                    "changed, 16 to 18 s", "18 to 24 s", "times real time", "with suppression"},
                   {}};
    const std::string name = "start, double talk, change of path";
    Recordings recording = {sampleRate, {recorded(name, microphone)}};
    std::vector<Recordings> cleaned;
    std::vector<Line> lines;
    size_t step = 0;
    for (size_t i = 0; i < list.size(); i++) {
        Samples filtered, output;
        Speed plainSpeed;
        const auto speed = [&](Samples &samples, bool suppression) {
            const Speed measured = measureSpeed(
                totalSeconds, [&] { samples = list[i].run(far, microphone, suppression); }, [] {});
            progress.update(++step);
            if (!suppression) plainSpeed = {measured.encoder, 0, 0};
            return decimal(measured.encoder, 0);
        };
        const std::string plain = speed(filtered, false), suppressed = speed(output, true);
        const std::vector<double> reductions = echoReduction(echo, combined(filtered, near, -1), window);
        cleaned.push_back({sampleRate, {recorded(name, output)}});
        lines.push_back(track(list[i].name, lineColour(i == 0 ? 0 : 3), reductions));
        table.rows.push_back({list[i].name, mean(reductions, 0, 2), mean(reductions, 2, talkFrom),
                              mean(reductions, talkFrom, talkTo), mean(reductions, talkTo, changeAt),
                              mean(reductions, changeAt, changeAt + 2), mean(reductions, changeAt + 2, totalSeconds),
                              plain, suppressed});
        report.addResult("Echo canceller, " + list[i].name,
                         "echo weakened by " + table.rows.back()[2] + " dB, in double talk by " + table.rows.back()[3] +
                             " dB",
                         plainSpeed);
    }
    lines.push_back({"the near end talks", lineColour(1), {{talkFrom, -8}, {talkTo, -8}}, 7});
    lines.push_back({"the path changes", lineColour(2), {{changeAt, -10}, {changeAt, 70}}, 1.1});
    drawTracks(report.place("ec-scene.png"), cut(recording, {0, 0, totalSeconds}), {"echo weakened by (dB)", -10, 70},
               lines);
    report.addPicture("ec-scene.png", "Start, double talk and a change of the path",
                      "what the microphone picks up, and by how much the echo in it is weakened in every half second");
    report.addParagraph(reading);
    report.addTable(table);
    report.addHeading("Listen to the cancellers");
    std::vector<Version> versions = {{"microphone", "ec-microphone", &recording}};
    for (size_t i = 0; i < list.size(); i++)
        versions.push_back({list[i].name + ", with suppression", "ec-" + list[i].file, &cleaned[i]});
    report.addPlayers(versions);
}
