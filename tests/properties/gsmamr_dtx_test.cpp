// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "harness/signals.h"
#include "reference/gsmamr_dtx.h"
#include "ryxsc.h"

namespace {

using Histories = std::array<int16_t, 88>; // LSPs, then log energies

std::array<size_t, 4> silenceDescriptor(const int16_t *lspHistory) {
    // Their sum leaves 16 bits on the way: 5 * 8191 - 3 * 8192 = 16379, and (16379 / 2 + 2688) / 256 = 42.
    const int16_t logEnergies[8] = {32767, 32767, 32767, 32767, 32767, -32768, -32768, -32768};
    int16_t logEnergy, initial, indices[3], past[4], past122[4];
    EXPECT_EQ(ryxsEncDTXSID_GSMAMR_16s(lspHistory, logEnergies, &logEnergy, &initial, indices, past, past122, 1), 0);
    EXPECT_EQ(logEnergy, 42);
    return {static_cast<size_t>(initial), static_cast<size_t>(indices[0]), static_cast<size_t>(indices[1]),
            static_cast<size_t>(indices[2])};
}

uint32_t checksum(uint32_t sum, const auto &book, size_t values) {
    for (size_t i = 0; i < book.size * values; i++)
        sum = (sum ^ static_cast<uint16_t>(book.pair(i / values, i % values / 2)[i % values % 2])) * 16777619U;
    return sum;
}

TEST(GsmAmrDtx, CodebooksAreTheRecommendations) {
    using namespace ryxsc::gsmamr;
    EXPECT_EQ(checksum(2166136261U, initialLsfs, 10), 0x691c035eU);
    EXPECT_EQ(checksum(checksum(checksum(2166136261U, lowLsfs, 3), middleLsfs, 3), highLsfs, 4), 0x14debc7eU);
}

TEST(GsmAmrDtx, SilenceDescriptorsEqualThePlainForm) {
    std::mt19937 random(61);
    for (int i = 0; i < 4000; i++) {
        std::array<int16_t, 80> history;
        // Eight different vectors average out; eight equal ones reach the ends.
        for (size_t k = 0; k < history.size(); k++)
            history[k] = k < 10 || i % 2 ? static_cast<int16_t>(random()) : history[k - 10];
        if (i % 4 < 3)
            for (size_t k = 0; k < history.size(); k += 10)
                std::sort(&history[k], &history[k] + 10, std::greater());
        ASSERT_EQ(silenceDescriptor(history.data()), reference::gsmamr::quantise(history.data())) << "call " << i;
    }
    for (const auto &[name, samples] : signals::nasty(8000, 62)) {
        SCOPED_TRACE(name);
        for (size_t k = 0; k + 80 <= samples.size(); k += 80)
            ASSERT_EQ(silenceDescriptor(&samples[k]), reference::gsmamr::quantise(&samples[k]));
    }
}

TEST(GsmAmrDtx, LogEnergiesAreCloseToTheLogarithmAndHalvedInTheEncoder) {
    for (const auto &[name, samples] : signals::nasty(8000, 63)) {
        SCOPED_TRACE(name);
        for (size_t k = 0; k + 160 <= samples.size(); k += 160) {
            Histories encoder{}, decoder{};
            int16_t pointers[2] = {3, 3};
            ryxsEncDTXBuffer_GSMAMR_16s(&samples[k], &samples[k], &pointers[0], encoder.data(), &encoder[80]);
            ryxsDecDTXBuffer_GSMAMR_16s(&samples[k], &samples[k], &pointers[1], decoder.data(), &decoder[80]);
            double energy = 0;
            for (size_t i = k; i < k + 160; i++)
                energy += 2.0 * samples[i] * samples[i];
            const double exact = 1024 * (energy > 0 ? std::log2(std::min(energy, 2147483647.0)) : 0) - 8521;
            ASSERT_NEAR(decoder[84], exact, 1.5);
            ASSERT_EQ(encoder[84], decoder[84] >> 1);
            ASSERT_TRUE(std::equal(&samples[k], &samples[k] + 10, &encoder[40]));
        }
    }
}

TEST(GsmAmrDtx, NoPointerLeadsOutsideTheHistories) {
    const std::array<int16_t, 160> speech = {1000};
    for (int start = -32768; start < 32768; start++) {
        Histories histories{};
        auto pointer = static_cast<int16_t>(start);
        ASSERT_EQ(ryxsEncDTXBuffer_GSMAMR_16s(speech.data(), speech.data(), &pointer, histories.data(), &histories[80]),
                  0);
        ASSERT_EQ(pointer, start < 7 ? start + 1 : 0);
        ASSERT_EQ(histories == Histories(), pointer < 0);
    }
}

} // namespace
