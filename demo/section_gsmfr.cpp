// SPDX-License-Identifier: BSD-2-Clause
// GSM full rate: the short-term part of the codec, from speech to residual and back.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

#include "codec.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "pictures.h"
#include "report.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 160; // 20 ms, as long as a segment of the pauses
constexpr int filterOrder = 8;

using Reflection = std::array<int16_t, filterOrder>;

/** A recording on its way through the chain, whole frames. */
struct Track {
    std::vector<int16_t> speech;
    std::vector<int16_t> compensated; /**< without offset, at half the amplitude */
    std::vector<int16_t> emphasised;
    std::vector<int16_t> residual;
    std::vector<int16_t> reconstruction;
    std::vector<Reflection> reflection; /**< of every frame */
    std::vector<bool> isSpeech;         /**< for every frame */
};

// The sums in 64 bits, shifted together until they fit 32.
std::array<int32_t, filterOrder + 1> autocorrelation(const int16_t *samples) {
    std::array<int64_t, filterOrder + 1> sums;
    for (size_t lag = 0; lag < sums.size(); lag++)
        sums[lag] = std::inner_product(samples + lag, samples + frameLength, samples, int64_t{0});
    int shift = 0;
    while (sums[0] >> shift > std::numeric_limits<int32_t>::max())
        shift++;
    std::array<int32_t, filterOrder + 1> acf;
    std::transform(sums.begin(), sums.end(), acf.begin(),
                   [=](int64_t sum) { return static_cast<int32_t>(sum >> shift); });
    return acf;
}

void analyse(Track &track, int order) {
    const int length = static_cast<int>(frameLength);
    int32_t offset[2] = {};
    int16_t last = 0, state[filterOrder] = {};
    for (size_t frame = 0; frame < track.reflection.size(); frame++) {
        const size_t start = frame * frameLength;
        int16_t *const compensated = &track.compensated[start];
        int16_t *const emphasised = &track.emphasised[start];
        Reflection &reflection = track.reflection[frame];
        check(ryxsHighPassFilter_GSMFR_16s(&track.speech[start], compensated, length, offset));
        check(ryxsPreemphasize_GSMFR_16s(compensated, emphasised, length, &last));
        reflection.fill(0);
        check(ryxsSchur_GSMFR_32s16s(autocorrelation(emphasised).data(), reflection.data(), order));
        std::copy_n(emphasised, frameLength, &track.residual[start]);
        check(ryxsShortTermAnalysisFilter_GSMFR_16s_I(reflection.data(), &track.residual[start], length, state));
    }
}

void synthesise(Track &track) {
    const int length = static_cast<int>(frameLength);
    int16_t last = 0, state[filterOrder] = {};
    for (size_t frame = 0; frame < track.reflection.size(); frame++) {
        const size_t start = frame * frameLength;
        int16_t *const speech = &track.reconstruction[start];
        check(ryxsShortTermSynthesisFilter_GSMFR_16s(track.reflection[frame].data(), &track.residual[start], speech,
                                                     length, state));
        check(ryxsDeemphasize_GSMFR_16s_I(speech, length, &last));
    }
}

// 10 log10 of the energy of signal(i) over that of error(i) in every frame of speech, no number in pauses.
template <class Signal, class Error> std::vector<double> ratios(const Track &track, Signal signal, Error error) {
    const auto square = [](double x) { return x * x; };
    std::vector<double> decibels;
    for (size_t frame = 0; frame < track.reflection.size(); frame++) {
        double above = 0, below = 0;
        for (size_t i = frame * frameLength; i < (frame + 1) * frameLength; i++) {
            above += square(signal(i));
            below += square(error(i));
        }
        decibels.push_back(track.isSpeech[frame] ? 10 * std::log10(above / std::max(below, 1.0))
                                                 : std::numeric_limits<double>::quiet_NaN());
    }
    return decibels;
}

std::vector<double> predictionGains(const Track &track) {
    return ratios(
        track, [&](size_t i) { return track.emphasised[i]; }, [&](size_t i) { return track.residual[i]; });
}

// De-emphasis doubles, so the chain gives back twice the samples whose offset was removed.
std::vector<double> reconstructionSnr(const Track &track) {
    const auto twice = [&](size_t i) { return 2 * track.compensated[i]; };
    return ratios(track, twice, [&](size_t i) { return track.reconstruction[i] - twice(i); });
}

double meanOfSpeech(const std::vector<Track> &tracks, std::vector<double> (*valuesOf)(const Track &)) {
    double sum = 0;
    size_t count = 0;
    for (const Track &track : tracks)
        for (const double value : valuesOf(track))
            if (!std::isnan(value)) {
                sum += value;
                count++;
            }
    return sum / static_cast<double>(count);
}

