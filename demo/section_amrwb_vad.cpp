// SPDX-License-Identifier: BSD-2-Clause
// AMR-WB: speech or pause, in quiet and in noise.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "codec.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "pictures.h"
#include "report.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 256;
constexpr double frameSeconds = 1.0 / segmentsPerSecond;
constexpr double leadSeconds = 5;
constexpr double pauseSeconds = 2;
constexpr double pictureSeconds = 23;

using Samples = std::vector<int16_t>;
using Flags = std::vector<bool>; // one for each frame

struct Condition {
    std::string name;
    std::string file;
    double snr; /**< in dB, over the frames of speech */
};

const Condition conditions[] = {
    {"none", "quiet", std::numeric_limits<double>::infinity()},
    {"20 dB below the speech", "20db", 20},
    {"10 dB below the speech", "10db", 10},
};

// All recordings in whole frames, a pause behind each and a longer one in front.
Samples joinWithPauses(const Recordings &recordings) {
    const auto pause = static_cast<size_t>(pauseSeconds * recordings.sampleRate);
    Samples samples(static_cast<size_t>(leadSeconds * recordings.sampleRate));
    for (const Recording &recording : recordings.list) {
        samples.insert(samples.end(), recording.samples.begin(), recording.samples.end());
        samples.resize(samples.size() + pause);
    }
    samples.resize(samples.size() / frameLength * frameLength);
    return samples;
}

double power(const Samples &samples, size_t frame) {
    double sum = 0;
    for (size_t i = frame * frameLength; i < (frame + 1) * frameLength; i++)
        sum += samples[i] * samples[i];
    return sum / frameLength;
}

double meanPower(const Samples &samples, const Flags &counts) {
    double sum = 0;
    for (size_t i = 0; i < counts.size(); i++)
        if (counts[i]) sum += power(samples, i);
    return sum / static_cast<double>(std::max<std::ptrdiff_t>(std::count(counts.begin(), counts.end(), true), 1));
}

Samples addNoise(const Samples &clean, double noisePower) {
    if (noisePower == 0) return clean;
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, std::sqrt(noisePower));
    Samples samples;
    for (const int16_t sample : clean)
        samples.push_back(static_cast<int16_t>(std::clamp(std::lround(sample + noise(random)), -32768L, 32767L)));
    return samples;
}

Flags decide(const Samples &samples) {
    StateBlock<VADState_AMRWB> state(ryxsVADGetSize_AMRWB_16s);
    check(ryxsVADInit_AMRWB_16s(state));
    Flags decisions;
    int16_t tone = 0, vad = 0;
    for (size_t i = 0; i < samples.size(); i += frameLength) {
        check(ryxsVAD_AMRWB_16s(&samples[i], state, &tone, &vad));
        decisions.push_back(vad == 1);
    }
    return decisions;
}

// How many frames of the wanted kind were taken for speech, in per cent.
std::string share(const Flags &decisions, const Flags &speech, bool wanted) {
    size_t count = 0, found = 0;
    for (size_t i = 0; i < speech.size(); i++) {
        if (speech[i] != wanted) continue;
        count++;
        found += decisions[i];
    }
    return decimal(100.0 * static_cast<double>(found) / static_cast<double>(count), 1);
}

// A bar at a height wherever the flag is set.
Line bar(const std::string &name, const std::string &colour, const Flags &flags, double height) {
    Line line = {name, colour, {}, 7};
    for (size_t i = 0; i < flags.size(); i++) {
        const double time = static_cast<double>(i) * frameSeconds;
        if (flags[i] && (i == 0 || !flags[i - 1])) line.points.emplace_back(time, height);
        const bool goesOn = i + 1 < flags.size() && flags[i + 1];
        if (!flags[i] || goesOn) continue;
        line.points.emplace_back(time + frameSeconds, height);
        line.points.emplace_back(time + frameSeconds, std::numeric_limits<double>::quiet_NaN());
    }
    return line;
}

void showPicture(Report &report, const Condition &condition, const Recordings &noisy, const Flags &speech,
                 const Flags &decisions) {
    const Samples &samples = noisy.list[0].samples;
    const size_t frames = std::min(speech.size(), static_cast<size_t>(pictureSeconds * segmentsPerSecond));
    const auto beginning = [=](const Flags &flags) {
        return Flags(flags.begin(), flags.begin() + static_cast<std::ptrdiff_t>(frames));
    };
    Line level = {"level of the frame", speechColour, {}};
    for (size_t i = 0; i < frames; i++)
        level.points.emplace_back((static_cast<double>(i) + 0.5) * frameSeconds,
                                  10 * std::log10(std::max(power(samples, i), 0.1) / (32768.0 * 32768)));
    const Line lines[] = {bar("taken for speech", lineColour(3), beginning(decisions), -6),
                          bar("speech before the noise came", lineColour(1), beginning(speech), -14), level};
    const std::string file = "amrwb-vad-" + condition.file + ".png";
    drawTracks(report.place(file), cut(noisy, {0, 0, static_cast<double>(frames) * frameSeconds}),
               {"level (dB full scale)", -100, 0}, lines);
    report.addPicture(file, "Noise: " + condition.name,
                      "the beginning of the recordings, pauses between them; the red bar is the detector's decision");
}

} // namespace

void amrwb_vadSection(const Speech &speech, Report &report) {
    Progress progress("AMR-WB voice activity", std::size(conditions));
    const int sampleRate = speech.at12k8.sampleRate;
    const Samples clean = joinWithPauses(speech.at12k8);
    const Flags isSpeech = speechSegments(clean, sampleRate);
    report.beginSection("AMR-WB: voice activity detection");
    report.addParagraph(
        "AMR-WB decides for every 20 ms whether there is speech; in pauses a coder sends next to nothing. The "
        "recordings follow each other with pauses of two seconds, and white noise is added to all of it. A frame is "
        "speech when it is above -50 dB of full scale before the noise is added.");
    report.addParagraph(
        "Noise that is there from the beginning is taken for speech until the detector has learnt its level, which "
        "takes it a few seconds. After a burst of speech the decision holds for some frames, so that soft endings and "
        "short gaps between words are not cut off.");
    Table table = {{"Noise", "speech taken for speech (%)", "pauses taken for speech (%)", "times real time"}, {}};
    for (const Condition &condition : conditions) {
        const double noisePower = meanPower(clean, isSpeech) * std::pow(10, -condition.snr / 10);
        const Recordings noisy = {sampleRate, {{"noisy", addNoise(clean, noisePower)}}};
        Flags decisions;
        const auto run = [&] { decisions = decide(noisy.list[0].samples); };
        const Speed speed = measureSpeed(noisy.seconds(), run, [] {});
        table.rows.push_back({condition.name, share(decisions, isSpeech, true), share(decisions, isSpeech, false),
                              decimal(speed.encoder, 0)});
        report.addResult("AMR-WB voice activity, noise: " + condition.name,
                         "speech found: " + table.rows.back()[1] + " %, pauses taken for it: " + table.rows.back()[2] +
                             " %",
                         {speed.encoder, 0, 0});
        showPicture(report, condition, noisy, isSpeech, decisions);
        progress.update(table.rows.size());
    }
    report.addTable(table);
}
