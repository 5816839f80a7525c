// SPDX-License-Identifier: BSD-2-Clause
// The recordings that the demonstration works on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

struct Recording {
    std::string name;
    std::vector<int16_t> samples;
};

struct Recordings {
    int sampleRate = 0;
    std::vector<Recording> list;

    double seconds() const;
};

/** A stretch of one recording: what the pictures show. */
struct Excerpt {
    size_t recording;
    double start;  /**< seconds */
    double length; /**< seconds */
};

/** All recordings in one row, full scale 1. */
std::vector<float> joined(const Recordings &recordings);

/** The same speech at the sampling rates that codecs work at. */
struct Speech {
    Recordings at32k;
    Recordings at16k;
    Recordings at12k8;
    Recordings at8k;
    Excerpt excerpt;
};

constexpr int segmentsPerSecond = 50;

/**
 * @brief Signal-to-noise ratio of every 20 ms segment, limited to -10..35 dB, NaN in pauses below -50 dB of full scale.
 * @param decoded as long as `original` and without delay
 */
std::vector<double> snrTrack(std::span<const int16_t> original, std::span<const int16_t> decoded, int sampleRate);

/** Which segments are speech, not pauses below -50 dB of full scale. */
std::vector<bool> speechSegments(std::span<const int16_t> samples, int sampleRate);

/**
 * @brief Reads all WAV files of a folder in the order of their names.
 * @return at least one recording; throws Failure when the folder is missing or has no WAV file
 */
Speech readSpeech(const std::filesystem::path &folder);
