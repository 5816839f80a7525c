// SPDX-License-Identifier: BSD-2-Clause
#include "codec_page.h"

#include <algorithm>

#include "lib/progress.h"
#include "pictures.h"
#include "spectrum.h"

namespace {

std::string rateName(const Decoded &decoded) {
    return std::to_string(decoded.codec.kilobits) + " kbit/s";
}

Table resultsOf(const std::vector<Decoded> &all) {
    Table table = {{"codec", "kbit/s", "segmental SNR (dB)", "times real time: encoder", "decoder", "both"}, {}};
    for (const Decoded &decoded : all) {
        const Speed &speed = decoded.speed;
        table.rows.push_back({decoded.codec.name, std::to_string(decoded.codec.kilobits),
                              decimal(decoded.segmentalSnr, 1), decimal(speed.encoder, 0), decimal(speed.decoder, 0),
                              decimal(speed.both, 0)});
    }
    return table;
}

std::vector<Version> versionsOf(const Recordings &originals, const std::vector<Decoded> &all, const std::string &file) {
    const std::string kilohertz = std::to_string(originals.sampleRate / 1000);
    std::vector<Version> versions = {{"original, " + kilohertz + " kHz", "original-" + kilohertz + "k", &originals}};
    for (const Decoded &decoded : all)
        versions.push_back(
            {rateName(decoded), file + "-" + std::to_string(decoded.codec.kilobits) + "k", &decoded.recordings});
    return versions;
}

void showSnr(Report &report, const Clip &original, const Excerpt &excerpt, const std::vector<Decoded> &all,
             const std::string &file) {
    std::vector<Line> lines;
    const auto first = static_cast<size_t>(excerpt.start * segmentsPerSecond + 0.5);
    const auto count = static_cast<size_t>(excerpt.length * segmentsPerSecond);
    for (size_t i = 0; i < all.size(); i++) {
        const std::vector<double> &track = all[i].snrTracks[excerpt.recording];
        Line line = {rateName(all[i]), lineColour(i), {}};
        for (size_t segment = first; segment < std::min(first + count, track.size()); segment++)
            line.points.emplace_back((static_cast<double>(segment) + 0.5) / segmentsPerSecond, track[segment]);
        lines.push_back(std::move(line));
    }
    drawTracks(report.place(file + "-snr.png"), original, fit("SNR (dB)", lines, 5), lines);
    report.addPicture(file + "-snr.png", "Signal-to-noise ratio",
                      "of every 20 ms segment, limited to -10..35 dB; gaps are pauses");
}

void showSpectra(Report &report, const Recordings &originals, const std::vector<Decoded> &all,
                 const std::string &file) {
    const std::vector<float> original = joined(originals);
    std::vector<Line> lines = {spectrumLine("speech", speechColour, original, originals.sampleRate)};
    for (size_t i = 0; i < all.size(); i++) {
        std::vector<float> error = joined(all[i].recordings);
        for (size_t k = 0; k < error.size(); k++)
            error[k] -= original[k];
        lines.push_back(spectrumLine("error, " + rateName(all[i]), lineColour(i), error, originals.sampleRate));
    }
    drawChart(report.place(file + "-spectrum.png"), {"frequency (kHz)", 0, originals.sampleRate / 2000.0},
              fit("power density (dB/Hz)", lines, 10), lines);
    report.addPicture(file + "-spectrum.png", "Mean power density",
                      "of the speech and of the coding error, over all recordings; 0 dB is a full-scale sine");
}

} // namespace

void showCodec(Report &report, const Recordings &originals, const Excerpt &excerpt, const std::vector<Codec> &codecs,
               const std::string &file) {
    Progress progress(codecs.front().name, 2 * codecs.size() + 3);
    size_t step = 0;
    std::vector<Decoded> all;
    for (const Codec &codec : codecs) {
        all.push_back(runCodec(codec, originals));
        progress.update(++step);
    }
    report.addResults(resultsOf(all));
    report.addHeading("Listen");
    report.addPlayers(versionsOf(originals, all, file));

    report.addHeading("Before and after");
    report.addParagraph("The pictures show " + originals.list[excerpt.recording].name + " from " +
                        decimal(excerpt.start, 1) + " to " + decimal(excerpt.start + excerpt.length, 1) + " s.");
    const Clip original = cut(originals, excerpt);
    const float scale = peak(original);
    const std::string originalPicture = "original-" + std::to_string(originals.sampleRate / 1000) + "k.png";
    drawSpeech(report.place(originalPicture), original, std::nullopt, scale);
    report.addPicture(originalPicture, "Original",
                      "waveform (1 is full scale) and spectrogram (Hann windows of " +
                          decimal(1000 * spectrogramWindow, 0) + " ms; 0 dB is a full-scale sine)");
    progress.update(++step);
    for (const Decoded &decoded : all) {
        const Clip clip = cut(decoded.recordings, excerpt);
        const std::string picture = file + "-" + std::to_string(decoded.codec.kilobits) + "k.png";
        drawSpeech(report.place(picture), clip, difference(clip, original), scale);
        report.addPicture(picture, rateName(decoded), "decoded speech; the coding error in orange");
        progress.update(++step);
    }

    report.addHeading("Quality over time and frequency");
    showSnr(report, original, excerpt, all, file);
    progress.update(++step);
    showSpectra(report, originals, all, file);
}
