// SPDX-License-Identifier: BSD-2-Clause
#include "envelope.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "pictures.h"

namespace {

std::vector<double> distortionsOfSpeech(const Envelopes &envelopes) {
    std::vector<double> values;
    for (const auto &track : envelopes.tracks)
        for (const Envelope &envelope : track)
            if (!std::isnan(envelope.distortion)) values.push_back(envelope.distortion);
    return values;
}

// A value of every frame of the excerpt over time.
template <class ValueOf>
void addPoints(Line &line, const Envelopes &envelopes, const Excerpt &excerpt, ValueOf valueOf) {
    const auto &track = envelopes.tracks[excerpt.recording];
    for (size_t i = 0; i < track.size(); i++) {
        const double time = static_cast<double>(i) / envelopes.format.framesPerSecond + envelopes.format.filterTime;
        if (time >= excerpt.start && time <= excerpt.start + excerpt.length)
            line.points.emplace_back(time, valueOf(track[i]));
    }
}

// All frequencies, with gaps between them.
Line frequencyLine(Line line, const Envelopes &envelopes, const Excerpt &excerpt,
                   std::vector<double> Envelope::*frequencies) {
    for (size_t k = 0; k < envelopes.format.frequencies; k++) {
        addPoints(line, envelopes, excerpt, [=](const Envelope &envelope) { return (envelope.*frequencies)[k]; });
        line.points.emplace_back(excerpt.start, std::numeric_limits<double>::quiet_NaN());
    }
    return line;
}

} // namespace

void addDistortions(Report &report, const std::string &title, const std::vector<Envelopes> &quantisers,
                    const std::vector<Speed> &speeds) {
    Table table = {{title, "mean distortion (dB)", "above 2 dB (%)", "above 4 dB (%)",
                    "times real time: LPC to indices", "indices to LPC"},
                   {}};
    for (size_t i = 0; i < quantisers.size(); i++) {
        const std::vector<double> values = distortionsOfSpeech(quantisers[i]);
        const auto count = static_cast<double>(values.size());
        const auto percentAbove = [&](double limit) {
            const auto above = std::count_if(values.begin(), values.end(), [=](double value) { return value > limit; });
            return decimal(100 * static_cast<double>(above) / count, 1);
        };
        const double mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
        table.rows.push_back({quantisers[i].name, decimal(mean, 2), percentAbove(2), percentAbove(4),
                              decimal(speeds[i].encoder, 0), decimal(speeds[i].decoder, 0)});
        report.addResult(title + ", " + quantisers[i].name, "mean distortion: " + decimal(mean, 2) + " dB", speeds[i]);
    }
    report.addTable(table);
}

void addEnvelopePictures(Report &report, const std::string &file, const std::string &title,
                         const Recordings &recordings, const Excerpt &excerpt, std::span<const Envelopes> quantisers) {
    const Clip speech = cut(recordings, excerpt);
    const Envelopes &first = quantisers.front();
    const Line quantised = frequencyLine({"quantised", lineColour(3), {}, 1.6}, first, excerpt, &Envelope::quantised);
    const Line unquantised = frequencyLine({"unquantised", "#000000", {}, 0.6}, first, excerpt, &Envelope::frequencies);
    const std::string overSpectrogram = file + "-frequencies.png";
    drawOverSpectrogram(report.place(overSpectrogram), speech, std::vector{quantised, unquantised});
    report.addPicture(overSpectrogram, title,
                      "of " + recordings.list[excerpt.recording].name + ", before and after quantisation (" +
                          first.name +
                          "), over its spectrogram; where they come close to each other, the envelope has "
                          "a peak");

    std::vector<Line> tracks, distributions;
    for (size_t i = 0; i < quantisers.size(); i++) {
        tracks.push_back({quantisers[i].name, lineColour(i), {}});
        addPoints(tracks[i], quantisers[i], excerpt, [](const Envelope &envelope) { return envelope.distortion; });
        distributions.push_back(
            distribution(quantisers[i].name, lineColour(i), distortionsOfSpeech(quantisers[i]), 0.1));
    }
    const std::string overTime = file + "-distortion.png";
    drawTracks(report.place(overTime), speech, fit("distortion (dB)", tracks, 1), tracks);
    report.addPicture(overTime, "Spectral distortion", "of every frame; gaps are pauses");

    double widest = 1;
    for (const Line &line : distributions)
        widest = std::max(widest, std::ceil(line.points.back().first));
    const std::string histogram = file + "-histogram.png";
    drawChart(report.place(histogram), {"spectral distortion (dB)", 0, widest},
              fit("frames of speech (%)", distributions, 2), distributions);
    report.addPicture(histogram, "Distribution of the spectral distortion", "over all recordings, in steps of 0.1 dB");
}
