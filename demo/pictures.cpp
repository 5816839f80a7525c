// SPDX-License-Identifier: BSD-2-Clause
#include "pictures.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "gnuplot.h"
#include "spectrum.h"

namespace {

constexpr int pictureWidth = 1080; // CSS pixels
const std::string errorColour = "#e8590c";

// Common look: dark grey text, hairline axes, the same left and right edge in all pictures so that times align.
const std::string look = R"(
    set encoding utf8
    set border 3 linewidth 0.6 linecolor rgb '#8a939c'
    set tics out nomirror scale 0.5 textcolor rgb '#3c4650'
    set grid linetype 1 linewidth 0.4 linecolor rgb '#e3e7eb'
    set lmargin at screen 0.068
    set rmargin at screen 0.925
    unset key)";

// Even steps of lightness, from the white of the page for silence to black.
const std::string palette =
    "set palette defined (0 '#ffffff', 1 '#fdeacb', 2 '#fec488', 3 '#fb8861', 4 '#e75263', 5 '#bf3a77', "
    "6 '#912b81', 7 '#661a80', 8 '#3b0f70', 9 '#150e38', 10 '#000004')";
const std::string palePalette = "set palette defined (0 '#ffffff', 4 '#f1f4f7', 10 '#a9b8c6')";

std::string range(const std::string &axis, double from, double to) {
    return "set " + axis + "range [" + number(from) + ":" + number(to) + "]";
}

std::string label(const std::string &axis, const std::string &text, double offset) {
    return "set " + axis + "label '" + text + "' offset " + number(offset) + ",0 textcolor rgb '#3c4650'";
}

// Above a panel, in multiples of its height.
std::string key(double top) {
    return "set key at graph 0, graph " + number(top) +
           " left top horizontal Left reverse samplen 2 width 1 textcolor rgb '#3c4650'";
}

// Bottom and top edge of the following plot as fractions of the picture.
std::string panel(double bottom, double top) {
    return "set bmargin at screen " + number(bottom) + "; set tmargin at screen " + number(top);
}

double endOf(const Clip &clip) {
    return clip.start + static_cast<double>(clip.samples.size()) / clip.sampleRate;
}

// The samples as a line, or, where there are more than the picture can show, the smallest and the largest value of
// every column.
void defineWaveform(Gnuplot &plot, const std::string &name, const Clip &clip) {
    const size_t length = clip.samples.size();
    const size_t columns = std::min(length, size_t{1600});
    plot << "$" + name + " << END";
    for (size_t c = 0; c < columns; c++) {
        const auto first = clip.samples.begin() + static_cast<std::ptrdiff_t>(c * length / columns);
        const auto last = clip.samples.begin() + static_cast<std::ptrdiff_t>((c + 1) * length / columns);
        const auto [low, high] = std::minmax_element(first, last);
        const double time = clip.start + static_cast<double>(c * length / columns) / clip.sampleRate;
        plot << number(time) + " " + number(*low);
        if (high != low) plot << number(time) + " " + number(*high);
    }
    plot << "END";
}

// The step that gives three marks: 0 and one on either side.
double waveformTics(float scale) {
    double step = 1;
    while (step > scale)
        step /= 2;
    return step;
}

void drawWaveform(Gnuplot &plot, const Clip &speech, const std::optional<Clip> &error, float scale) {
    scale = std::max(scale, 0.001f); // a range must not be empty
    defineWaveform(plot, "speech", speech);
    if (error) defineWaveform(plot, "error", *error);
    plot << range("x", speech.start, endOf(speech)) << range("y", -scale, scale) << "set format x ''"
         << "set ytics " + number(waveformTics(scale)) << label("y", "amplitude", 0.5)
         << "plot $speech with lines linewidth 0.5 linecolor rgb '" + speechColour + "'" +
                (error ? ", $error with lines linewidth 0.5 linecolor rgb '" + errorColour + "'" : "")
         << "set format x '%g'";
}

// Defines the lines' points. Returns what the command that plots them says.
std::string defineLines(Gnuplot &plot, std::span<const Line> lines) {
    std::string command;
    for (size_t i = 0; i < lines.size(); i++) {
        const std::string block = "$line" + std::to_string(i);
        plot << block + " << END";
        for (const auto &[x, y] : lines[i].points)
            plot << number(x) + " " + number(y);
        plot << "END";
        command += (i ? ", " : "") + block + " with lines linewidth " + number(lines[i].width) + " linecolor rgb '" +
                   lines[i].colour + "' title '" + lines[i].name + "'";
    }
    return command;
}

void plotLines(Gnuplot &plot, std::span<const Line> lines) {
    const std::string command = defineLines(plot, lines);
    plot << key(1.13) << "plot " + command;
}

// The spectrogram, pale when there are lines to be drawn over it.
void drawSpectrogram(Gnuplot &plot, const Clip &speech, std::span<const Line> lines) {
    const Spectrogram spectrogram = makeSpectrogram(speech.samples, speech.sampleRate);
    const std::string tracks = lines.empty() ? "" : ", " + defineLines(plot, lines);
    plot << (lines.empty() ? palette : palePalette) << key(1.075) << "set cbrange [-100:-20]"
         << "set cbtics 10 scale 0.3 offset -0.6,0"
         << "set colorbox user origin screen 0.935, graph 0 size screen 0.012, graph 1 noborder"
         << label("cb", "level (dB full scale)", 0) << range("y", 0, speech.sampleRate / 2000.0)
         << (lines.empty() ? "set ytics 2" : "set ytics 1") << label("y", "frequency (kHz)", 0.5)
         << "set xlabel 'time (s)' textcolor rgb '#3c4650'"
         << "unset grid"
         << "plot '-' binary array=(" + std::to_string(spectrogram.columns) + "," + std::to_string(spectrogram.bins) +
                ") format='%float' origin=(" + number(speech.start) + ",0) dx=" + number(spectrogram.secondsPerColumn) +
                " dy=" + number(spectrogram.hertzPerBin / 1000) + " with image notitle" + tracks;
    plot.send(spectrogram.levels);
}

} // namespace

