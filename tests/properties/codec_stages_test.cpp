// SPDX-License-Identifier: BSD-2-Clause
// Stages that no codec of the library calls in this form: against the form that one does call, or against the formula.
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
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

// The LSPs of several subframes are converted two at a time; disordered ones take the way with saturation.
TEST(CodecStages, LspsOfG729AreConvertedInBlocksAsOneByOne) {
    for (int round = 0; round < 5000; round++) {
        const int count = number(1, 5);
        Words lsp = words(10 * static_cast<size_t>(count), 32767);
        for (int i = 0; i < count; i++) {
            int16_t *const one = &lsp[static_cast<size_t>(10 * i)];
            if (number(0, 2) > 0) std::sort(one, one + 10, std::greater<>());
            if (number(0, 7) == 0) std::fill_n(one, 10, static_cast<int16_t>(number(-32768, -31000)));
        }
        Words block(11 * static_cast<size_t>(count));
        ASSERT_EQ(ryxsLSPToLPCBlock_G729_16s(lsp.data(), count, block.data()), ryxStsOk);
        for (size_t i = 0; i < static_cast<size_t>(count); i++) {
            int16_t lpc[11];
            ASSERT_EQ(ryxsLSPToLPC_G729_16s(&lsp[10 * i], lpc), ryxStsOk);
            ASSERT_TRUE(std::equal(lpc, lpc + 11, &block[11 * i])) << count;
        }
    }
    int16_t lsp[10] = {}, lpc[11] = {7};
    EXPECT_EQ(ryxsLSPToLPCBlock_G729_16s(lsp, 0, lpc), ryxStsBadSize);
    EXPECT_EQ(lpc[0], 7);
}

TEST(CodecStages, ImpulseResponsesOfG729AAreThoseOfTheFilter) {
    const int16_t impulse[40] = {4096}, rest[10] = {};
    for (int round = 0; round < 3000; round++) {
        const Words lpc = words(22, round % 5 == 0 ? 32767 : 2500);
        Words responses(80), expected(80);
        ASSERT_EQ(ryxsImpulseResponses_G729A_16s(lpc.data(), responses.data()), ryxStsOk);
        for (size_t s = 0; s < 2; s++)
            ASSERT_GE(ryxsSynthesisFilter_G729_16s(&lpc[11 * s], impulse, &expected[40 * s], 40, rest), ryxStsOk);
        ASSERT_TRUE(responses == expected) << "filter " << round;
    }
}

// Annex A's post-filter for a frame against its stages, from silence to full scale, with filters that overflow.
TEST(CodecStages, PostFilterOfG729AIsThatOfItsStages) {
    constexpr size_t frame = 80, subframe = 40, order = 10, history = 143;
    int size = 0;
    ASSERT_EQ(ryxsPostFilterGetStateSize_G729A_16s(&size), ryxStsOk);
    std::vector<uint8_t> block(static_cast<size_t>(size));
    auto *const state = reinterpret_cast<PostFilterState_G729A *>(block.data());
    ASSERT_EQ(ryxsPostFilterInit_G729A_16s(state), ryxStsOk);
    Words residual(history + frame), memory(order + 1), synthesis(order + frame), found(frame), expected(frame);
    int16_t gain = 4096;
    for (int round = 0; round < 3000; round++) {
        Words lpc = words(22, round % 9 == 0 ? 20000 : 1500);
        lpc[0] = lpc[11] = 4096;
        const auto lag = [] { return static_cast<int16_t>(number(0, 9) == 0 ? 0 : number(18, 145)); };
        const int16_t lags[2] = {lag(), lag()};
        const int amplitude = round % 40 < 3 ? 0 : round % 7 == 0 ? 32767 : 4000;
        std::copy(synthesis.end() - order, synthesis.end(), synthesis.begin());
        for (size_t i = 0; i < frame; i++) // with a period, which the long-term post-filter finds
            synthesis[order + i] = static_cast<int16_t>(
                i % 20 == 0 ? amplitude : std::clamp(number(-amplitude, amplitude) / 8, -32768, 32767));
        ASSERT_EQ(ryxsPostFilter_G729A_16s(lpc.data(), lags, &synthesis[order], found.data(), state), ryxStsOk);
        for (size_t s = 0; s < 2; s++) {
            int16_t numerator[order + 1], denominator[order + 1], filtered[subframe];
            int16_t *const out = &expected[subframe * s], *const r = &residual[history + subframe * s];
            const int16_t *const in = &synthesis[order + subframe * s];
            ryxsMulPowerC_NR_16s_Sfs(&lpc[11 * s], 18022, numerator, order + 1, 15);
            ryxsMulPowerC_NR_16s_Sfs(&lpc[11 * s], 22938, denominator, order + 1, 15);
            ryxsResidualFilter_G729_16s(numerator, in, r, subframe);
            if (lags[s] != 0)
                ryxsLongTermPostFilter_G729A_16s(lags[s], r, filtered);
            else
                std::copy_n(r, subframe, filtered);
            ryxsShortTermPostFilter_G729A_16s(numerator, denominator, filtered, out, memory.data());
            ryxsGainControl_G729A_16s_I(in, out, &gain);
        }
        std::copy(residual.begin() + frame, residual.end(), residual.begin());
        ASSERT_TRUE(found == expected) << "frame " << round;
    }
    const std::vector<uint8_t> before = block;
    const int16_t wrong[2] = {40, 146}, lpc[22] = {4096};
    EXPECT_EQ(ryxsPostFilter_G729A_16s(lpc, wrong, &synthesis[order], found.data(), state), ryxStsOutOfRange);
    EXPECT_TRUE(block == before && found == expected);
}

