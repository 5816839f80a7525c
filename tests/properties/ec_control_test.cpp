// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

struct Controller {
    static constexpr int taps = 100;
    alignas(16) unsigned char bytes[72] = {};
    int length;
    std::vector<float> adaptive = std::vector<float>(taps, 2), saved = std::vector<float>(taps, 1);
    float multiplier = 0;

    explicit Controller(int blockLength) : length(blockLength) {
        EXPECT_EQ(ryxsFullbandControllerInit_EC_32f(state(), length, taps, 8000), ryxStsOk);
    }
    FullbandControllerState_EC_32f *state() { return reinterpret_cast<FullbandControllerState_EC_32f *>(bytes); }
    void run(float first, float second) {
        const std::vector<float> e1(static_cast<size_t>(length), first), e2(static_cast<size_t>(length), second);
        ryxsFullbandController_EC_32f(e1.data(), e2.data(), adaptive.data(), saved.data(), &multiplier, state());
    }
};

// Blocks of 20 ms and more have smoothing factors of 1 and more.
TEST(EcController, NothingBecomesInfiniteWhateverComesIn) {
    std::mt19937 random(31);
    const float values[] = {0, 1, -3000, 1e18F, -2e19F, FLT_MAX, -FLT_MAX, notANumber, INFINITY};
    for (const int length : {1, 37, 80, 160, 800, 4000}) {
        Controller controller(length);
        std::vector<float> x(static_cast<size_t>(Controller::taps + length)), steps(static_cast<size_t>(length));
        for (int i = 0; i < 100; i++) {
            const auto any = [&] { return values[random() % std::size(values)]; };
            std::ranges::generate(x, [&] { return i % 2 ? any() : 1e19F; });
            const float *const block = x.data() + Controller::taps;
            ryxsFullbandControllerUpdate_EC_32f(block, block, steps.data(), controller.state());
            for (const float step : steps)
                ASSERT_TRUE(std::isfinite(step)) << step;
            controller.run(any(), any());
            ASSERT_TRUE(std::isfinite(controller.multiplier)) << length << " " << i;
        }
    }
}

TEST(EcController, AFilterThatHasRunAwayIsRestoredAndSavedAgainLater) {
    for (const float failure : {notANumber, INFINITY, 1e30F}) {
        Controller controller(80);
        for (int i = 0; i < 50; i++)
            controller.run(100, 100);
        std::ranges::fill(controller.adaptive, failure);
        controller.run(failure, 100);
        EXPECT_EQ(controller.adaptive, controller.saved);
        std::ranges::fill(controller.adaptive, 3.0F);
        for (int i = 0; i < 600; i++)
            controller.run(100, 1000);
        EXPECT_EQ(controller.saved[0], 3);
    }
}

// The rules in double precision, over residuals, microphones and coefficients of changing loudness.
TEST(EcController, FullBandDecidesByItsRules) {
    std::mt19937 random(34);
    const auto decibels = [&](int range) {
        return std::pow(10.0, static_cast<int>(random() % unsigned(range)) / 20.0);
    };
    for (const int length : {8, 37}) {
        Controller controller(length);
        const auto alpha = [=](double seconds) {
            const double x = length / (seconds * 8000);
            return 1 - x + x * x / 2;
        };
        const auto smooth = [](double factor, double &old, double value) { old += (1 - factor) * (value - old); };
        double adaptive = 0, saved = 0, microphone = 0, coefficients = 0, divergence = 1, multiplier = 1;
        double level[4] = {}, savedTap = 1;
        int copies = 0;
        for (int i = 0; i < 20000; i++) {
            if (i % 40 == 0) std::ranges::generate(level, [&] { return decibels(60); });
            const double tap = level[3];
            std::ranges::fill(controller.adaptive, static_cast<float>(tap));
            const std::vector<float> s(static_cast<size_t>(length), static_cast<float>(level[2]));
            std::vector<float> x(static_cast<size_t>(Controller::taps + length)), steps(s.size());
            ryxsFullbandControllerUpdate_EC_32f(&x[Controller::taps], s.data(), steps.data(), controller.state());
            controller.run(static_cast<float>(level[0]), static_cast<float>(level[1]));

            smooth(alpha(0.05), microphone, length * level[2] * level[2]);
            smooth(alpha(0.05), adaptive, length * level[0] * level[0]);
            smooth(alpha(0.05), saved, length * level[1] * level[1]);
            const double change = std::abs(coefficients - Controller::taps * tap * tap);
            smooth(alpha(0.05), coefficients, Controller::taps * tap * tap);
            if (0.1 * saved > adaptive && 0.2 * Controller::taps * tap * tap > change) {
                savedTap = tap;
                saved = adaptive;
                smooth(alpha(0.02), divergence, 0);
                copies++;
            } else if (adaptive > 1.3 * saved) {
                adaptive = saved;
                smooth(alpha(0.02), divergence, 1);
            }
            smooth(alpha(0.01), multiplier, divergence >= 0.5 || saved >= 0.2 * microphone ? 1 : 0);
            ASSERT_NEAR(controller.multiplier, multiplier, 1e-4) << "block " << i << " of " << length;
            ASSERT_NEAR(controller.saved[0], savedTap, 1e-4 * savedTap);
        }
        EXPECT_GT(copies, 10) << length;
    }
}

