// SPDX-License-Identifier: BSD-2-Clause
// Speech in and out of audio files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

class OutputFile;

/** One channel of 16-bit speech. */
struct Audio {
    int sampleRate = 0;
    std::vector<int16_t> samples;
};

/** The two laws of ITU-T G.711. */
enum class CompandingLaw { aLaw, muLaw };

/**
 * @brief Reads any audio file that libsndfile knows.
 *
 * Channels are mixed down to one, other sample formats converted to 16 bits and other rates resampled with libsamplerate
 * at its best quality; one line on standard error then says so. 16-bit mono at the wanted rate comes through untouched.
 *
 * @param sampleRate wanted rate in Hz
 * @return at least one sample; throws Failure when the file is missing, empty, truncated or no audio file
 */
Audio readMono(const std::filesystem::path &path, int sampleRate);

/** Writes a 16-bit mono WAV file. */
void writeMono(const std::filesystem::path &path, const Audio &audio);

/** The same into a file that was opened earlier; the caller commits it. */
void writeMono(OutputFile &file, const Audio &audio);

/** Writes G.711 octets as they are into a WAV file of that law. */
void writeCompandedMono(OutputFile &file, int sampleRate, CompandingLaw law, std::span<const uint8_t> octets);
