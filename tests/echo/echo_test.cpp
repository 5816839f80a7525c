// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <ryxecho.h>

#include "harness/guarded_buffer.h"
#include "harness/signals.h"
#include "scenes.h"

namespace {

ryxEchoOptions usual(int method = ryxEchoTransform, int suppression = 0) {
    ryxEchoOptions options;
    ryxechoDefaults(&options);
    options.method = method;
    options.suppression = suppression;
    return options;
}

class Canceller {
public:
    explicit Canceller(const ryxEchoOptions &options) {
        int size = 0;
        EXPECT_EQ(ryxechoGetSize(&options, &size), ryxStsOk);
        block_.place(static_cast<size_t>(size), 3); // at an odd address
        EXPECT_EQ(ryxechoInit(get(), &options), ryxStsOk);
    }
    ~Canceller() { EXPECT_TRUE(block_.isIntact()); }

    void *get() { return block_.as<void>(); }
    ryxEchoInfo info() {
        ryxEchoInfo info;
        EXPECT_EQ(ryxechoGetInfo(get(), &info), ryxStsOk);
        return info;
    }
    size_t delay() { return static_cast<size_t>(info().delay); }

    template <class Sample>
    std::vector<float> run(const std::vector<Sample> &far, const std::vector<Sample> &microphone, size_t call) {
        std::vector<Sample> output(far.size());
        for (size_t n = 0; n < far.size(); n += call)
            process(&far[n], &microphone[n], &output[n], std::min(call, far.size() - n));
        return {output.begin(), output.end()};
    }
    void process(const int16_t *far, const int16_t *microphone, int16_t *output, size_t len) {
        ASSERT_EQ(ryxechoProcess(get(), far, microphone, output, static_cast<int>(len)), ryxStsOk);
    }
    void process(const float *far, const float *microphone, float *output, size_t len) {
        ASSERT_EQ(ryxechoProcessFloat(get(), far, microphone, output, static_cast<int>(len)), ryxStsOk);
    }

private:
    ryxtest::GuardedBuffer block_;
};

const SceneSignals &signals8k() {
    static const SceneSignals all(RYXSC_ECHO_SIGNALS, 8000);
    return all;
}

std::vector<double> reductionsOf(const ryxEchoOptions &options, const Scene &scene) {
    Canceller canceller(options);
    return reductions(scene, canceller.run(scene.far, scene.microphone, 160), canceller.delay());
}

void expectAtLeast(const std::vector<double> &perSecond, std::initializer_list<std::pair<size_t, double>> floors) {
    for (const auto &[second, floor] : floors)
        EXPECT_GE(perSecond[second - 1], floor) << "second " << second;
}

class BothBlocks : public testing::TestWithParam<int> {
protected:
    std::vector<double> over(const char *scene) const {
        ryxEchoOptions options = usual();
        options.blockLength = GetParam();
        return reductionsOf(options, makeScene(signals8k(), scene));
    }
};

TEST_P(BothBlocks, WeakenTheEchoOfOneTalkerFastAndDeep) {
    const auto single = over("single");
    expectAtLeast(single, {{1, 17}, {2, 29}, {3, 36}});
    EXPECT_GE(meanOf(single, 9, 23), 60);
    const auto noisy = over("noise");
    expectAtLeast(noisy, {{1, 14}, {2, 26}, {3, 28}});
    EXPECT_GE(meanOf(noisy, 9, 23), 38);
}

TEST_P(BothBlocks, KeepThePathWhenBothTalk) {
    const auto later = over("double");
    EXPECT_GE(*std::min_element(&later[8], &later[16]), 30);
    EXPECT_GE(meanOf(later, 9, 16), 36);
    EXPECT_GE(meanOf(later, 20, 23), 52);
    const auto fromTheStart = over("start");
    expectAtLeast(fromTheStart, {{1, 10}, {2, 16}, {3, 18}});
    EXPECT_GE(meanOf(fromTheStart, 4, 12), 26);
}

TEST_P(BothBlocks, FollowAPathThatChangesOrDrifts) {
    expectAtLeast(over("change"), {{12, 50}, {14, 13}, {15, 26}, {16, 34}, {18, 46}});
    const auto drift = over("drift");
    EXPECT_GE(meanOf(drift, 8, 18), 24);
    EXPECT_GE(drift[22], 45);
}

INSTANTIATE_TEST_SUITE_P(EchoScenes, BothBlocks, testing::Values(64, 128));

TEST(EchoScenes, OtherMethodsReachWhatTheyAreMadeFor) {
    const auto fullband = reductionsOf(usual(ryxEchoFullband), makeScene(signals8k(), "double"));
    expectAtLeast(fullband, {{2, 11}, {3, 24}, {4, 30}});
    EXPECT_GE(*std::min_element(&fullband[8], &fullband[16]), 24);
    const auto subband = reductionsOf(usual(ryxEchoSubband), makeScene(signals8k(), "double"));
    expectAtLeast(subband, {{1, 23}, {2, 33}, {3, 38}});
    EXPECT_GE(*std::min_element(&subband[8], &subband[16]), 26);
    const auto change = reductionsOf(usual(ryxEchoSubband), makeScene(signals8k(), "change"));
    expectAtLeast(change, {{14, 18}, {15, 28}, {16, 32}});
}

TEST(EchoScenes, SuppressionTakesMostOfTheRestAndLeavesNearSpeech) {
    const Scene scene = makeScene(signals8k(), "double");
    const auto perSecond = reductionsOf(usual(ryxEchoTransform, 1), scene);
    expectAtLeast(perSecond, {{1, 46}, {2, 48}, {3, 48}});
    EXPECT_GE(meanOf(perSecond, 18, 23), 48);
    EXPECT_GE(*std::min_element(&perSecond[8], &perSecond[16]), 20) << "near speech counts as residual here";
}

// --- Interface ---

TEST(EchoInterface, RefusesWhatItDoesNotHaveAndWritesNothing) {
    const auto statusWith = [](auto change) {
        ryxEchoOptions options = usual();
        change(options);
        int size = -1;
        const ryxStatus status = ryxechoGetSize(&options, &size);
        std::byte block[64] = {};
        if (status != ryxStsOk) {
            EXPECT_EQ(size, -1);
            EXPECT_EQ(ryxechoInit(block, &options), status);
            EXPECT_TRUE(std::ranges::all_of(block, [](std::byte b) { return b == std::byte{0}; }));
        }
        return status;
    };
    using Options = ryxEchoOptions;
    for (const int rate : {8000, 16000, 32000, 48000})
        EXPECT_EQ(statusWith([=](Options &o) { o.sampleRate = rate; }), ryxStsOk);
    for (const int method : {-1, 3})
        EXPECT_EQ(statusWith([=](Options &o) { o.method = method; }), ryxStsBadArg);
    EXPECT_EQ(statusWith([](Options &o) { o.suppression = 2; }), ryxStsBadArg);
    EXPECT_EQ(statusWith([](Options &o) { o.tone = -1; }), ryxStsBadArg);
    for (const int rate : {0, 11025, 44100, -8000})
        EXPECT_EQ(statusWith([=](Options &o) { o.sampleRate = rate; }), ryxStsOutOfRange);
    EXPECT_EQ(statusWith([](Options &o) { o.sampleRate = 48000, o.method = ryxEchoFullband; }), ryxStsOutOfRange);
    EXPECT_EQ(statusWith([](Options &o) { o.sampleRate = 32000, o.tone = 1; }), ryxStsOutOfRange);
    for (const int tail : {7, 501, -1})
        EXPECT_EQ(statusWith([=](Options &o) { o.tail = tail; }), ryxStsOutOfRange);
    for (const int block : {16, 65, 80, 512, -64})
        EXPECT_EQ(statusWith([=](Options &o) { o.blockLength = block; }), ryxStsOutOfRange) << block;
    for (const int call : {0, 481, -1})
        EXPECT_EQ(statusWith([=](Options &o) { o.callLength = call; }), ryxStsOutOfRange);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float bound : {-1.0F, 121.0F, nan})
        EXPECT_EQ(statusWith([=](Options &o) { o.noiseBound = bound; }), ryxStsOutOfRange);
    for (const float bound : {11.0F, 121.0F, nan})
        EXPECT_EQ(statusWith([=](Options &o) { o.echoBound = bound; }), ryxStsOutOfRange);
    EXPECT_EQ(statusWith([](Options &o) { o.fullScale = 2; }), ryxStsOutOfRange);

