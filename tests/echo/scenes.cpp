// SPDX-License-Identifier: BSD-2-Clause
#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

std::ifstream opened(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path + " cannot be read");
    return file;
}

std::vector<float> readSpeech(const std::string &path) {
    std::ifstream file = opened(path);
    const std::vector<char> octets{std::istreambuf_iterator<char>(file), {}};
    std::vector<float> samples(octets.size() / 2);
    for (size_t n = 0; n < samples.size(); n++)
        samples[n] = static_cast<int16_t>(static_cast<uint8_t>(octets[2 * n]) | octets[2 * n + 1] << 8);
    return samples;
}

std::vector<float> readTaps(const std::string &path) {
    std::ifstream file = opened(path);
    std::string comment;
    while (file.peek() == '#')
        std::getline(file, comment);
    return {std::istream_iterator<float>(file), {}};
}

// A tap at a time over the whole signal.
std::vector<float> convolve(const std::vector<float> &x, const std::vector<float> &taps) {
    std::vector<float> y(x.size());
    for (size_t k = 0; k < taps.size(); k++)
        if (taps[k] != 0)
            for (size_t n = k; n < x.size(); n++)
                y[n] += taps[k] * x[n - k];
    return y;
}

// Evenly distributed, rms 1.
std::vector<float> noise(size_t length) {
    std::vector<float> samples(length);
    uint32_t x = 1;
    for (float &sample : samples) {
        x = 1664525 * x + 1013904223;
        sample = static_cast<float>(std::sqrt(3.0) * (x / 2147483648.0 - 1));
    }
    return samples;
}

} // namespace

SceneSignals::SceneSignals(const std::string &folder, int rate) : sampleRate(rate) {
    const std::string suffix = rate == 8000 ? "_8k" : "_16k";
    far = readSpeech(folder + "/far" + suffix + ".raw");
    near = readSpeech(folder + "/near" + suffix + ".raw");
    echo1 = convolve(far, readTaps(folder + "/path1" + suffix + ".txt"));
    echo2 = convolve(far, readTaps(folder + "/path2" + suffix + ".txt"));
}

Scene makeScene(const SceneSignals &signals, const std::string &name) {
    Scene scene{signals.sampleRate, {}, {}, signals.echo1};
    float level = name == "single" ? 1 : 3;
    if (name == "noise") {
        double energy = 0;
        for (const float x : signals.echo1)
            energy += x * x;
        level = static_cast<float>(std::sqrt(energy / static_cast<double>(signals.echo1.size())) * std::pow(10, -1.5));
    }
    const std::vector<float> hiss = noise(signals.far.size());
    for (size_t n = 0; n < signals.far.size(); n++) {
        const double t = static_cast<double>(n) / signals.sampleRate;
        float second = 0; // share of the other path
        if (name == "change") second = t >= 12;
        if (name == "drift") second = static_cast<float>(std::clamp((t - 6) / 12, 0.0, 1.0));
        scene.echo[n] += second * (signals.echo2[n] - signals.echo1[n]);
        const bool speaks = name == "double" ? t >= 8 && t < 16 : name == "start" && t < 12;
        const float sum = scene.echo[n] + (speaks ? signals.near[n] : 0) + level * hiss[n];
        scene.far.push_back(static_cast<int16_t>(signals.far[n]));
        scene.microphone.push_back(static_cast<int16_t>(std::clamp(std::lround(sum), -32768L, 32767L)));
    }
    return scene;
}

std::vector<double> reductions(const Scene &scene, const std::vector<float> &output, size_t delay) {
    std::vector<double> perSecond;
    const auto second = static_cast<size_t>(scene.sampleRate);
    for (size_t start = 0; start + second + delay <= output.size(); start += second) {
        double before = 0, after = 0;
        for (size_t n = start; n < start + second; n++) {
            const double left = output[n + delay] - (scene.microphone[n] - scene.echo[n]);
            before += scene.echo[n] * scene.echo[n];
            after += left * left;
        }
        perSecond.push_back(10 * std::log10(before / after));
    }
    return perSecond;
}

double meanOf(const std::vector<double> &perSecond, size_t first, size_t last) {
    double sum = 0;
    for (size_t second = first; second <= last; second++)
        sum += perSecond.at(second - 1);
    return sum / static_cast<double>(last - first + 1);
}
