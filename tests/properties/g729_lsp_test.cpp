// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

#include "harness/signals.h"
#include "reference/g729_lsp.h"
#include "ryxsc.h"

namespace {

using reference::g729::Frame;
using reference::g729::Indices;
using Lsf = reference::g729::Lsf;
using History = reference::g729::LsfHistory;
using RealLsf = std::array<float, 10>;
using RealHistory = std::array<float, 40>;

constexpr Lsf startLsf = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};

History startHistory() {
    History history;
    for (size_t i = 0; i < history.size(); i++)
        history[i] = startLsf[i % 10];
    return history;
}

RealHistory realStartHistory() {
    RealHistory history;
    for (size_t i = 0; i < history.size(); i++)
        history[i] = static_cast<float>(i % 10 + 1) * 0.2855993F;
    return history;
}

// LSFs as a coder has them, often close together.
Lsf risingLsf(std::mt19937 &random) {
    Lsf lsf;
    const unsigned widest = random() % 4 ? 4500 : 1500;
    int value = static_cast<int>(random() % 2500);
    for (int16_t &f : lsf)
        f = static_cast<int16_t>(std::min(value += static_cast<int>(random() % widest), 25735));
    return lsf;
}

// check(lsf, history) with LSFs of coders and of the kind that fixed-point code breaks on.
void forFrames(unsigned seed, const std::function<void(const Lsf &, History &)> &check) {
    std::mt19937 random(seed);
    History history = startHistory();
    for (int i = 0; i < 3000; i++)
        check(risingLsf(random), history);
    for (const auto &[name, samples] : signals::nasty(12000, seed)) {
        SCOPED_TRACE(name);
        for (size_t i = 0; i + 50 <= samples.size(); i += 50) {
            Lsf lsf;
            std::copy_n(&samples[i], 10, lsf.begin());
            if (random() % 3 == 0) lsf = risingLsf(random);
            if (random() % 2) std::copy_n(&samples[i + 10], 40, history.begin());
            check(lsf, history);
        }
    }
}

uint32_t checksum(int rows, const std::function<int16_t(int, int)> &entry) {
    uint32_t sum = 2166136261U;
    for (int i = 0; i < 10 * rows; i++)
        sum = (sum ^ static_cast<uint16_t>(entry(i / 10, i % 10))) * 16777619U;
    return sum;
}

TEST(G729Lsp, NumbersGiveTheTablesOfTheRecommendation) {
    using namespace reference::g729;
    const auto taps = [](Frame frame) { return [=](int i, int j) { return tap(frame, i / 4, i % 4, j); }; };
    const auto gains = [](Frame frame) { return [=](int i, int j) { return gain(frame, i, j); }; };
    const auto inverses = [](Frame frame) { return [=](int i, int j) { return inverseGain(frame, i, j); }; };
    EXPECT_EQ(checksum(128, firstStage), 0x910d15c6U);
    EXPECT_EQ(checksum(32, secondStage), 0xffeaba0dU);
    EXPECT_EQ(checksum(8, taps(Frame::speech)), 0x8061ecdaU);
    EXPECT_EQ(checksum(2, gains(Frame::speech)), 0xe6acb961U);
    EXPECT_EQ(checksum(2, inverses(Frame::speech)), 0x3a703138U);
    EXPECT_EQ(checksum(8, taps(Frame::noise)), 0x7a42d396U);
    EXPECT_EQ(checksum(2, gains(Frame::noise)), 0x6676378eU);
    EXPECT_EQ(checksum(2, inverses(Frame::noise)), 0x7d1d0d45U);
}

