// ITU-T G.729: the spectral envelope of a frame in 18 bits.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "codec.h"
#include "lp_analysis.h"
#include "pictures.h"
#include "report.h"
#include "ryxsc.h"
#include "spectrum.h"
#include "support/library_call.h"
#include "support/progress.h"

namespace {

constexpr size_t framesPerSecond = 100;
constexpr double filterTime = 0.0075; // after the beginning of a frame: the filter is that of its second half
constexpr double noValue = std::numeric_limits<double>::quiet_NaN();

using Lsp = std::array<int16_t, 10>; // Q15
using Lsf = std::array<int16_t, 10>; // radians in Q13
using History = std::array<int16_t, 40>;
using LpcToLsp = ryxStatus (*)(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp);

/** A frame on its way through the quantiser. */
struct Frame {
    Lpc lpc;
    Lsf lsf;
    std::array<int16_t, 4> indices;
    Lsf decodedLsf;
    Lpc decodedLpc;
    double distortion; /**< in dB, no number in pauses */
};

using Track = std::vector<Frame>; // a recording

History startHistory() {
    constexpr Lsf residual = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};
    History history;
    for (size_t i = 0; i < history.size(); i++)
        history[i] = residual[i % residual.size()];
    return history;
}

void encode(Track &track, LpcToLsp lpcToLsp) {
    History history = startHistory();
    Lsp lsp = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000};
    Lsf quantised;
    for (Frame &frame : track) {
        check(lpcToLsp(frame.lpc.data(), lsp.data(), lsp.data()));
        check(ryxsLSPToLSF_G729_16s(lsp.data(), frame.lsf.data()));
        check(ryxsLSFQuant_G729_16s(frame.lsf.data(), history.data(), quantised.data(), frame.indices.data()));
    }
}

void decode(Track &track) {
    History history = startHistory();
    Lsp lsp;
    for (Frame &frame : track) {
        check(ryxsLSFDecode_G729_16s(frame.indices.data(), history.data(), frame.decodedLsf.data()));
        check(ryxsLSFToLSP_G729_16s(frame.decodedLsf.data(), lsp.data()));
        check(ryxsLSPToLPC_G729_16s(lsp.data(), frame.decodedLpc.data()));
    }
}

void compare(Track &track, const Recording &recording, int sampleRate) {
    const std::vector<bool> isSpeech = speechSegments(recording.samples, sampleRate);
    for (size_t i = 0; i < track.size(); i++) {
        const size_t segment = i * segmentsPerSecond / framesPerSecond;
        track[i].distortion = segment < isSpeech.size() && isSpeech[segment]
                                  ? spectralDistortion(track[i].lpc, track[i].decodedLpc)
                                  : noValue;
    }
}

std::vector<double> distortionsOfSpeech(const std::vector<Track> &tracks) {
    std::vector<double> values;
    for (const Track &track : tracks)
        for (const Frame &frame : track)
            if (!std::isnan(frame.distortion)) values.push_back(frame.distortion);
    return values;
}

// Runs all recordings through the quantiser. Returns a row of results.
std::vector<std::string> quantise(const std::string &name, LpcToLsp lpcToLsp, const Recordings &recordings,
                                  std::vector<Track> &tracks) {
    size_t frames = 0;
    for (const Track &track : tracks)
        frames += track.size();
    const auto encodeAll = [&] {
        for (Track &track : tracks)
            encode(track, lpcToLsp);
    };
    const auto decodeAll = [&] { std::for_each(tracks.begin(), tracks.end(), decode); };
    const Speed speed = measureSpeed(static_cast<double>(frames) / framesPerSecond, encodeAll, decodeAll);
    for (size_t i = 0; i < tracks.size(); i++)
        compare(tracks[i], recordings.list[i], recordings.sampleRate);

    const std::vector<double> values = distortionsOfSpeech(tracks);
    const auto count = static_cast<double>(values.size());
    const auto percentAbove = [&](double limit) {
        const auto above = std::count_if(values.begin(), values.end(), [=](double value) { return value > limit; });
        return decimal(100 * static_cast<double>(above) / count, 1);
    };
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
    return {
        name, decimal(mean, 2), percentAbove(2), percentAbove(4), decimal(speed.encoder, 0), decimal(speed.decoder, 0)};
}

// A value of every frame of the excerpt over time.
template <class ValueOf> void addPoints(Line &line, const Track &track, const Excerpt &excerpt, ValueOf valueOf) {
    for (size_t i = 0; i < track.size(); i++) {
        const double time = static_cast<double>(i) / framesPerSecond + filterTime;
        if (time >= excerpt.start && time <= excerpt.start + excerpt.length)
            line.points.emplace_back(time, valueOf(track[i]));
    }
}

