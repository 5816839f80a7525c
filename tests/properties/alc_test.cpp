// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

struct Settings {
    float gain, target, ceiling;
};

// The last ones lie beyond the float range.
constexpr Settings settings[] = {{11.6F, 26.1F, 0}, {40, 10, 3}, {0, 40, 20}, {1e4F, 1e4F, 90}, {1e30F, 0, 1e30F}};

// The signal is repeated so that spurts, their ends and new ones occur.
TEST(LevelControl, GivesTheSameInAnyBlocksAndInPlaceAndNeverExceedsTheCeiling) {
    for (unsigned seed = 1; const auto &[name, signal] : signals::nasty(6000, 17))
        for (const auto &[gain, target, ceiling] : settings) {
            SCOPED_TRACE(name + ", gain " + std::to_string(gain));
            std::vector<int16_t> input = signal, whole;
            input.insert(input.end(), 6000, 0);
            input.insert(input.end(), signal.begin(), signal.end());
            const size_t length = input.size();
            whole.resize(length);
            ALCState_G169 first, second;
            ryxsALCInit_G169_16s(&first);
            ASSERT_EQ(ryxsALCSetGain_G169_16s(&first, gain), ryxStsOk);
            ASSERT_EQ(ryxsALCSetLevel_G169_16s(&first, target, ceiling), ryxStsOk);
            second = first;
            ASSERT_EQ(ryxsALC_G169_16s(input.data(), whole.data(), static_cast<int>(length), &first), ryxStsOk);
            std::mt19937 random(++seed);
            size_t done = 0;
            for (const size_t block : signals::randomBlocks(length, 8, 800, random)) {
                ASSERT_EQ(ryxsALC_G169_16s(&input[done], &input[done], static_cast<int>(block), &second), ryxStsOk);
                done += block;
            }
            ASSERT_EQ(input, whole);
            ASSERT_EQ(std::memcmp(&first, &second, sizeof first), 0);
            ASSERT_TRUE(std::isfinite(first.gainTarget));
            for (const int16_t y : whole)
                ASSERT_LE(std::abs(static_cast<float>(y)), first.peakCeiling);
        }
}

TEST(LevelControl, RefusesWhatIsNoNumber) {
    ALCState_G169 state;
    ryxsALCInit_G169_16s(&state);
    EXPECT_EQ(ryxsALCSetGain_G169_16s(&state, NAN), ryxStsOutOfRange);
    EXPECT_EQ(ryxsALCSetLevel_G169_16s(&state, NAN, 0), ryxStsOutOfRange);
    EXPECT_EQ(ryxsALCSetLevel_G169_16s(&state, 0, NAN), ryxStsOutOfRange);
}

} // namespace
