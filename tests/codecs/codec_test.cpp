// SPDX-License-Identifier: BSD-2-Clause
// What holds for every codec of the library, whatever it is: statuses, blocks, frames of any content.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <ryxcodec.h>
#include <string>
#include <vector>

#include "harness/guarded_buffer.h"
#include "harness/signals.h"

namespace {

using ryxtest::GuardedBuffer;

std::vector<const ryxCodec *> codecs() {
    std::vector<const ryxCodec *> all;
    while (const ryxCodec *codec = ryxcodecAt(static_cast<int>(all.size())))
        all.push_back(codec);
    return all;
}

// A million by RYXSC_RANDOM_FRAMES=1000000; fewer for every day.
int randomFrames() {
    const char *given = std::getenv("RYXSC_RANDOM_FRAMES");
    return given != nullptr ? std::atoi(given) : 4000;
}

class Codecs : public testing::TestWithParam<const ryxCodec *> {
protected:
    using Frame = std::vector<uint8_t>;

    const ryxCodec &codec = *GetParam();
    const size_t frameLength = static_cast<size_t>(codec.frameLength);
    const size_t largest = static_cast<size_t>(codec.largestFrame);

    size_t encoderSize() const {
        int size = 0;
        EXPECT_EQ(ryxcodecEncoderGetSize(&codec, &size), ryxStsOk);
        return static_cast<size_t>(size);
    }
    size_t decoderSize() const {
        int size = 0;
        EXPECT_EQ(ryxcodecDecoderGetSize(&codec, &size), ryxStsOk);
        return static_cast<size_t>(size);
    }

    // Every rate, with and without discontinuous transmission where the codec has it.
    std::vector<ryxCodecOptions> allOptions() const {
        std::vector<ryxCodecOptions> all;
        for (int i = 0; i < codec.rateCount; i++)
            for (int dtx = 0; dtx <= (codec.features & ryxCodecDtx ? 1 : 0); dtx++) {
                ryxCodecOptions options = {};
                options.rate = codec.rates[i].bitsPerSecond;
                options.dtx = dtx;
                all.push_back(options);
            }
        return all;
    }

    // Speech, pauses, noise and what breaks fixed-point code, a quarter of a second of each.
    std::vector<int16_t> speech() const {
        std::vector<int16_t> samples;
        for (const signals::Signal &signal : signals::nasty(static_cast<size_t>(codec.sampleRate / 4), 1))
            samples.insert(samples.end(), signal.samples.begin(), signal.samples.end());
        samples.resize(samples.size() / frameLength * frameLength);
        return samples;
    }

