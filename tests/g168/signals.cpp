// SPDX-License-Identifier: BSD-2-Clause
#include "signals.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <numbers>
#include <random>
#include <stdexcept>

namespace g168 {

namespace {

struct Table {
    std::string comment;
    std::vector<double> values;
};

Table read(const std::string &path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path + " cannot be read");
    Table table;
    for (std::string line; file.peek() == '#' && std::getline(file, line);)
        table.comment += line + '\n';
    for (double value; file >> value;)
        table.values.push_back(value);
    if (table.values.empty()) throw std::runtime_error(path + " holds no numbers");
    return table;
}

// The integers of a path times its factor K, which stands in the head of its table.
std::vector<double> readPath(const std::string &path) {
    Table table = read(path);
    const size_t place = table.comment.find("K = ");
    if (place == std::string::npos) throw std::runtime_error(path + " has no factor");
    const double factor = std::strtod(table.comment.c_str() + place + 4, nullptr);
    for (double &tap : table.values)
        tap *= factor;
    return table.values;
}

double amplitude(double level) {
    return 16123 * std::pow(10, level / 20);
}

} // namespace

Tables::Tables(const std::string &folder)
    : cssFar(read(folder + "/css_far_8k.txt").values), cssNear(read(folder + "/css_near_8k.txt").values),
      levelFilter(read(folder + "/level_filter.txt").values) {
    for (char path = '2'; path <= '9'; path++)
        paths.push_back(readPath(folder + "/echo_path_d" + path + ".txt"));
    const std::vector<double> pairs = read(folder + "/tones_test6.txt").values;
    for (size_t i = 0; i + 1 < pairs.size(); i += 2)
        tones.emplace_back(pairs[i], pairs[i + 1]);
}

Source silence() {
    return [] { return 0.0; };
}

Source composite(const std::vector<double> &period, double level) {
    return [&period, gain = amplitude(level) / 1000, n = std::make_shared<size_t>(0)] {
        return gain * period[(*n)++ % period.size()];
    };
}

// Twelve uniform numbers make a Gaussian one; the distributions of the standard library differ from one library to the next.
Source hothNoise(double level) {
    const double gain = amplitude(level) / (0.375 / std::sqrt(1 - 0.625 * 0.625));
    struct State {
        double y = 0;
        std::mt19937 random{7};
    };
    return [gain, state = std::make_shared<State>()] {
        double gaussian = -6;
        for (int i = 0; i < 12; i++)
            gaussian += static_cast<double>(state->random()) / 4294967296.0;
        state->y = 0.625 * state->y + 0.375 * gaussian;
        return gain * state->y;
    };
}

Source tones(double frequency, double level, double secondFrequency, double secondLevel) {
    const double first = std::numbers::sqrt2 * amplitude(level);
    const double second = secondFrequency > 0 ? std::numbers::sqrt2 * amplitude(secondLevel) : 0;
    return [=, n = std::make_shared<double>(0)] {
        const double angle = 2 * std::numbers::pi * (*n)++ / rate;
        return first * std::sin(frequency * angle) + second * std::sin(secondFrequency * angle);
    };
}

int16_t coded(double sample) {
    const int x = static_cast<int>(std::lround(std::clamp(sample, -32768.0, 32767.0)));
    const int magnitude = x < 0 ? ~x : x;
    int segment = 0;
    while (segment < 7 && magnitude >> (segment + 8) > 0)
        segment++;
    const int shift = segment == 0 ? 4 : segment + 3;
    const int middle = ((magnitude >> shift) << shift) + (1 << (shift - 1));
    return static_cast<int16_t>(x < 0 ? -middle : middle);
}

Meter::Meter(const std::vector<double> &filter) : filter_(filter), line_(filter.size() - 1) {
}

void Meter::add(const int16_t *samples, size_t count) {
    static const double smoothing = std::exp(-1 / (rate * 0.035));
    line_.insert(line_.end(), samples, samples + count);
    std::vector<double> filtered(count);
    for (size_t k = 0; k < filter_.size(); k++) // symmetric
        for (size_t n = 0; n < count; n++)
            filtered[n] += filter_[k] * line_[n + k];
    line_.erase(line_.begin(), line_.begin() + static_cast<std::ptrdiff_t>(count));
    for (const double y : filtered) {
        power_ += (1 - smoothing) * (y * y - power_);
        highest_ = std::max(highest_, power_);
    }
}

namespace {

double reading(double power) {
    return 10 * std::log10(std::max(power, 1e-6) / (32767.0 * 32767.0)) + 6.16;
}

} // namespace

double Meter::level() const {
    return reading(power_);
}
double Meter::peak() const {
    return reading(highest_);
}

} // namespace g168
