// SPDX-License-Identifier: BSD-2-Clause
#include "segmental_snr.h"

#include <algorithm>
#include <cmath>
#include <limits>

double segmentalSnr(std::span<const int16_t> original, std::span<const int16_t> decoded, int sampleRate, size_t delay) {
    const auto length = static_cast<size_t>(sampleRate / 50);
    const double quietest = 32768.0 * 32768.0 * 1e-5 * static_cast<double>(length); // -50 dB of full scale
    const size_t available = std::min(original.size(), decoded.size() - std::min(delay, decoded.size()));
    double sum = 0;
    size_t segments = 0;
    for (size_t start = 0; start + length <= available; start += length) {
        double signal = 0, noise = 0;
        for (size_t i = start; i < start + length; i++) {
            const double difference = original[i] - decoded[i + delay];
            signal += static_cast<double>(original[i]) * original[i];
            noise += difference * difference;
        }
        if (signal < quietest) continue;
        sum += std::clamp(10 * std::log10(signal / std::max(noise, 1.0)), -10.0, 35.0);
        segments++;
    }
    return segments ? sum / static_cast<double>(segments) : std::numeric_limits<double>::quiet_NaN();
}
