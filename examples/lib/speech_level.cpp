// SPDX-License-Identifier: BSD-2-Clause
#include "speech_level.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr int thresholds = 15;           // 1, 2, 4, ... 16384
constexpr double envelopeSeconds = 0.03; // time constant of both smoothings
constexpr double hangoverSeconds = 0.2;  // for which a sample below a threshold still counts as active
constexpr double margin = 15.9;          // dB between the active level and its threshold

// How many samples are active at each threshold.
std::array<double, thresholds> countActive(std::span<const int16_t> samples, int sampleRate) {
    const double smoothing = std::exp(-1 / (envelopeSeconds * sampleRate));
    const int hangover = static_cast<int>(std::ceil(hangoverSeconds * sampleRate));
    std::array<double, thresholds> counts = {};
    std::array<int, thresholds> hang;
    hang.fill(hangover);
    double first = 0, envelope = 0;
    for (const int16_t sample : samples) {
        first = smoothing * first + (1 - smoothing) * std::abs(sample);
        envelope = smoothing * envelope + (1 - smoothing) * first;
        for (size_t j = 0; j < thresholds; j++) {
            hang[j] = envelope >= std::exp2(j) ? 0 : hang[j] + 1;
            if (hang[j] <= hangover) counts[j]++;
        }
    }
    return counts;
}

} // namespace

double activeSpeechLevel(std::span<const int16_t> samples, int sampleRate) {
    const std::array<double, thresholds> counts = countActive(samples, sampleRate);
    double energy = 0;
    for (const int16_t sample : samples)
        energy += std::pow(sample / 32768.0, 2);
    double lastLevel = 0, lastDistance = 0;
    for (int j = 0; j < thresholds && counts[static_cast<size_t>(j)] > 0 && energy > 0; j++) {
        const double level = 10 * std::log10(energy / counts[static_cast<size_t>(j)]);
        const double distance = level - 20 * std::log10(std::exp2(j) / 32768) - margin;
        if (distance <= 0)
            return j == 0 ? level : lastLevel + (level - lastLevel) * lastDistance / (lastDistance - distance);
        lastLevel = level;
        lastDistance = distance;
    }
    return std::numeric_limits<double>::quiet_NaN();
}

double peakLevel(std::span<const int16_t> samples) {
    int peak = 0;
    for (const int16_t sample : samples)
        peak = std::max(peak, std::abs(int{sample}));
    return 20 * std::log10(peak / 32768.0);
}
