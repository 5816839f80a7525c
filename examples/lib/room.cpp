// SPDX-License-Identifier: BSD-2-Clause
#include "room.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "library_call.h"

namespace {

// Uniform, mean 0, mean square 1. The distributions of the standard library differ from one library to the next.
class Noise {
public:
    explicit Noise(unsigned seed) : random_(seed) {}

    float operator()() {
        const double uniform = static_cast<double>(random_()) / 2147483648.0 - 1;
        return static_cast<float>(std::sqrt(3.0) * uniform);
    }

private:
    std::mt19937 random_;
};

double meanSquare(std::span<const float> samples) {
    double sum = 0;
    for (const float x : samples)
        sum += static_cast<double>(x) * x;
    return sum / static_cast<double>(samples.size());
}

} // namespace

std::vector<float> roomResponse(int sampleRate, size_t length) {
    const auto direct = static_cast<size_t>(sampleRate / 250);
    const double decay = std::pow(10.0, -3.0 / (0.120 * sampleRate)); // 60 dB in 120 ms
    std::vector<float> response(length);
    Noise noise(1);
    double level = 0.25; // of the reflections, the direct sound being 1
    for (size_t i = direct; i < length; i++, level *= decay)
        response[i] = i == direct ? 1 : static_cast<float>(level) * noise();
    return response;
}

std::vector<float> pickUp(std::span<const float> far, std::span<const float> near, std::span<const float> response) {
    std::vector<float> history(response.size()), negative(response.size()), echo(far.size());
    history.insert(history.end(), far.begin(), far.end());
    std::transform(response.begin(), response.end(), negative.begin(), [](float h) { return -h; });
    check(ryxsFIR_EC_32f(&history[response.size()], echo.data(), echo.data(), static_cast<int>(far.size()),
                         negative.data(), static_cast<int>(response.size())));
    const double scale = 0.5 * std::sqrt(meanSquare(far) / std::max(meanSquare(echo), 1e-9));
    std::vector<float> picked(far.size());
    Noise noise(2);
    for (size_t i = 0; i < picked.size(); i++)
        picked[i] = static_cast<float>(scale) * echo[i] + near[i] + noise();
    return picked;
}