// Annex A's post-processing of a frame against the second subframe's synthesis, the post-filter and the high-pass filter.
TEST(CodecStages, PostProcessingOfG729AIsThatOfItsStages) {
    constexpr size_t frame = 80, subframe = 40, order = 10;
    int size = 0, filterSize = 0, highPassSize = 0;
    ASSERT_EQ(ryxsPostProcessGetStateSize_G729A_16s(&size), ryxStsOk);
    ASSERT_EQ(ryxsPostFilterGetStateSize_G729A_16s(&filterSize), ryxStsOk);
    ASSERT_EQ(ryxsHighPassFilterGetStateSize_G729_16s(&highPassSize), ryxStsOk);
    std::vector<uint8_t> block(static_cast<size_t>(size)), filterBlock(static_cast<size_t>(filterSize)),
        highPassBlock(static_cast<size_t>(highPassSize));
    auto *const state = reinterpret_cast<PostProcessState_G729A *>(block.data());
    auto *const filter = reinterpret_cast<PostFilterState_G729A *>(filterBlock.data());
    auto *const highPass = reinterpret_cast<HighPassFilterState_G729 *>(highPassBlock.data());
    ASSERT_EQ(ryxsPostProcessInit_G729A_16s(state), ryxStsOk);
    ASSERT_EQ(ryxsPostFilterInit_G729A_16s(filter), ryxStsOk);
    ASSERT_EQ(ryxsHighPassFilterInit_G729_16s(highPass, 1), ryxStsOk);
    Words synthesis(order + frame), found(frame), expected(frame);
    int overflows = 0;
    for (int round = 0; round < 3000; round++) {
        Words lpc = words(22, round % 9 == 0 ? 20000 : 1500);
        lpc[0] = lpc[11] = 4096;
        const int16_t lags[2] = {static_cast<int16_t>(number(18, 145)), static_cast<int16_t>(round % 5 == 0 ? 0 : 77)};
        const int amplitude = round % 40 < 3 ? 0 : round % 7 == 0 ? 32767 : 4000;
        std::copy(synthesis.end() - order, synthesis.end(), synthesis.begin());
        for (size_t i = 0; i < subframe; i++)
            synthesis[order + i] = static_cast<int16_t>(number(-amplitude, amplitude));
        const Words excitation = words(subframe, amplitude / 2);
        Words whole = synthesis;
        const auto status = ryxsSynthesisFilter_G729_16s(&lpc[11], excitation.data(), &whole[order + subframe],
                                                         subframe, &whole[subframe]);
        const Words old = found;
        ASSERT_EQ(
            ryxsPostProcess_G729A_16s(lpc.data(), lags, excitation.data(), &synthesis[order], found.data(), state),
            status);
        ASSERT_TRUE(synthesis == whole) << "frame " << round;
        if (status == ryxStsOverflow) {
            overflows++;
            ASSERT_TRUE(found == old);
            ASSERT_EQ(ryxsPostProcess_G729A_16s(lpc.data(), lags, nullptr, &synthesis[order], found.data(), state),
                      ryxStsOk);
        }
        ryxsPostFilter_G729A_16s(lpc.data(), lags, &whole[order], expected.data(), filter);
        ryxsHighPassFilter_G729_16s_I(expected.data(), frame, highPass);
        ASSERT_TRUE(found == expected) << "frame " << round;
    }
    EXPECT_GT(overflows, 100);
    const auto before = block;
    const int16_t wrong[2] = {40, 17}, lpc[22] = {4096};
    EXPECT_EQ(ryxsPostProcess_G729A_16s(lpc, wrong, lpc, &synthesis[order], found.data(), state), ryxStsOutOfRange);
    EXPECT_TRUE(block == before && found == expected);
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

// What no encoder has and the recommendations leave open: divisions without a divisor.
TEST(CodecStages, SurviveValuesThatNoSignalHas) {
    const std::array<int16_t, 40> target = {1000, -20000, 300}, silence = {}, code = {4096, 0, 0, -4096};
    std::array<int16_t, 4> energies = {-14336, -14336, -14336, -14336}, energies122 = {-2381, -2381, -2381, -2381};
    int16_t gain = -1, index = -1;
    EXPECT_EQ(ryxsCodeGainQuant_GSMAMR_16s(target.data(), silence.data(), code.data(), energies.data(),
                                           energies122.data(), &gain, &index),
              ryxStsOk);
    EXPECT_TRUE(index >= 0 && index < 32);

    for (const int32_t first : {0x40000000, -0x40000000, 0x7fffffff}) {
        std::array<int32_t, 17> correlations = {0x40000000, first, 5};
        std::array<int16_t, 17> lpc;
        std::array<int16_t, 16> stable = {1, 2, 3};
        EXPECT_EQ(ryxsLevinsonDurbin_AMRWB_32s16s(correlations.data(), lpc.data(), stable.data()), ryxStsOk);
        EXPECT_EQ(lpc[0], 4096);
    }
}

} // namespace
