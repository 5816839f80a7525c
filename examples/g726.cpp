// SPDX-License-Identifier: BSD-2-Clause
// A complete G.726 codec: 8 kHz speech to packed ADPCM codes and back.
#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lib/audio_file.h"
#include "lib/code_packing.h"
#include "lib/command_line.h"
#include "lib/failure.h"
#include "lib/input_file.h"
#include "lib/library_call.h"
#include "lib/output_file.h"
#include "lib/progress.h"
#include "lib/round_trip.h"
#include "ryxsc.h"

namespace {

constexpr int sampleRate = 8000;
constexpr size_t blockLength = 160; // 20 ms

const ProgramDescription program = {
    "g726",
    "Usage: g726 encode IN.wav OUT.g726 [--rate 16|24|32|40] [--packing rfc3551|aal2]\n"
    "       g726 decode IN.g726 OUT.wav [--rate ...] [--packing ...]\n"
    "                                   [--law linear|alaw|mulaw]\n"
    "       g726 roundtrip IN.wav OUT.wav [--rate ...] [--packing ...] [--law ...]\n"
    "\n"
    "ITU-T G.726, ADPCM of telephone speech at 16, 24, 32 or 40 kbit/s. Input may be any\n"
    "audio file that libsndfile knows; it is mixed down to one channel and resampled to\n"
    "8 kHz when it has to be. The codec works on 14 bits: the lowest two of 16 are dropped\n"
    "on the way in and zero on the way out.\n"
    "\n"
    "A stream has one code of 2, 3, 4 or 5 bits for every sample, without gaps and without\n"
    "a header; the last octet is filled with zero bits. A decoder cannot tell these bits\n"
    "from codes, so up to three samples may follow the original end. The stream tells\n"
    "neither rate nor packing: give the decoder the encoder's.\n"
    "\n"
    "  --rate 16|24|32|40       kbit/s (32)\n"
    "  --packing rfc3551|aal2   rfc3551: the first code in the least significant bits, as\n"
    "                           RTP has it (default); aal2: in the most significant bits,\n"
    "                           as ITU-T I.366.2 has it\n"
    "  --law linear|alaw|mulaw  output of the decoder: 16-bit WAV (linear, the default) or\n"
    "                           its G.711 octets as they are, in a WAV file of that law\n"
    "  --help                   this text\n"
    "  --version                the library in use\n"
    "\n"
    "roundtrip also prints the segmental signal-to-noise ratio (20 ms segments above -50 dB\n"
    "of full scale, each limited to -10..35 dB) and the speed.\n",
    {"encode", "decode", "roundtrip"},
    {{"rate", {"32", "16", "24", "40"}, {"encode", "decode", "roundtrip"}},
     {"packing", {"rfc3551", "aal2"}, {"encode", "decode", "roundtrip"}},
     {"law", {"linear", "alaw", "mulaw"}, {"decode", "roundtrip"}}},
};

// Everything that encoder and decoder have to agree on.
struct Format {
    int rate; // as the library numbers it
    int bitsPerCode;
    BitOrder order;
};

Format formatOf(const CommandLine &line) {
    const std::string &kilobits = line.values.at("rate");
    const BitOrder order =
        line.values.at("packing") == "aal2" ? BitOrder::mostSignificantFirst : BitOrder::leastSignificantFirst;
    if (kilobits == "16") return {ryxG726Rate16k, 2, order};
    if (kilobits == "24") return {ryxG726Rate24k, 3, order};
    if (kilobits == "32") return {ryxG726Rate32k, 4, order};
    return {ryxG726Rate40k, 5, order};
}

int lawOf(const CommandLine &line) {
    const std::string &law = line.values.at("law");
    return law == "alaw" ? ryxG726ALaw : law == "mulaw" ? ryxG726MuLaw : ryxG726Linear;
}

std::vector<uint8_t> encodeAll(const std::vector<int16_t> &speech, const Format &format) {
    StateBlock<EncoderState_G726> state(ryxsEncodeGetStateSize_G726_16s8u);
    check(ryxsEncodeInit_G726_16s8u(state, format.rate));
    std::vector<uint8_t> codes(speech.size());
    Progress progress("encoding", speech.size());
    for (size_t start = 0; start < speech.size(); start += blockLength) {
        const size_t length = std::min(blockLength, speech.size() - start);
        std::array<int16_t, blockLength> samples14;
        for (size_t i = 0; i < length; i++)
            samples14[i] = static_cast<int16_t>(speech[start + i] >> 2);
        check(ryxsEncode_G726_16s8u(state, samples14.data(), &codes[start], static_cast<int>(length)));
        progress.update(start + length);
    }
    return packCodes(codes, format.bitsPerCode, format.order);
}

// 14-bit linear samples or G.711 octets, one per element.
std::vector<int16_t> decodeAll(const std::vector<uint8_t> &stream, const Format &format, int law) {
    StateBlock<DecoderState_G726> state(ryxsDecodeGetStateSize_G726_8u16s);
    check(ryxsDecodeInit_G726_8u16s(state, format.rate, law));
    const std::vector<uint8_t> codes = unpackCodes(stream, format.bitsPerCode, format.order);
    std::vector<int16_t> values(codes.size());
    Progress progress("decoding", codes.size());
    for (size_t start = 0; start < codes.size(); start += blockLength) {
        const size_t length = std::min(blockLength, codes.size() - start);
        check(ryxsDecode_G726_8u16s(state, &codes[start], &values[start], static_cast<int>(length)));
        progress.update(start + length);
    }
    return values;
}

int16_t expandALaw(int octet) {
    const int code = octet ^ 0x55;
    const int segment = code >> 4 & 7;
    const int step = (code & 15) * 16 + 8;
    const int magnitude = segment == 0 ? step : (step + 256) << (segment - 1);
    return static_cast<int16_t>(code & 128 ? magnitude : -magnitude);
}

int16_t expandMuLaw(int octet) {
    const int code = ~octet;
    const int magnitude = (((code & 15) * 8 + 132) << (code >> 4 & 7)) - 132;
    return static_cast<int16_t>(code & 128 ? -magnitude : magnitude);
}

std::vector<int16_t> to16Bits(const std::vector<int16_t> &values, int law) {
    std::vector<int16_t> samples(values.size());
    std::transform(values.begin(), values.end(), samples.begin(), [law](int value) {
        if (law == ryxG726ALaw) return expandALaw(value);
        if (law == ryxG726MuLaw) return expandMuLaw(value);
        return static_cast<int16_t>(value * 4);
    });
    return samples;
}

// Linear samples are brought to 16 bits; G.711 octets go into the file as the decoder made them.
void writeDecoded(OutputFile &output, const std::vector<int16_t> &values, int law) {
    if (law == ryxG726Linear) {
        writeMono(output, {sampleRate, to16Bits(values, law)});
    } else {
        const CompandingLaw fileLaw = law == ryxG726ALaw ? CompandingLaw::aLaw : CompandingLaw::muLaw;
        writeCompandedMono(output, sampleRate, fileLaw, std::vector<uint8_t>(values.begin(), values.end()));
    }
    output.commit();
}

// The decoded speech gets the length of the original: what the filled last octet added is dropped.
void roundTrip(const Audio &original, OutputFile &output, const Format &format, int law, const std::string &kilobits) {
    Stopwatch stopwatch;
    const std::vector<uint8_t> stream = encodeAll(original.samples, format);
    const double encodingSeconds = stopwatch.lap();
    std::vector<int16_t> values = decodeAll(stream, format, law);
    const double decodingSeconds = stopwatch.lap();
    values.resize(original.samples.size());
    writeDecoded(output, values, law);
    printSummary({kilobits, 0, encodingSeconds, decodingSeconds}, original, {sampleRate, to16Bits(values, law)});
}

int run(int argc, char **argv) {
    const std::optional<CommandLine> line = parseCommandLine(program, argc, argv);
    if (!line) return 0;
    const Format format = formatOf(*line);
    const int law = lawOf(*line);

    const std::filesystem::path &source = line->files[0], &target = line->files[1];
    requireDifferentFiles(source, target);
    OutputFile output(target);
    if (line->command == "encode") {
        output.write(encodeAll(readMono(source, sampleRate).samples, format));
        output.commit();
    } else if (line->command == "decode") {
        writeDecoded(output, decodeAll(readStream(source, "G.726 stream"), format, law), law);
    } else {
        roundTrip(readMono(source, sampleRate), output, format, law, line->values.at("rate"));
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram(program.name, argc, argv, run);
}
