// SPDX-License-Identifier: BSD-2-Clause
// Speech in and out of audio files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
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
 * @brief Reads any audio file that libsndfile knows, a part at a time, in memory that does not grow with the file.
 *
 * Channels are mixed down to one, other sample formats converted to 16 bits and other rates resampled with libsamplerate
 * at its best quality; one line on standard error then says so at the end. 16-bit mono at the wanted rate comes through
 * untouched. Throws Failure when the file is missing, empty, truncated or no audio file, and for rates that no recording
 * of speech has, before anything is read.
 */
class AudioReader {
public:
    /** @param sampleRate wanted rate in Hz */
    AudioReader(const std::filesystem::path &path, int sampleRate);
    ~AudioReader();
    AudioReader(const AudioReader &) = delete;
    AudioReader &operator=(const AudioReader &) = delete;

    /** Returns how many samples there were, fewer than asked for only at the end. */
    size_t read(std::span<int16_t> samples);

    /** About how many samples there are in all, if the header is right; 0 when it does not say. */
    size_t total() const;

private:
    struct Source;
    std::unique_ptr<Source> source_;
};

/** The whole file, at least one sample. */
Audio readMono(const std::filesystem::path &path, int sampleRate);

/** Writes a 16-bit mono WAV file. */
void writeMono(const std::filesystem::path &path, const Audio &audio);

/** The same into a file that was opened earlier; the caller commits it. */
void writeMono(OutputFile &file, const Audio &audio);

/** Writes G.711 octets as they are into a WAV file of that law. */
void writeCompandedMono(OutputFile &file, int sampleRate, CompandingLaw law, std::span<const uint8_t> octets);
