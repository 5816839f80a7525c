// SPDX-License-Identifier: BSD-2-Clause
// A complete G.722 codec: 16 kHz speech to a stream of octets and back.
#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lib/audio_file.h"
#include "lib/command_line.h"
#include "lib/failure.h"
#include "lib/input_file.h"
#include "lib/library_call.h"
#include "lib/output_file.h"
#include "lib/progress.h"
#include "lib/round_trip.h"
#include "ryxsc.h"

namespace {

constexpr int sampleRate = 16000;
constexpr size_t blockLength = 320; // 20 ms

// Transmit and receive QMF are linear-phase filters of 24 taps and delay by 23 samples together. One of them is saved
// because a pair of samples goes in at once and comes out at once.
constexpr size_t codecDelay = 22;

const ProgramDescription program = {
    "g722",
    "Usage: g722 encode IN.wav OUT.g722 [--mode 64|56|48]\n"
    "       g722 decode IN.g722 OUT.wav [--mode 64|56|48]\n"
    "       g722 roundtrip IN.wav OUT.wav [--mode 64|56|48]\n"
    "\n"
    "ITU-T G.722, 7 kHz speech at 64, 56 or 48 kbit/s. Input may be any audio file that\n"
    "libsndfile knows; it is mixed down to one channel and resampled to 16 kHz when it\n"
    "has to be. WAV output is 16-bit mono at 16 kHz.\n"
    "\n"
    "A stream has one octet for every two samples, without a header: the high-band code\n"
    "in the upper two bits, the low-band code in the lower six. An odd last sample is\n"
    "paired with a zero. At 56 and 48 kbit/s the lowest one or two bits of every octet\n"
    "are free for other data, so the stream keeps its size. The encoder sets them to\n"
    "zero, the decoder ignores them. The stream does not tell its mode, so give the\n"
    "decoder the encoder's.\n"
    "\n"
    "  --mode 64|56|48  kbit/s of speech (64)\n"
    "  --help           this text\n"
    "  --version        the library in use\n"
    "\n"
    "roundtrip also prints the segmental signal-to-noise ratio (20 ms segments above\n"
    "-50 dB of full scale, each limited to -10..35 dB, the codec's delay of 22 samples\n"
    "taken out) and the speed.\n",
    {"encode", "decode", "roundtrip"},
    {{"mode", {"64", "56", "48"}, {"encode", "decode", "roundtrip"}}},
};

struct Mode {
    int16_t decoderMode;
    uint8_t speechBits; // the bits of an octet that belong to the codes
};

Mode modeOf(const std::string &kilobits) {
    if (kilobits == "64") return {ryxG722Mode64k, 0xFF};
    if (kilobits == "56") return {ryxG722Mode56k, 0xFE};
    return {ryxG722Mode48k, 0xFC};
}

class Encoder {
public:
    explicit Encoder(Mode mode) : mode_(mode), state_(ryxsSBADPCMEncodeStateSize_G722_16s) {
        check(ryxsSBADPCMEncodeInit_G722_16s(state_));
    }

    // An even number of samples, at most a block, becomes half as many octets.
    void encode(std::span<const int16_t> speech, std::span<uint8_t> octets) {
        std::array<int16_t, blockLength> bands;
        std::array<int16_t, blockLength> codes;
        const auto length = static_cast<int>(speech.size());
        check(ryxsQMFEncode_G722_16s(speech.data(), bands.data(), length, delayLine_.data()));
        check(ryxsSBADPCMEncode_G722_16s(bands.data(), codes.data(), length, state_));
        for (size_t j = 0; j < octets.size(); j++)
            octets[j] = static_cast<uint8_t>((codes[2 * j + 1] << 6 | codes[2 * j]) & mode_.speechBits);
    }

private:
    Mode mode_;
    StateBlock<SBADPCMState_G722> state_;
    std::array<int16_t, 24> delayLine_ = {};
};

class Decoder {
public:
    explicit Decoder(Mode mode) : mode_(mode), state_(ryxsSBADPCMDecodeStateSize_G722_16s) {
        check(ryxsSBADPCMDecodeInit_G722_16s(state_));
    }

    // Octets, at most half a block, become twice as many samples.
    void decode(std::span<const uint8_t> octets, std::span<int16_t> speech) {
        std::array<int16_t, blockLength> codes;
        std::array<int16_t, blockLength> bands;
        const auto length = static_cast<int>(speech.size());
        for (size_t j = 0; j < octets.size(); j++) {
            codes[2 * j] = octets[j] & 0x3F;
            codes[2 * j + 1] = static_cast<int16_t>(octets[j] >> 6);
        }
        check(ryxsSBADPCMDecode_G722_16s(codes.data(), bands.data(), length, mode_.decoderMode, state_));
        check(ryxsQMFDecode_G722_16s(bands.data(), speech.data(), length, delayLine_.data()));
    }

private:
    Mode mode_;
    StateBlock<SBADPCMState_G722> state_;
    std::array<int16_t, 24> delayLine_ = {};
};

std::vector<uint8_t> encodeAll(std::vector<int16_t> speech, Mode mode) {
    if (speech.size() % 2 != 0) speech.push_back(0);
    std::vector<uint8_t> octets(speech.size() / 2);
    Encoder encoder(mode);
    Progress progress("encoding", speech.size());
    for (size_t start = 0; start < speech.size(); start += blockLength) {
        const size_t length = std::min(blockLength, speech.size() - start);
        encoder.encode({&speech[start], length}, {&octets[start / 2], length / 2});
        progress.update(start + length);
    }
    return octets;
}

std::vector<int16_t> decodeAll(const std::vector<uint8_t> &octets, Mode mode) {
    std::vector<int16_t> speech(2 * octets.size());
    Decoder decoder(mode);
    Progress progress("decoding", speech.size());
    for (size_t start = 0; start < speech.size(); start += blockLength) {
        const size_t length = std::min(blockLength, speech.size() - start);
        decoder.decode({&octets[start / 2], length / 2}, {&speech[start], length});
        progress.update(start + length);
    }
    return speech;
}

// The decoded speech gets the length of the original: a padded sample does not come back.
void roundTrip(const Audio &original, OutputFile &output, Mode mode, const std::string &kilobits) {
    Stopwatch stopwatch;
    const std::vector<uint8_t> octets = encodeAll(original.samples, mode);
    const double encodingSeconds = stopwatch.lap();
    Audio decoded = {sampleRate, decodeAll(octets, mode)};
    const double decodingSeconds = stopwatch.lap();
    decoded.samples.resize(original.samples.size());
    writeMono(output, decoded);
    output.commit();
    printSummary({kilobits, codecDelay, encodingSeconds, decodingSeconds}, original, decoded);
}

int run(int argc, char **argv) {
    const std::optional<CommandLine> line = parseCommandLine(program, argc, argv);
    if (!line) return 0;
    const std::string &kilobits = line->values.at("mode");
    const Mode mode = modeOf(kilobits);

    const std::filesystem::path &source = line->files[0], &target = line->files[1];
    requireDifferentFiles(source, target);
    OutputFile output(target);
    if (line->command == "encode") {
        output.write(encodeAll(readMono(source, sampleRate).samples, mode));
        output.commit();
    } else if (line->command == "decode") {
        writeMono(output, {sampleRate, decodeAll(readStream(source, "G.722 stream"), mode)});
        output.commit();
    } else {
        roundTrip(readMono(source, sampleRate), output, mode, kilobits);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram(program.name, argc, argv, run);
}
