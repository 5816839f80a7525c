// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cfenv>
#include <cstring>

#include "g726/companding.h"
#include "harness/signals.h"
#include "reference/g726.h"
#include "ryxsc.h"

namespace {

using reference::g726::Law;
constexpr size_t length = 6000;

template <int bits> constexpr int rate = bits == 2 ? 17 : bits + 19;

struct Encoder {
    alignas(16) unsigned char bytes[88 + 16];
    size_t offset;

    Encoder(size_t distance, int rateCode) : offset(distance % 16) { ryxsEncodeInit_G726_16s8u(get(), rateCode); }
    EncoderState_G726 *get() { return reinterpret_cast<EncoderState_G726 *>(bytes + offset); }
};

struct Decoder {
    alignas(16) unsigned char bytes[92 + 16];
    size_t offset;

    Decoder(size_t distance, int rateCode, int law) : offset(distance % 16) {
        ryxsDecodeInit_G726_8u16s(get(), rateCode, law);
    }
    DecoderState_G726 *get() { return reinterpret_cast<DecoderState_G726 *>(bytes + offset); }
};

// Codes the whole input in random blocks.
template <class Output, class Input, class Function>
std::vector<Output> inBlocks(const std::vector<Input> &input, unsigned seed, Function function) {
    std::vector<Output> output(input.size());
    std::mt19937 random(seed);
    size_t done = 0;
    for (const size_t block : signals::randomBlocks(input.size(), 1, 500, random)) {
        EXPECT_EQ(function(&input[done], &output[done], static_cast<int>(block)), ryxStsOk);
        done += block;
    }
    return output;
}

std::vector<uint8_t> encode(Encoder &encoder, const std::vector<int16_t> &input, unsigned seed) {
    return inBlocks<uint8_t>(input, seed, [&](const int16_t *src, uint8_t *dst, int len) {
        return ryxsEncode_G726_16s8u(encoder.get(), src, dst, len);
    });
}

std::vector<int16_t> decode(Decoder &decoder, const std::vector<uint8_t> &codes, unsigned seed) {
    return inBlocks<int16_t>(codes, seed, [&](const uint8_t *src, int16_t *dst, int len) {
        return ryxsDecode_G726_8u16s(decoder.get(), src, dst, len);
    });
}

template <int bits> void compareDecoders(const std::vector<uint8_t> &codes, unsigned seed) {
    for (const Law law : {Law::mu, Law::a, Law::linear}) {
        Decoder decoder(seed, rate<bits>, static_cast<int>(law));
        reference::g726::Codec<bits> plain;
        std::vector<int16_t> expected;
        for (const uint8_t code : codes)
            expected.push_back(static_cast<int16_t>(plain.decode(code, law)));
        ASSERT_EQ(decode(decoder, codes, seed), expected) << bits << " bits, law " << static_cast<int>(law);
    }
}

template <int bits> void compareCodecs(const std::vector<int16_t> &input, unsigned seed) {
    Encoder encoder(seed, rate<bits>);
    const std::vector<uint8_t> codes = encode(encoder, input, seed);
    reference::g726::Codec<bits> plain;
    for (size_t i = 0; i < input.size(); i++)
        ASSERT_EQ(codes[i], plain.encode(input[i])) << bits << " bits, sample " << i;
    compareDecoders<bits>(codes, seed);

    // Behind the scratch words and pk0, encoder and decoder have gone through the same states.
    Decoder decoder(seed, rate<bits>, 2);
    decode(decoder, codes, seed + 1);
    EXPECT_EQ(std::memcmp(encoder.bytes + encoder.offset + 18, decoder.bytes + decoder.offset + 18, 68), 0);
}

TEST(G726, CodecEqualsThePlainFormInAnyBlocks) {
    for (unsigned seed = 1; auto &[name, input] : signals::nasty(length, 21)) {
        SCOPED_TRACE(name);
        for (const int shift : {2, 0}) { // the 14-bit range, and values beyond it
            for (int16_t &sample : input)
                sample = static_cast<int16_t>(sample >> shift);
            compareCodecs<2>(input, ++seed);
            compareCodecs<3>(input, ++seed);
            compareCodecs<4>(input, ++seed);
            compareCodecs<5>(input, ++seed);
        }
    }
}

TEST(G726, ArbitraryCodesDecodeAsInThePlainForm) {
    std::mt19937 random(22);
    for (unsigned trial = 0; trial < 25; trial++) {
        std::vector<uint8_t> codes;
        while (codes.size() < length) // runs of one code overflow the reconstruction and wrap the zero predictor
            codes.insert(codes.end(), random() % (trial < 15 ? 400 : 3) + 1, static_cast<uint8_t>(random()));
        compareDecoders<2>(codes, trial);
        compareDecoders<3>(codes, trial);
        compareDecoders<4>(codes, trial);
        compareDecoders<5>(codes, trial);
    }
}

TEST(G726, RoundingModeOfTheProcessorHasNoSay) {
    const std::vector<int16_t> input = signals::nasty(length, 23)[0].samples;
    Encoder nearest(0, rate<5>), upward(0, rate<5>);
    const std::vector<uint8_t> expected = encode(nearest, input, 1);
    std::fesetround(FE_UPWARD);
    const std::vector<uint8_t> codes = encode(upward, input, 1);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(codes, expected);
}

template <class Law> void checkLine(int negativeZero) {
    int previous = -8193;
    for (int rank = 0; rank < 256; rank++) {
        const int octet = ryxsc::g726::ranked(rank) ^ Law::inversion;
        const int value = Law::expand(octet);
        EXPECT_GT(value, previous - (octet == negativeZero || rank == 128));
        if (octet != negativeZero) {
            EXPECT_EQ(Law::compress(value), octet);
        }
        EXPECT_EQ(Law::stepped(octet, 0), octet);
        previous = value;
    }
}

TEST(G726, OctetsStandInTheOrderOfTheirValues) {
    checkLine<ryxsc::g726::ALaw>(-1);
    checkLine<ryxsc::g726::MuLaw>(127);
}

} // namespace
