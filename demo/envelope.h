// SPDX-License-Identifier: BSD-2-Clause
// Spectral envelopes of speech through a quantiser: how far they get from the original, and pictures of it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "codec.h"
#include "report.h"
#include "spectrum.h"
#include "speech.h"

/** A frame on its way through a quantiser: its LP filter and the frequencies that stand for it, before and after. */
template <size_t order, size_t words> struct EnvelopeFrame {
    std::array<int16_t, order + 1> lpc;
    std::array<int16_t, order> frequencies;
    std::array<int16_t, words> indices;
    std::array<int16_t, order> decodedFrequencies;
    std::array<int16_t, order + 1> decodedLpc;
};

/** How the frames of a codec are to be read. */
struct EnvelopeFormat {
    double framesPerSecond;
    double filterTime; /**< seconds from the beginning of a frame to the time that its filter is meant for */
    size_t frequencies;
    double kilohertz; /**< per unit of the frequencies */
};

/** What became of the envelope of a frame. */
struct Envelope {
    std::vector<double> frequencies, quantised; /**< in kHz */
    double distortion;                          /**< in dB, no number in pauses */
};

/** The envelopes of all recordings. */
struct Envelopes {
    std::string name; /**< of the quantiser */
    EnvelopeFormat format;
    std::vector<std::vector<Envelope>> tracks; /**< per recording */
};

template <class Frame> Envelopes describe(const std::string &name, const EnvelopeFormat &format,
                                          const std::vector<std::vector<Frame>> &tracks, const Recordings &recordings) {
    const auto inKilohertz = [&](const auto &frequencies) {
        std::vector<double> values;
        for (size_t k = 0; k < format.frequencies; k++)
            values.push_back(frequencies[k] * format.kilohertz);
        return values;
    };
    Envelopes all = {name, format, {}};
    for (size_t i = 0; i < tracks.size(); i++) {
        const std::vector<bool> isSpeech = speechSegments(recordings.list[i].samples, recordings.sampleRate);
        auto &track = all.tracks.emplace_back();
        for (const Frame &frame : tracks[i]) {
            const auto segment =
                static_cast<size_t>(static_cast<double>(track.size()) * segmentsPerSecond / format.framesPerSecond);
            const bool counts = segment < isSpeech.size() && isSpeech[segment];
            track.push_back(
                {inKilohertz(frame.frequencies), inKilohertz(frame.decodedFrequencies),
                 counts ? spectralDistortion(frame.lpc, frame.decodedLpc) : std::numeric_limits<double>::quiet_NaN()});
        }
    }
    return all;
}

/** Adds a table with a row for each quantiser and its speed. */
void addDistortions(Report &report, const std::string &title, const std::vector<Envelopes> &quantisers,
                    const std::vector<Speed> &speeds);

/**
 * @brief Adds pictures: the frequencies of the first quantiser over time, the distortion of all over time and its
 *        distribution.
 * @param file beginning of the names of the pictures
 * @param title of the first picture
 */
void addEnvelopePictures(Report &report, const std::string &file, const std::string &title,
                         const Recordings &recordings, const Excerpt &excerpt, std::span<const Envelopes> quantisers);
