// SPDX-License-Identifier: BSD-2-Clause
// Speech from and to files, a frame at a time: WAV and whatever libsndfile reads, or headerless 16-bit little-endian
// samples in files named .raw or .pcm and in standard input and output.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "audio_file.h"
#include "octet_file.h"

/** Whether a name means headerless samples. */
bool isHeaderless(const std::filesystem::path &path);

/** Speech at the wanted rate. Audio files are converted as readMono() does it, headerless samples taken as they are. */
class SpeechReader {
public:
    SpeechReader(const std::filesystem::path &path, int sampleRate);

    /** Fills the frame; what lies behind the end of the speech is zero. Returns how many samples there were. */
    size_t read(std::span<int16_t> frame);

    size_t total() const { return octets_ ? octets_->size() / 2 : audio_->total(); } /**< samples; 0 when unknown */

private:
    std::optional<OctetReader> octets_; // one of both
    std::optional<AudioReader> audio_;
    std::filesystem::path path_;
};

/** What a WAV file holds: 16-bit samples, or the octets of a law, one in the low half of every sample. */
enum class SpeechForm { linear, aLaw, muLaw };

class SpeechWriter {
public:
    SpeechWriter(const std::filesystem::path &path, int sampleRate, SpeechForm form = SpeechForm::linear);
    ~SpeechWriter();
    SpeechWriter(const SpeechWriter &) = delete;
    SpeechWriter &operator=(const SpeechWriter &) = delete;

    void write(std::span<const int16_t> samples);
    void commit();

private:
    [[noreturn]] void fail() const;

    OctetWriter octets_;
    void *wav_ = nullptr; // SNDFILE; none for headerless samples
    SpeechForm form_;
};
