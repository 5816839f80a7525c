// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "common/fixed_point.h"
#include "g723/tables.h"
#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using ryxsc::wrap16;
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

// The recommendation's inverse quantiser with a spacing loop of ten passes.
ryxStatus decode(const uint16_t *indices, const Lsf &previous, bool erased, Lsf &lsf) {
    using namespace ryxsc::g723;
    constexpr Lsf mean = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};
    const int prediction = erased ? 23552 : 12288, spacing = erased ? 512 : 256;
    for (size_t j = 0; j < lsf.size(); j++) {
        const auto row = [&](size_t band) { return erased ? 0 : indices[band]; };
        const int value = j < 3 ? lowBand[row(0)][j] : j < 6 ? middleBand[row(1)][j - 3] : highBand[row(2)][j - 6];
        lsf[j] = wrap16(value + (((previous[j] - mean[j]) * prediction + 16384) >> 15) + mean[j]);
    }
    for (int pass = 0; pass < 10; pass++) {
        lsf[0] = std::max<int16_t>(lsf[0], 384);
        lsf[9] = std::min<int16_t>(lsf[9], 32256);
        for (size_t j = 0; j < 9; j++) {
            const int half = std::max<int>(wrap16(lsf[j] - lsf[j + 1] + spacing), 0) >> 1;
            lsf[j] = wrap16(lsf[j] - half);
            lsf[j + 1] = wrap16(lsf[j + 1] + half);
        }
        const auto close = [=](int16_t lower, int16_t upper) { return upper - lower < spacing - 4; };
        if (std::adjacent_find(lsf.begin(), lsf.end(), close) == lsf.end()) return ryxStsOk;
    }
    return ryxStsLsfLowClamped;
}

// Of a decoder's own vectors, and of any 16-bit values in their place.
TEST(G723, DecodedLsfsEqualThePlainForm) {
    std::mt19937 random(41);
    Lsf previous = {}, lsf, expected;
    int warnings = 0;
    for (int i = 0; i < 200000; i++) {
        if (i % 2)
            for (int16_t &value : previous)
                value = static_cast<int16_t>(random() % (i % 4 == 1 ? 65536 : 512));
        const uint16_t indices[3] = {static_cast<uint16_t>(random() % 256), static_cast<uint16_t>(random() % 256),
                                     static_cast<uint16_t>(random() % 256)};
        const int erased = i % 5 == 0 ? static_cast<int>(random() | 1) : 0;
        const ryxStatus status = decode(indices, previous, erased != 0, expected);
        ASSERT_EQ(ryxsLSFDecode_G723_16s(indices, previous.data(), erased, lsf.data()), status) << "call " << i;
        ASSERT_EQ(lsf, expected) << "call " << i;
        warnings += status != ryxStsOk;
        previous = lsf;
    }
    EXPECT_GT(warnings, 100);
}

} // namespace
