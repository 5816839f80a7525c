// SPDX-License-Identifier: BSD-2-Clause
// Stages that no codec of the library calls in this form: against the form that one does call, or against the formula.
#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "common/fixed_point.h"
#include "ryxsc.h"

namespace {

using namespace ryxsc;
using Words = std::vector<int16_t>;

std::mt19937 random(1);

int number(int low, int high) {
    return std::uniform_int_distribution(low, high)(random);
}
Words words(size_t count, int largest) {
    Words all(count);
    std::generate(all.begin(), all.end(), [=] { return static_cast<int16_t>(number(-largest, largest)); });
    return all;
}

// LP coefficients 1..10 of a stable filter in Q(format): the sum of their magnitudes is below 1.
Words stableFilter(int format) {
    Words lpc = words(10, (1 << format) / 11);
    return lpc;
}

TEST(CodecStages, AdaptiveVectorsOfG729AgreeInEveryForm) {
    constexpr size_t history = 154, length = 40;
    for (int round = 0; round < 2000; round++) {
        const int16_t delay[2] = {static_cast<int16_t>(number(18, 144)), static_cast<int16_t>(number(-1, 1))};
        const Words past = words(history, round % 4 == 0 ? 32767 : 2000);
        Words inPlace = past, apart(length);
        inPlace.resize(history + length);
        std::vector<float> single(past.begin(), past.end());
        single.resize(history + length);
        ASSERT_EQ(ryxsDecodeAdaptiveVector_G729_16s_I(delay, &inPlace[history]), ryxStsOk);
        ASSERT_EQ(ryxsDecodeAdaptiveVector_G729_16s(delay, past.data() + history, apart.data()), ryxStsOk);
        EXPECT_TRUE(std::equal(apart.begin(), apart.end(), inPlace.begin() + history));
        if (round % 4 == 0) continue;
        ASSERT_EQ(ryxsDecodeAdaptiveVector_G729_32f_I(delay, &single[history]), ryxStsOk);
        // A rounding goes through the filter again where the lag is short.
        for (size_t i = 0; i < length; i++)
            ASSERT_NEAR(single[history + i], apart[i], 4) << "lag " << delay[0] << ", fraction " << delay[1];
    }
}

TEST(CodecStages, SynthesisInSinglePrecisionSubtractsTermAfterTerm) {
    std::array<float, 11> lpc = {1};
    const Words filter = stableFilter(12);
    std::transform(filter.begin(), filter.end(), lpc.begin() + 1,
                   [](int16_t a) { return static_cast<float>(a) / 4096; });
    for (const int length : {1, 3, 40, 79}) {
        const Words source = words(static_cast<size_t>(length), 5000), start = words(10, 5000);
        std::vector<float> src(source.begin(), source.end()), memory(start.begin(), start.end()), y = memory;
        for (const float x : src) {
            float sum = lpc[0] * x;
            for (size_t j = 1; j <= 10; j++)
                sum -= lpc[j] * y[y.size() - j];
            y.push_back(sum);
        }
        std::vector<float> dst(src.size());
        ASSERT_EQ(ryxsSynthesisFilter_G729_32f(lpc.data(), src.data(), dst.data(), length, memory.data()), ryxStsOk);
        EXPECT_TRUE(std::equal(dst.begin(), dst.end(), y.begin() + 10));
        EXPECT_TRUE(std::equal(memory.begin(), memory.end(), y.end() - 10));
    }
}

TEST(CodecStages, SumsOfG723SynthesisRoundToItsSamples) {
    for (int round = 0; round < 500; round++) {
        const Words src = words(60, 8000), lpc = stableFilter(13), start = words(10, 8000);
        Words memory = start, sumMemory = start, samples(60);
        std::vector<int32_t> sums(60);
        ASSERT_EQ(ryxsSynthesisFilter_G723_16s(src.data(), lpc.data(), samples.data(), memory.data()), ryxStsOk);
        ASSERT_EQ(ryxsSynthesisFilter_G723_16s32s(src.data(), lpc.data(), sums.data(), sumMemory.data()), ryxStsOk);
        EXPECT_TRUE(memory == sumMemory);
        for (size_t i = 0; i < 60; i++)
            ASSERT_EQ(samples[i], (sums[i] + (1 << 13)) >> 14);
    }
}

TEST(CodecStages, LsfToLpcOfG723IsTheSameInPlace) {
    for (int round = 0; round < 500; round++) {
        Words lsf = words(10, 16000), lpc(10);
        for (int16_t &x : lsf)
            x = static_cast<int16_t>(std::abs(x) + 300);
        std::sort(lsf.begin(), lsf.end());
        ASSERT_EQ(ryxsLSFToLPC_G723_16s(lsf.data(), lpc.data()), ryxStsOk);
        ASSERT_EQ(ryxsLSFToLPC_G723_16s_I(lsf.data()), ryxStsOk);
        EXPECT_TRUE(lsf == lpc);
    }
}

// Of equal blocks at one scale the sum has the shape of each.
TEST(CodecStages, JointAutocorrelationOfG723KeepsTheShapeOfEqualBlocks) {
    for (int round = 0; round < 200; round++) {
        Words block = words(11, 12000);
        block[0] = static_cast<int16_t>(number(16384, 32767));
        const int scale = number(-20, 40);
        Words blocks;
        for (int i = 0; i < 4; i++)
            blocks.insert(blocks.end(), block.begin(), block.end());
        const int shifts[4] = {scale, scale, scale, scale};
        Words joint(11);
        int shift = 0;
        ASSERT_EQ(ryxsAutoCorr_G723_16s(blocks.data(), shifts, 4, joint.data(), &shift), ryxStsOk);
        const double gain = static_cast<double>(joint[0]) / block[0];
        for (size_t i = 0; i < 11; i++)
            ASSERT_NEAR(joint[i], gain * block[i], 2);
    }
}

TEST(CodecStages, ResidualOfGsmAmrIsTheRoundedSum) {
    for (int round = 0; round < 500; round++) {
        Words lpc = words(11, 4000), src = words(170, round % 2 == 0 ? 32767 : 3000), dst(160);
        lpc[0] = 4096;
        ASSERT_EQ(ryxsResidualFilter_GSMAMR_16s(lpc.data(), &src[10], dst.data(), 160), ryxStsOk);
        for (size_t n = 0; n < 160; n++) {
            int32_t sum = 0;
            for (size_t j = 0; j <= 10; j++)
                sum = L_mac(sum, lpc[j], src[10 + n - j]);
            ASSERT_EQ(dst[n], ryxsc::round(L_shl(sum, 3)));
        }
    }
}

TEST(CodecStages, LsfsOfGsmAmrAreWeightedAndOrderedAsWritten) {
    for (int round = 0; round < 500; round++) {
        Words lsf = words(10, 16000), weights(10);
        for (int16_t &x : lsf)
            x = static_cast<int16_t>(std::abs(x));
        Words ordered = lsf, expected = lsf;
        int16_t least = 205;
        for (int16_t &x : expected) {
            x = std::max(x, least);
            least = add(x, 205);
        }
        ASSERT_EQ(ryxsLSFReorder_GSMAMR_16s_I(ordered.data()), ryxStsOk);
        EXPECT_TRUE(ordered == expected);
        std::sort(lsf.begin(), lsf.end());
        ASSERT_EQ(ryxsLSFWeights_GSMAMR_16s(lsf.data(), weights.data()), ryxStsOk);
        for (size_t i = 0; i < 10; i++) {
            const int distance = (i == 9 ? 16384 : lsf[i + 1]) - (i == 0 ? 0 : lsf[i - 1]);
            const int weight =
                distance < 1843 ? 3427 - (distance * 28160 >> 15) : 1843 - ((distance - 1843) * 6242 >> 15);
            ASSERT_EQ(weights[i], sat16(8 * weight)) << i;
        }
    }
}

} // namespace
