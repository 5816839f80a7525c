// SPDX-License-Identifier: BSD-2-Clause
// 3GPP AMR-WB: the spectral envelope of a frame in 46 or 36 bits.
#include <algorithm>
#include <array>

#include "celp/front_end.h"
#include "envelope.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "ryxsc.h"

namespace {

constexpr EnvelopeFormat format = {
    .framesPerSecond = 50,
    .filterTime = 0.010, // the middle of the window is that of the frame
    .frequencies = 15,   // the last value is a coefficient
    .kilohertz = 6.4 / 16384,
};

using Frame = EnvelopeFrame<16, 7>;
using Track = std::vector<Frame>; // a recording
using Words = std::array<int16_t, 16>;

constexpr Words mean = {738,  1326, 2336,  3578,  4596,  5662,  6711,  7730,
                        8750, 9753, 10705, 11728, 12833, 13971, 15043, 4037};

// Returns the number of frames without all of their roots.
size_t encode(Track &track, int mode) {
    Words residual = {}, isp, quantised;
    size_t kept = 0;
    check(ryxsISFToISP_AMRWB_16s(mean.data(), isp.data(), 16));
    for (Frame &frame : track) {
        const Words last = isp;
        check(ryxsLPCToISP_AMRWB_16s(frame.lpc.data(), isp.data(), isp.data()));
        kept += isp == last;
        check(ryxsISPToISF_Norm_AMRWB_16s(isp.data(), frame.frequencies.data(), 16));
        check(ryxsISFQuant_AMRWB_16s(frame.frequencies.data(), residual.data(), quantised.data(), frame.indices.data(),
                                     mode));
    }
    return kept;
}

void decode(Track &track, int mode) {
    Words residual = {}, last = mean, isp;
    std::array<int16_t, 48> history;
    for (size_t i = 0; i < history.size(); i++)
        history[i] = mean[i % mean.size()];
    for (Frame &frame : track) {
        check(ryxsISFQuantDecode_AMRWB_16s(frame.indices.data(), frame.decodedFrequencies.data(), residual.data(),
                                           last.data(), history.data(), 0, mode));
        check(ryxsISFToISP_AMRWB_16s(frame.decodedFrequencies.data(), isp.data(), 16));
        check(ryxsISPToLPC_AMRWB_16s(isp.data(), frame.decodedLpc.data(), 16));
    }
}

} // namespace

void amrwb_isfSection(const Speech &speech, Report &report) {
    Progress progress("AMR-WB ISF", 4);
    std::vector<Track> tracks;
    size_t frames = 0, kept = 0;
    for (const Recording &recording : speech.at12k8.list) {
        Track &track = tracks.emplace_back();
        for (const celp::Coefficients &filter : celp::analyseFilters(celp::amrWb, recording.samples))
            track.push_back({filter, {}, {}, {}, {}});
        frames += track.size();
        kept += encode(track, 13);
    }
    progress.update(1);

    report.beginSection("3GPP AMR-WB: ISF quantiser");
    report.addParagraph(
        "AMR-WB (ITU-T G.722.2) codes wideband speech at 12.8 kHz. The filter of a frame of 20 ms has order 16; its "
        "immittance spectral pairs (ISPs) become 15 frequencies and a coefficient. They are predicted from the frame "
        "before, and codebooks of two stages hold the rest: 46 bits in the modes from 8.85 kbit/s on, 36 bits at "
        "6.60 kbit/s.");
    report.addParagraph(
        "Spectral distortion is the root mean square difference in dB, from 0 to 6.4 kHz, of the log spectra of the "
        "two "
        "filters, before and after. Pauses do not count. The filters come from a Hamming window of 30 ms over "
        "pre-emphasised speech. Frames with a resonance so sharp that the search misses roots keep the ISPs of the one "
        "before: " +
        std::to_string(kept) + " of " + std::to_string(frames) + ".");

    std::vector<Envelopes> quantisers;
    std::vector<Speed> speeds;
    const auto run = [&](const std::string &name, int mode) {
        speeds.push_back(measureSpeed(
            static_cast<double>(frames) / format.framesPerSecond,
            [&] { std::for_each(tracks.begin(), tracks.end(), [=](Track &track) { encode(track, mode); }); },
            [&] { std::for_each(tracks.begin(), tracks.end(), [=](Track &track) { decode(track, mode); }); }));
        quantisers.push_back(describe(name, format, tracks, speech.at12k8));
        progress.update(1 + quantisers.size());
    };
    run("46 bits", 13);
    run("36 bits", 5);
    addDistortions(report, "AMR-WB ISF quantiser", quantisers, speeds);
    addEnvelopePictures(report, "amrwb-isf", "Immittance spectral frequencies", speech.at12k8, speech.excerpt,
                        quantisers);
    progress.update(4);
}
