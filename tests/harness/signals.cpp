// SPDX-License-Identifier: BSD-2-Clause
#include "harness/signals.h"

#include <cmath>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace signals {

std::vector<int16_t> speech() {
    constexpr size_t headerBytes = 44;
    std::ifstream file(RYXSC_TEST_DATA "/speech_16k.wav", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    if (bytes.size() <= headerBytes) throw std::runtime_error("no speech in tests/data");
    std::vector<int16_t> samples;
    for (size_t i = headerBytes; i + 1 < bytes.size(); i += 2)
        samples.push_back(static_cast<int16_t>((bytes[i] & 0xff) | bytes[i + 1] * 256));
    return samples;
}

std::vector<Signal> nasty(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    const auto uniform = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
    const auto tone = [](size_t i, double frequency) { return 32767.4 * std::sin(frequency * static_cast<double>(i)); };
    int run = 0, level = 0;
    const auto runsOfExtremes = [&](size_t) {
        if (run-- == 0) {
            run = uniform(1, 40);
            level = level < 0 ? 32767 : -32768;
        }
        return level;
    };
    const std::vector<std::pair<std::string, std::function<double(size_t)>>> generators = {
        {"silence", [](size_t) { return 0; }},
        {"one negative step", [](size_t) { return -1; }},
        {"full-scale noise", [&](size_t) { return uniform(-32768, 32767); }},
        {"faint noise", [&](size_t) { return uniform(-3, 3); }},
        {"alternating extremes", [](size_t i) { return i % 2 ? 32767 : -32768; }},
        {"runs of extremes", runsOfExtremes},
        {"impulses", [&](size_t) { return uniform(0, 99) == 0 ? 32767 : 0; }},
        {"full-scale tone", [&](size_t i) { return tone(i, 0.39); }},
        {"full-scale high tone", [&](size_t i) { return tone(i, 2.9); }},
    };
    std::vector<Signal> all = {{"speech", speech()}};
    all[0].samples.resize(count);
    for (const auto &[name, generator] : generators) {
        Signal signal{name, {}};
        for (size_t i = 0; i < count; i++)
            signal.samples.push_back(static_cast<int16_t>(std::lround(generator(i))));
        all.push_back(signal);
    }
    return all;
}

std::vector<size_t> randomBlocks(size_t total, size_t unit, size_t longest, std::mt19937 &random) {
    std::vector<size_t> blocks;
    for (size_t done = 0; done < total; done += blocks.back()) {
        const size_t units = std::uniform_int_distribution<size_t>(1, longest / unit)(random);
        blocks.push_back(std::min(units * unit, total - done));
    }
    return blocks;
}

} // namespace signals
