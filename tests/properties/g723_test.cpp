#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "g723/tables.h"
#include "ryxsc.h"
#include "support/signals.h"

namespace {

using Lsf = std::array<int16_t, 10>;

template <size_t values> uint32_t checksum(const int16_t (&vectors)[256][values]) {
    uint32_t sum = 2166136261U;
    for (const auto &vector : vectors)
        for (const int16_t value : vector)
            sum = (sum ^ static_cast<uint16_t>(value)) * 16777619U;
    return sum;
}

TEST(G723, CodebooksAreTheRecommendations) {
    using namespace ryxsc::g723;
    EXPECT_EQ(checksum(lowBand), 0x3c8ad242U);
    EXPECT_EQ(checksum(middleBand), 0x61784b09U);
    EXPECT_EQ(checksum(highBand), 0x888f6b14U);
}

// Of a decoder's own vectors, and of any 16-bit values in their place.
TEST(G723, DecodedLsfsAreSpacedOrTheStatusSaysTheyAreNot) {
    std::mt19937 random(41);
    Lsf previous = {};
    int warnings = 0;
    for (int i = 0; i < 200000; i++) {
        if (i % 2)
            for (int16_t &value : previous)
                value = static_cast<int16_t>(random() % (i % 4 == 1 ? 65536 : 512));
        const uint16_t indices[3] = {static_cast<uint16_t>(random() % 256), static_cast<uint16_t>(random() % 256),
                                     static_cast<uint16_t>(random() % 256)};
        const int erased = i % 5 == 0 ? static_cast<int>(random() | 1) : 0;
        Lsf lsf;
        const ryxStatus status = ryxsLSFDecode_G723_16s(indices, previous.data(), erased, lsf.data());
        bool spaced = true;
        for (size_t j = 0; j < 9; j++)
            spaced &= lsf[j + 1] - lsf[j] >= (erased ? 508 : 252);
        ASSERT_EQ(status, spaced ? ryxStsOk : ryxStsLsfLowClamped) << "call " << i;
        warnings += !spaced;
        previous = lsf;
    }
    EXPECT_GT(warnings, 100);
}

TEST(G723, SpacedGoodFramesAreCodebookPlusPrediction) {
    using namespace ryxsc::g723;
    std::mt19937 random(42);
    const Lsf mean = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};
    for (unsigned i = 0; i < 256; i++) {
        const auto k = static_cast<uint16_t>(i);
        Lsf previous, lsf, expected;
        for (size_t j = 0; j < previous.size(); j++) {
            previous[j] = static_cast<int16_t>(mean[j] + static_cast<int>(random() % 2001) - 1000);
            const int vector = j < 3 ? lowBand[k][j] : j < 6 ? middleBand[k][j - 3] : highBand[k][j - 6];
            const double prediction = std::floor(0.375 * (previous[j] - mean[j]) + 0.5);
            expected[j] = static_cast<int16_t>(vector + mean[j] + static_cast<int>(prediction));
        }
        bool spaced = expected[0] >= 384 && expected[9] <= 32256;
        for (size_t j = 0; j < 9; j++)
            spaced &= expected[j + 1] - expected[j] >= 256;
        const uint16_t indices[3] = {k, k, k};
        ASSERT_EQ(ryxsLSFDecode_G723_16s(indices, previous.data(), 0, lsf.data()), ryxStsOk);
        if (spaced) {
            EXPECT_EQ(lsf, expected);
        }
    }
}

} // namespace
