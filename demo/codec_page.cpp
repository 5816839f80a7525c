// SPDX-License-Identifier: BSD-2-Clause
#include "codec_page.h"

#include <algorithm>

#include "codec.h"
#include "lib/progress.h"
#include "pictures.h"
#include "spectrum.h"

namespace {

constexpr double someLost = 3, manyLost = 10; // per cent

std::string label(const CodecRun &run) {
    const std::string rate = rateName(run) + " kbit/s";
    return run.lostPercent == 0 ? rate : rate + ", " + decimal(run.lostPercent, 0) + " % lost";
}

std::string fileOf(const CodecRun &run) {
    std::string file = std::string(run.codec->name) + "-" + rateName(run);
    if (run.lostPercent != 0) file += "-lost" + decimal(run.lostPercent, 0);
    std::replace(file.begin(), file.end(), '.', '_');
    return file;
}

Table resultsOf(const std::vector<Decoded> &clean, const std::vector<Decoded> &some, const std::vector<Decoded> &many) {
    Table table = {{"codec", "kbit/s", "segmental SNR (dB)", "3 % lost", "10 % lost", "times real time: encoder",
                    "decoder", "channels per core"},
                   {}};
    for (size_t i = 0; i < clean.size(); i++) {
        const Speed &speed = clean[i].speed;
        const auto snr = [i](const std::vector<Decoded> &all) {
            return all.empty() ? "-" : decimal(all[i].segmentalSnr, 1);
        };
        table.rows.push_back({clean[i].run.codec->name, rateName(clean[i].run), snr(clean), snr(some), snr(many),
                              decimal(speed.encoder, 0), decimal(speed.decoder, 0), decimal(speed.both, 0)});
    }
    return table;
}

std::vector<Version> versionsOf(const Recordings &originals, const std::vector<Decoded> &all) {
    const std::string kilohertz = std::to_string(originals.sampleRate / 1000);
    std::vector<Version> versions = {{"original, " + kilohertz + " kHz", "original-" + kilohertz + "k", &originals}};
    for (const Decoded &decoded : all)
        versions.push_back({label(decoded.run), fileOf(decoded.run), &decoded.recordings});
    return versions;
}

void showSnr(Report &report, const Clip &original, const Excerpt &excerpt, const std::vector<Decoded> &all,
             const std::string &file) {
    std::vector<Line> lines;
    const auto first = static_cast<size_t>(excerpt.start * segmentsPerSecond + 0.5);
    const auto count = static_cast<size_t>(excerpt.length * segmentsPerSecond);
    for (size_t i = 0; i < all.size(); i++) {
        const std::vector<double> &track = all[i].snrTracks[excerpt.recording];
        Line line = {label(all[i].run), lineColour(i), {}};
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
        lines.push_back(spectrumLine("error, " + label(all[i].run), lineColour(i), error, originals.sampleRate));
    }
    drawChart(report.place(file + "-spectrum.png"), {"frequency (kHz)", 0, originals.sampleRate / 2000.0},
              fit("power density (dB/Hz)", lines, 10), lines);
    report.addPicture(file + "-spectrum.png", "Mean power density",
                      "of the speech and of the coding error, over all recordings; 0 dB is a full-scale sine");
}

} // namespace

void showCodec(Report &report, const ryxCodec &codec, const Recordings &originals, const Excerpt &excerpt) {
    const bool conceals = (codec.features & ryxCodecConcealment) != 0;
    const auto rates = static_cast<size_t>(codec.rateCount);
    Progress progress(codec.name, rates * (conceals ? 3 : 1) + 4);
    size_t step = 0;
    std::vector<Decoded> clean, some, many;
    for (size_t i = rates; i-- > 0;) {
        const int rate = codec.rates[i].bitsPerSecond;
        clean.push_back(runCodec({&codec, rate}, originals));
        progress.update(++step);
        if (!conceals) continue;
        some.push_back(runCodec({&codec, rate, someLost}, originals));
        many.push_back(runCodec({&codec, rate, manyLost}, originals));
        progress.update(step += 2);
    }
    report.addResults(resultsOf(clean, some, many));

    // Highest and lowest rate, and the usual one when it is another.
    std::vector<Decoded> shown, heard;
    for (size_t i = 0; i < clean.size(); i++) {
        const bool usual = clean[i].run.rate == codec.defaultRate;
        if (i == 0 || i + 1 == clean.size() || usual) shown.push_back(clean[i]);
        if (i == 0 || i + 1 == clean.size() || usual) heard.push_back(clean[i]);
        if (usual && conceals) heard.insert(heard.end(), {some[i], many[i]});
    }
    report.addHeading("Listen");
    report.addPlayers(versionsOf(originals, heard));

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
    for (const Decoded &decoded : shown) {
        const Clip clip = cut(decoded.recordings, excerpt);
        const std::string picture = fileOf(decoded.run) + ".png";
        drawSpeech(report.place(picture), clip, difference(clip, original), scale);
        report.addPicture(picture, label(decoded.run),
                          "decoded speech and, in orange and as the spectrogram, what it differs by from the original");
    }
    progress.update(++step);

    report.addHeading("Quality over time and frequency");
    showSnr(report, original, excerpt, shown, codec.name);
    progress.update(++step);
    showSpectra(report, originals, shown, codec.name);
}
