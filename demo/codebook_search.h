// SPDX-License-Identifier: BSD-2-Clause
// Algebraic codebooks over the subframes of speech: how much of the targets their pulses explain, and how fast.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "celp/front_end.h"
#include "lib/progress.h"
#include "pictures.h"
#include "report.h"
#include "speech.h"

/** What a search finds for a subframe and what the decoder makes of it. */
struct FoundPulses {
    celp::Vector code, filtered, decoded;
    std::array<int16_t, 13> words;
};

/** The codebook of one bit rate. */
struct Codebook {
    std::string rate; /**< kbit/s */
    int bits, pulses; /**< for a subframe */
    std::function<void(const celp::Subframe &, FoundPulses &)> search;
    std::function<void(const celp::Subframe &, FoundPulses &)> decode;
};

/** The subframes of each recording. */
using Subframes = std::vector<std::vector<celp::Subframe>>;

Subframes subframesOf(const celp::Codec &codec, const Recordings &recordings);

struct CodebookResult {
    Codebook codebook;
    /** Energy of a target, and the part of it that the filtered code vector explains with the best gain. */
    struct Energies {
        double target, explained;
    };
    std::vector<std::vector<Energies>> energies;  /**< of the subframes of each recording */
    double explained;                             /**< of the energy of all targets */
    size_t agreeing;                              /**< subframes whose decoded code vector is the one found */
    double searchMicroseconds, decodeNanoseconds; /**< for a subframe */
};

/** The filtered code vector with the gain that brings it closest to the target. */
std::vector<double> fitted(const celp::Codec &codec, const celp::Subframe &subframe, const FoundPulses &found);

/**
 * Runs all subframes through the codebooks of a codec; each codebook is a step of the progress. A code vector may have
 * half the amplitude of the decoded one.
 */
std::vector<CodebookResult> runCodebooks(const std::vector<Codebook> &codebooks, const celp::Codec &codec,
                                         const Subframes &recordings, Progress &progress);

/** Adds a table with a row for each codebook. */
void addCodebooks(Report &report, const std::string &codec, const std::vector<CodebookResult> &results);

/** Ratio in dB of target and unexplained rest in each 20 ms frame of speech of the excerpt. */
Line ratioTrack(const std::string &colour, const CodebookResult &result, const Recordings &recordings,
                const Excerpt &excerpt);
