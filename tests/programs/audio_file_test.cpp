// SPDX-License-Identifier: BSD-2-Clause
// Reading speech from whatever file people have.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <sndfile.h>
#include <string>
#include <vector>

#include "lib/failure.h"
#include "program_test.h"

namespace {

class AudioFile : public ProgramTest {
protected:
    // Writes the same samples to every channel.
    void writeAs(const std::string &name, int format, int channels, const Audio &audio) const {
        SF_INFO info = {};
        info.samplerate = audio.sampleRate;
        info.channels = channels;
        info.format = format;
        SNDFILE *sound = sf_open(file(name).c_str(), SFM_WRITE, &info);
        ASSERT_NE(sound, nullptr) << sf_strerror(nullptr);
        sf_command(sound, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
        for (const int16_t sample : audio.samples)
            sf_writef_short(sound, std::vector<int16_t>(static_cast<size_t>(channels), sample).data(), 1);
        ASSERT_EQ(sf_close(sound), 0);
    }

    std::string said(const std::string &name) const {
        try {
            readMono(file(name), 16000);
        } catch (const Failure &failure) {
            return failure.what();
        }
        return "";
    }

    const Audio original = readMono(speech, 16000);
};

const std::pair<std::string, int> losslessFormats[] = {
    {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
    {"c.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT},    {"d.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_32},
    {"a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16}, {"a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
    {"a.au", SF_FORMAT_AU | SF_FORMAT_PCM_16},
};

TEST_F(AudioFile, OfAnyLosslessFormatAndChannelCountGivesTheSameSamples) {
    for (const auto &[name, format] : losslessFormats)
        for (const int channels : {1, 2, 3}) {
            writeAs(name, format, channels, original);
            EXPECT_EQ(samples(name, 16000), original.samples) << name << ", " << channels << " channels";
        }
}

TEST_F(AudioFile, ThatIsCutOffIsRefusedInEveryFormat) {
    for (const auto &[name, format] : losslessFormats) {
        writeAs(name, format, 1, original);
        std::filesystem::resize_file(file(name), std::filesystem::file_size(file(name)) * 2 / 3);
        EXPECT_EQ(said(name), file(name).string() + " is truncated");
    }
}

// Programs that write into a pipe leave an impossible size in the header.
TEST_F(AudioFile, OfUnknownLengthIsReadToItsEnd) {
    std::vector<uint8_t> wav = octets(speech);
    for (const std::vector<uint8_t> &size : {std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF}, {0, 0xF0, 0xFF, 0x7F}}) {
        std::copy(size.begin(), size.end(), wav.begin() + 4);
        std::copy(size.begin(), size.end(), wav.begin() + 40);
        write("pipe.wav", wav);
        EXPECT_EQ(samples("pipe.wav", 16000), original.samples);
    }
}

TEST_F(AudioFile, OfAnotherRateIsResampledWithoutLoss) {
    const auto tone = [](int rate) {
        Audio audio = {rate, {}};
        for (int i = 0; i < rate; i++)
            audio.samples.push_back(
                static_cast<int16_t>(std::lround(8000 * std::sin(i * 2000.0 * std::numbers::pi / rate))));
        return audio;
    };
    for (const int rate : {8000, 11025, 22050, 44100, 48000, 96000}) {
        writeMono(file("tone.wav"), tone(rate));
        const std::vector<int16_t> resampled = samples("tone.wav", 16000);
        EXPECT_NEAR(static_cast<double>(resampled.size()), 16000, 1) << rate;
        const std::vector<int16_t> wanted = tone(16000).samples;
        int worst = 0;
        for (size_t i = 500; i < 15500; i++) // the ends ring, where silence meets the tone
            worst = std::max(worst, std::abs(resampled[i] - wanted[i]));
        EXPECT_LE(worst, 2) << rate;
    }
}

} // namespace