    Canceller canceller(usual());
    int16_t samples[481] = {};
    ryxEchoInfo info;
    EXPECT_EQ(ryxechoDefaults(nullptr), ryxStsNullPtr);
    EXPECT_EQ(ryxechoProcess(canceller.get(), samples, nullptr, samples, 80), ryxStsNullPtr);
    EXPECT_EQ(ryxechoProcess(canceller.get(), nullptr, samples, samples, 80), ryxStsNullPtr);
    EXPECT_EQ(ryxechoProcess(canceller.get(), samples, samples, nullptr, 80), ryxStsNullPtr);
    EXPECT_EQ(ryxechoProcess(nullptr, samples, samples, samples, 80), ryxStsNullPtr);
    EXPECT_EQ(ryxechoReset(nullptr), ryxStsNullPtr);
    for (const int len : {0, -1, 481})
        EXPECT_EQ(ryxechoProcess(canceller.get(), samples, samples, samples, len), ryxStsBadSize);
    EXPECT_EQ(ryxechoFreeze(canceller.get(), 2), ryxStsBadArg);
    alignas(16) std::byte nothing[4096] = {};
    EXPECT_EQ(ryxechoProcess(nothing, samples, samples, samples, 80), ryxStsBadContext);
    EXPECT_EQ(ryxechoGetInfo(nothing, &info), ryxStsBadContext);
    EXPECT_EQ(ryxechoReset(nothing), ryxStsBadContext);
}

