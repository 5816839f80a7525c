// SPDX-License-Identifier: BSD-2-Clause
// GSM-AMR: the algebraic codebooks of all rates.
#include <algorithm>
#include <iterator>

#include "codebook_search.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "report.h"
#include "ryxsc.h"

namespace {

struct Mode {
    int rate;
    const char *name;
    int bits, pulses;
};
constexpr Mode modes[] = {{ryxGSMAMRRate4750, "4.75", 9, 2},   {ryxGSMAMRRate5150, "5.15", 9, 2},
                          {ryxGSMAMRRate5900, "5.90", 11, 2},  {ryxGSMAMRRate6700, "6.70", 14, 3},
                          {ryxGSMAMRRate7400, "7.40", 17, 4},  {ryxGSMAMRRate7950, "7.95", 17, 4},
                          {ryxGSMAMRRate10200, "10.2", 31, 8}, {ryxGSMAMRRate12200, "12.2", 35, 10}};
constexpr size_t lowest = 0, middle = 5, highest = 7; // among the modes

// What the search does to a code vector, the decoder's caller has to do for himself.
void sharpen(const celp::Subframe &subframe, celp::Vector &code) {
    const int factor = std::min(2 * subframe.pitchGain, 32767);
    for (size_t lag = static_cast<size_t>(subframe.pitchLag), n = lag; n < celp::gsmAmr.subframeLength; n++)
        code[n] = static_cast<int16_t>(code[n] + ((factor * code[n - lag]) >> 15));
}

Codebook codebookOf(const Mode &mode) {
    const auto search = [rate = mode.rate](const celp::Subframe &s, FoundPulses &found) {
        celp::Vector impulse = s.impulse;
        check(ryxsAlgebraicCodebookSearch_GSMAMR_16s(s.pitchLag, s.pitchGain, s.target.data(), s.residual.data(),
                                                     impulse.data(), found.code.data(), found.filtered.data(),
                                                     found.words.data(), s.number, rate));
    };
    const auto decode = [rate = mode.rate](const celp::Subframe &s, FoundPulses &found) {
        check(ryxsFixedCodebookDecode_GSMAMR_16s(found.words.data(), found.decoded.data(), s.number, rate));
        sharpen(s, found.decoded);
    };
    return {mode.name, mode.bits, mode.pulses, search, decode};
}

std::vector<Codebook> codebooks() {
    std::vector<Codebook> all;
    std::transform(std::begin(modes), std::end(modes), std::back_inserter(all), codebookOf);
    return all;
}

// The frame of the excerpt whose targets have the largest energy; its first subframe.
size_t loudestFrame(const CodebookResult &result, const Excerpt &excerpt) {
    constexpr double subframesPerSecond = 200;
    const auto &track = result.energies[excerpt.recording];
    const auto end = std::min(static_cast<size_t>((excerpt.start + excerpt.length) * subframesPerSecond), track.size());
    size_t best = 0;
    double largest = -1;
    for (size_t i = static_cast<size_t>(excerpt.start * subframesPerSecond) / 4 * 4; i + 4 <= end; i += 4) {
        double energy = 0;
        for (size_t k = i; k < i + 4; k++)
            energy += track[k].target;
        if (energy > largest) {
            largest = energy;
            best = i;
        }
    }
    return best;
}

void append(Line &line, size_t subframe, double value, size_t n) {
    const double milliseconds = static_cast<double>(subframe * celp::gsmAmr.subframeLength + n) / 8;
    line.points.emplace_back(milliseconds, value);
}

// Targets of a frame, and what the pulses of a low and a high rate make of them.
void drawFrame(Report &report, const std::vector<celp::Subframe> &subframes, size_t first) {
    std::vector<Line> lines = {{"target", speechColour, {}, 2.2}};
    for (size_t k = 0; k < 4; k++)
        for (size_t n = 0; n < celp::gsmAmr.subframeLength; n++)
            append(lines[0], k, subframes[first + k].target[n], n);
    for (const auto &[mode, colour] : {std::pair(highest, lineColour(0)), std::pair(lowest, lineColour(3))}) {
        Line &line = lines.emplace_back(Line{std::string(modes[mode].name) + " kbit/s", colour, {}});
        const Codebook codebook = codebookOf(modes[mode]);
        for (size_t k = 0; k < 4; k++) {
            FoundPulses found = {};
            codebook.search(subframes[first + k], found);
            const std::vector<double> samples = fitted(celp::gsmAmr, subframes[first + k], found);
            for (size_t n = 0; n < samples.size(); n++)
                append(line, k, samples[n], n);
        }
    }
    drawChart(report.place("gsmamr-frame.png"), {"time (ms)", 0, 20}, fit("amplitude", lines, 500), lines);
    report.addPicture("gsmamr-frame.png", "The targets of a loud frame",
                      "and the filtered pulses with their best gains; a subframe begins every 5 ms");
}

} // namespace

void gsmamrSection(const Speech &speech, Report &report) {
    Progress progress("GSM-AMR codebooks", std::size(modes) + 1);
    const Subframes subframes = subframesOf(celp::gsmAmr, speech.at8k);
    const std::vector<CodebookResult> results = runCodebooks(codebooks(), celp::gsmAmr, subframes, progress);

    report.beginSection("GSM-AMR: algebraic codebooks");
    report.addParagraph(
        "The fixed codebook of GSM-AMR describes what the pitch predictor leaves of a subframe of 5 ms by 2 to 10 "
        "pulses. The search places them so that, filtered, they come close to the target. Targets, residuals and "
        "impulse responses are those of a small CELP front end at 8 kHz, the same at all rates.");
    report.addParagraph("The explained share is what the filtered pulses with the best gain take out of the energy of "
                        "all targets. The decoder makes the code vector again from the codeword; for pitch lags below "
                        "a subframe it is sharpened as the search has done.");
    addCodebooks(report, "GSM-AMR", results);

    const std::vector<Line> tracks = {ratioTrack(lineColour(0), results[highest], speech.at8k, speech.excerpt),
                                      ratioTrack(lineColour(1), results[middle], speech.at8k, speech.excerpt),
                                      ratioTrack(lineColour(3), results[lowest], speech.at8k, speech.excerpt)};
    drawTracks(report.place("gsmamr-ratio.png"), cut(speech.at8k, speech.excerpt),
               fit("target to rest (dB)", tracks, 2), tracks);
    report.addPicture("gsmamr-ratio.png", "Ratio of the target to what the pulses leave of it",
                      "in every frame of 20 ms; gaps are pauses");
    drawFrame(report, subframes[speech.excerpt.recording], loudestFrame(results[highest], speech.excerpt));
    progress.update(std::size(modes) + 1);
}
