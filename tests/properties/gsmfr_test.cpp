// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "harness/signals.h"
#include "reference/gsmfr.h"
#include "ryxsc.h"

namespace {

namespace plain = reference::gsmfr;
using Samples = std::vector<int16_t>;
using Eight = std::array<int16_t, 8>;
constexpr size_t length = 6000;
constexpr size_t border = 5;

Eight randomEight(std::mt19937 &random, int limit) {
    Eight values;
    for (int16_t &value : values)
        value = static_cast<int16_t>(static_cast<int>(random() % static_cast<unsigned>(2 * limit + 1)) - limit);
    return values;
}

// Runs work(begin, end) over random blocks, among them many short ones.
template <class Work> void inBlocks(std::mt19937 &random, Work work) {
    for (size_t done = 0; done < length;) {
        const size_t end = std::min(done + 1 + random() % (random() % 4 ? 40 : 400), length);
        work(done, end);
        done = end;
    }
}

TEST(Gsmfr, FiltersEqualThePlainFormsInAnyBlocks) {
    std::mt19937 random(51);
    for (const auto &[name, input] : signals::nasty(length + 2 * border, 51)) {
        SCOPED_TRACE(name);
        int32_t offset[2] = {}, plainOffset[2] = {};
        int16_t last = 0, m = 0, plainM = 0;
        Eight u = randomEight(random, 32767), plainU = u, v = u, plainV = u;
        inBlocks(random, [&](size_t begin, size_t end) {
            // States from outside now and then; the one beyond 16 bits shows what the wraps do.
            if (random() % 16 == 0) {
                offset[0] = plainOffset[0] = static_cast<int32_t>(random());
                offset[1] = plainOffset[1] = static_cast<int32_t>(random()) >> (random() % 2 ? 17 : 0);
            }
            const Eight r = randomEight(random, random() % 2 ? 32767 : 12000);
            const int n = static_cast<int>(end - begin);
            const int16_t *const in = &input[begin + border];
            Samples compensated(end - begin), emphasised(compensated), weighed(compensated), deemphasised(in, in + n),
                residual(in, in + n), synthesised(in, in + n);
            ASSERT_EQ(ryxsHighPassFilter_GSMFR_16s(in, compensated.data(), n, offset), ryxStsOk);
            ASSERT_EQ(ryxsPreemphasize_GSMFR_16s(in, emphasised.data(), n, &last), ryxStsOk);
            ASSERT_EQ(ryxsDeemphasize_GSMFR_16s_I(deemphasised.data(), n, &m), ryxStsOk);
            ASSERT_EQ(ryxsShortTermAnalysisFilter_GSMFR_16s_I(r.data(), residual.data(), n, u.data()), ryxStsOk);
            ASSERT_EQ(
                ryxsShortTermSynthesisFilter_GSMFR_16s(r.data(), synthesised.data(), synthesised.data(), n, v.data()),
                ryxStsOk);
            ASSERT_EQ(ryxsWeightingFilter_GSMFR_16s(in, weighed.data(), n), ryxStsOk);
            for (int i = 0; i < n; i++) {
                const auto k = static_cast<size_t>(i);
                ASSERT_EQ(compensated[k], plain::compensateOffset(in[i], plainOffset));
                const int16_t previous = begin + k == 0 ? int16_t{0} : in[i - 1];
                ASSERT_EQ(emphasised[k], ryxsc::add(in[i], ryxsc::mult_r(previous, -28180)));
                ASSERT_EQ(deemphasised[k], plain::deemphasize(in[i], &plainM));
                ASSERT_EQ(residual[k], plain::analyse(r.data(), in[i], plainU.data())) << "sample " << i << " of " << n;
                ASSERT_EQ(synthesised[k], plain::synthesise(r.data(), in[i], plainV.data()))
                    << "sample " << i << " of " << n;
                ASSERT_EQ(weighed[k], plain::weigh(in + i));
            }
            ASSERT_TRUE(std::equal(offset, offset + 2, plainOffset));
            ASSERT_EQ(u, plainU);
            ASSERT_EQ(v, plainV);
        });
    }
}

// Both lattices round the same products, so the inverse is exact as long as nothing saturates.
TEST(Gsmfr, SynthesisGivesBackWhatAnalysisTook) {
    std::mt19937 random(52);
    const Samples input = signals::speech();
    Samples work(input.begin(), input.begin() + length);
    Eight u = {}, v = {};
    inBlocks(random, [&](size_t begin, size_t end) {
        const Eight r = randomEight(random, 9000);
        const int n = static_cast<int>(end - begin);
        ryxsShortTermAnalysisFilter_GSMFR_16s_I(r.data(), &work[begin], n, u.data());
        ryxsShortTermSynthesisFilter_GSMFR_16s(r.data(), &work[begin], &work[begin], n, v.data());
        ASSERT_EQ(u, v);
    });
    EXPECT_TRUE(std::equal(work.begin(), work.end(), input.begin()));
}

TEST(Gsmfr, SchurEqualsThePlainFormAndNeverTraps) {
    std::mt19937 random(53);
    for (int i = 0; i < 200000; i++) {
        std::array<int32_t, 9> acf;
        const int scale = static_cast<int>(random() % 31);
        acf[0] = static_cast<int32_t>(random() >> 1 >> scale);
        // Close to acf[0], equal to it or anything of its size.
        for (size_t k = 1; k < acf.size(); k++) {
            const int32_t size = random() % 8 ? acf[0] - (acf[0] >> (1 + random() % 20)) : acf[0];
            acf[k] =
                i % 2 ? (random() % 2 ? size : -size) : std::uniform_int_distribution<int32_t>(-acf[0], acf[0])(random);
        }
        const int order = 1 + i % 8;
        Eight r = {}, expected = {};
        ASSERT_EQ(ryxsSchur_GSMFR_32s16s(acf.data(), r.data(), order), ryxStsOk);
        plain::schur(acf.data(), expected.data(), order);
        ASSERT_EQ(r, expected) << "call " << i;
    }
    // Outside the contract: negative energy, lags beyond it, a negative order.
    std::array<int32_t, 9> acf = {-5, 1, 2, 3, 4, 5, 6, 7, 8};
    Eight r = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(ryxsSchur_GSMFR_32s16s(acf.data(), r.data(), -3), ryxStsOk);
    EXPECT_EQ(r[0], 1);
    EXPECT_EQ(ryxsSchur_GSMFR_32s16s(acf.data(), r.data(), 8), ryxStsOk);
    EXPECT_EQ(r, Eight());
    for (int i = 0; i < 10000; i++) {
        std::generate(acf.begin(), acf.end(), [&] { return static_cast<int32_t>(random()); });
        ASSERT_EQ(ryxsSchur_GSMFR_32s16s(acf.data(), r.data(), 8), ryxStsOk);
    }
}

// The forms for whole frames against the filters one by one, in the segments of the interpolated coefficients.
TEST(Gsmfr, FramesEqualTheirSegments) {
    constexpr int segments[] = {13, 14, 13, 120};
    std::mt19937 random(54);
    for (const auto &[name, input] : signals::nasty(length, 54)) {
        SCOPED_TRACE(name);
        Eight u = {}, partsU = {}, v = {}, partsV = {};
        int16_t m = 0, partsM = 0;
        for (size_t at = 0; at + 160 <= length; at += 160) {
            Samples residual(&input[at], &input[at] + 160), parts = residual, speech(160), partsSpeech(160);
            std::array<Eight, 4> r;
            for (Eight &coefficients : r)
                coefficients = randomEight(random, random() % 2 ? 32767 : 12000);
            ASSERT_EQ(ryxsShortTermAnalysisFrame_GSMFR_16s_I(r[0].data(), residual.data(), u.data()), ryxStsOk);
            ASSERT_EQ(ryxsSynthesisFrame_GSMFR_16s(r[0].data(), &input[at], speech.data(), v.data(), &m), ryxStsOk);
            size_t from = 0;
            for (size_t k = 0; k < 4; from += static_cast<size_t>(segments[k++])) {
                const int n = segments[k];
                ryxsShortTermAnalysisFilter_GSMFR_16s_I(r[k].data(), &parts[from], n, partsU.data());
                ryxsShortTermSynthesisFilter_GSMFR_16s(r[k].data(), &input[at + from], &partsSpeech[from], n,
                                                       partsV.data());
            }
            ryxsDeemphasize_GSMFR_16s_I(partsSpeech.data(), 160, &partsM);
            ASSERT_EQ(residual, parts);
            ASSERT_EQ(speech, partsSpeech);
            ASSERT_EQ(u, partsU);
            ASSERT_EQ(v, partsV);
            ASSERT_EQ(m, partsM);
        }
    }
    int16_t words[160] = {}, *const none = nullptr;
    EXPECT_EQ(ryxsShortTermAnalysisFrame_GSMFR_16s_I(none, words, words), ryxStsNullPtr);
    EXPECT_EQ(ryxsShortTermAnalysisFrame_GSMFR_16s_I(words, none, words), ryxStsNullPtr);
    EXPECT_EQ(ryxsShortTermAnalysisFrame_GSMFR_16s_I(words, words, none), ryxStsNullPtr);
    EXPECT_EQ(ryxsSynthesisFrame_GSMFR_16s(none, words, words, words, words), ryxStsNullPtr);
    EXPECT_EQ(ryxsSynthesisFrame_GSMFR_16s(words, none, words, words, words), ryxStsNullPtr);
    EXPECT_EQ(ryxsSynthesisFrame_GSMFR_16s(words, words, none, words, words), ryxStsNullPtr);
    EXPECT_EQ(ryxsSynthesisFrame_GSMFR_16s(words, words, words, none, words), ryxStsNullPtr);
    EXPECT_EQ(ryxsSynthesisFrame_GSMFR_16s(words, words, words, words, none), ryxStsNullPtr);
}

// Signals with few different values have equal correlations and energies.
TEST(Gsmfr, SearchesEqualThePlainFormsWithEqualCandidatesToo) {
    std::mt19937 random(55);
    const auto check = [](const int16_t *d, const int16_t *history) {
        int16_t lag = -1, gain = -1, grid = -1, pulses[13];
        ASSERT_EQ(ryxsLTPSearch_GSMFR_16s(d, history, &lag, &gain), ryxStsOk);
        const plain::LongTerm expected = plain::searchLongTerm(d, history);
        ASSERT_EQ(lag, expected.lag);
        ASSERT_EQ(gain, expected.gainCode);
        ASSERT_EQ(ryxsRPEGridSelect_GSMFR_16s(d, pulses, &grid), ryxStsOk);
        ASSERT_EQ(grid, plain::selectGrid(d));
        for (int i = 0; i < 13; i++)
            ASSERT_EQ(pulses[i], d[grid + 3 * i]);
    };
    for (const auto &[name, input] : signals::nasty(length, 55)) {
        SCOPED_TRACE(name);
        for (size_t at = 120; at + 40 <= length; at += 40)
            check(&input[at], &input[at]);
    }
    Samples few(160);
    for (int i = 0; i < 20000; i++) {
        const int levels = 2 + static_cast<int>(random() % 3), size = 1 << random() % 15;
        for (int16_t &x : few)
            x = static_cast<int16_t>((static_cast<int>(random() % static_cast<unsigned>(levels)) - 1) * size);
        check(&few[120], &few[120]);
    }
}

} // namespace
