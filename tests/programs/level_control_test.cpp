// SPDX-License-Identifier: BSD-2-Clause
// The program that brings speech to a level.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>

#include "lib/speech_level.h"
#include "program_test.h"

namespace {

class LevelControlProgram : public ProgramTest {
protected:
    // Writes the speech at 8 kHz with a gain, levels it, and returns the output.
    std::vector<int16_t> levelled(double decibels, const std::string &options) {
        Audio audio = {8000, readMono(speech, 8000).samples};
        for (int16_t &sample : audio.samples)
            sample = static_cast<int16_t>(std::clamp(sample * std::pow(10, decibels / 20), -32768.0, 32767.0));
        writeMono(file("in.wav"), audio);
        const Outcome outcome = run("level_control in.wav out.wav" + options);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        std::vector<int16_t> output = samples("out.wav", 8000);
        EXPECT_EQ(output.size(), audio.samples.size());
        char wanted[100];
        std::snprintf(wanted, sizeof wanted, "; speech %.1f dB, peak %.1f dB after\n", activeSpeechLevel(output, 8000),
                      peakLevel(output));
        EXPECT_NE(outcome.output.find(wanted), std::string::npos) << outcome.output;
        return output;
    }
};

// The control's own meter reads about 3 dB less than that of P.56.
TEST_F(LevelControlProgram, BringsLoudAndQuietSpeechToOneLevel) {
    for (const double target : {20.0, 30.0})
        for (const double decibels : {-15.0, -8.0, 0.0}) {
            SCOPED_TRACE(std::to_string(decibels) + " dB to " + std::to_string(target));
            const auto output = levelled(decibels, " --gain 40 --target " + std::to_string(target));
            EXPECT_NEAR(activeSpeechLevel(output, 8000), 3 - target, 1);
        }
}

TEST_F(LevelControlProgram, KeepsTheCeilingTheLargestGainAndTheSlowStart) {
    const std::vector<int16_t> loud = levelled(0, " --target 0 --gain 60 --ceiling 12");
    EXPECT_LE(peakLevel(loud), -12);
    EXPECT_GT(peakLevel(loud), -12.1);
    const std::vector<int16_t> quiet = levelled(-40, " --gain 6 --target 0");
    EXPECT_NEAR(activeSpeechLevel(quiet, 8000), activeSpeechLevel(samples("in.wav", 8000), 8000) + 6, 0.5);
    const std::vector<int16_t> fresh = levelled(0, " --start fresh");
    EXPECT_LT(peakLevel(std::span(fresh).first(400)), -30);
}

} // namespace
