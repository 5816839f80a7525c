// SPDX-License-Identifier: BSD-2-Clause
// RTA codec: two bands and back.
#include <cmath>
#include <string>
#include <vector>

#include "codec.h"
#include "lib/library_call.h"
#include "lib/progress.h"
#include "pictures.h"
#include "report.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 320; // 20 ms
constexpr size_t pairs = frameLength / 2;

using Samples = std::vector<float>;

struct QmfState : StateBlock<QMFState_RTA> {
    explicit QmfState(int taps) : StateBlock(ryxsQMFGetStateSize_RTA_32f) { check(ryxsQMFInit_RTA_32f(*this, taps)); }
};

struct Bands {
    Samples low, high;
};

Bands split(const Samples &speech, int taps) {
    QmfState state(taps);
    Bands bands = {Samples(speech.size() / 2), Samples(speech.size() / 2)};
    for (size_t start = 0; start < speech.size(); start += frameLength)
        check(ryxsQMFEncode_RTA_32f(&speech[start], frameLength, &bands.low[start / 2], &bands.high[start / 2], state));
    return bands;
}

Samples join(const Bands &bands, int taps) {
    QmfState state(taps);
    Samples speech(2 * bands.low.size());
    for (size_t start = 0; start < bands.low.size(); start += pairs)
        check(ryxsQMFDecode_RTA_32f(&bands.low[start], &bands.high[start], pairs, &speech[2 * start], state));
    return speech;
}

// What is wrong with the joined speech, the delay taken out.
Samples errorOf(const Samples &original, const Samples &joinedBands, int taps) {
    const auto delay = static_cast<size_t>(taps);
    Samples error;
    for (size_t i = 0; i + delay < original.size(); i++)
        error.push_back(joinedBands[i + delay] - original[i]);
    return error;
}

double energy(const Samples &samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return sum;
}

double decibels(double ratio) {
    return 10 * std::log10(ratio);
}

} // namespace

void rtaSection(const Speech &speech, Report &report) {
    Progress progress("RTA", 3);
    const int sampleRate = speech.at16k.sampleRate;
    Samples all = joined(speech.at16k);
    all.resize(all.size() / frameLength * frameLength);
    report.beginSection("RTA: filter bank");
    report.addParagraph("A quadrature mirror filter of 24 or 48 taps splits 16 kHz speech into two bands of 4 kHz and "
                        "joins them again. "
                        "Each band alone holds aliases; in the sum they cancel. What is left is the ripple of the two "
                        "filters together.");
    Table table = {{"filter", "delay (samples)", "SNR of the joined speech (dB)", "share of the high band (dB)",
                    "times real time: split", "join"},
                   {}};
    std::vector<Line> lines = {spectrumLine("speech", speechColour, all, sampleRate)};
    for (const int taps : {24, 48}) {
        Bands bands;
        Samples output;
        const Speed speed = measureSpeed(
            static_cast<double>(all.size()) / sampleRate, [&] { bands = split(all, taps); },
            [&] { output = join(bands, taps); });
        const Samples error = errorOf(all, output, taps);
        const std::string name = std::to_string(taps) + " taps";
        table.rows.push_back({name, std::to_string(taps), decimal(decibels(energy(all) / energy(error)), 1),
                              decimal(decibels(energy(bands.high) / (energy(bands.low) + energy(bands.high))), 1),
                              decimal(speed.encoder, 0), decimal(speed.decoder, 0)});
        report.addResult("RTA filter bank, " + name, "SNR of the joined speech: " + table.rows.back()[2] + " dB",
                         speed);
        lines.push_back(spectrumLine("error, " + name, lineColour(lines.size() - 1), error, sampleRate));
        progress.update(lines.size() - 1);
    }
    report.addTable(table);
    drawChart(report.place("rta-spectrum.png"), {"frequency (kHz)", 0, sampleRate / 2000.0},
              fit("power density (dB/Hz)", lines, 10), lines);
    report.addPicture("rta-spectrum.png", "Mean power density",
                      "of the speech and of the error of the joined bands; 0 dB is a full-scale sine");
    progress.update(3);
}