std::vector<Track> tracksOf(const Recordings &recordings) {
    std::vector<Track> tracks;
    for (const Recording &recording : recordings.list) {
        const size_t frames = recording.samples.size() / frameLength;
        const std::vector<int16_t> silence(frames * frameLength);
        Track track = {silence, silence, silence, silence, silence, std::vector<Reflection>(frames), {}};
        std::copy_n(recording.samples.begin(), silence.size(), track.speech.begin());
        track.isSpeech = speechSegments(track.speech, recordings.sampleRate);
        tracks.push_back(std::move(track));
    }
    return tracks;
}

// Runs all tracks through the chain. Returns a row of results.
std::vector<std::string> run(int order, std::vector<Track> &tracks, double seconds, Report &report) {
    const auto analyseAll = [&] {
        for (Track &track : tracks)
            analyse(track, order);
    };
    const auto synthesiseAll = [&] { std::for_each(tracks.begin(), tracks.end(), synthesise); };
    const Speed speed = measureSpeed(seconds, analyseAll, synthesiseAll);
    const std::string name = "order " + std::to_string(order), gain = decimal(meanOfSpeech(tracks, predictionGains), 1);
    report.addResult("GSM full rate, short-term prediction of " + name, "prediction gain: " + gain + " dB", speed);
    return {name, gain, decimal(meanOfSpeech(tracks, reconstructionSnr), 1), decimal(speed.encoder, 0),
            decimal(speed.decoder, 0)};
}

Recordings recordingsOf(const Recordings &originals, const std::vector<Track> &tracks,
                        std::vector<int16_t> Track::*samples) {
    Recordings recordings = {originals.sampleRate, {}};
    for (size_t i = 0; i < tracks.size(); i++)
        recordings.list.push_back({originals.list[i].name, tracks[i].*samples});
    return recordings;
}

Line trackLine(const std::string &name, const std::string &colour, const std::vector<double> &values,
               const Excerpt &excerpt) {
    Line line = {name, colour, {}};
    for (size_t frame = 0; frame < values.size(); frame++) {
        const double time = (static_cast<double>(frame) + 0.5) / segmentsPerSecond;
        if (time >= excerpt.start && time <= excerpt.start + excerpt.length)
            line.points.emplace_back(time, values[frame]);
    }
    return line;
}

} // namespace

void gsmfrSection(const Speech &speech, Report &report) {
    Progress progress("GSM full rate", 3);
    const Recordings &originals = speech.at8k;
    const Excerpt &excerpt = speech.excerpt;
    report.beginSection("GSM full rate: short-term prediction");
    report.addParagraph(
        "The coder of GSM 06.10 removes the offset of the speech, raises its high frequencies and finds eight "
        "reflection coefficients in every frame of 20 ms. A lattice filter leaves the residual, which the codec would "
        "go on to predict and thin out. Here the residual goes straight into the decoder's lattice and de-emphasis.");
    report.addParagraph(
        "The prediction gain is the ratio of the filter's input to its output, the mean over the frames of speech in "
        "dB. The lattices undo each other exactly; what the reconstruction lacks of the speech without its offset is "
        "the rounding of the emphasis and the three bits that the decoder clears.");

    std::vector<Track> tracks = tracksOf(originals);
    const std::vector<std::string> fourth = run(4, tracks, originals.seconds(), report);
    Line lines[2] = {{}, trackLine("order 4", lineColour(2), predictionGains(tracks[excerpt.recording]), excerpt)};
    progress.update(1);
    const std::vector<std::string> eighth = run(8, tracks, originals.seconds(), report);
    lines[0] = trackLine("order 8", lineColour(0), predictionGains(tracks[excerpt.recording]), excerpt);
    progress.update(2);
    report.addTable({{"short-term prediction", "prediction gain (dB)", "SNR of the reconstruction (dB)",
                      "times real time: analysis", "synthesis"},
                     {eighth, fourth}});

    const Recordings residual = recordingsOf(originals, tracks, &Track::residual);
    const Recordings reconstruction = recordingsOf(originals, tracks, &Track::reconstruction);
    report.addPlayers({{"original, 8 kHz", "original-8k", &originals},
                       {"residual, order 8", "gsmfr-residual", &residual},
                       {"reconstruction", "gsmfr-reconstruction", &reconstruction}});
    const Clip original = cut(originals, excerpt), rest = cut(residual, excerpt);
    drawSpeech(report.place("gsmfr-residual.png"), rest, std::nullopt, peak(rest));
    report.addPicture("gsmfr-residual.png", "Residual",
                      "of " + originals.list[excerpt.recording].name +
                          ": the envelope of the spectrum is gone, the pitch is still there");
    drawTracks(report.place("gsmfr-gain.png"), original, fit("prediction gain (dB)", lines, 5), lines);
    report.addPicture("gsmfr-gain.png", "Prediction gain", "of every frame; gaps are pauses");
    progress.update(3);
}
