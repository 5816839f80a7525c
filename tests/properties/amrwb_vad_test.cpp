// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "harness/signals.h"
#include "reference/vad_filter_bank.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 256, frames = 60;
using Levels = std::array<int16_t, 12>;

struct Detector {
    std::array<unsigned char, 177> bytes = {};
    int16_t tone = 0, vad = -1;

    VADState_AMRWB *state() { return reinterpret_cast<VADState_AMRWB *>(bytes.data() + 1); }
    ryxStatus decide(const int16_t *frame) { return ryxsVAD_AMRWB_16s(frame, state(), &tone, &vad); }
};

TEST(AmrWbVad, BandLevelsEqualThePlainForm) {
    for (const auto &[name, input] : signals::nasty(frames * frameLength, 21)) {
        SCOPED_TRACE(name);
        Detector detector;
        ryxsVADInit_AMRWB_16s(detector.state());
        reference::AmrWbFilterBank plain;
        for (size_t i = 0; i < input.size(); i += frameLength) {
            Levels levels, plainLevels;
            ASSERT_EQ(detector.decide(&input[i]), ryxStsOk);
            ryxsVADGetEnergyLevel_AMRWB_16s(detector.state(), levels.data());
            plain.levels(&input[i], plainLevels.data());
            ASSERT_EQ(levels, plainLevels) << "frame " << i / frameLength;
        }
    }
}

// What a caller gets who forgets Init, or whose memory was overwritten, is no decision, but no trap either.
TEST(AmrWbVad, AnyContentOfTheStateIsSurvived) {
    std::mt19937 random(22);
    for (int trial = 0; trial < 200; trial++) {
        Detector detector;
        if (trial > 0) std::ranges::generate(detector.bytes, [&] { return static_cast<unsigned char>(random()); });
        for (const auto &[name, input] : signals::nasty(frameLength, 23)) {
            ASSERT_EQ(detector.decide(input.data()), ryxStsOk);
            ASSERT_TRUE(detector.vad == 0 || detector.vad == 1);
        }
    }
}

} // namespace
