// SPDX-License-Identifier: BSD-2-Clause
// GSM-AMR beside libopencore-amrnb, another implementation of the fixed-point recommendation, where it is installed: streams and
// decoded samples are the same. Its encoder departs from the recommendation's arithmetic where full-scale noise saturates, so
// speech and soft noise are what both get.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "harness/signals.h"
#include "ryxcodec.h"

#ifdef RYXSC_HAVE_OPENCORE_AMRNB
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>

namespace {

constexpr size_t frameLength = 160;
using Frame = std::vector<uint8_t>;

// Half the sampling rate of the recorded speech, a pause with soft noise, and some of the speech again.
std::vector<int16_t> speechWithPause() {
    const std::vector<int16_t> recorded = signals::speech();
    std::vector<int16_t> speech;
    for (size_t i = 0; i + 1 < recorded.size(); i += 2)
        speech.push_back(static_cast<int16_t>((recorded[i] + recorded[i + 1]) / 2));
    speech.resize(std::min<size_t>(speech.size(), 48000));
    const std::vector<int16_t> again(speech.begin(), speech.begin() + 16000);
    std::mt19937 random(1);
    for (int i = 0; i < 24000; i++)
        speech.push_back(static_cast<int16_t>(static_cast<int>(random() % 60) - 30));
    speech.insert(speech.end(), again.begin(), again.end());
    speech.resize(speech.size() / frameLength * frameLength);
    return speech;
}

template <class Size, class Init>
std::vector<uint8_t> coder(const ryxCodec &codec, int rate, bool dtx, Size size, Init init) {
    int octets = 0;
    EXPECT_EQ(size(&codec, &octets), ryxStsOk);
    std::vector<uint8_t> block(static_cast<size_t>(octets));
    ryxCodecOptions options = {};
    options.rate = rate;
    options.dtx = dtx;
    EXPECT_EQ(init(&codec, block.data(), &options), ryxStsOk);
    return block;
}

std::vector<Frame> encode(const ryxCodec &codec, int rate, bool dtx, const std::vector<int16_t> &speech) {
    std::vector<uint8_t> encoder = coder(codec, rate, dtx, ryxcodecEncoderGetSize, ryxcodecEncoderInit);
    std::vector<Frame> frames;
    for (size_t i = 0; i < speech.size(); i += frameLength) {
        Frame frame(32);
        int octets = 0;
        EXPECT_EQ(ryxcodecEncode(encoder.data(), &speech[i], frame.data(), &octets), ryxStsOk);
        frame.resize(static_cast<size_t>(octets));
        frames.push_back(frame);
    }
    return frames;
}

std::vector<int16_t> decode(const ryxCodec &codec, const std::vector<Frame> &frames) {
    std::vector<uint8_t> decoder = coder(codec, 0, false, ryxcodecDecoderGetSize, ryxcodecDecoderInit);
    std::vector<int16_t> speech(frames.size() * frameLength);
    for (size_t i = 0; i < frames.size(); i++)
        EXPECT_EQ(ryxcodecDecode(decoder.data(), frames[i].data(), static_cast<int>(frames[i].size()),
                                 &speech[i * frameLength]),
                  ryxStsOk);
    return speech;
}

// The library filters the speech in place, and writes a header without a frame where nothing is sent.
std::vector<Frame> encodeThere(int mode, bool dtx, std::vector<int16_t> speech) {
    void *const encoder = Encoder_Interface_init(dtx ? 1 : 0);
    std::vector<Frame> frames;
    for (size_t i = 0; i < speech.size(); i += frameLength) {
        Frame frame(64);
        const int octets = Encoder_Interface_Encode(encoder, static_cast<Mode>(mode), &speech[i], frame.data(), 0);
        frame.resize(octets > 1 ? static_cast<size_t>(octets) : 0);
        frames.push_back(frame);
    }
    Encoder_Interface_exit(encoder);
    return frames;
}

std::vector<int16_t> decodeThere(const std::vector<Frame> &frames) {
    void *const decoder = Decoder_Interface_init();
    const uint8_t nothing = 0x7c;
    std::vector<int16_t> speech(frames.size() * frameLength);
    for (size_t i = 0; i < frames.size(); i++)
        Decoder_Interface_Decode(decoder, frames[i].empty() ? &nothing : frames[i].data(), &speech[i * frameLength], 0);
    Decoder_Interface_exit(decoder);
    return speech;
}

TEST(OpencoreAmrNb, WritesAndReadsTheSameStreamsInAllModes) {
    const ryxCodec *const codec = ryxcodecFind("gsm-amr");
    ASSERT_NE(codec, nullptr);
    const std::vector<int16_t> speech = speechWithPause();
    for (const bool dtx : {false, true})
        for (int mode = 0; mode < codec->rateCount; mode++) {
            SCOPED_TRACE(std::string(codec->rates[mode].name) + (dtx ? " with pauses" : ""));
            const std::vector<Frame> own = encode(*codec, codec->rates[mode].bitsPerSecond, dtx, speech);
            EXPECT_TRUE(own == encodeThere(mode, dtx, speech));
            EXPECT_TRUE(decode(*codec, own) == decodeThere(own));
            const auto sent = std::count_if(own.begin(), own.end(), [](const Frame &frame) { return !frame.empty(); });
            EXPECT_EQ(dtx, sent < static_cast<long>(own.size()));
        }
}

} // namespace
#else
TEST(OpencoreAmrNb, WritesAndReadsTheSameStreamsInAllModes) {
    GTEST_SKIP() << "libopencore-amrnb is not installed";
}
#endif