// All ten frequencies in kHz, with gaps between them.
Line lsfLine(Line line, const Track &track, const Excerpt &excerpt, Lsf Frame::*lsf) {
    constexpr double kilohertz = 8 / (2 * std::numbers::pi * 8192);
    for (size_t k = 0; k < Lsf().size(); k++) {
        addPoints(line, track, excerpt, [=](const Frame &frame) { return (frame.*lsf)[k] * kilohertz; });
        line.points.emplace_back(excerpt.start, noValue);
    }
    return line;
}

void showPictures(Report &report, const Recordings &recordings, const Excerpt &excerpt,
                  const std::vector<Track> &tracks) {
    const Track &track = tracks[excerpt.recording];
    const Clip speech = cut(recordings, excerpt);
    const Line quantised = lsfLine({"quantised", lineColour(3), {}, 1.6}, track, excerpt, &Frame::decodedLsf);
    const Line unquantised = lsfLine({"unquantised", "#000000", {}, 0.6}, track, excerpt, &Frame::lsf);
    drawOverSpectrogram(report.place("g729-lsf.png"), speech, std::vector{quantised, unquantised});
    report.addPicture("g729-lsf.png", "Line spectral frequencies",
                      "of " + recordings.list[excerpt.recording].name +
                          ", before and after quantisation, over its spectrogram; where they come close to each other, "
                          "the envelope has a peak");

    std::vector<Line> lines = {{"spectral distortion", lineColour(0), {}}};
    addPoints(lines[0], track, excerpt, [](const Frame &frame) { return frame.distortion; });
    drawTracks(report.place("g729-distortion.png"), speech, fit("distortion (dB)", lines, 1), lines);
    report.addPicture("g729-distortion.png", "Spectral distortion", "of every frame; gaps are pauses");

    lines = {distribution("share of the frames of speech", lineColour(0), distortionsOfSpeech(tracks), 0.1)};
    drawChart(report.place("g729-histogram.png"),
              {"spectral distortion (dB)", 0, std::max(std::ceil(lines[0].points.back().first), 1.0)},
              fit("frames (%)", lines, 2), lines);
    report.addPicture("g729-histogram.png", "Distribution of the spectral distortion",
                      "over all recordings, in steps of 0.1 dB");
}

} // namespace

void g729Section(const Speech &speech, Report &report) {
    Progress progress("G.729 LSP", 4);
    std::vector<Track> tracks;
    size_t frames = 0, unstable = 0;
    for (const Recording &recording : speech.at8k.list) {
        const LpAnalysis analysis = analyseFrames(recording.samples);
        Track &track = tracks.emplace_back();
        for (const Lpc &filter : analysis.filters)
            track.push_back({filter, {}, {}, {}, {}, noValue});
        frames += track.size();
        unstable += analysis.unstable;
    }
    progress.update(1);

    report.beginSection("ITU-T G.729: LSP quantiser");
    report.addParagraph(
        "G.729 sends the spectral envelope of 10 ms of telephone speech in 18 bits. Linear prediction of order ten "
        "gives "
        "a filter, whose line spectral pairs (LSPs) become ten frequencies. These are predicted from the frames "
        "before, "
        "and codebooks of two stages hold the rest. The decoder makes the filter again from the indices. Annex A finds "
        "the pairs on a coarser grid.");
    report.addParagraph(
        "Spectral distortion is the root mean square difference in dB, from 0 to 4 kHz, of the log spectra of the two "
        "filters, before and after. Pauses do not count. The high-pass filter at the input of the codec is left out. "
        "Frames whose filter would be unstable keep the one before them: " +
        std::to_string(unstable) + " of " + std::to_string(frames) + ".");
    const std::vector<std::string> annexA = quantise("G.729 Annex A", ryxsLPCToLSP_G729A_16s, speech.at8k, tracks);
    progress.update(2);
    const std::vector<std::string> mainBody = quantise("G.729", ryxsLPCToLSP_G729_16s, speech.at8k, tracks);
    progress.update(3);
    report.addTable({{"LSP quantiser", "mean distortion (dB)", "above 2 dB (%)", "above 4 dB (%)",
                      "times real time: LPC to indices", "indices to LPC"},
                     {mainBody, annexA}});
    showPictures(report, speech.at8k, speech.excerpt, tracks); // of the main body
    progress.update(4);
}
