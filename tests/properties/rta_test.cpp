// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using Samples = std::vector<float>;
constexpr size_t length = 16000;

Samples speech() {
    const std::vector<int16_t> words = signals::speech();
    return Samples(words.begin() + 8000, words.begin() + 8000 + length);
}

template <class Work> void inBlocks(unsigned seed, size_t total, size_t unit, size_t longest, Work work) {
    std::mt19937 random(seed);
    size_t done = 0;
    for (const size_t block : signals::randomBlocks(total, unit, longest, random)) {
        ASSERT_EQ(work(done, static_cast<int>(block)), ryxStsOk);
        done += block;
    }
}

// Through the filter bank in blocks of two cuttings, the longest ones given.
Samples splitAndJoin(const Samples &input, int taps, unsigned seed, size_t longest) {
    unsigned char blocks[2][208 + 1];
    auto *const analysis = reinterpret_cast<QMFState_RTA *>(blocks[0] + 1); // any address will do
    auto *const synthesis = reinterpret_cast<QMFState_RTA *>(blocks[1]);
    ryxsQMFInit_RTA_32f(analysis, taps);
    ryxsQMFInit_RTA_32f(synthesis, taps);
    Samples low(length / 2), high(length / 2), output(length);
    inBlocks(seed, length, 2, longest, [&](size_t i, int len) {
        return ryxsQMFEncode_RTA_32f(&input[i], len, &low[i / 2], &high[i / 2], analysis);
    });
    inBlocks(seed + 1, length / 2, 1, longest / 2, [&](size_t i, int len) {
        return ryxsQMFDecode_RTA_32f(&low[i], &high[i], len, &output[2 * i], synthesis);
    });
    return output;
}

TEST(QmfRta, GivesTheSignalBackInAnyBlocks) {
    const Samples input = speech();
    for (const auto &[taps, leastSnr] : {std::pair(24, 68.0), std::pair(48, 76.0)}) {
        const Samples output = splitAndJoin(input, taps, 1, 640);
        ASSERT_EQ(output, splitAndJoin(input, taps, 2, 640));
        ASSERT_EQ(output, splitAndJoin(input, taps, 3, 20));
        double signal = 0, noise = 0;
        for (size_t i = static_cast<size_t>(taps); i < length; i++) {
            const double x = input[i - static_cast<size_t>(taps)];
            signal += x * x;
            noise += std::pow(output[i] - x, 2);
        }
        EXPECT_GT(10 * std::log10(signal / noise), leastSnr) << taps;
    }
}

TEST(HighPassFilterRta, GivesTheSameInAnyBlocksAndInPlace) {
    const Samples input = speech();
    for (const int rate : {8000, 16000, 22050, 32000})
        for (const int order : {4, 5}) {
            if (rate == 8000 && order == 4) continue;
            SCOPED_TRACE(std::to_string(rate) + " Hz, order " + std::to_string(order));
            float memories[2][6] = {};
            Samples whole(length), inPlace = input;
            ASSERT_EQ(ryxsHighPassFilter_RTA_32f(input.data(), whole.data(), length, order, rate, memories[0]), 0);
            inBlocks(4, length, 1, 500, [&](size_t i, int len) {
                return ryxsHighPassFilter_RTA_32f(&inPlace[i], &inPlace[i], len, order, rate, memories[1]);
            });
            ASSERT_EQ(whole, inPlace);
            ASSERT_TRUE(std::equal(memories[0], memories[0] + 6, memories[1]));
        }
}

TEST(LevinsonRta, StopsAtWhatIsNoNumber) {
    float lpc[2] = {7, 7}, reflection[2] = {7, 7};
    const float nothing[] = {NAN, 1, 1}, first[] = {4, NAN, 1}, second[] = {4, 1, NAN};
    EXPECT_EQ(ryxsLevinsonDurbin_RTA_32f(nothing, lpc, reflection, 2), ryxStsOverflow);
    EXPECT_EQ(reflection[0], 7);
    EXPECT_EQ(ryxsLevinsonDurbin_RTA_32f(first, lpc, reflection, 2), ryxStsOverflow);
    EXPECT_EQ(lpc[0], 7);
    EXPECT_EQ(ryxsLevinsonDurbin_RTA_32f(second, lpc, reflection, 2), ryxStsOverflow);
    EXPECT_EQ(lpc[0], -0.25F);
    EXPECT_EQ(lpc[1], 7);
}

} // namespace
