// SPDX-License-Identifier: BSD-2-Clause
// The kinds of pictures in the report.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "speech.h"

/** A piece of speech to be drawn, full scale 1. */
struct Clip {
    int sampleRate;
    double start; /**< seconds, where the time axis begins */
    std::vector<float> samples;
};

/** Cuts the excerpt out of the recordings. */
Clip cut(const Recordings &recordings, const Excerpt &excerpt);

/** Sample by sample `decoded` less `original`. */
Clip difference(const Clip &decoded, const Clip &original);

/** Largest magnitude in the clip. */
float peak(const Clip &clip);

/**
 * @brief Draws the waveform above the spectrogram, aligned in time.
 * @param error drawn over the waveform when given; the spectrogram is the error's then
 * @param scale amplitude at the edge of the waveform
 */
void drawSpeech(const std::filesystem::path &png, const Clip &speech, const std::optional<Clip> &error, float scale);

/** A line of a chart; NaN in the second place of a point leaves a gap. */
struct Line {
    std::string name;
    std::string colour; /**< "#rrggbb" */
    std::vector<std::pair<double, double>> points;
    double width = 1.1; /**< CSS pixels */
};

struct Axis {
    std::string label; /**< with unit */
    double from, to;
};

/** An axis that holds all lines, from and to a multiple of `step`. */
Axis fit(const std::string &label, std::span<const Line> lines, double step);

/** Which share of the values, in per cent, lies in each interval of `step` from 0 on. The values are not negative. */
Line distribution(const std::string &name, const std::string &colour, std::span<const double> values, double step);

/** The mean spectrum over the frequency in kHz, as meanSpectrum() has it. */
Line spectrumLine(const std::string &name, const std::string &colour, std::span<const float> samples, int sampleRate);

/** Colour for the n-th of several lines, the first being the best of its kind. */
std::string lineColour(size_t n);

/** Colour of lines for the original speech. */
inline const std::string speechColour = "#33475b";

/** Draws lines over a common axis with the key above them. */
void drawChart(const std::filesystem::path &png, const Axis &x, const Axis &y, std::span<const Line> lines);

/** Draws lines over time below the waveform that they belong to. The time axis is the clip's. */
void drawTracks(const std::filesystem::path &png, const Clip &speech, const Axis &y, std::span<const Line> lines);

/** Draws lines in kHz over time on a pale spectrogram, below the waveform. The time axis is the clip's. */
void drawOverSpectrogram(const std::filesystem::path &png, const Clip &speech, std::span<const Line> lines);