struct Case {
    const char *name;
    ryxEchoOptions options;
};

std::vector<Case> manyCases() {
    std::vector<Case> all;
    for (const int suppression : {0, 1}) {
        all.push_back({"transform", usual(ryxEchoTransform, suppression)});
        all.push_back({"full band", usual(ryxEchoFullband, suppression)});
        all.push_back({"sub-band", usual(ryxEchoSubband, suppression)});
    }
    const auto add = [&](const char *name, int rate, int tail, int block) {
        ryxEchoOptions options = usual(ryxEchoTransform, 1);
        options.sampleRate = rate;
        options.tail = tail;
        options.blockLength = block;
        all.push_back({name, options});
    };
    add("shortest", 8000, 8, 32);
    add("longest", 8000, 500, 32);
    add("16 kHz", 16000, 64, 512);
    add("32 kHz", 32000, 50, 0);
    add("48 kHz", 48000, 50, 0);
    all.back().options.suppression = 0;
    all.push_back({"one tap", all[0].options});
    all.back().options.tail = 8;
    all.back().options.suppression = 1;
    all.push_back({"tone", all[0].options});
    all.back().options.tone = 1;
    return all;
}

// Start, double talk and a new path, in seconds that follow each other.
Scene shortScene() {
    Scene all{8000, {}, {}, {}};
    const auto add = [&](const char *name, double from, double to) {
        const Scene scene = makeScene(signals8k(), name);
        const auto range = [=](const auto &samples) {
            return std::pair{&samples[static_cast<size_t>(8000 * from)], &samples[static_cast<size_t>(8000 * to)]};
        };
        const auto [far, farEnd] = range(scene.far);
        const auto [microphone, microphoneEnd] = range(scene.microphone);
        all.far.insert(all.far.end(), far, farEnd);
        all.microphone.insert(all.microphone.end(), microphone, microphoneEnd);
    };
    add("noise", 0, 2.5);
    add("double", 7.5, 11);
    add("change", 11, 14);
    add("start", 0, 2);
    return all;
}

// Levels of the output in decibels, every quarter of a second, as they were when the list was made. Whoever changes what
// the canceller does makes the list anew, with RYXSC_ECHO_LEVELS=FILE in the environment, and says why.
TEST(EchoScenes, LevelsAreThoseRecorded) {
    const Scene scene = shortScene();
    std::ifstream recorded(RYXSC_ECHO_LEVELS);
    const char *const place = std::getenv("RYXSC_ECHO_LEVELS");
    std::ofstream anew(place != nullptr ? place : "/dev/null");
    for (const Case &test : manyCases()) {
        const auto output = Canceller(test.options).run(scene.far, scene.microphone, 160);
        int wrong = 0;
        for (auto from = output.begin(); output.end() - from >= 2000; from += 2000) {
            const double level = 10 * std::log10(std::inner_product(from, from + 2000, from, 1.0));
            double expected = 0;
            recorded >> expected;
            wrong += std::abs(level - expected) > 0.011;
            anew << std::round(100 * level) / 100 << ' ';
        }
        anew << '\n';
        EXPECT_EQ(wrong, 0) << test.name << (test.options.suppression ? " with suppression" : "");
    }
}

