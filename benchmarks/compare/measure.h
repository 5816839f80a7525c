// SPDX-License-Identifier: BSD-2-Clause
// Measures the libraries that cover a job, side by side.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "coder.h"

namespace ryxsc::compare {

struct Effort {
    int repetitions = 12;
    double seconds = 8; // of speech
    bool others = true; // or ryxcodec alone
};

// What one library made of one direction of a job.
struct Outcome {
    const Library *library;
    bool available = false;   // it is here and does the job
    double timesRealTime = 0; // when it is available
    bool equal = false;       // stream, or decoded samples, equal to ryxcodec's
    double ratioDb = 0;       // decoded samples that differ: signal to difference
};

struct Comparison {
    Direction direction;
    Outcome own;
    std::vector<Outcome> others;    // that cover the job
    const Outcome *fastest() const; // of the others, null when there is none

    double ratio() const { return own.timesRealTime / fastest()->timesRealTime; }
};

// Encoder and decoder of a job.
struct Result {
    Job job;
    int level; // rms of the speech
    Comparison encode, decode;
    // Where nobody else has the codec: what libgsm's encoder of GSM full rate, run in turn with it, comes to. Else 0.
    double yardstick = 0;

    // How many calls, one encoder and one decoder each, a core keeps up with.
    double channels() const { return 1 / (1 / encode.own.timesRealTime + 1 / decode.own.timesRealTime); }
};

Result measure(const Job &job, const Effort &effort);

} // namespace ryxsc::compare
