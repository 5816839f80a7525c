// SPDX-License-Identifier: BSD-2-Clause
// AMR-WB: the algebraic codebooks of all rates.
#include <algorithm>
#include <iterator>

#include "codebook_search.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "report.h"
#include "ryxsc.h"

namespace {

struct Mode {
    int code;
    const char *rate;
    int bits, pulses;
};
constexpr Mode modes[] = {{5, "6.60", 12, 2},    {9, "8.85", 20, 4},    {13, "12.65", 36, 8},
                          {15, "14.25", 44, 10}, {16, "15.85", 52, 12}, {18, "18.25", 64, 16},
                          {19, "19.85", 72, 18}, {20, "23.05", 88, 24}, {21, "23.85", 88, 24}};

Codebook codebookOf(const Mode &mode) {
    const auto search = [code = mode.code](const celp::Subframe &s, FoundPulses &found) {
        celp::Vector impulse = s.impulse;
        check(ryxsAlgebraicCodebookSearch_AMRWB_16s(s.target.data(), s.residual.data(), impulse.data(),
                                                    found.code.data(), found.filtered.data(), code,
                                                    found.words.data()));
    };
    const auto decode = [code = mode.code](const celp::Subframe &, FoundPulses &found) {
        check(ryxsAlgebraicCodebookDecode_AMRWB_16s(found.words.data(), found.decoded.data(), code));
    };
    return {mode.rate, mode.bits, mode.pulses, search, decode};
}

std::vector<Codebook> codebooks() {
    std::vector<Codebook> all;
    std::transform(std::begin(modes), std::end(modes), std::back_inserter(all), codebookOf);
    return all;
}

} // namespace

void amrwb_codebookSection(const Speech &speech, Report &report) {
    Progress progress("AMR-WB codebooks", std::size(modes) + 1);
    const Subframes subframes = subframesOf(celp::amrWb, speech.at12k8);
    const std::vector<CodebookResult> results = runCodebooks(codebooks(), celp::amrWb, subframes, progress);

    report.beginSection("AMR-WB: algebraic codebooks");
    report.addParagraph(
        "What the pitch predictor leaves of a subframe of 5 ms, AMR-WB fills with a few pulses, from 2 at 6.60 kbit/s "
        "to 24 at 23.05 kbit/s. The search places them so that, filtered, they come close to the target. Targets, "
        "residuals and impulse responses are those of a small CELP front end at 12.8 kHz, the same at all rates.");
    report.addParagraph(
        "The explained share is what the filtered pulses with the best gain take out of the energy of all "
        "targets. The decoder makes the code vector again from the index words.");
    addCodebooks(report, "AMR-WB", results);

    const std::vector<Line> tracks = {ratioTrack(lineColour(0), results[7], speech.at12k8, speech.excerpt),
                                      ratioTrack(lineColour(1), results[2], speech.at12k8, speech.excerpt),
                                      ratioTrack(lineColour(3), results[0], speech.at12k8, speech.excerpt)};
    drawTracks(report.place("amrwb-codebook-ratio.png"), cut(speech.at12k8, speech.excerpt),
               fit("target to rest (dB)", tracks, 2), tracks);
    report.addPicture("amrwb-codebook-ratio.png", "Ratio of the target to what the pulses leave of it",
                      "in every frame of 20 ms; gaps are pauses");
    progress.update(std::size(modes) + 1);
}
