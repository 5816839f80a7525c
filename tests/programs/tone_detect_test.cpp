// SPDX-License-Identifier: BSD-2-Clause
// The program that looks for the tone which disables echo cancellers.
#include <cmath>
#include <numbers>

#include "program_test.h"

namespace {

using ToneDetectProgram = ProgramTest;

// Two seconds of tone, its phase reversed every so many ms, 0 for never.
void append(std::vector<int16_t> &samples, int rate, int spacing) {
    for (int n = 0; n < 2 * rate; n++) {
        const double value = 3000 * std::sin(2 * std::numbers::pi * 2100 * n / rate);
        const bool reversed = spacing > 0 && n * 1000 / (spacing * rate) % 2 > 0;
        samples.push_back(static_cast<int16_t>(std::lround(reversed ? -value : value)));
    }
}

TEST_F(ToneDetectProgram, NamesTheSecondAndTheLastReversalOfEveryTone) {
    for (const int rate : {8000, 16000}) {
        Audio audio = {rate, readMono(speech, rate).samples};
        for (const int spacing : {450, 0, 450}) {
            append(audio.samples, rate, spacing);
            for (int n = 0; n < rate; n++) // a pause that is not quite silent
                audio.samples.push_back(static_cast<int16_t>(n % 7 - 3));
        }
        writeMono(file("in.wav"), audio);
        for (const std::string arithmetic : {"float", "16bit"}) {
            const std::string options = " --arithmetic " + arithmetic + " --rate " + std::to_string(rate);
            const Outcome outcome = run("tone_detect in.wav" + options);
            EXPECT_EQ(outcome.exitCode, 0);
            double first = 0, last = 0, again = 0;
            const int found = std::sscanf(outcome.output.c_str(),
                                          "%lf s: disabling tone, last reversal at %lf s\n%lf s: disabling tone",
                                          &first, &last, &again);
            ASSERT_EQ(found, 3) << outcome.output;
            const double start = static_cast<double>(readMono(speech, rate).samples.size()) / rate;
            EXPECT_NEAR(first, start + 0.9, 0.02);
            EXPECT_NEAR(last, start + 1.8, 0.02);
            EXPECT_NEAR(again, first + 6, 0.002);
        }
    }
}

TEST_F(ToneDetectProgram, SaysThatThereIsNoneInSpeechOrInAPlainTone) {
    Audio audio = {8000, readMono(speech, 8000).samples};
    audio.samples.resize(8 * 8000);
    append(audio.samples, 8000, 0);
    writeMono(file("in.wav"), audio);
    for (const std::string options : {"", " --arithmetic float"})
        EXPECT_EQ(run("tone_detect in.wav" + options).output, "no disabling tone in 10.000 s\n");
}

} // namespace
