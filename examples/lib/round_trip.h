// SPDX-License-Identifier: BSD-2-Clause
// What the programs say after they have encoded and decoded speech.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "ryxcodec.h"
#include "segmental_snr.h"

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

class RoundTrip {
public:
    RoundTrip(const ryxCodec &codec, std::string kilobits)
        : snr_(codec.sampleRate, static_cast<size_t>(codec.delay)), sampleRate_(codec.sampleRate),
          kilobits_(std::move(kilobits)) {}

    /** The next stretch of speech, and what has become of it. */
    void add(std::span<const int16_t> original, std::span<const int16_t> decoded);

    size_t samples() const { return samples_; }

    /** Prints one line on standard output: duration, rate, segmental signal-to-noise ratio and speed. */
    void print() const;

    double encodingSeconds = 0, decodingSeconds = 0;

private:
    SegmentalSnr snr_;
    size_t samples_ = 0;
    int sampleRate_;
    std::string kilobits_;
};