TEST(G729Lsp, QuantisersEqualThePlainFormsAlsoInPlace) {
    forFrames(31, [](const Lsf &lsf, History &history) {
        History plainHistory = history, noiseHistory = history, plainNoiseHistory = history;
        Lsf quantised = lsf, plain, noise = lsf, plainNoise;
        Indices indices{}, noiseIndices{};
        ASSERT_EQ(ryxsLSFQuant_G729_16s(quantised.data(), history.data(), quantised.data(), indices.data()), 0);
        ASSERT_EQ(indices, reference::g729::quantise(lsf, plainHistory, plain));
        ASSERT_EQ(quantised, plain);
        ASSERT_EQ(history, plainHistory);
        ASSERT_EQ(ryxsLSFQuant_G729B_16s(noise.data(), noiseHistory.data(), noise.data(), noiseIndices.data()), 0);
        ASSERT_EQ(noiseIndices, reference::g729::quantiseNoise(lsf, plainNoiseHistory, plainNoise));
        ASSERT_EQ(noise, plainNoise);
        ASSERT_EQ(noiseHistory, plainNoiseHistory);
    });
}

TEST(G729Lsp, LspQuantisersAreTheirThreeStepsAlsoInPlace) {
    forFrames(32, [](const Lsf &input, History &history) {
        Lsf lsp, lsf, expected;
        Indices indices;
        History stepHistory = history, annexHistory = history;
        ryxsLSFToLSP_G729_16s(input.data(), lsp.data());
        ryxsLSPToLSF_G729_16s(lsp.data(), lsf.data());
        ryxsLSFQuant_G729_16s(lsf.data(), stepHistory.data(), lsf.data(), indices.data());
        ryxsLSFToLSP_G729_16s(lsf.data(), expected.data());

        Lsf annex = lsp;
        int16_t packed[2], annexPacked[2];
        ASSERT_EQ(ryxsLSPQuant_G729_16s(lsp.data(), history.data(), lsp.data(), packed), 0);
        ASSERT_EQ(ryxsLSPQuant_G729E_16s(annex.data(), annexHistory.data(), annex.data(), annexPacked), 0);
        ASSERT_EQ(lsp, expected);
        ASSERT_EQ(annex, expected);
        ASSERT_EQ(history, stepHistory);
        ASSERT_EQ(annexHistory, stepHistory);
        ASSERT_EQ(packed[0], indices[0] << 7 | indices[1]);
        ASSERT_EQ(packed[1], indices[2] << 5 | indices[3]);
        ASSERT_EQ(std::memcmp(packed, annexPacked, sizeof packed), 0);
    });
}

TEST(G729Lsp, DecodersEqualThePlainFormsForAllIndices) {
    History history = startHistory(), plainHistory = history;
    Lsf lsf, plain;
    for (unsigned code = 0; code < 1 << 18; code++) {
        const unsigned mixed = code * 0x9e35 & 0x3ffff; // every code once, unlike ones next to each other
        const auto field = [mixed](int shift, unsigned size) { return static_cast<int16_t>((mixed >> shift) % size); };
        const Indices indices = {field(17, 2), field(10, 128), field(5, 32), field(0, 32)};
        const int status = ryxsLSFDecode_G729_16s(indices.data(), history.data(), lsf.data());
        ASSERT_EQ(status, reference::g729::decode(Frame::speech, indices, plainHistory, plain));
        ASSERT_EQ(lsf, plain);
        if (code % 64 == 0) {
            const Indices noise = {field(17, 2), field(10, 32), field(6, 16)};
            const int noiseStatus = ryxsLSFDecode_G729B_16s(noise.data(), history.data(), lsf.data());
            ASSERT_EQ(noiseStatus, reference::g729::decode(Frame::noise, noise, plainHistory, plain));
            ASSERT_EQ(lsf, plain);
        }
        ASSERT_EQ(history, plainHistory);
    }
}