    std::vector<Frame> encode(void *encoder, const std::vector<int16_t> &samples) const {
        std::vector<Frame> frames;
        GuardedBuffer frame;
        for (size_t start = 0; start < samples.size(); start += frameLength) {
            frame.place(largest);
            int octets = -1;
            EXPECT_EQ(ryxcodecEncode(encoder, &samples[start], frame.as<uint8_t>(), &octets), ryxStsOk);
            EXPECT_TRUE(frame.isIntact() && octets >= 0 && octets <= codec.largestFrame);
            frames.emplace_back(frame.as<uint8_t>(), frame.as<uint8_t>() + octets);
        }
        return frames;
    }
};

TEST_P(Codecs, RefuseWhatTheyCannotUseAndWriteNothing) {
    std::vector<uint8_t> block(std::max(encoderSize(), decoderSize()), 0x55);
    const std::vector<uint8_t> untouched = block;
    std::vector<int16_t> speech(frameLength);
    std::vector<uint8_t> frame(largest + 1);
    int octets = 7;
    ryxCodecOptions bad = {};
    bad.rate = codec.rates[0].bitsPerSecond + 1;
    EXPECT_EQ(ryxcodecEncoderInit(&codec, block.data(), &bad), ryxStsOutOfRange);
    EXPECT_EQ(ryxcodecDecoderInit(&codec, block.data(), &bad), ryxStsOutOfRange);
    bad = {};
    bad.dtx = codec.features & ryxCodecDownlinkDtx ? 3 : codec.features & ryxCodecDtx ? 2 : 1;
    EXPECT_EQ(ryxcodecEncoderInit(&codec, block.data(), &bad), ryxStsOutOfRange);
    EXPECT_EQ(ryxcodecEncoderInit(nullptr, block.data(), nullptr), ryxStsNullPtr);
    EXPECT_EQ(ryxcodecEncoderInit(&codec, nullptr, nullptr), ryxStsNullPtr);
    const ryxCodec copy = codec;
    EXPECT_EQ(ryxcodecDecoderInit(&copy, block.data(), nullptr), ryxStsBadContext);
    EXPECT_EQ(ryxcodecEncode(block.data(), speech.data(), frame.data(), &octets), ryxStsBadContext);
    EXPECT_EQ(ryxcodecDecode(block.data(), frame.data(), 1, speech.data()), ryxStsBadContext);
    EXPECT_TRUE(block == untouched);

    ASSERT_EQ(ryxcodecEncoderInit(&codec, block.data(), nullptr), ryxStsOk);
    EXPECT_EQ(ryxcodecDecode(block.data(), frame.data(), 1, speech.data()), ryxStsBadContext);
    EXPECT_EQ(ryxcodecSetRate(block.data(), codec.rates[0].bitsPerSecond + 1), ryxStsOutOfRange);
    EXPECT_EQ(ryxcodecEncode(block.data(), nullptr, frame.data(), &octets), ryxStsNullPtr);
    EXPECT_EQ(octets, 7);
}

// The rates rise, the default is one of them, and the largest frame is the largest of all rates.
TEST_P(Codecs, AreAsTheirRecordsSay) {
    size_t found = 0;
    for (const ryxCodecOptions &options : allOptions()) {
        std::vector<uint8_t> encoder(encoderSize());
        ASSERT_EQ(ryxcodecEncoderInit(&codec, encoder.data(), &options), ryxStsOk);
        for (const Frame &frame : encode(encoder.data(), speech()))
            found = std::max(found, frame.size());
    }
    EXPECT_EQ(found, largest);
    const ryxCodecRate *const end = codec.rates + codec.rateCount;
    const auto falls = [](const ryxCodecRate &a, const ryxCodecRate &b) { return a.bitsPerSecond >= b.bitsPerSecond; };
    EXPECT_EQ(std::adjacent_find(codec.rates, end, falls), end);
    EXPECT_TRUE(
        std::any_of(codec.rates, end, [&](const auto &rate) { return rate.bitsPerSecond == codec.defaultRate; }));
}

// Blocks lie at any address; a copy at the same distance from a 16-byte boundary goes on like the original.
TEST_P(Codecs, GiveTheSameAtAnyAddressAndAfterACopy) {
    const std::vector<int16_t> samples = speech();
    for (const ryxCodecOptions &options : allOptions()) {
        std::vector<Frame> frames;
        for (const size_t distance : {0U, 1U, 7U, 15U}) {
            std::vector<uint8_t> first(encoderSize() + 16), second(first.size());
            const auto place = [&](std::vector<uint8_t> &memory) {
                const size_t past = reinterpret_cast<uintptr_t>(memory.data()) % 16;
                return memory.data() + (distance + 16 - past) % 16;
            };
            ASSERT_EQ(ryxcodecEncoderInit(&codec, place(first), &options), ryxStsOk);
            const size_t half = samples.size() / frameLength / 2 * frameLength;
            std::vector<Frame> found =
                encode(place(first), {samples.begin(), samples.begin() + static_cast<long>(half)});
            std::memcpy(place(second), place(first), encoderSize());
            for (Frame &frame : encode(place(second), {samples.begin() + static_cast<long>(half), samples.end()}))
                found.push_back(std::move(frame));
            if (frames.empty()) frames = found;
            ASSERT_TRUE(found == frames) << options.rate << " bit/s, dtx " << options.dtx << ", distance " << distance;
        }
    }
}

// Frames of the encoder, damaged in every way: wrong bits, random octets, wrong lengths, marks, losses. Nothing outside is
// touched, and what is refused changes nothing.
TEST_P(Codecs, DecodeWhateverArrives) {
    std::mt19937 random(1);
    const std::vector<int16_t> samples = speech();
    std::vector<Frame> frames;
    for (const ryxCodecOptions &options : allOptions()) {
        std::vector<uint8_t> encoder(encoderSize());
        ASSERT_EQ(ryxcodecEncoderInit(&codec, encoder.data(), &options), ryxStsOk);
        for (Frame &frame : encode(encoder.data(), samples))
            frames.push_back(std::move(frame));
    }
    const int rounds = static_cast<int>(allOptions().size());
    for (const ryxCodecOptions &options : allOptions()) {
        GuardedBuffer decoder(decoderSize()), input, output;
        ryxCodecOptions chosen = options;
        chosen.dtx = 0;
        chosen.receiveHandler = static_cast<int>(random() % 2);
        ASSERT_EQ(ryxcodecDecoderInit(&codec, decoder.as<void>(), &chosen), ryxStsOk);
        std::vector<uint8_t> before(decoderSize());
        for (int i = 0; i < randomFrames() / rounds; i++) {
            Frame frame = frames[random() % frames.size()];
            const unsigned damage = random() % 8;
            if (damage < 3)
                for (unsigned flips = 1 + random() % 8; flips > 0 && !frame.empty(); flips--)
                    frame[random() % frame.size()] ^= static_cast<uint8_t>(1u << random() % 8);
            if (damage == 3) std::generate(frame.begin(), frame.end(), std::ref(random));
            if (damage == 4) frame.resize(random() % (largest + 3));
            const bool lost = random() % 8 == 0;
            const int marks = random() % 4 == 0 ? static_cast<int>(random() % 16) : 0;
            input.place(frame.size());
            std::copy(frame.begin(), frame.end(), input.as<uint8_t>());
            output.place(frameLength * sizeof(int16_t));
            std::memcpy(before.data(), decoder.as<void>(), before.size());
            const ryxStatus status = ryxcodecDecodeMarked(decoder.as<void>(), lost ? nullptr : input.as<uint8_t>(),
                                                          static_cast<int>(frame.size()), marks, output.as<int16_t>());
            ASSERT_TRUE(decoder.isIntact() && input.isIntact() && output.isIntact());
            ASSERT_TRUE(status == ryxStsOk || status == ryxStsBadSize || status == ryxStsBadIndex) << status;
            ASSERT_TRUE(status == ryxStsOk || !frame.empty() || !(codec.features & ryxCodecDtx)); // nothing was sent
            if (status == ryxStsOk) continue;
            ASSERT_EQ(std::memcmp(before.data(), decoder.as<void>(), before.size()), 0) << "a refused frame counted";
            ASSERT_TRUE(std::all_of(output.as<std::byte>(), output.as<std::byte>() + frameLength * sizeof(int16_t),
                                    [](std::byte b) { return b == GuardedBuffer::pattern; }));
        }
    }
}

// Where the rate stays, it does not matter whether the length of a lost frame is known, nor what the padding of AMR's
// table-of-contents octet holds. Without concealment a lost frame is silence.
TEST_P(Codecs, ConcealWithoutRegardToTheLength) {
    const bool hasContents = std::string(codec.name).starts_with("gsm-amr") || std::string(codec.name) == "amr-wb";
    const std::vector<int16_t> samples = speech();
    for (const ryxCodecOptions &options : allOptions()) {
        std::vector<uint8_t> encoder(encoderSize()), known(decoderSize()), unknown(decoderSize());
        ryxCodecOptions plain = options;
        plain.dtx = 0;
        ASSERT_EQ(ryxcodecEncoderInit(&codec, encoder.data(), &options), ryxStsOk);
        ASSERT_EQ(ryxcodecDecoderInit(&codec, known.data(), &plain), ryxStsOk);
        ASSERT_EQ(ryxcodecDecoderInit(&codec, unknown.data(), &plain), ryxStsOk);
        std::mt19937 random(1);
        std::vector<int16_t> first(frameLength), second(frameLength);
        for (Frame &frame : encode(encoder.data(), samples)) {
            const bool lost = random() % 4 == 0;
            const uint8_t *octets = lost ? nullptr : frame.data();
            const int count = static_cast<int>(frame.size());
            const bool contents = hasContents && count > 0;
            if (contents && random() % 4 == 0) frame[0] &= 0xfb; // a bad frame
            ASSERT_EQ(ryxcodecDecode(known.data(), octets, count, first.data()), ryxStsOk);
            if (contents) frame[0] ^= static_cast<uint8_t>(random() & 0x83);
            ASSERT_EQ(ryxcodecDecode(unknown.data(), octets, lost ? -1 : count, second.data()), ryxStsOk);
            ASSERT_TRUE(first == second) << options.rate;
            const bool silent = std::all_of(first.begin(), first.end(), [](int16_t x) { return x == 0; });
            ASSERT_TRUE(!lost || silent || (codec.features & ryxCodecConcealment));
        }
    }
}

// A homing frame makes a decoder what it was at the start, and a second one is answered without decoding.
TEST_P(Codecs, AreAsNewAfterAHomingFrame) {
    const std::string name = codec.name;
    if (name != "gsm-amr" && name != "amr-wb" && name != "gsm-fr") return; // the others have none
    const std::vector<int16_t> homing(frameLength, 8);
    for (const ryxCodecOptions &options : allOptions()) {
        if (options.dtx != 0) continue;
        std::vector<uint8_t> encoder(encoderSize()), used(decoderSize()), fresh(decoderSize());
        ASSERT_EQ(ryxcodecEncoderInit(&codec, encoder.data(), &options), ryxStsOk);
        ASSERT_EQ(ryxcodecDecoderInit(&codec, used.data(), &options), ryxStsOk);
        ASSERT_EQ(ryxcodecDecoderInit(&codec, fresh.data(), &options), ryxStsOk);
        const Frame home = encode(encoder.data(), homing)[0];
        const std::vector<Frame> frames = encode(encoder.data(), speech());
        std::vector<int16_t> first(frameLength), second(frameLength);
        const auto decode = [&](std::vector<uint8_t> &decoder, const Frame *frame, std::vector<int16_t> &output) {
            const int count = frame != nullptr ? static_cast<int>(frame->size()) : -1;
            ASSERT_EQ(ryxcodecDecode(decoder.data(), frame != nullptr ? frame->data() : nullptr, count, output.data()),
                      ryxStsOk);
        };
        for (const Frame &frame : frames)
            decode(used, &frame, first);
        decode(used, &home, first);
        decode(used, &home, first);
        EXPECT_TRUE(first == homing) << options.rate;
        for (size_t i = 0; i < frames.size(); i++) {
            decode(used, i % 3 == 0 ? nullptr : &frames[i], first);
            decode(fresh, i % 3 == 0 ? nullptr : &frames[i], second);
            ASSERT_TRUE(first == second) << options.rate << ", frame " << i;
        }
    }
}

// A stream that is read from a format is the one that was written.
TEST_P(Codecs, ComeBackFromEveryFormatThatTakesThem) {
    const std::vector<int16_t> samples = speech();
    int formats = 0;
    for (const ryxCodecOptions &options : allOptions())
        for (int k = 0; const ryxCodecFormat *format = ryxcodecFormatAt(k); k++) {
            std::vector<uint8_t> encoder(encoderSize());
            ASSERT_EQ(ryxcodecEncoderInit(&codec, encoder.data(), &options), ryxStsOk);
            const auto unit = static_cast<size_t>(format->framesPerUnit);
            std::vector<ryxCodecFrame> frames, found(unit);
            GuardedBuffer memory;
            for (const Frame &octets : encode(encoder.data(), samples)) {
                ryxCodecFrame frame = {};
                frame.count = static_cast<int>(octets.size());
                std::copy(octets.begin(), octets.end(), frame.octets);
                frames.push_back(frame);
                if (frames.size() < unit) continue;
                const size_t room = static_cast<size_t>(format->largestUnit);
                memory.place(room);
                int written = 0, used = 0;
                const ryxStatus status =
                    ryxcodecWriteUnit(format, &codec, frames.data(), memory.as<uint8_t>(), &written);
                ASSERT_TRUE(memory.isIntact());
                if (status != ryxStsOk) { // not for this codec, or no place for a frame of which nothing is sent
                    ASSERT_TRUE(status == ryxStsOutOfRange || (status == ryxStsBadSize && options.dtx != 0)) << status;
                    frames.clear();
                    continue;
                }
                formats++;
                const std::vector<uint8_t> stream(memory.as<uint8_t>(), memory.as<uint8_t>() + written);
                uint8_t *source = memory.as<uint8_t>() + room - stream.size();
                std::copy(stream.begin(), stream.end(), source);
                if (written > 1) // a unit that is cut off, or another one
                    ryxcodecReadUnit(format, &codec, options.rate, source + 1, written - 1, found.data(), &used);
                ASSERT_EQ(ryxcodecReadUnit(format, &codec, options.rate, source, written, found.data(), &used),
                          ryxStsOk);
                ASSERT_EQ(used, written);
                for (size_t i = 0; i < unit; i++) {
                    // The serial format has neither AMR-WB's SID_FIRST nor the mode of its silence descriptors.
                    if (std::string(format->name) == "itu" && frames[i].count == 6) continue;
                    ASSERT_EQ(found[i].count, frames[i].count) << format->name;
                    ASSERT_TRUE(std::equal(frames[i].octets, frames[i].octets + frames[i].count, found[i].octets))
                        << format->name << ", " << options.rate;
                }
                frames.clear();
            }
        }
    EXPECT_GT(formats, 0);
}

INSTANTIATE_TEST_SUITE_P(All, Codecs, testing::ValuesIn(codecs()), [](const auto &parameter) {
    std::string name = parameter.param->name;
    std::erase(name, '-');
    return name;
});

} // namespace