TEST(EchoInterface, CutsIntoCallsOfAnyLengthMakeNoDifference) {
    const Scene scene = makeScene(signals8k(), "start");
    const std::vector<int16_t> far(scene.far.begin() + 8000, scene.far.begin() + 24000);
    const std::vector<int16_t> microphone(scene.microphone.begin() + 8000, scene.microphone.begin() + 24000);
    std::mt19937 random(5);
    for (Case &test : manyCases()) {
        SCOPED_TRACE(test.name);
        Canceller whole(test.options);
        const auto expected = whole.run(far, microphone, 480);
        for (const int unit : {1, 10, 48, 64}) {
            test.options.callLength = unit;
            Canceller cut(test.options);
            const size_t delay = cut.delay(), full = whole.delay();
            ASSERT_LE(delay, full);
            std::vector<int16_t> output = microphone; // in place
            size_t done = 0;
            for (const size_t len :
                 signals::randomBlocks(far.size() / 960 * 960, static_cast<size_t>(unit), 480, random)) {
                cut.process(&far[done], &output[done], &output[done], len);
                done += len;
            }
            ASSERT_EQ(done, 15360U);
            EXPECT_TRUE(std::equal(output.begin(), output.begin() + static_cast<std::ptrdiff_t>(done - (full - delay)),
                                   expected.begin() + static_cast<std::ptrdiff_t>(full - delay)))
                << "unit " << unit;
        }
    }
}

TEST(EchoInterface, NearSpeechPassesAsItIsAsLateAsStated) {
    const std::vector<int16_t> &near = makeScene(signals8k(), "single").far;
    const std::vector<int16_t> start(near.begin(), near.begin() + 16000), silence(start.size());
    for (const Case &test : manyCases()) {
        if (test.options.method == ryxEchoSubband || test.options.suppression) continue;
        SCOPED_TRACE(test.name);
        Canceller canceller(test.options);
        const auto output = canceller.run(silence, start, 100);
        EXPECT_TRUE(
            std::equal(start.begin(), start.end() - canceller.info().delay, output.begin() + canceller.info().delay));
    }
}

TEST(EchoInterface, FloatSamplesOfEitherScaleAreTheSame) {
    const Scene scene = makeScene(signals8k(), "single");
    const std::vector<float> far(scene.far.begin(), scene.far.begin() + 16000);
    const std::vector<float> microphone(scene.microphone.begin(), scene.microphone.begin() + 16000);
    ryxEchoOptions options = usual(ryxEchoTransform, 1);
    const auto expected = Canceller(options).run(far, microphone, 160);
    std::vector<float> smallFar = far, smallMicrophone = microphone;
    for (size_t n = 0; n < far.size(); n++) {
        smallFar[n] /= 32768;
        smallMicrophone[n] /= 32768;
    }
    options.fullScale = 1;
    auto output = Canceller(options).run(smallFar, smallMicrophone, 160);
    for (float &x : output)
        x *= 32768;
    EXPECT_TRUE(output == expected);
}

TEST(EchoInterface, ResetAndCopiesStartAndGoOnLikeTheOriginal) {
    const Scene scene = makeScene(signals8k(), "start");
    const std::vector<int16_t> far(scene.far.begin(), scene.far.begin() + 12000);
    const std::vector<int16_t> microphone(scene.microphone.begin(), scene.microphone.begin() + 12000);
    for (const Case &test : manyCases()) {
        SCOPED_TRACE(test.name);
        Canceller canceller(test.options);
        const auto first = canceller.run(far, microphone, 160);
        int size = 0;
        ASSERT_EQ(ryxechoGetSize(&test.options, &size), ryxStsOk);
        std::vector<std::byte> moved(static_cast<size_t>(size) + 16);
        const auto from = reinterpret_cast<uintptr_t>(canceller.get()), to = reinterpret_cast<uintptr_t>(moved.data());
        std::byte *const place = moved.data() + ((from - to) & 15);
        std::memcpy(place, canceller.get(), static_cast<size_t>(size));
        int16_t here[160], there[160];
        canceller.process(far.data(), microphone.data(), here, 160);
        ASSERT_EQ(ryxechoProcess(place, far.data(), microphone.data(), there, 160), ryxStsOk);
        EXPECT_TRUE(std::equal(here, here + 160, there));
        ASSERT_EQ(ryxechoReset(canceller.get()), ryxStsOk);
        EXPECT_TRUE(canceller.run(far, microphone, 160) == first);
    }
}