// A tone of 2100 Hz for three seconds, its phase reversed at regular intervals; 0 for never.
std::vector<int16_t> tone(int rate, double amplitude, int spacing) {
    std::vector<int16_t> samples(static_cast<size_t>(3 * rate));
    for (size_t n = 0; n < samples.size(); n++) {
        const bool reversed = spacing > 0 && n * 1000 / static_cast<size_t>(spacing * rate) % 2 > 0;
        const double value = amplitude * std::sin(2 * std::numbers::pi * 2100 * static_cast<double>(n) / rate);
        samples[n] = static_cast<int16_t>(std::lround(reversed ? -value : value));
    }
    return samples;
}

// The flags of the detector, block by block.
template <class Sample, class State>
std::vector<int> flags(ryxStatus (*initialise)(State *, int), ryxStatus (*detect)(const Sample *, int, int *, State *),
                       int rate, const auto &input, const std::vector<size_t> &blocks) {
    unsigned char bytes[81];
    const auto state = reinterpret_cast<State *>(bytes + 1);
    EXPECT_EQ(initialise(state, rate), ryxStsOk);
    const std::vector<Sample> samples(input.begin(), input.end());
    std::vector<int> all;
    size_t done = 0;
    for (const size_t block : blocks) {
        EXPECT_EQ(detect(&samples[done], static_cast<int>(block), &all.emplace_back(-1), state), ryxStsOk);
        done += block;
    }
    return all;
}

std::vector<int> floatFlags(int rate, const std::vector<int16_t> &input, const std::vector<size_t> &blocks) {
    return flags(ryxsToneDetectInit_EC_32f, ryxsToneDetect_EC_32f, rate, input, blocks);
}
std::vector<int> fixedFlags(int rate, const std::vector<int16_t> &input, const std::vector<size_t> &blocks) {
    return flags(ryxsToneDetectInit_EC_16s, ryxsToneDetect_EC_16s, rate, input, blocks);
}

TEST(EcToneDetect, FindsEveryReversalFromTheSecondOnAtAnyLevelAndInAnyBlocks) {
    std::mt19937 random(32);
    for (const int rate : {8000, 16000})
        for (const double amplitude : {100, 361, 1000, 8000, 32767})
            for (const int spacing : {0, 400, 430, 450, 470, 500}) {
                SCOPED_TRACE(testing::Message() << rate << " Hz, " << amplitude << ", " << spacing << " ms");
                const std::vector<int16_t> input = tone(rate, amplitude, spacing);
                const std::vector<size_t> singly(input.size(), 1);
                const std::vector<size_t> blocks = signals::randomBlocks(input.size(), 1, 700, random);
                for (const auto &detect : {floatFlags, fixedFlags}) {
                    const std::vector<int> found = detect(rate, input, singly);
                    const int reversals = spacing < 430 || spacing > 470 ? 0 : 3000 / spacing - 1;
                    EXPECT_EQ(std::accumulate(found.begin(), found.end(), 0), reversals);
                    size_t begin = 0;
                    std::vector<int> wanted;
                    for (const size_t block : blocks) {
                        const auto first = found.begin() + static_cast<std::ptrdiff_t>(begin);
                        wanted.push_back(*std::max_element(first, first + static_cast<std::ptrdiff_t>(block)));
                        begin += block;
                    }
                    EXPECT_EQ(detect(rate, input, blocks), wanted);
                }
            }
}

// At 8000 Hz a pause behind a tone is its continuation, and the next tone a reversal. So the flags tell how the detector gets
// through the pauses.
TEST(EcToneDetect, ZerosAreDecidedLikeSamplesWithoutPower) {
    std::mt19937 random(33);
    for (const int rate : {8000, 16000}) {
        const std::vector<int16_t> burst = tone(rate, 100, 0);
        std::vector<float> samples;
        for (int i = 0; i < 60; i++) {
            samples.insert(samples.end(), burst.begin() + 1, burst.begin() + 161);
            samples.resize(samples.size() + 3200 + random() % 300);
        }
        const std::vector<size_t> blocks = signals::randomBlocks(samples.size(), 1, 700, random);
        const auto find = [&] {
            return flags(ryxsToneDetectInit_EC_32f, ryxsToneDetect_EC_32f, rate, samples, blocks);
        };
        const std::vector<int> found = find();
        EXPECT_EQ(std::ranges::count(found, 1) > 0, rate == 8000);
        std::ranges::replace(samples, 0.0F, 1e-30F);
        EXPECT_EQ(found, find());
    }
}

TEST(EcToneDetect, StartsAgainInTheNextCallAfterSamplesThatAreNotFinite) {
    for (const float bad : {notANumber, INFINITY, -FLT_MAX}) {
        const std::vector<int16_t> clean = tone(8000, 3000, 450);
        std::vector<float> samples = {bad};
        samples.insert(samples.end(), clean.begin(), clean.end());
        unsigned char bytes[80];
        const auto state = reinterpret_cast<ToneDetectState_EC_32f *>(bytes);
        ryxsToneDetectInit_EC_32f(state, 8000);
        int detected = -1;
        ryxsToneDetect_EC_32f(samples.data(), 1, &detected, state);
        EXPECT_EQ(detected, 0);
        ryxsToneDetect_EC_32f(samples.data() + 1, static_cast<int>(clean.size()), &detected, state);
        EXPECT_EQ(detected, 1);
    }
}

} // namespace
