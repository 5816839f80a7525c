// SPDX-License-Identifier: BSD-2-Clause
// What the programs make of good input.
#include <cctype>
#include <string>
#include <vector>

#include "lib/library_call.h"
#include "program_test.h"
#include "ryxsc.h"

namespace {

using G722Program = ProgramTest;
using G726Program = ProgramTest;

// Numbers bit k of a stream in the order of the packing: within an octet from the lowest (RFC 3551) or from the highest
// (AAL2); bits of a code follow each other upwards or downwards likewise.
std::vector<uint8_t> codesOf(const std::vector<uint8_t> &stream, int bits, bool highFirst) {
    std::vector<uint8_t> codes(stream.size() * 8 / static_cast<size_t>(bits));
    for (size_t k = 0; k < codes.size() * static_cast<size_t>(bits); k++) {
        const size_t place = highFirst ? 7 - k % 8 : k % 8;
        const size_t width = static_cast<size_t>(bits), weight = highFirst ? width - 1 - k % width : k % width;
        codes[k / width] = static_cast<uint8_t>(codes[k / width] | (stream[k / 8] >> place & 1) << weight);
    }
    return codes;
}

TEST_F(G722Program, RoundTripEqualsEncodingThenDecodingInEveryMode) {
    for (const std::string mode : {"64", "56", "48"}) {
        SCOPED_TRACE(mode);
        const std::string option = " --mode " + mode;
        runWell("ryxcodec encode --codec g722 '" + speech + "' stream" + option);
        runWell("ryxcodec decode --codec g722 stream decoded.wav" + option);
        runWell("ryxcodec roundtrip --codec g722 '" + speech + "' roundtrip.wav" + option);
        EXPECT_EQ(octets("stream").size(), readMono(speech, 16000).samples.size() / 2);
        EXPECT_EQ(octets("decoded.wav"), octets("roundtrip.wav"));
        const int freeBits = mode == "64" ? 0 : mode == "56" ? 1 : 3;
        for (const uint8_t octet : octets("stream"))
            ASSERT_EQ(octet & freeBits, 0);
    }
}

TEST_F(G722Program, DecodesALowerModeWhateverTheFreeBitsCarry) {
    runWell("ryxcodec encode --codec g722 '" + speech + "' 64");
    for (const std::string mode : {"56", "48"}) {
        runWell("ryxcodec encode --codec g722 '" + speech + "' stream --mode " + mode +
                " && ryxcodec decode --codec g722 stream a.wav --mode " + mode);
        runWell("ryxcodec decode --codec g722 64 b.wav --mode " + mode);
        EXPECT_EQ(octets("a.wav"), octets("b.wav"));
    }
}

TEST_F(G722Program, PairsAnOddLastSampleWithAZero) {
    for (const size_t count : {1U, 2U, 319U, 320U, 321U}) {
        std::vector<int16_t> samples(count);
        samples.back() = 30000; // loud, as the filters give little weight to the end
        writeMono(file("in.wav"), {16000, samples});
        runWell("ryxcodec encode --codec g722 in.wav a && ryxcodec decode --codec g722 a a.wav && ryxcodec roundtrip "
                "--codec g722 in.wav roundtrip.wav");
        std::vector<int16_t> decoded = this->samples("a.wav", 16000);
        EXPECT_EQ(decoded.size(), (count + 1) / 2 * 2);
        decoded.resize(count);
        EXPECT_EQ(decoded, this->samples("roundtrip.wav", 16000));
        samples.resize((count + 1) / 2 * 2);
        writeMono(file("in.wav"), {16000, samples});
        runWell("ryxcodec encode --codec g722 in.wav b");
        EXPECT_EQ(octets("a"), octets("b"));
    }
}

struct Rate {
    std::string kilobits;
    int number;
    int bits;
};

const Rate rates[] = {
    {"16", ryxG726Rate16k, 2}, {"24", ryxG726Rate24k, 3}, {"32", ryxG726Rate32k, 4}, {"40", ryxG726Rate40k, 5}};

TEST_F(G726Program, RoundTripEqualsEncodingThenDecodingForEveryRatePackingAndLaw) {
    writeMono(file("in.wav"), readMono(speech, 8000));
    for (const Rate &rate : rates)
        for (const std::string packing : {" --packing rfc3551", " --packing aal2"})
            for (const std::string law : {" --law linear", " --law alaw", " --law mulaw"}) {
                SCOPED_TRACE(rate.kilobits + packing + law);
                const std::string options = " --rate " + rate.kilobits + packing;
                runWell("ryxcodec encode --codec g726 in.wav stream" + options);
                runWell("ryxcodec decode --codec g726 stream decoded.wav" + options + law);
                runWell("ryxcodec roundtrip --codec g726 in.wav roundtrip.wav" + options + law);
                EXPECT_EQ(octets("decoded.wav"), octets("roundtrip.wav"));
            }
}

TEST_F(G726Program, PacksTheSameCodesInBothOrdersAndFillsTheLastOctetWithZeros) {
    const std::vector<int16_t> all = readMono(speech, 8000).samples;
    for (const size_t count : {1U, 2U, 3U, 5U, 7U, 8U, 159U, 160U, 161U}) {
        writeMono(file("in.wav"),
                  {8000, {all.begin() + 9000, all.begin() + 9000 + static_cast<std::ptrdiff_t>(count)}});
        for (const Rate &rate : rates) {
            SCOPED_TRACE(rate.kilobits + " kbit/s, " + std::to_string(count) + " samples");
            runWell("ryxcodec encode --codec g726 in.wav low --rate " + rate.kilobits);
            runWell("ryxcodec encode --codec g726 in.wav high --packing aal2 --rate " + rate.kilobits);
            runWell("ryxcodec decode --codec g726 low out.wav --rate " + rate.kilobits);
            const std::vector<uint8_t> codes = codesOf(octets("low"), rate.bits, false);
            EXPECT_EQ(octets("low").size(), (count * static_cast<size_t>(rate.bits) + 7) / 8);
            EXPECT_EQ(codes, codesOf(octets("high"), rate.bits, true));
            EXPECT_EQ(samples("out.wav", 8000).size(), codes.size());
            runWell("ryxcodec roundtrip --codec g726 in.wav out.wav --rate " + rate.kilobits);
            EXPECT_EQ(samples("out.wav", 8000).size(), count);
            for (size_t i = count; i < codes.size(); i++)
                EXPECT_EQ(codes[i], 0);
        }
    }
}

// The octets of a companded WAV file stand at its end; their number is even here.
TEST_F(G726Program, WritesTheDecodersOwnOctetsIntoCompandedFiles) {
    runWell("ryxcodec encode --codec g726 '" + speech + "' stream");
    const std::vector<uint8_t> codes = codesOf(octets("stream"), 4, false);
    for (const auto &[name, law] : {std::pair("alaw", ryxG726ALaw), std::pair("mulaw", ryxG726MuLaw)}) {
        runWell(std::string("ryxcodec decode --codec g726 stream out.wav --law ") + name);
        StateBlock<DecoderState_G726> state(ryxsDecodeGetStateSize_G726_8u16s);
        std::vector<int16_t> wanted(codes.size());
        ASSERT_EQ(ryxsDecodeInit_G726_8u16s(state, ryxG726Rate32k, law), ryxStsOk);
        ASSERT_EQ(ryxsDecode_G726_8u16s(state, codes.data(), wanted.data(), static_cast<int>(codes.size())), ryxStsOk);
        const std::vector<uint8_t> wav = octets("out.wav");
        ASSERT_GT(wav.size(), wanted.size());
        EXPECT_EQ(wav[20], law == ryxG726ALaw ? 6 : 7); // the WAV format of the law
        EXPECT_EQ(std::vector<int16_t>(wav.end() - static_cast<std::ptrdiff_t>(wanted.size()), wav.end()), wanted);
    }
}

// The speech is far above these floors. A broken delay, law, scaling or sign falls far below.
TEST_F(G726Program, AndG722ReportAPlausibleSignalToNoiseRatio) {
    const std::pair<std::string, double> table[] = {
        {"ryxcodec roundtrip --codec g722 IN out --mode 64", 25},
        {"ryxcodec roundtrip --codec g722 IN out --mode 48", 20},
        {"ryxcodec roundtrip --codec g726 IN out --rate 16", 12},
        {"ryxcodec roundtrip --codec g726 IN out --rate 40 --law alaw", 25},
        {"ryxcodec roundtrip --codec g726 IN out --law mulaw", 20},
        {"ryxcodec roundtrip --codec g726 IN out --law linear", 20},
    };
    for (auto [command, least] : table) {
        command.replace(command.find("IN"), 2, "'" + speech + "'");
        const std::string output = run(command).output;
        const size_t place = output.find("segmental SNR ");
        ASSERT_NE(place, std::string::npos) << command << ": " << output;
        EXPECT_GT(std::stod(output.substr(place + 14)), least) << command << ": " << output;
    }
}

// What a name leaves open, the first octets or the codec without its annex tell.
TEST_F(ProgramTest, RyxcodecTakesStreamsWhoseNamesDoNotTellAll) {
    runWell("ryxcodec encode '" + speech + "' wide.amr --codec amr-wb && ryxcodec encode '" + speech + "' wide.awb");
    runWell("ryxcodec decode wide.amr a.pcm && ryxcodec decode wide.awb b.pcm && cmp a.pcm b.pcm");
    runWell("mv wide.awb unnamed && ryxcodec decode unnamed c.pcm && cmp a.pcm c.pcm");
    runWell("ryxcodec encode '" + speech +
            "' s.g7221 --sample-rate 32000 && ryxcodec info s.g7221 --sample-rate 32000");
    runWell("ryxcodec encode '" + speech + "' s.g729 && ryxcodec decode s.g729 d.pcm");
    EXPECT_NE(run("ryxcodec decode wide.amr a.pcm --codec gsm-amr").exitCode, 0);
}

} // namespace
