// SPDX-License-Identifier: BSD-2-Clause
// Automatic level control (ITU-T G.169): the same speech at several levels.
#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <vector>

#include "codec.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "lib/speech_level.h"
#include "pictures.h"
#include "report.h"
#include "ryxsc.h"

namespace {

constexpr int sampleRate = 8000;
constexpr size_t frameLength = 160; // 20 ms
constexpr float largestGain = 24;   // dB
constexpr double settlingSeconds = 10;
constexpr double pictureSeconds = 30;
constexpr int pictureLevels[] = {-16, -24, -32, -40}; // dB

using Samples = std::vector<int16_t>;

struct Levelled {
    Samples samples;
    std::vector<double> gains; // in dB, one for each frame
};

double decibels(double ratio) {
    return 20 * std::log10(ratio);
}

Samples inWholeFrames(const Recordings &recordings) {
    Samples all;
    for (const Recording &recording : recordings.list)
        all.insert(all.end(), recording.samples.begin(), recording.samples.end());
    all.resize(all.size() / frameLength * frameLength);
    return all;
}

// Brings the active speech level to so many dB; peaks may be clipped.
Samples atLevel(const Samples &speech, double level) {
    const double factor = std::pow(10, (level - activeSpeechLevel(speech, sampleRate)) / 20);
    Samples scaled;
    for (const int16_t sample : speech)
        scaled.push_back(static_cast<int16_t>(std::clamp(std::round(sample * factor), -32768.0, 32767.0)));
    return scaled;
}

Levelled control(const Samples &speech) {
    ALCState_G169 state;
    check(ryxsALCInit_G169_16s(&state));
    check(ryxsALCSetGain_G169_16s(&state, largestGain));
    Levelled result = {Samples(speech.size()), {}};
    for (size_t start = 0; start < speech.size(); start += frameLength) {
        check(ryxsALC_G169_16s(&speech[start], &result.samples[start], frameLength, &state));
        result.gains.push_back(decibels(state.appliedGain));
    }
    return result;
}

// The level once the control has settled.
double settledLevel(const Samples &samples) {
    const size_t settling = std::min(static_cast<size_t>(settlingSeconds * sampleRate), samples.size() / 2);
    return activeSpeechLevel(std::span(samples).subspan(settling), sampleRate);
}

Line gainLine(int level, size_t index, const std::vector<double> &gains) {
    Line line = {"speech at " + std::to_string(level) + " dB", lineColour(index), {}};
    for (size_t i = 0; i < gains.size() && static_cast<double>(i) / segmentsPerSecond < pictureSeconds; i++)
        line.points.emplace_back(static_cast<double>(i) / segmentsPerSecond, gains[i]);
    return line;
}

void showLevels(Report &report, const Samples &speech) {
    Line before = {"without control", speechColour, {}}, after = {"with control", lineColour(0), {}};
    for (int level = -56; level <= -10; level += 2) {
        const Samples input = atLevel(speech, level);
        before.points.emplace_back(level, settledLevel(input));
        after.points.emplace_back(level, settledLevel(control(input).samples));
    }
    const std::vector<Line> lines = {before, after};
    drawChart(report.place("alc-levels.png"), {"level of the input (dB)", -56, -10},
              fit("level of the output (dB)", lines, 10), lines);
    report.addPicture(
        "alc-levels.png", "Levels before and after",
        "active speech levels (ITU-T P.56), from 10 s after the start on. Below about -45 dB most of the speech "
        "lies under the threshold of activity and moves the gain no more");
}

} // namespace

void alcSection(const Speech &speech, Report &report) {
    Progress progress("G.169", 5);
    const Samples all = inWholeFrames(speech.at8k);
    report.beginSection("ITU-T G.169: level control");
    report.addParagraph(
        "The same telephone speech at four levels, brought to one: target 26.1 dB below full scale, largest gain " +
        decimal(largestGain, 0) +
        " dB. The control follows noise floor, talk spurts and speech level. It begins nearly silent, knows the level "
        "after the first second of speech, and then follows slowly; clicks and pauses do not move it.");
    Table table = {{"speech", "level before (dB)", "level after (dB)", "peak before (dB)", "peak after (dB)",
                    "gain at the end (dB)", "times real time"},
                   {}};
    std::vector<Line> gains;
    for (const int level : pictureLevels) {
        const Samples input = atLevel(all, level);
        Levelled output;
        const Speed speed = measureSpeed(
            static_cast<double>(input.size()) / sampleRate, [&] { output = control(input); }, [] {});
        table.rows.push_back({"at " + std::to_string(level) + " dB", decimal(settledLevel(input), 1),
                              decimal(settledLevel(output.samples), 1), decimal(peakLevel(input), 1),
                              decimal(peakLevel(output.samples), 1), decimal(output.gains.back(), 1),
                              decimal(speed.encoder, 0)});
        report.addResult("Level control, speech at " + std::to_string(level) + " dB",
                         "level after: " + table.rows.back()[2] + " dB", {speed.encoder, 0, 0});
        gains.push_back(gainLine(level, gains.size(), output.gains));
        progress.update(gains.size());
    }
    report.addTable(table);
    drawChart(report.place("alc-gain.png"), {"time (s)", 0, gains[0].points.back().first}, fit("gain (dB)", gains, 10),
              gains);
    report.addPicture("alc-gain.png", "Gain", "from the start of a call on");
    showLevels(report, all);
    progress.update(5);
}
