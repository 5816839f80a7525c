// SPDX-License-Identifier: BSD-2-Clause
#include "ec_scene.h"

#include <algorithm>
#include <cmath>

#include "narrowband_speech.h"

namespace ec {

namespace {

constexpr size_t rate = 8000, length = 512;

double power(const std::vector<double> &samples, size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < std::min(to, samples.size()); i++)
        sum += samples[i] * samples[i];
    return sum / static_cast<double>(to - from);
}

// Direct sound after 4 ms, reflections that decay by 60 dB in 120 ms.
std::vector<double> echoOf(const std::vector<int16_t> &far) {
    std::vector<double> path(length);
    std::mt19937 random(1);
    for (size_t k = 32; k < length; k++) {
        const double noise = std::sqrt(3.0) * (static_cast<double>(random()) / 2147483648.0 - 1);
        path[k] = k == 32 ? 1 : 0.25 * noise * std::pow(10, -3 * static_cast<double>(k - 32) / 960);
    }
    std::vector<double> echo(far.size());
    for (size_t n = 0; n < far.size(); n++)
        for (size_t k = 32; k <= std::min(n, length - 1); k++)
            echo[n] += path[k] * far[n - k];
    const std::vector<double> all(far.begin(), far.end());
    const double gain = 0.5 * std::sqrt(power(all, 0, all.size()) / power(echo, 0, echo.size()));
    for (double &x : echo)
        x *= gain;
    return echo;
}

Scene withNear(const std::string &name, bool talks) {
    Scene scene = {name, narrowbandSpeech(), {}, {}};
    scene.echo = echoOf(scene.far);
    for (size_t n = 0; n < scene.far.size(); n++) {
        const bool now = talks && n >= 4 * rate && n < 6 * rate;
        const double near = now ? 0.5 * scene.far[(n + 20000) % scene.far.size()] : 0;
        scene.microphone.push_back(static_cast<int16_t>(std::lround(scene.echo[n] + near)));
    }
    return scene;
}

} // namespace

Scene singleTalk() {
    return withNear("single talk", false);
}
Scene doubleTalk() {
    return withNear("double talk", true);
}

std::vector<double> reductions(const Scene &scene, const std::vector<double> &output) {
    std::vector<double> residual(output.size()), result;
    for (size_t n = 0; n < output.size(); n++)
        residual[n] = output[n] - (scene.microphone[n] - scene.echo[n]);
    for (size_t n = 0; n + rate <= output.size(); n += rate)
        result.push_back(10 * std::log10(power(scene.echo, n, n + rate) / power(residual, n, n + rate)));
    return result;
}

} // namespace ec
