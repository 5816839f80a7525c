// SPDX-License-Identifier: BSD-2-Clause
// The adaptation controllers in integers beside those in single precision, in whole cancellers over speech.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "harness/guarded_buffer.h"
#include "harness/signals.h"
#include "reference/ec_scene.h"
#include "ryxsc.h"

namespace {

using ec::Scene;

// Memory of a controller whose end nothing may touch.
template <class State> struct Guarded {
    ryxtest::GuardedBuffer buffer;

    template <class GetSize, class... Arguments> explicit Guarded(GetSize getSize, Arguments... arguments) {
        int size = 0;
        EXPECT_EQ(getSize(arguments..., &size), ryxStsOk);
        buffer.place(static_cast<size_t>(size), 3);
    }
    State *state() { return buffer.as<State>(); }
};

constexpr int block = 8, taps = 512;

// What a canceller in full band sends for a scene. Multiplied: a step and the multiplier of all.
template <class Sample, class Tap, class Step, class Multiplier, class Controller, class Update, class Compare,
          class Adapt, class Filter, class Multiplied>
std::vector<double> cancelled(const Scene &scene, Controller *controller, Multiplier multiplier, Update update,
                              Compare compare, Adapt adapt, Filter filter, Multiplied multiplied) {
    std::vector<Sample> far(taps), near(scene.microphone.begin(), scene.microphone.end());
    far.insert(far.end(), scene.far.begin(), scene.far.end());
    std::vector<Tap> adaptive(taps), saved(taps);
    std::vector<double> output;
    Sample scaledError = 0;
    for (size_t i = 0; i + block <= near.size(); i += block) {
        const Sample *const x = &far[taps + i], *const s = &near[i];
        Step steps[block];
        Sample e1[block], e2[block];
        update(x, s, steps, controller);
        for (Step &step : steps)
            step = multiplied(step, multiplier);
        adapt(x, s, steps, e1, block, adaptive.data(), taps, &scaledError);
        filter(x, s, e2, block, saved.data(), taps);
        compare(e1, e2, adaptive.data(), saved.data(), &multiplier, controller);
        output.insert(output.end(), e2, e2 + block);
    }
    return output;
}

std::vector<double> cancelledByFloats(const Scene &scene) {
    Guarded<FullbandControllerState_EC_32f> controller(ryxsFullbandControllerGetSize_EC_32f, block, taps, 8000);
    ryxsFullbandControllerInit_EC_32f(controller.state(), block, taps, 8000);
    return cancelled<float, float, float>(scene, controller.state(), 1.0F, ryxsFullbandControllerUpdate_EC_32f,
                                          ryxsFullbandController_EC_32f, ryxsNLMS_EC_32f, ryxsFIR_EC_32f,
                                          [](float step, float multiplier) { return step * multiplier; });
}

std::vector<double> cancelledByIntegers(const Scene &scene) {
    Guarded<FullbandControllerState_EC_16s> controller(ryxsFullbandControllerGetSize_EC_16s, block, taps, 8000);
    ryxsFullbandControllerInit_EC_16s(controller.state(), block, taps, 8000);
    const auto output = cancelled<int16_t, int16_t, int32_t>(
        scene, controller.state(), int32_t{32768}, ryxsFullbandControllerUpdate_EC_16s, ryxsFullbandController_EC_16s,
        ryxsNLMS_EC_16s, ryxsFIR_EC_16s, [](int32_t step, int32_t multiplier) {
            return static_cast<int32_t>((int64_t{step} * multiplier + 16384) >> 15);
        });
    EXPECT_TRUE(controller.buffer.isIntact());
    return output;
}

TEST(EcControllerFixed, FullBandFollowsTheFloatingOneAsFarAsTheTapsReach) {
    const Scene scenes[] = {ec::singleTalk(), ec::doubleTalk()};
    for (const Scene &scene : scenes) {
        const std::vector<double> wanted = ec::reductions(scene, cancelledByFloats(scene));
        const std::vector<double> found = ec::reductions(scene, cancelledByIntegers(scene));
        for (size_t second = 0; second < found.size(); second++) {
            SCOPED_TRACE(testing::Message() << scene.name << ", second " << second << ": " << wanted[second]);
            EXPECT_GT(found[second], std::min(wanted[second] - 1.5, 24.0));
        }
    }
}

// The sums of the longest filter at full scale are above 2^31, and the multiples that are compared above 2^63 only for
// lengths that no test has the memory for.
TEST(EcControllerFixed, FullBandStepsAreRoundedQuotientsOfExactEnergies) {
    std::mt19937 random(71);
    for (const int length : {1, 7, 8, 513}) {
        Guarded<FullbandControllerState_EC_16s> controller(ryxsFullbandControllerGetSize_EC_16s, 50, length, 16000);
        ryxsFullbandControllerInit_EC_16s(controller.state(), 50, length, 16000);
        for (const int amplitude : {0, 900, 2000, 32768}) {
            std::vector<int16_t> x(static_cast<size_t>(length + 50), -32768);
            if (amplitude < 32768)
                std::ranges::generate(x, [&] {
                    return static_cast<int16_t>(static_cast<int>(random() % static_cast<unsigned>(2 * amplitude + 1)) -
                                                amplitude);
                });
            int32_t steps[50];
            const int16_t *const now = x.data() + length;
            ASSERT_EQ(ryxsFullbandControllerUpdate_EC_16s(now, now, steps, controller.state()), ryxStsOk);
            const int64_t floor = int64_t{1500000} * length;
            int64_t energy = 0;
            for (int k = 1; k <= length; k++)
                energy += now[-k] * now[-k];
            for (int n = 0; n < 50; n++) {
                if (n > 0) energy += now[n - 1] * now[n - 1] - now[n - length] * now[n - length];
                const double exact =
                    energy > floor ? 0x1p38 / static_cast<double>(energy) : 0x1p39 / static_cast<double>(floor);
                ASSERT_NEAR(steps[n], exact, 0.5001) << length << " " << amplitude << " " << n;
            }
        }
    }
}

// Blocks of 20 ms and more have factors that would exceed 1.
TEST(EcControllerFixed, FullBandMultiplierStaysInItsRangeWithBlocksOfAnyLength) {
    for (const int length : {1, 37, 160, 800}) {
        Guarded<FullbandControllerState_EC_16s> controller(ryxsFullbandControllerGetSize_EC_16s, length, 16, 8000);
        ryxsFullbandControllerInit_EC_16s(controller.state(), length, 16, 8000);
        std::vector<int16_t> loud(static_cast<size_t>(length) + 16, -32768), soft(loud.size(), 10), a(16, 300), b(16);
        std::vector<int32_t> steps(loud.size());
        int32_t least = 32768;
        for (int i = 0; i < 4000; i++) {
            const bool diverges = i / 1000 % 2 > 0;
            int32_t multiplier = -1;
            ryxsFullbandControllerUpdate_EC_16s(&loud[16], &loud[16], steps.data(), controller.state());
            ryxsFullbandController_EC_16s(diverges ? loud.data() : soft.data(), i % 2 ? loud.data() : soft.data(),
                                          a.data(), b.data(), &multiplier, controller.state());
            ASSERT_GE(multiplier, 0);
            ASSERT_LE(multiplier, 32768);
            least = std::min(least, multiplier);
        }
        EXPECT_TRUE(controller.buffer.isIntact());
    }
}

} // namespace