TEST(EchoInterface, FrozenItKeepsThePathAndLearnsNone) {
    const Scene scene = makeScene(signals8k(), "single");
    const auto part = [&](const std::vector<int16_t> &all, size_t second) {
        const auto start = all.begin() + static_cast<std::ptrdiff_t>(second * 8000);
        return std::vector<int16_t>(start, start + 32000);
    };
    for (const int method : {ryxEchoTransform, ryxEchoFullband, ryxEchoSubband}) {
        Canceller canceller(usual(method));
        EXPECT_EQ(canceller.info().echoReduction, 0) << "of silence";
        canceller.run(part(scene.far, 0), part(scene.microphone, 0), 160);
        ASSERT_EQ(ryxechoFreeze(canceller.get(), 1), ryxStsOk);
        canceller.run(part(scene.far, 4), part(scene.far, 8), 160); // would teach it nonsense
        EXPECT_GT(canceller.info().echoReduction, -3) << "method " << method;
        const std::vector<int16_t> microphone = part(scene.microphone, 0);
        const std::vector<float> output = canceller.run(part(scene.far, 0), microphone, 160);
        EXPECT_GT(canceller.info().echoReduction, 25) << "method " << method;
        double energies[2] = {}; // of the last 200 ms, with the smoothing's weights
        for (size_t n = 30400; n < 32000; n++) {
            const double weight = std::exp((static_cast<double>(n) - 32000) / 880);
            energies[0] += weight * microphone[n - canceller.delay()] * microphone[n - canceller.delay()];
            energies[1] += weight * output[n] * output[n];
        }
        EXPECT_NEAR(canceller.info().echoReduction, 10 * std::log10(energies[0] / energies[1]), 3);
    }
}

TEST(EchoInterface, DoubleTalkIsReported) {
    const Scene scene = makeScene(signals8k(), "double");
    Canceller canceller(usual());
    int16_t output[80];
    int before = 0, during = 0;
    for (size_t n = 0; n + 80 <= scene.far.size(); n += 80) {
        canceller.process(&scene.far[n], &scene.microphone[n], output, 80);
        const size_t second = n / 8000;
        if (second >= 4 && second < 8) before += canceller.info().doubleTalk;
        if (second >= 9 && second < 15) during += canceller.info().doubleTalk;
    }
    EXPECT_EQ(before, 0);
    EXPECT_GT(during, 400); // of 600, pauses included
}

// --- Bad signals ---

double energyOf(const std::vector<float> &x, size_t start, size_t length) {
    double sum = 0;
    for (size_t n = start; n < start + length; n++)
        sum += static_cast<double>(x[n]) * x[n];
    return sum;
}

TEST(EchoBadSignals, NeverMakeItLouderThanTheMicrophone) {
    constexpr size_t length = 48000, second = 8000;
    auto far = signals::nasty(length, 7), near = signals::nasty(length, 8);
    const Scene scene = makeScene(signals8k(), "double");
    near.push_back({"clipped echo", {}});
    for (size_t n = 0; n < length; n++)
        near.back().samples.push_back(static_cast<int16_t>(std::clamp(20 * scene.far[n], -9000, 9000)));
    far.push_back({"speech", {scene.far.begin(), scene.far.begin() + length}});
    near.push_back({"echo before its cause", {scene.far.begin() + 400, scene.far.begin() + 400 + length}});
    near.push_back({"constant", std::vector<int16_t>(length, 3000)});
    for (const int method : {ryxEchoTransform, ryxEchoFullband, ryxEchoSubband})
        for (const auto &x : far)
            for (const auto &s : near) {
                if (method != ryxEchoTransform && &x != &far.back()) continue;
                Canceller canceller(usual(method));
                const std::vector<float> microphone(s.samples.begin(), s.samples.end());
                const auto output = canceller.run(x.samples, s.samples, 480);
                const size_t delay = canceller.delay();
                for (size_t start = 0; start + second + delay <= length; start += second) {
                    const double in = energyOf(microphone, start, second),
                                 out = energyOf(output, start + delay, second);
                    EXPECT_LE(out, 1.26 * in + 100.0 * second) // 1 dB
                        << method << ", " << x.name << " against " << s.name << " at " << start;
                }
            }
}