Clip cut(const Recordings &recordings, const Excerpt &excerpt) {
    const std::vector<int16_t> &samples = recordings.list[excerpt.recording].samples;
    const auto sampleAt = [&](double seconds) {
        return std::min(static_cast<size_t>(std::lround(seconds * recordings.sampleRate)), samples.size());
    };
    Clip clip = {recordings.sampleRate, excerpt.start, {}};
    for (size_t i = sampleAt(excerpt.start); i < sampleAt(excerpt.start + excerpt.length); i++)
        clip.samples.push_back(static_cast<float>(samples[i]) / 32768);
    return clip;
}

Clip difference(const Clip &decoded, const Clip &original) {
    Clip result = decoded;
    for (size_t i = 0; i < result.samples.size(); i++)
        result.samples[i] -= original.samples[i];
    return result;
}

float peak(const Clip &clip) {
    float result = 0;
    for (const float sample : clip.samples)
        result = std::max(result, std::abs(sample));
    return result;
}

Axis fit(const std::string &label, std::span<const Line> lines, double step) {
    double lowest = std::numeric_limits<double>::infinity(), highest = -lowest;
    for (const Line &line : lines)
        for (const auto &[x, y] : line.points) {
            lowest = std::fmin(lowest, y); // the number when the other one is NaN
            highest = std::fmax(highest, y);
        }
    if (lowest > highest) return {label, 0, step};
    const double from = std::floor(lowest / step) * step;
    return {label, from, std::max(std::ceil(highest / step) * step, from + step)};
}

Line distribution(const std::string &name, const std::string &colour, std::span<const double> values, double step) {
    std::vector<size_t> counts;
    for (const double value : values) {
        const auto bin = static_cast<size_t>(value / step);
        counts.resize(std::max(counts.size(), bin + 1));
        counts[bin]++;
    }
    Line line = {name, colour, {{0, 0}}};
    for (size_t bin = 0; bin < counts.size(); bin++) {
        const double share = 100 * static_cast<double>(counts[bin]) / static_cast<double>(values.size());
        line.points.emplace_back(static_cast<double>(bin) * step, share);
        line.points.emplace_back(static_cast<double>(bin + 1) * step, share);
    }
    line.points.emplace_back(line.points.back().first, 0);
    return line;
}

Line spectrumLine(const std::string &name, const std::string &colour, std::span<const float> samples, int sampleRate) {
    const std::vector<double> levels = meanSpectrum(samples, sampleRate);
    Line line = {name, colour, {}};
    for (size_t bin = 1; bin < levels.size(); bin++) // the first bin is the offset
        line.points.emplace_back(
            sampleRate / 2000.0 * static_cast<double>(bin) / static_cast<double>(levels.size() - 1), levels[bin]);
    return line;
}

std::string lineColour(size_t n) {
    static const std::vector<std::string> colours = {"#0b6fb8", "#1a9a78", "#e3a008", "#d6453d", "#8a5fbf"};
    return colours[n % colours.size()];
}

void drawSpeech(const std::filesystem::path &png, const Clip &speech, const std::optional<Clip> &error, float scale) {
    Gnuplot plot(png, pictureWidth, 430);
    plot << look << "set multiplot" << panel(0.75, 0.97);
    drawWaveform(plot, speech, error, scale);
    plot << panel(0.12, 0.71);
    drawSpectrogram(plot, error ? *error : speech, {});
    plot << "unset multiplot";
    plot.finish();
}

void drawChart(const std::filesystem::path &png, const Axis &x, const Axis &y, std::span<const Line> lines) {
    Gnuplot plot(png, pictureWidth, 340);
    plot << look << "set rmargin at screen 0.985" << panel(0.15, 0.9) << range("x", x.from, x.to)
         << range("y", y.from, y.to) << "set xlabel '" + x.label + "' textcolor rgb '#3c4650'"
         << label("y", y.label, 0.5);
    plotLines(plot, lines);
    plot.finish();
}

void drawTracks(const std::filesystem::path &png, const Clip &speech, const Axis &y, std::span<const Line> lines) {
    Gnuplot plot(png, pictureWidth, 380);
    plot << look << "set multiplot" << panel(0.78, 0.97);
    drawWaveform(plot, speech, std::nullopt, peak(speech));
    plot << panel(0.13, 0.66) << range("y", y.from, y.to) << "set ytics autofreq" << label("y", y.label, 0.5)
         << "set xlabel 'time (s)' textcolor rgb '#3c4650'";
    plotLines(plot, lines);
    plot << "unset multiplot";
    plot.finish();
}

void drawOverSpectrogram(const std::filesystem::path &png, const Clip &speech, std::span<const Line> lines) {
    Gnuplot plot(png, pictureWidth, 560);
    plot << look << "set multiplot" << panel(0.82, 0.98);
    drawWaveform(plot, speech, std::nullopt, peak(speech));
    plot << panel(0.09, 0.74);
    drawSpectrogram(plot, speech, lines);
    plot << "unset multiplot";
    plot.finish();
}
