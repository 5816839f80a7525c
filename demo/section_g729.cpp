// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.729: the spectral envelope of a frame in 18 bits.
#include <algorithm>
#include <array>
#include <numbers>

#include "envelope.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "lp_analysis.h"
#include "ryxsc.h"

namespace {

constexpr EnvelopeFormat format = {
    .framesPerSecond = 100,
    .filterTime = 0.0075, // the filter is that of the second half of a frame
    .frequencies = 10,
    .kilohertz = 8 / (2 * std::numbers::pi * 8192),
};

using Frame = EnvelopeFrame<10, 4>; // frequencies in radians, Q13
using Track = std::vector<Frame>;   // a recording
using Words = std::array<int16_t, 10>;
using History = std::array<int16_t, 40>;
using LpcToLsp = ryxStatus (*)(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp);

History startHistory() {
    constexpr Words residual = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};
    History history;
    for (size_t i = 0; i < history.size(); i++)
        history[i] = residual[i % residual.size()];
    return history;
}

void encode(Track &track, LpcToLsp lpcToLsp) {
    History history = startHistory();
    Words lsp = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000}, quantised;
    for (Frame &frame : track) {
        check(lpcToLsp(frame.lpc.data(), lsp.data(), lsp.data()));
        check(ryxsLSPToLSF_G729_16s(lsp.data(), frame.frequencies.data()));
        check(ryxsLSFQuant_G729_16s(frame.frequencies.data(), history.data(), quantised.data(), frame.indices.data()));
    }
}

void decode(Track &track) {
    History history = startHistory();
    Words lsp;
    for (Frame &frame : track) {
        check(ryxsLSFDecode_G729_16s(frame.indices.data(), history.data(), frame.decodedFrequencies.data()));
        check(ryxsLSFToLSP_G729_16s(frame.decodedFrequencies.data(), lsp.data()));
        check(ryxsLSPToLPC_G729_16s(lsp.data(), frame.decodedLpc.data()));
    }
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
            track.push_back({filter, {}, {}, {}, {}});
        frames += track.size();
        unstable += analysis.unstable;
    }
    progress.update(1);

    report.beginSection("ITU-T G.729: LSP quantiser");
    report.addParagraph(
        "G.729 sends the spectral envelope of 10 ms of telephone speech in 18 bits. Linear prediction of order ten "
        "gives a filter, whose line spectral pairs (LSPs) become ten frequencies. These are predicted from the frames "
        "before, and codebooks of two stages hold the rest. The decoder makes the filter again from the indices. Annex "
        "A finds the pairs on a coarser grid.");
    report.addParagraph(
        "Spectral distortion is the root mean square difference in dB, from 0 to 4 kHz, of the log spectra of the two "
        "filters, before and after. Pauses do not count. The high-pass filter at the input of the codec is left out. "
        "Frames whose filter would be unstable keep the one before them: " +
        std::to_string(unstable) + " of " + std::to_string(frames) + ".");

    std::vector<Envelopes> quantisers;
    std::vector<Speed> speeds;
    const auto run = [&](const std::string &name, LpcToLsp lpcToLsp) {
        speeds.push_back(measureSpeed(
            static_cast<double>(frames) / format.framesPerSecond,
            [&] { std::for_each(tracks.begin(), tracks.end(), [=](Track &track) { encode(track, lpcToLsp); }); },
            [&] { std::for_each(tracks.begin(), tracks.end(), decode); }));
        quantisers.push_back(describe(name, format, tracks, speech.at8k));
        progress.update(1 + quantisers.size());
    };
    run("G.729", ryxsLPCToLSP_G729_16s);
    run("G.729 Annex A", ryxsLPCToLSP_G729A_16s);
    addDistortions(report, "LSP quantiser", quantisers, speeds);
    addEnvelopePictures(report, "g729", "Line spectral frequencies", speech.at8k, speech.excerpt,
                        std::span(quantisers).first(1));
    progress.update(4);
}
