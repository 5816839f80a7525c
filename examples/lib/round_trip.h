// SPDX-License-Identifier: BSD-2-Clause
// What the programs say after they have encoded and decoded speech.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "audio_file.h"

/** Measures consecutive stretches of work. */
class Stopwatch {
public:
    /** Seconds since the construction or the last lap. */
    double lap() {
        const Clock::time_point now = Clock::now();
        const std::chrono::duration<double> elapsed = now - start_;
        start_ = now;
        return elapsed.count();
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point start_ = Clock::now();
};

struct RoundTrip {
    std::string kilobits; /**< bit rate in kbit/s */
    size_t delay;         /**< of the codec, in samples */
    double encodingSeconds;
    double decodingSeconds;
};

/** Prints one line on standard output: duration, rate, segmental signal-to-noise ratio and speed. */
void printSummary(const RoundTrip &trip, const Audio &original, const Audio &decoded);