TEST(G729Lsp, DecodersEqualThePlainFormsFromAnyHistory) {
    std::mt19937 random(34);
    forFrames(33, [&random](const Lsf &lastGood, History &history) {
        const auto index = [&random](unsigned size) { return static_cast<int16_t>(random() % size); };
        const Indices indices = {index(2), index(128), index(32), index(32)}, noise = {index(2), index(32), index(16)};
        History plainHistory = history;
        Lsf lsf, plain;
        ASSERT_EQ(ryxsLSFDecodeErased_G729_16s(indices[0], history.data(), lastGood.data()), 0);
        reference::g729::erase(indices[0], plainHistory, lastGood);
        ASSERT_EQ(history, plainHistory);
        ASSERT_EQ(ryxsLSFDecode_G729B_16s(noise.data(), history.data(), lsf.data()),
                  reference::g729::decode(Frame::noise, noise, plainHistory, plain));
        ASSERT_EQ(lsf, plain);
        ASSERT_EQ(ryxsLSFDecode_G729_16s(indices.data(), history.data(), lsf.data()),
                  reference::g729::decode(Frame::speech, indices, plainHistory, plain));
        ASSERT_EQ(lsf, plain);
        ASSERT_EQ(history, plainHistory);
    });
}

TEST(G729Lsp, FloatSearchesFindWhatDoublePrecisionFinds) {
    std::mt19937 random(35);
    RealHistory history = realStartHistory(), noiseHistory = history;
    for (int i = 0; i < 4000; i++) {
        RealLsf lsf, lsp, decoded;
        const Lsf rising = risingLsf(random);
        for (size_t j = 0; j < lsf.size(); j++) {
            lsp[j] = std::cos(static_cast<float>(rising[j]) / 8192);
            lsf[j] = std::acos(lsp[j]);
        }
        const Indices expected = reference::g729::searchReal(lsf.data(), history.data());
        const Indices noiseExpected = reference::g729::searchRealNoise(lsf.data(), noiseHistory.data());

        RealHistory decoderHistory = history;
        int16_t packed[2];
        Indices indices{};
        ASSERT_EQ(ryxsLSPQuant_G729E_32f(lsp.data(), history.data(), lsp.data(), packed), 0);
        ASSERT_EQ(packed[0], expected[0] << 7 | expected[1]);
        ASSERT_EQ(packed[1], expected[2] << 5 | expected[3]);
        ASSERT_GE(ryxsLSFDecode_G729_32f(expected.data(), decoderHistory.data(), decoded.data()), 0);
        ASSERT_EQ(decoderHistory, history);
        for (size_t j = 0; j < lsp.size(); j++)
            ASSERT_EQ(lsp[j], std::cos(decoded[j]));

        decoderHistory = noiseHistory;
        ASSERT_EQ(ryxsLSFQuant_G729B_32f(lsf.data(), noiseHistory.data(), lsf.data(), indices.data()), 0);
        ASSERT_EQ(indices, noiseExpected);
        ASSERT_GE(ryxsLSFDecode_G729B_32f(indices.data(), decoderHistory.data(), decoded.data()), 0);
        ASSERT_EQ(lsf, decoded);
        ASSERT_EQ(decoderHistory, noiseHistory);
    }
}

TEST(G729Lsp, FloatDecodersStayCloseToTheFixedPointOnes) {
    std::mt19937 random(36);
    History history = startHistory();
    RealHistory realHistory = realStartHistory();
    Lsf lsf = startLsf;
    RealLsf realLsf;
    const auto index = [&random](unsigned size) { return static_cast<int16_t>(random() % size); };
    for (int i = 0; i < 20000; i++) {
        const Indices indices = {index(2), index(128), index(32), index(32)}, noise = {index(2), index(32), index(16)};
        ryxsLSFDecode_G729_16s(indices.data(), history.data(), lsf.data());
        ryxsLSFDecode_G729_32f(indices.data(), realHistory.data(), realLsf.data());
        if (i % 3 == 0) {
            ryxsLSFDecodeErased_G729_16s(indices[0], history.data(), lsf.data());
            ryxsLSFDecodeErased_G729_32f(indices[0], realHistory.data(), realLsf.data());
        } else if (i % 3 == 1) {
            ryxsLSFDecode_G729B_16s(noise.data(), history.data(), lsf.data());
            ryxsLSFDecode_G729B_32f(noise.data(), realHistory.data(), realLsf.data());
        }
        for (size_t j = 0; j < lsf.size(); j++)
            ASSERT_NEAR(realLsf[j], static_cast<float>(lsf[j]) / 8192, 2e-3) << "frame " << i << ", LSF " << j;
    }
}

} // namespace