TEST(EchoBadSignals, WhatIsNotFiniteIsForgotten) {
    const Scene scene = makeScene(signals8k(), "single");
    const std::vector<float> far(scene.far.begin(), scene.far.begin() + 40000);
    const std::vector<float> microphone(scene.microphone.begin(), scene.microphone.begin() + 40000);
    const float worst[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity()};
    for (const Case &test : manyCases()) {
        SCOPED_TRACE(test.name);
        std::vector<float> badFar = far, badMicrophone = microphone;
        for (size_t n = 0; n < 3; n++) {
            badFar[20000 + 5 * n] = worst[n];
            badMicrophone[20500 + 5 * n] = worst[2 - n];
            badMicrophone[21000 + n] = 1e38F;
        }
        const auto good = Canceller(test.options).run(far, microphone, 160);
        const auto output = Canceller(test.options).run(badFar, badMicrophone, 160);
        EXPECT_TRUE(std::ranges::all_of(output, [](float x) { return std::isfinite(x); }));
        const double clean = energyOf(good, 32000, 7000), later = energyOf(output, 32000, 7000);
        EXPECT_LT(later, 30 * clean + 7000 * 100.0);
    }
}

TEST(EchoBadSignals, NoiseInAllOptionsStaysInsideItsMemory) {
    std::mt19937 random(9);
    std::normal_distribution<float> normal;
    for (const Case &test : manyCases()) {
        SCOPED_TRACE(test.name);
        Canceller canceller(test.options); // checks the pattern around its block at the end
        ryxtest::GuardedBuffer far(480 * 4), microphone(480 * 4), output(480 * 4);
        for (int trial = 0; trial < 60; trial++) {
            for (int n = 0; n < 480; n++) {
                far.as<float>()[n] = normal(random) * std::pow(10.0F, static_cast<float>(trial % 12) - 2);
                microphone.as<float>()[n] = normal(random) * std::pow(10.0F, static_cast<float>(trial % 7));
            }
            canceller.process(far.as<float>(), microphone.as<float>(), output.as<float>(), 480);
            EXPECT_TRUE(
                std::all_of(output.as<float>(), output.as<float>() + 480, [](float x) { return std::isfinite(x); }));
        }
    }
}

// A modem's answer tone, then its data, then speech again.
TEST(EchoTone, LetsTheMicrophonePassUntilItsChannelIsSilent) {
    ryxEchoOptions options = usual(ryxEchoTransform, 1);
    options.tone = 1;
    Canceller canceller(options);
    std::vector<int16_t> far(40000), microphone(40000);
    for (size_t n = 0; n < 24000; n++) {
        const double sign = n / 3600 % 2 ? -1 : 1; // reversed every 450 ms
        const double level = n < 16000 ? 4000 : 800;
        microphone[n] =
            static_cast<int16_t>(std::lround(sign * level * std::sin(2 * M_PI * 2100 * static_cast<double>(n) / 8000)));
        far[n] = static_cast<int16_t>(microphone[n] / 2);
    }
    std::vector<int16_t> output(far.size());
    int disabledAt = -1, enabledAt = -1;
    for (size_t n = 0; n + 80 <= far.size(); n += 80) {
        canceller.process(&far[n], &microphone[n], &output[n], 80);
        const bool disabled = canceller.info().disabled;
        if (disabled && disabledAt < 0) disabledAt = static_cast<int>(n) + 80;
        if (!disabled && disabledAt >= 0 && enabledAt < 0) enabledAt = static_cast<int>(n) + 80;
    }
    EXPECT_GT(disabledAt, 7200);
    EXPECT_LT(disabledAt, 8000);
    EXPECT_NEAR(enabledAt, 24000 + 2000, 80); // 250 ms, in steps of a call
    const auto delay = canceller.info().delay;
    EXPECT_TRUE(std::equal(microphone.begin() + 9000, microphone.begin() + 23000, output.begin() + 9000 + delay));
}

} // namespace
