// SPDX-License-Identifier: BSD-2-Clause
// The filters of the AMR-WB coder: fast forms against the recommendation's steps, with signals that saturate and that do not.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "amrwb/codec_tables.h"
#include "common/fixed_point.h"
#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using namespace ryxsc;

std::vector<signals::Signal> inputs(size_t samples) {
    std::vector<signals::Signal> all = signals::nasty(samples, 51);
    signals::Signal quiet = all.front();
    for (int16_t &x : quiet.samples)
        x = static_cast<int16_t>(x >> 5);
    quiet.name += ", quiet";
    all.push_back(quiet);
    return all;
}

int32_t sumInOrder(const int16_t *x, const int16_t *taps, int count) {
    int32_t sum = 0;
    for (int k = 0; k < count; k++)
        sum = L_mac(sum, x[k], taps[k]);
    return sum;
}

struct Section {
    int16_t a1, a2, b0, b1;
    int shift, doublings;

    int16_t step(int16_t x, int16_t (&m)[6]) const {
        int32_t sum = L_mac(L_mac(0x4000, m[1], a1), m[3], a2) >> 15;
        sum = L_mac(L_mac(sum, m[0], a1), m[2], a2);
        sum = L_shl(L_mac(L_mac(L_mac(sum, x, b0), m[4], b1), m[5], b0), shift);
        m[2] = m[0];
        m[3] = m[1];
        L_Extract(sum, m[0], m[1]);
        m[5] = m[4];
        m[4] = x;
        return ryxsc::round(L_shl(sum, doublings));
    }
};

TEST(AmrWbFilters, HighPassesInBlocksEqualThePlainForm) {
    constexpr Section at50 = {16211, -8021, 4053, -8106, 2, 1}, at400 = {29280, -14160, 915, -1830, 1, 0};
    std::mt19937 random(52);
    for (const signals::Signal &signal : inputs(4096)) {
        int16_t memory50[6] = {}, memory400[6] = {}, plain50[6] = {}, plain400[6] = {};
        std::vector<int16_t> first = signal.samples, second(first.size());
        size_t start = 0;
        for (const size_t len : signals::randomBlocks(first.size(), 1, 300, random)) {
            ryxsHighPassFilter50_AMRWB_16s_I(&first[start], static_cast<int>(len), memory50);
            ryxsHighPassFilter400_AMRWB_16s(&first[start], &second[start], static_cast<int>(len), memory400);
            start += len;
        }
        for (size_t i = 0; i < start; i++) {
            ASSERT_EQ(first[i], at50.step(signal.samples[i], plain50)) << signal.name << " sample " << i;
            ASSERT_EQ(second[i], at400.step(first[i], plain400)) << signal.name << " sample " << i;
        }
        EXPECT_TRUE(std::equal(memory50, memory50 + 6, plain50) && std::equal(memory400, memory400 + 6, plain400));
    }
}

// Signals at all levels, so that each of the three recursions saturates where the others do not.
TEST(AmrWbFilters, RecursionsSideBySideEqualOneAfterTheOther) {
    for (const signals::Signal &signal : inputs(64 * 40))
        for (const int level : {0, 4, 8, 11, 13, 14, 15}) {
            int16_t memory = 0, memory50[6] = {}, memory400[6] = {}, plain = 0, plain50[6] = {}, plain400[6] = {};
            for (size_t start = 0; start + 64 <= signal.samples.size(); start += 64) {
                std::array<int32_t, 64> synthesis;
                for (size_t i = 0; i < 64; i++)
                    synthesis[i] = signal.samples[start + i] * (1 << level) + static_cast<int32_t>(i);
                std::array<int16_t, 64> speech, upper, plainSpeech, plainUpper;
                ASSERT_EQ(ryxsDeemphasizeHighPass_AMRWB_32s16s(synthesis.data(), speech.data(), upper.data(), &memory,
                                                               memory50, memory400),
                          ryxStsOk);
                ryxsDeemphasize_AMRWB_32s16s(synthesis.data(), plainSpeech.data(), 64, &plain);
                ryxsHighPassFilter50_AMRWB_16s_I(plainSpeech.data(), 64, plain50);
                ryxsHighPassFilter400_AMRWB_16s(plainSpeech.data(), plainUpper.data(), 64, plain400);
                ASSERT_TRUE(speech == plainSpeech && upper == plainUpper) << signal.name << ", level " << level;
                ASSERT_TRUE(memory == plain && std::equal(memory50, memory50 + 6, plain50) &&
                            std::equal(memory400, memory400 + 6, plain400))
                    << signal.name << ", level " << level;
            }
        }
}

TEST(AmrWbFilters, HighBandFiltersEqualThePlainForm) {
    for (const signals::Signal &signal : inputs(80 * 50)) {
        int16_t bandMemory[30] = {}, lowMemory[30] = {};
        std::vector<int16_t> padded(30);
        padded.insert(padded.end(), signal.samples.begin(), signal.samples.end());
        std::vector<int16_t> quarter = padded;
        for (int16_t &x : quarter)
            x = static_cast<int16_t>(x >> 2);
        for (size_t n = 0; n + 80 <= signal.samples.size(); n += 80) {
            std::array<int16_t, 80> band, low;
            std::copy_n(&signal.samples[n], 80, band.begin());
            low = band;
            ryxsBandPassFilter_AMRWB_16s_I(band.data(), bandMemory);
            ryxsLowPassFilter_AMRWB_16s_I(low.data(), lowMemory);
            for (size_t i = 0; i < 80; i++) {
                ASSERT_EQ(band[i], ryxsc::round(sumInOrder(&quarter[n + i], amrwb::bandPassTaps, 31))) << signal.name;
                ASSERT_EQ(low[i], ryxsc::round(sumInOrder(&padded[n + i], amrwb::lowPassTaps, 31))) << signal.name;
            }
        }
    }
}

