// SPDX-License-Identifier: BSD-2-Clause
#include "reference/g7221.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using reference::g7221::Words;

// Frames of nasty signals as they are, where sums reach their limits, and scaled to where they do not.
template <class Check> void forFrames(size_t length, Check check) {
    for (const auto &[name, samples] : signals::nasty(8 * length, 5)) {
        SCOPED_TRACE(name);
        for (size_t i = 0; i < samples.size(); i += length)
            for (const int shift : {0, 1, 3}) {
                Words frame(samples.begin() + static_cast<int>(i), samples.begin() + static_cast<int>(i + length));
                for (auto &x : frame)
                    x = static_cast<int16_t>(x >> shift);
                check(frame);
            }
    }
}

TEST(G7221, TransformsEqualThePlainFormAlsoInPlace) {
    for (const size_t length : {size_t{320}, size_t{640}})
        forFrames(length, [length](const Words &frame) {
            const int len = static_cast<int>(length);
            Words out(length), inPlace = frame;
            ASSERT_EQ(ryxsDCTFwd_G7221_16s(frame.data(), out.data(), len), ryxStsOk);
            ASSERT_EQ(out, reference::g7221::dctAnalysis(frame));
            ASSERT_EQ(ryxsDCTInv_G7221_16s(frame.data(), out.data(), len), ryxStsOk);
            ASSERT_EQ(out, reference::g7221::dctSynthesis(frame));
            ASSERT_EQ(ryxsDCTInv_G7221_16s(inPlace.data(), inPlace.data(), len), ryxStsOk);
            ASSERT_EQ(inPlace, out);
        });
}

// Signs that make each sum of a core's products as large as it can be, in single blocks and in all of them: the only way
// into the limits of the analysis.
TEST(G7221, TransformsLimitSumsLikeThePlainForm) {
    std::mt19937 random(7);
    for (const size_t length : {size_t{320}, size_t{640}})
        for (int round = 0; round < 400; round++) {
            Words spectrum(length);
            for (size_t i = 0; i < length; i++)
                spectrum[i] = i % (length / 10) == random() % 4 ? static_cast<int16_t>(random() % 65536) : int16_t{0};
            // What analysis turns into few large values is what concentrates in few blocks.
            Words signal = reference::g7221::dctSynthesis(spectrum), out(length);
            if (round % 2 != 0)
                for (auto &x : signal)
                    x = x < 0 ? int16_t{-32768} : int16_t{32767};
            ASSERT_EQ(ryxsDCTFwd_G7221_16s(signal.data(), out.data(), static_cast<int>(length)), ryxStsOk);
            ASSERT_EQ(out, reference::g7221::dctAnalysis(signal));
            ASSERT_EQ(ryxsDCTInv_G7221_16s(signal.data(), out.data(), static_cast<int>(length)), ryxStsOk);
            ASSERT_EQ(out, reference::g7221::dctSynthesis(signal));
        }
}

TEST(G7221, CategorisationEqualsThePlainForm) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; round++) {
        const int regions = random() % 2 == 0 ? 14 : 28;
        // Indices of a frame, of steps between frames' loudest and faintest, and beyond what is coded.
        const int range = std::array{3, 12, 40, 60}[random() % 4];
        Words index(static_cast<size_t>(regions)), categories(index.size()), balances(regions == 14 ? 15 : 31);
        const int base = static_cast<int>(random() % 25) - 5;
        for (auto &x : index) {
            x = static_cast<int16_t>(base + static_cast<int>(random()) % range);
            if (range <= 40) x = std::clamp<int16_t>(x, -15, 24);
        }
        const int bits = 89 + static_cast<int>(random() % (regions == 14 ? 542 : 838)); // no frame leaves fewer
        const ryxStatus status =
            ryxsCategorize_G7221_16s(index.data(), regions, bits, categories.data(), balances.data());
        if (range > 40 && status == ryxStsBadIndex) continue;
        ASSERT_EQ(status, ryxStsOk);
        const auto expected = reference::g7221::categorise(index, bits);
        ASSERT_EQ(categories, expected.categories);
        ASSERT_EQ(balances, expected.balances);
    }
}

TEST(G7221, QuantiserEqualsThePlainForm) {
    std::mt19937 random(2);
    for (int round = 0; round < 20000; round++) {
        int16_t region[20], vectors[10];
        const int shift = static_cast<int>(random() % 16);
        for (auto &x : region)
            x = static_cast<int16_t>(static_cast<int16_t>(random()) >> shift);
        if (round % 50 == 0) region[random() % 20] = -32768;
        const int category = static_cast<int>(random() % 7), index = static_cast<int>(random() % 41);
        int bits = 0;
        ASSERT_EQ(ryxsQuantRegion_G7221_16s(region, category, index, vectors, &bits), ryxStsOk);
        const auto expected = reference::g7221::quantiseRegion(region, category, index);
        ASSERT_EQ(Words(vectors, vectors + 10), expected.vectors);
        ASSERT_EQ(bits, expected.bits);
    }
}

// Whatever is quantised decodes to the same bins and signs, and takes as many bits as were counted.
TEST(G7221, CodesOfAllVectorsDecode) {
    std::mt19937 random(3);
    for (int round = 0; round < 5000; round++) {
        int16_t coefficients[280], vectors[140], categories[14];
        Words deviation(14, 1000), decoded(280);
        for (auto &x : coefficients)
            x = static_cast<int16_t>(static_cast<int16_t>(random()) >> (3 + random() % 12));
        const auto category = static_cast<int16_t>(random() % 7);
        std::fill_n(categories, 14, int16_t{7});
        for (int r = 0; r < 3; r++)
            categories[r] = category;
        int expectedBits = 0;
        for (int r = 0; r < 3; r++) {
            int bits = 0;
            ryxsQuantRegion_G7221_16s(coefficients + 20 * r, category, 24, vectors + 10 * r, &bits);
            expectedBits += bits;
        }
        uint32_t codes[140];
        uint8_t lengths[140], frame[60] = {};
        int count = 0, position = 0, left = 0;
        ASSERT_EQ(ryxsHuffmanEncode_G7221_16s32u(coefficients, vectors, categories, 14, codes, lengths, &count),
                  ryxStsOk);
        ASSERT_EQ(std::accumulate(lengths, lengths + count, 0), expectedBits);
        if (expectedBits > 480) continue;
        for (int i = 0; i < count; i++)
            for (int bit = lengths[i] - 1; bit >= 0; bit--, position++)
                frame[position / 8] |= static_cast<uint8_t>((codes[i] >> bit & 1) << (7 - position % 8));
        position = 0;
        ASSERT_EQ(ryxsHuffmanDecode_G7221_8u16s(frame, 480, deviation.data(), 14, decoded.data(), categories, &position,
                                                &left),
                  ryxStsOk);
        ASSERT_EQ(position, expectedBits);
        ASSERT_EQ(left, 480 - expectedBits);
        // A code shared by several vectors may lose magnitude, never a sign.
        for (size_t i = 0; i < 60; i++)
            ASSERT_TRUE(decoded[i] == 0 || (decoded[i] > 0) == (coefficients[i] > 0)) << i;
    }
}

} // namespace
