// SPDX-License-Identifier: BSD-2-Clause
// Encoders, decoders, stream formats and the echo canceller. Both variants must give the same.
#include <algorithm>

#include "fuzz.h"
#include "ryxcodec.h"
#include "ryxecho.h"

namespace ryxfuzz {

namespace {

// What a run has put out, to be compared with the other variant's.
using Trace = std::vector<uint8_t>;
template <class T> void note(Trace &trace, const T *values, size_t count) {
    const auto *octets = reinterpret_cast<const uint8_t *>(values);
    trace.insert(trace.end(), octets, octets + count * sizeof(T));
}

template <class Run> void inBothVariants(const std::string &what, const Run &run) {
    Trace traces[2];
    for (const int variant : {0, 1}) {
        ryxscVariant = variant;
        run(traces[variant]);
    }
    demand(traces[0] == traces[1], what + ": the variants differ");
}

ryxCodecOptions anyOptions(const ryxCodec &codec, Input &input) {
    ryxCodecOptions options{};
    options.rate = codec.rates[input.take<uint8_t>() % codec.rateCount].bitsPerSecond;
    const auto flags = input.take<uint8_t>();
    options.dtx = (codec.features & ryxCodecDtx) ? flags & 1 : 0;
    options.noPostFilter = flags >> 1 & 1;
    options.noHighPass = flags >> 2 & 1;
    options.receiveHandler = flags >> 3 & 1;
    options.packing = flags >> 4 & 1;
    options.law = (flags >> 5) % 3;
    options.lossFrame = (flags >> 4) % 9;
    return options;
}

// Exactly as long as the frame, so that a sanitizer sees a reading past its end.
template <class T> std::vector<T> exactly(std::span<const T> values) {
    return {values.begin(), values.end()};
}

} // namespace

void decoder(std::span<const uint8_t> octets, int which) {
    const ryxCodec &codec = *ryxcodecAt(which);
    inBothVariants(codec.name, [&](Trace &trace) {
        Input input(octets);
        const ryxCodecOptions options = anyOptions(codec, input);
        int size = 0;
        demand(ryxcodecDecoderGetSize(&codec, &size) == ryxStsOk, "size");
        std::vector<uint8_t> block(static_cast<size_t>(size));
        demand(ryxcodecDecoderInit(&codec, block.data(), &options) == ryxStsOk, "init");
        std::vector<int16_t> speech(static_cast<size_t>(codec.frameLength));
        for (int frames = 0; !input.isEmpty() && frames < 200; frames++) {
            // A length that is mostly the largest one or that of the last frame; marks; then the frame's octets.
            const auto kind = input.take<uint8_t>();
            const size_t length = kind < 128 ? static_cast<size_t>(codec.largestFrame) : kind - 128U;
            const int marks = kind % 8 == 7 ? input.take<uint8_t>() : 0;
            const std::vector<uint8_t> frame = exactly(input.takeOctets(length));
            const ryxStatus status = ryxcodecDecodeMarked(block.data(), kind % 32 == 5 ? nullptr : frame.data(),
                                                          static_cast<int>(frame.size()), marks, speech.data());
            demandStatus(status, codec.name);
            note(trace, &status, 1);
            note(trace, speech.data(), speech.size());
        }
    });
}

void encoder(std::span<const uint8_t> octets, int which) {
    const ryxCodec &codec = *ryxcodecAt(which);
    inBothVariants(codec.name, [&](Trace &trace) {
        Input input(octets);
        const ryxCodecOptions options = anyOptions(codec, input);
        int size = 0;
        demand(ryxcodecEncoderGetSize(&codec, &size) == ryxStsOk, "size");
        std::vector<uint8_t> block(static_cast<size_t>(size));
        demand(ryxcodecEncoderInit(&codec, block.data(), &options) == ryxStsOk, "init");
        std::vector<int16_t> speech(static_cast<size_t>(codec.frameLength));
        std::vector<uint8_t> frame(static_cast<size_t>(codec.largestFrame));
        for (int frames = 0; !input.isEmpty() && frames < 50; frames++) {
            // The samples of a frame come from few octets: held for a while, so that there is low frequency as well.
            const auto hold = input.take<uint8_t>() % 40 + 1U;
            for (size_t i = 0; i < speech.size(); i++)
                speech[i] = i % hold == 0 ? input.take<int16_t>() : speech[i - 1];
            int count = 0;
            if (codec.features & ryxCodecRateSwitching)
                ryxcodecSetRate(block.data(), codec.rates[hold % static_cast<unsigned>(codec.rateCount)].bitsPerSecond);
            demand(ryxcodecEncode(block.data(), speech.data(), frame.data(), &count) == ryxStsOk, codec.name);
            demand(count >= 0 && count <= codec.largestFrame, "frame's length");
            note(trace, &count, 1);
            note(trace, frame.data(), static_cast<size_t>(count));
        }
    });
}

// Any stream, read unit by unit; what was read is written and read again, and is the same then.
void reader(std::span<const uint8_t> octets, int which) {
    const ryxCodecFormat &format = *ryxcodecFormatAt(which);
    Input input(octets);
    const ryxCodec *codec = ryxcodecAt(input.take<uint8_t>() % 11);
    const int rate = codec->rates[input.take<uint8_t>() % codec->rateCount].bitsPerSecond;
    std::vector<uint8_t> stream = exactly(input.takeOctets(octets.size()));
    std::vector<ryxCodecFrame> frames(2);
    for (size_t at = 0; at < stream.size();) {
        int used = 0;
        const std::vector<uint8_t> rest(stream.begin() + static_cast<ptrdiff_t>(at), stream.end());
        const ryxStatus status =
            ryxcodecReadUnit(&format, codec, rate, rest.data(), static_cast<int>(rest.size()), frames.data(), &used);
        demandStatus(status, format.name);
        if (status < 0) return;
        demand(used > 0 && static_cast<size_t>(used) <= rest.size(), std::string(format.name) + ": octets used");
        for (int i = 0; i < format.framesPerUnit; i++)
            demand(frames[static_cast<size_t>(i)].count >= 0 && frames[static_cast<size_t>(i)].count <= 256, "count");
        std::vector<uint8_t> unit(static_cast<size_t>(format.largestUnit));
        int written = 0;
        if (ryxcodecWriteUnit(&format, codec, frames.data(), unit.data(), &written) == ryxStsOk)
            demand(written > 0 && written <= format.largestUnit, std::string(format.name) + ": octets written");
        at += static_cast<size_t>(used);
    }
}

// Any frames.
void packer(std::span<const uint8_t> octets, int which) {
    const ryxCodecFormat &format = *ryxcodecFormatAt(which);
    Input input(octets);
    const ryxCodec *codec = ryxcodecAt(input.take<uint8_t>() % 11);
    while (!input.isEmpty()) {
        std::vector<ryxCodecFrame> frames(static_cast<size_t>(format.framesPerUnit));
        for (ryxCodecFrame &frame : frames) {
            frame.count = input.take<uint8_t>();
            if (frame.count == 255) frame.count = input.take<int>();
            frame.lost = input.take<uint8_t>() % 8 == 0;
            frame.marks = input.take<uint8_t>() % 16;
            std::ranges::copy(input.takeOctets(static_cast<size_t>(std::clamp(frame.count, 0, 256))), frame.octets);
        }
        std::vector<uint8_t> unit(static_cast<size_t>(format.largestUnit));
        int written = 0;
        const ryxStatus status = ryxcodecWriteUnit(&format, codec, frames.data(), unit.data(), &written);
        demandStatus(status, format.name);
        if (status >= 0) demand(written > 0 && written <= format.largestUnit, std::string(format.name) + ": octets");
    }
}

void echoCanceller(std::span<const uint8_t> octets, int) {
    inBothVariants("echo", [&](Trace &trace) {
        Input input(octets);
        ryxEchoOptions options;
        demand(ryxechoDefaults(&options) == ryxStsOk, "defaults");
        auto *const bytes = reinterpret_cast<uint8_t *>(&options);
        for (int changes = input.take<uint8_t>() % 4; changes > 0; changes--)
            bytes[input.take<uint8_t>() % sizeof options] = input.take<uint8_t>() % 64;
        int size = 0;
        const ryxStatus sized = ryxechoGetSize(&options, &size);
        demandStatus(sized, "echo size");
        if (sized < 0 || size > 1 << 24) return;
        std::vector<uint8_t> block(static_cast<size_t>(size));
        const ryxStatus made = ryxechoInit(block.data(), &options);
        demandStatus(made, "echo init");
        while (made >= 0 && !input.isEmpty()) {
            const size_t length = input.take<uint8_t>() + 1U;
            std::vector<int16_t> far(length), near(length), out(length);
            for (size_t i = 0; i < length; i++) {
                far[i] = i % 7 ? static_cast<int16_t>(far[i - 1] / 2) : input.take<int16_t>();
                near[i] = static_cast<int16_t>(far[i] / 3 + (i % 5 ? 0 : input.take<int8_t>()));
            }
            const ryxStatus status =
                ryxechoProcess(block.data(), far.data(), near.data(), out.data(), static_cast<int>(length));
            demandStatus(status, "echo");
            note(trace, &status, 1);
            note(trace, out.data(), length);
        }
    });
}

std::vector<Target> targets() {
    std::vector<Target> all = {{"calls", anyCalls, 0}, {"echo", echoCanceller, 0}};
    for (int i = 0; ryxcodecAt(i) != nullptr; i++) {
        all.push_back({std::string("decode-") + ryxcodecAt(i)->name, decoder, i});
        all.push_back({std::string("encode-") + ryxcodecAt(i)->name, encoder, i});
    }
    for (int i = 0; ryxcodecFormatAt(i) != nullptr; i++) {
        const std::string name = ryxcodecFormatAt(i)->name + std::string("-") + std::to_string(i);
        all.push_back({"read-" + name, reader, i});
        all.push_back({"pack-" + name, packer, i});
    }
    return all;
}

} // namespace ryxfuzz