TEST(AmrWbFilters, AdaptiveVectorsOfAllLagsEqualThePlainForm) {
    for (const signals::Signal &signal : inputs(248 + 65))
        for (int lag = 34; lag <= 231; lag++)
            for (int fraction = 0; fraction < 4; fraction++) {
                std::vector<int16_t> fast = signal.samples, plain = fast;
                ASSERT_EQ(ryxsDecodeAdaptiveVector_AMRWB_16s_I(lag, fraction, &fast[248]), ryxStsOk);
                const int first = 248 - lag - (fraction > 0) - 15;
                for (int j = 0; j < 65; j++)
                    plain[static_cast<size_t>(248 + j)] = ryxsc::round(L_shl(
                        sumInOrder(&plain[static_cast<size_t>(first + j)], amrwb::excitationTaps[-fraction & 3], 32),
                        1));
                ASSERT_EQ(fast, plain) << signal.name << " lag " << lag << " fraction " << fraction;
            }
}

// Of stable filters, and of any coefficients, with which outputs saturate.
TEST(AmrWbFilters, SynthesisInDoublePrecisionEqualsThePlainForm) {
    std::mt19937 random(53);
    for (const signals::Signal &signal : inputs(64 * 40)) {
        std::vector<int32_t> fast(16), plain(16);
        for (size_t n = 0; n + 64 <= signal.samples.size(); n += 64) {
            int16_t lpc[17] = {static_cast<int16_t>(4096 >> random() % 8 / 7)};
            const int range = random() % 8 == 0 ? 65536 : 1024;
            for (int j = 1; j <= 16; j++)
                lpc[j] = static_cast<int16_t>(static_cast<int>(random() % static_cast<unsigned>(range)) - range / 2);
            const int q = static_cast<int>(random() % 12), shift = lpc[0] == 4096 ? 3 : 4;
            const auto gain = static_cast<int16_t>(lpc[0] >> (4 + q));
            fast.resize(16 + 64);
            plain = fast;
            ASSERT_EQ(ryxsSynthesisFilter_AMRWB_16s32s_I(lpc, &signal.samples[n], &fast[16], 64, q), ryxStsOk);
            for (size_t i = 16; i < 80; i++) {
                int32_t low = 0, high = 0;
                for (size_t j = 1; j <= 16; j++)
                    low = L_msu(low, static_cast<int16_t>(plain[i - j] >> 4 & 4095), lpc[j]);
                high = L_mac(low >> 12, signal.samples[n + i - 16], gain);
                for (size_t j = 1; j <= 16; j++)
                    high = L_msu(high, extract_h(plain[i - j]), lpc[j]);
                plain[i] = L_shl(high, shift) & ~15;
            }
            ASSERT_EQ(fast, plain) << signal.name << " subframe " << n / 64;
            fast.erase(fast.begin(), fast.begin() + 64);
        }
    }
}

TEST(AmrWbFilters, ExcitationEqualsThePlainForm) {
    std::mt19937 random(54);
    for (const signals::Signal &signal : inputs(64 * 40))
        for (size_t n = 0; n + 128 <= signal.samples.size(); n += 64) {
            const int16_t *const vector = &signal.samples[n];
            std::array<int16_t, 64> code, excitation;
            for (size_t i = 0; i < 64; i++)
                code[i] = static_cast<int16_t>(vector[64 + i] >> random() % 10);
            const auto gain = static_cast<int16_t>(random() >> random() % 16),
                       pitch = static_cast<int16_t>(random() % 20000);
            ryxsExcitation_AMRWB_16s(vector, pitch, code.data(), gain, excitation.data());
            for (size_t i = 0; i < 64; i++) {
                const int32_t sum = L_mac(L_shl(L_mult(code[i], gain), 5), vector[i], pitch);
                ASSERT_EQ(excitation[i], ryxsc::round(L_shl(sum, 1))) << signal.name << " sample " << n + i;
            }
        }
}

// One unit of the pitch gain more or less, where that matters and where it does not.
TEST(AmrWbFilters, PhaseDispersionTurnsAtItsLimits) {
    std::array<int16_t, 8> voiced = {};
    const auto disperse = [](int pitchGain, std::array<int16_t, 8> &memory) {
        std::array<int16_t, 64> code = {};
        code[5] = 512;
        code[40] = -512;
        EXPECT_EQ(ryxsPhaseDispersion_AMRWB_16s_I(code.data(), pitchGain, 1 << 16, 5, memory.data()), ryxStsOk);
        return code;
    };
    for (int i = 0; i < 8; i++)
        disperse(16000, voiced);
    const auto after = [&](int pitchGain, int lowGains) {
        auto memory = voiced;
        for (int i = 0; i < lowGains; i++)
            disperse(9000, memory);
        return disperse(pitchGain, memory);
    };
    const auto none = after(16384, 0), weak = after(12000, 0), strong = after(0, 0), weakAgain = after(14746, 1);
    EXPECT_TRUE(after(14746, 0) == none);
    EXPECT_TRUE(after(14745, 0) == weak);
    EXPECT_TRUE(after(9830, 0) == weak);
    EXPECT_TRUE(after(9829, 0) == strong);
    EXPECT_TRUE(weakAgain == weak) << "one level a step";
    EXPECT_TRUE(after(12000, 2) == weak);
    EXPECT_TRUE(after(12000, 3) == strong);
    EXPECT_TRUE(none != weak && weak != strong && strong != none);
}

} // namespace
