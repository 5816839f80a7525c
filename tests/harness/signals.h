// SPDX-License-Identifier: BSD-2-Clause
// Signals for property tests: recorded speech, and what breaks fixed-point code.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace signals {

struct Signal {
    std::string name;
    std::vector<int16_t> samples;
};

// 16 kHz speech of tests/data.
std::vector<int16_t> speech();

// Speech, noise, silence, runs and alternations of the extremes, impulses, full-scale tones.
std::vector<Signal> nasty(size_t samples, unsigned seed);

// Cuts of 0..total into blocks of random lengths that are multiples of unit.
std::vector<size_t> randomBlocks(size_t total, size_t unit, size_t longest, std::mt19937 &random);

} // namespace signals
