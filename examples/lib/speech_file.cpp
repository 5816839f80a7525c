// SPDX-License-Identifier: BSD-2-Clause
#include "speech_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sndfile.h>
#include <utility>

#include "failure.h"

namespace fs = std::filesystem;

bool isHeaderless(const fs::path &path) {
    return isStandardStream(path) || path.extension() == ".raw" || path.extension() == ".pcm";
}

SpeechReader::SpeechReader(const fs::path &path, int sampleRate) : path_(path) {
    if (isHeaderless(path))
        octets_.emplace(path);
    else
        audio_.emplace(path, sampleRate);
}

size_t SpeechReader::read(std::span<int16_t> frame) {
    size_t count = 0;
    if (octets_) {
        const std::span<const uint8_t> octets = octets_->peek(2 * frame.size());
        if (octets.size() % 2 != 0) throw Failure(path_.string() + " ends within a sample");
        count = octets.size() / 2;
        for (size_t i = 0; i < count; i++)
            frame[i] = static_cast<int16_t>(octets[2 * i] | octets[2 * i + 1] << 8);
        octets_->skip(octets.size());
    } else {
        count = audio_->read(frame);
    }
    std::fill(frame.begin() + static_cast<std::ptrdiff_t>(count), frame.end(), int16_t{0});
    return count;
}

SpeechWriter::SpeechWriter(const fs::path &path, int sampleRate, SpeechForm form) : octets_(path), form_(form) {
    if (isHeaderless(path)) return;
    SF_INFO info = {};
    info.samplerate = sampleRate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | (form == SpeechForm::linear ? SF_FORMAT_PCM_16
                                   : form == SpeechForm::aLaw ? SF_FORMAT_ALAW
                                                              : SF_FORMAT_ULAW);
    wav_ = sf_open_fd(octets_.file()->descriptor(), SFM_WRITE, &info, 0);
    if (wav_ == nullptr) fail();
}

SpeechWriter::~SpeechWriter() {
    if (wav_ != nullptr) sf_close(static_cast<SNDFILE *>(wav_));
}

void SpeechWriter::write(std::span<const int16_t> samples) {
    const auto count = static_cast<sf_count_t>(samples.size());
    errno = 0;
    if (form_ != SpeechForm::linear) {
        const std::vector<uint8_t> octets(samples.begin(), samples.end());
        if (wav_ == nullptr)
            octets_.write(octets);
        else if (sf_write_raw(static_cast<SNDFILE *>(wav_), octets.data(), count) != count)
            fail();
    } else if (wav_ == nullptr) {
        std::vector<uint8_t> octets(2 * samples.size());
        for (size_t i = 0; i < samples.size(); i++) {
            octets[2 * i] = static_cast<uint8_t>(samples[i]);
            octets[2 * i + 1] = static_cast<uint8_t>(samples[i] >> 8);
        }
        octets_.write(octets);
    } else if (sf_writef_short(static_cast<SNDFILE *>(wav_), samples.data(), count) != count) {
        fail();
    }
}

void SpeechWriter::commit() {
    errno = 0;
    if (wav_ != nullptr && sf_close(static_cast<SNDFILE *>(std::exchange(wav_, nullptr))) != 0) fail();
    octets_.commit();
}

void SpeechWriter::fail() const {
    const int error = errno;
    throw Failure("cannot write " + const_cast<OctetWriter &>(octets_).file()->target().string() + ": " +
                  strerror(error ? error : EIO));
}
