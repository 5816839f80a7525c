// SPDX-License-Identifier: BSD-2-Clause
// The decision logic of detectors and controllers against plain forms: minutes of speech and noise, and states and signals
// that stand at every limit and beside it. The whole state is compared, so that nothing waits for its effect.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <numeric>

#include "common/vector_quantiser_search.h"
#include "harness/signals.h"
#include "reference/decisions.h"
#include "reference/ec_filter.h"
#include "ryxsc.h"

namespace {

template <class T> bool same(const T &x, const T &y) {
    return std::memcmp(&x, &y, sizeof x) == 0;
}
int between(std::mt19937 &random, int least, int most) {
    return std::uniform_int_distribution(least, most)(random);
}
template <class... T> int oneOf(std::mt19937 &random, T... values) {
    const int all[] = {values...};
    return all[static_cast<size_t>(between(random, 0, sizeof...(values) - 1))];
}

// Speech that comes and goes over noise, both at levels that change every two seconds.
std::vector<int16_t> noisySpeech(size_t length, std::mt19937 &random) {
    const std::vector<int16_t> speech = signals::speech();
    std::vector<int16_t> mixed(length);
    int loudness = 0, noise = 0;
    for (size_t i = 0; i < length; i++) {
        if (i % 32000 == 0) {
            loudness = oneOf(random, 0, 0, 2, 10, 40, 90);
            noise = oneOf(random, 0, 2, 8, 20, 60, 200, 1000, 4000);
        }
        const int value = speech[i % speech.size()] * loudness / 30 + between(random, -noise, noise);
        mixed[i] = static_cast<int16_t>(std::clamp(value, -32768, 32767));
    }
    return mixed;
}

void putAtALimit(reference::AmrWbVad &vad, std::mt19937 &random) {
    const int beside = between(random, -1, 1);
    const auto near = [beside](int limit) { return static_cast<int16_t>(std::clamp(limit + beside, -32768, 32767)); };
    for (int16_t &noise : vad.bckr_est)
        noise = std::max<int16_t>(near(oneOf(random, 40, 64, 128, 256, 512, 20000, 150)), 40);
    for (int16_t &average : vad.ave_level)
        average = near(oneOf(random, 0, 184, 300, 5000));
    vad.burst_count = near(oneOf(random, 0, 5, 8, 12, 32767));
    vad.hang_count = near(oneOf(random, 0, 1, 2, 10));
    vad.stat_count = static_cast<int16_t>(oneOf(random, 0, 1, 2, 19, 20, 21));
    vad.vadreg = static_cast<uint16_t>(oneOf(random, 0, 0x4000, 0x7fff, 0x0100, 0x0080, 0x0800, 0x0400, 0x1000));
    vad.sp_max_cnt = near(oneOf(random, 1, 10, 24, 25));
    vad.sp_est_cnt = static_cast<int16_t>(vad.sp_max_cnt + oneOf(random, 0, 54, 55, 56, 57));
    vad.sp_max = near(oneOf(random, 818, 820, 822, 5000));
    vad.speech_level = near(oneOf(random, 129, 410, 2050, 9000));
    vad.prev_pow_sum = oneOf(random, 0, 29999, 30000, 686079, 686080, 343040);
}

TEST(Decisions, VoiceActivityOfAmrWbEqualsThePlainForm) {
    std::mt19937 random(51);
    const std::vector<int16_t> input = noisySpeech(16000 * 150, random);
    reference::AmrWbVad own = {};
    ryxsVADInit_AMRWB_16s(reinterpret_cast<VADState_AMRWB *>(&own));
    for (size_t i = 0; i + 256 <= input.size(); i += 256) {
        if (i / 256 % 10 == 9) putAtALimit(own, random);
        std::array<int16_t, 256> frame;
        std::copy_n(&input[i], 256, frame.begin());
        // Powers at the least ones that count: a sum of two frames' 2 * x^2.
        if (i / 256 % 20 == 19) {
            frame.fill(0);
            frame[100] = static_cast<int16_t>(oneOf(random, 0, 1, 122, 123, 585, 586));
            own.prev_pow_sum = oneOf(random, 29998, 30000, 232, 0, 686078, 686080) - oneOf(random, 0, 2) * 1;
            own.prev_pow_sum = std::max(own.prev_pow_sum, 0);
        }
        reference::AmrWbVad plain = own;
        const auto tones = static_cast<int16_t>(oneOf(random, 0, 0, 0x7c00, 0x3c00, 0x6000, 0x7fff));
        int16_t tone = tones, plainTone = tones, vad = -1;
        std::array<int16_t, 12> levels;
        ASSERT_EQ(ryxsVAD_AMRWB_16s(frame.data(), reinterpret_cast<VADState_AMRWB *>(&own), &tone, &vad), ryxStsOk);
        ryxsVADGetEnergyLevel_AMRWB_16s(reinterpret_cast<VADState_AMRWB *>(&own), levels.data());
        ASSERT_EQ(plain.decide(frame.data(), levels.data(), plainTone), vad) << "frame " << i / 256;
        std::ranges::copy(own.filters, plain.filters);
        std::ranges::copy(own.sub_level, plain.sub_level);
        ASSERT_TRUE(same(own, plain)) << "frame " << i / 256;
        ASSERT_EQ(tone, plainTone);
    }
}

void putAtALimit(reference::GsmAmrVad &vad, const int16_t *frame, std::mt19937 &random) {
    const int beside = between(random, -1, 1), noise = oneOf(random, 40, 80, 89, 100, 192, 5000, 15990, 16000, 32767);
    const auto near = [beside](int limit) { return static_cast<int16_t>(std::clamp(limit + beside, -32768, 32767)); };
    for (uint16_t *reg : {&vad.vadreg, &vad.pitch, &vad.tone, &vad.complex_high, &vad.complex_low}) {
        const int most = oneOf(random, 0, 0x7fff, 0x4000, 0x7f80, 0x7f00, 0x0080, 0x3ff0, 0x0010, 0x0008);
        *reg = static_cast<uint16_t>(most ^ oneOf(random, 0, 0, 0x0800, 0x6000, 0x2000, 0x7c00, 0x0400, 0x0001));
    }
    vad.complex_hang_timer = near(oneOf(random, 1, 99, 100, 101));
    vad.complex_hang_count = static_cast<int16_t>(oneOf(random, 0, 0, 0, 1, 2, 249, 250, 251));
    vad.corr_hp_fast = near(oneOf(random, 13107, 16383, 19660, 21298, 21298, 22936));
    vad.best_corr_hp = near(oneOf(random, 13106, 16383, 19660, 21298, 22936, 32766));
    if (oneOf(random, 0, 1) != 0) vad.best_corr_hp = vad.corr_hp_fast;
    vad.stat_count = static_cast<int16_t>(oneOf(random, 0, 1, 4, 5, 6, 19, 20));
    vad.burst_count = near(oneOf(random, 0, 3, 4, 32767));
    vad.hang_count = near(oneOf(random, 0, 1, 7));

    // Averages at the levels, or one of them beside the largest change that is stationary.
    int16_t level[9];
    reference::GsmAmrFilterBank(vad.filters).levels(frame, level);
    std::copy_n(level, 9, vad.ave_level);
    const int most = oneOf(random, 1000, 1001);
    int16_t &average = vad.ave_level[between(random, 0, 8)];
    if (oneOf(random, 0, 1) != 0)
        for (average = static_cast<int16_t>(std::min(7 * average, 32767)); vad.change(level) < most && average < 32767;)
            average++;
    // Noise anywhere, or where the frame is beside the threshold.
    std::fill_n(vad.bckr_est, 9, std::max<int16_t>(near(noise), 40));
    if (oneOf(random, 0, 1) == 0) return;
    for (int i = 0; i < 1000 && std::abs(vad.excess(level)) > oneOf(random, 0, 1); i++) {
        int16_t &some = vad.bckr_est[between(random, 0, 8)];
        const int step = i < 300 ? 1 + some / 16 : 1 + some / 256;
        some = static_cast<int16_t>(std::clamp(some + (vad.excess(level) > 0 ? step : -step), 40, 16000));
    }
}

TEST(Decisions, VoiceActivityOfGsmAmrEqualsThePlainForm) {
    std::mt19937 random(54);
    std::vector<int16_t> input = noisySpeech(8000 * 120, random);
    for (const auto &[name, samples] : signals::nasty(8000, 55))
        input.insert(input.end(), samples.begin(), samples.end());
    reference::GsmAmrVad own;
    const auto state = reinterpret_cast<VADState_GSMAMR *>(&own);
    std::memset(static_cast<void *>(&own), -1, sizeof own);
    ASSERT_EQ(ryxsVADInit_GSMAMR_16s(state), ryxStsOk);
    ASSERT_TRUE(same(own, reference::GsmAmrVad()));
    for (size_t i = 0; i + 200 <= input.size(); i += 160) {
        int16_t samples[200];
        std::copy_n(&input[i], 200, samples);
        if (i / 160 % 12 == 11) { // powers at the limits, twice 7500 or 171520, or a little less
            constexpr int16_t limits[2][5] = {{86, 10, 2}, {414, 10, 4, 2, 2}};
            std::fill_n(samples, 160, int16_t{0});
            std::copy_n(limits[oneOf(random, 0, 1)], oneOf(random, 2, 5), samples + 10);
        }
        if (i / 160 % 6 == 5) putAtALimit(own, samples + 40, random);
        reference::GsmAmrVad plain = own;
        int16_t vad = -1;
        ASSERT_EQ(ryxsVAD_GSMAMR_16s(samples + 40, state, &vad), ryxStsOk);
        ASSERT_EQ(plain.decide(samples + 40), vad) << "frame " << i / 160;
        ASSERT_TRUE(same(own, plain)) << "frame " << i / 160;

        int32_t correlations[3], energies[3];
        for (int k = 0; k < 3; k++) { // the correlation beside 0.65 of the energy
            energies[k] = oneOf(random, between(random, 0, INT32_MAX), 0x7fff, 0x8000, 0, INT32_MAX);
            const int64_t energy = std::min((energies[k] + int64_t{0x8000}) >> 16, int64_t{32767});
            correlations[k] = static_cast<int32_t>(2 * energy * 21298 + oneOf(random, -1, 0, 1, -70000));
        }
        const int oneLag = oneOf(random, 0, 1), highPass = oneOf(random, 13000, 16384, 19660, 21300, 24000, 32767);
        const int16_t last = own.oldlag, lags[2] = {static_cast<int16_t>(last + oneOf(random, 0, 3, -3, 4, -4)),
                                                    static_cast<int16_t>(oneOf(random, 20, 21, 23, 24, 143))};
        ASSERT_EQ(ryxsVADToneDetection_GSMAMR_16s(correlations, energies, oneLag, state), ryxStsOk);
        ASSERT_EQ(ryxsVADPitchDetection_GSMAMR_16s(lags, static_cast<int16_t>(highPass), state), ryxStsOk);
        plain.takeTones(correlations, energies, oneLag != 0);
        plain.takeLags(lags, static_cast<int16_t>(highPass));
        ASSERT_TRUE(same(own, plain)) << "after frame " << i / 160;
    }
}

// Stretches of a tone of 2100 Hz, of the tone in noise, at ratios on both sides of every threshold, and of pauses; phases
// turn after times beside the limits.
std::vector<int16_t> tonesAndGaps(int rate, std::mt19937 &random) {
    std::vector<int16_t> samples;
    double phase = 0;
    while (samples.size() < static_cast<size_t>(rate) * 60) {
        const int toneTime = oneOf(random, rate * 413 / 1000, rate * 466 / 1000, rate * 44 / 100, rate / 10);
        const int gap = oneOf(random, 0, 0, rate * 2 / 100 - 10, rate * 2 / 100, rate * 2 / 100 + 10, 1000);
        const int noise = oneOf(random, 0, 0, 0, 100, 300, 500, 700, 1000, 3000);
        const int amplitude = oneOf(random, 1000, 1000, 300, 20000);
        for (int i = between(random, -4, 4); i < toneTime + gap; i++) {
            const double tone = i < toneTime ? amplitude * std::sin(phase) : 0;
            phase += 2 * std::numbers::pi * 2100 / rate;
            samples.push_back(static_cast<int16_t>(std::lround(tone) + between(random, -noise, noise)));
        }
        phase += std::numbers::pi * oneOf(random, 1, 1, 1, 0);
    }
    return samples;
}

// Powers in a ratio beside a threshold, times beside their limits; the silence that follows keeps the ratio.
template <class Detector> void putTonesAtALimit(Detector &tones, std::mt19937 &random) {
    const double ratio = oneOf(random, 80000, 48000, 48000, 80, 100000) * 1e-5 + between(random, -2, 2) * 1e-6;
    using Power = decltype(tones.inputPower);
    tones.inputPower = static_cast<Power>(between(random, 1000000, 2000000));
    tones.outputPower = static_cast<Power>(tones.inputPower * ratio + between(random, -2, 2));
    tones.x1 = tones.x2 = tones.y1 = tones.y2 = 0;
    tones.toneCount = oneOf(random, tones.minCount, tones.maxCount) + between(random, -2, 2);
    tones.gapCount = oneOf(random, 0, tones.gapLimit + between(random, -2, 2));
    tones.count = between(random, 0, 3);
}

template <class Detector, class Sample, class Handle> void
expectPlainTones(ryxStatus (*initialise)(Handle *, int), ryxStatus (*detect)(const Sample *, int, int *, Handle *)) {
    std::mt19937 random(52);
    for (const int rate : {8000, 16000}) {
        const std::vector<int16_t> input = tonesAndGaps(rate, random);
        std::vector<Sample> samples(input.begin(), input.end());
        Detector own;
        const auto handle = reinterpret_cast<Handle *>(&own);
        ASSERT_EQ(initialise(handle, rate), ryxStsOk);
        Detector plain = own;
        size_t done = 0;
        for (const size_t block : signals::randomBlocks(samples.size(), 1, 40, random)) {
            int detected = -1;
            bool found = false;
            if (between(random, 0, 3) == 0) {
                putTonesAtALimit(own, random);
                plain = own;
                std::fill_n(&samples[done], block, Sample{0});
            }
            ASSERT_EQ(detect(&samples[done], static_cast<int>(block), &detected, handle), ryxStsOk);
            for (size_t i = 0; i < block; i++)
                found |= plain.take(samples[done + i]);
            done += block;
            ASSERT_EQ(detected, found) << "before sample " << done;
            ASSERT_TRUE(same(own, plain)) << "before sample " << done;
        }
    }
}

TEST(Decisions, TonesEqualThePlainForm) {
    expectPlainTones<reference::FloatToneDetector>(ryxsToneDetectInit_EC_32f, ryxsToneDetect_EC_32f);
    expectPlainTones<reference::FixedToneDetector>(ryxsToneDetectInit_EC_16s, ryxsToneDetect_EC_16s);
}

// Whole numbers, so that energies are exact; ratios of the energies are drawn around the limits.
TEST(Decisions, FullBandControllerEqualsThePlainForm) {
    std::mt19937 random(53);
    constexpr int length = 32, taps = 24;
    reference::FullbandController own;
    const auto handle = reinterpret_cast<FullbandControllerState_EC_32f *>(&own);
    ASSERT_EQ(ryxsFullbandControllerInit_EC_32f(handle, length, taps, 8000), ryxStsOk);
    std::array<float, length> e1, e2;
    std::array<float, taps> adaptive = {}, saved = {};
    int restored = 0, kept = 0;
    for (int trial = 0; trial < 200000; trial++) {
        const int first = between(random, 1, 60), second = between(random, 1, 60);
        std::ranges::generate(e1, [&] { return static_cast<float>(between(random, -first, first)); });
        std::ranges::generate(e2, [&] { return static_cast<float>(between(random, -second, second)); });
        if (trial % 3 == 0)
            own.savedResidual = own.adaptiveResidual * static_cast<float>(between(random, 50, 1200)) / 100;
        if (trial % 5 == 0) own.divergence = static_cast<float>(between(random, 40, 60)) / 100;
        if (trial % 7 == 0) own.reference = own.savedResidual * static_cast<float>(between(random, 400, 600)) / 100;
        adaptive[static_cast<size_t>(between(random, 0, taps - 1))] = static_cast<float>(between(random, -9, 9));
        reference::FullbandController plain = own;
        auto plainAdaptive = adaptive, plainSaved = saved;
        float multiplier = -1;
        ASSERT_EQ(
            ryxsFullbandController_EC_32f(e1.data(), e2.data(), adaptive.data(), saved.data(), &multiplier, handle),
            ryxStsOk);
        plain.decide(e1.data(), e2.data(), plainAdaptive.data(), plainSaved.data());
        restored += plain.adaptiveResidual == plain.savedResidual;
        kept += plain.adaptiveResidual != plain.savedResidual;
        ASSERT_TRUE(same(own, plain)) << "trial " << trial;
        ASSERT_TRUE(adaptive == plainAdaptive && saved == plainSaved) << "trial " << trial;
        ASSERT_EQ(multiplier, plain.multiplier);
    }
    EXPECT_GT(restored, 5000);
    EXPECT_GT(kept, 10000);
}

TEST(Decisions, LevelControlEqualsThePlainForm) {
    std::mt19937 random(54);
    for (const float ceiling : {0.0F, 20.0F}) {
        std::vector<int16_t> input = noisySpeech(16000 * 90, random), output(8);
        ALCState_G169 own;
        ryxsALCInit_G169_16s(&own);
        ryxsALCSetLevel_G169_16s(&own, 20, ceiling);
        for (size_t i = 0; i + 8 <= input.size(); i += 8) {
            if (i % 4000 == 0) { // beside the counts that matter
                own.activeBlocks = static_cast<int16_t>(oneOf(random, 8, 18, 48, 498, 16381));
                own.spurtCount = static_cast<int16_t>(oneOf(random, 0, 1, 1, 2, 16381));
                own.powerRate = static_cast<float>(between(random, 20, 30)) / 10000;
                own.speechLevel = static_cast<float>(between(random, 1, 60)) / 1000;
            }
            ALCState_G169 plain = own;
            ASSERT_EQ(ryxsALC_G169_16s(&input[i], output.data(), 8, &own), ryxStsOk);
            reference::controlLevel(plain, &input[i]);
            ASSERT_TRUE(same(own, plain)) << "sample " << i;
        }
    }
}

// The update of the 16-bit filter has a fast form for small factors.
TEST(Decisions, AdaptiveFilterEqualsThePlainFormBesideTheLargestFastFactor) {
    std::mt19937 random(55);
    constexpr int taps = 64;
    for (int factor = 8150; factor <= 8230; factor++)
        for (const int sign : {1, -1}) {
            std::vector<int16_t> x(taps + 1), h(taps);
            std::ranges::generate(x, [&] { return static_cast<int16_t>(oneOf(random, -32768, 32767, 1, -1, 12345)); });
            std::ranges::generate(h, [&] { return static_cast<int16_t>(between(random, -32768, 32767)); });
            std::vector<int16_t> plainH = h;
            const int32_t mu = 1000;
            const auto start = static_cast<int16_t>(sign * factor);
            int16_t near = 77, error, plainError, previous = start, plainPrevious = start;
            ASSERT_EQ(ryxsNLMS_EC_16s(&x[taps], &near, &mu, &error, 1, h.data(), taps, &previous), ryxStsOk);
            reference::ec::filter16(&x[taps], &near, &mu, &plainError, 1, plainH.data(), taps, &plainPrevious);
            ASSERT_TRUE(h == plainH && error == plainError && previous == plainPrevious) << start;
        }
}

// Of equal distortions the first counts. Few different values make many ties.
TEST(Decisions, VectorSearchTakesTheFirstOfEquals) {
    std::mt19937 random(56);
    for (int trial = 0; trial < 2000; trial++) {
        std::array<int32_t, 64> errors;
        std::ranges::generate(errors, [&] { return between(random, 5, 9); });
        const int start = between(random, 4, 10);
        ryxsc::Smallest smallest(start);
        ryxsc::Candidates<int32_t> candidates(start);
        for (size_t i = 0; i < 64; i += 4) {
            const auto base = static_cast<int>(i);
            smallest.offer(ryxsc::simd::load(&errors[i]), ryxsc::simd::dwords(-1),
                           _mm_setr_epi32(base, base + 1, base + 2, base + 3));
            for (size_t k = 0; k < 4; k++)
                candidates.offer(errors[i + k], i + k);
        }
        const auto least = std::ranges::min_element(errors);
        const bool found = *least < start;
        EXPECT_EQ(smallest.get().value, found ? *least : start);
        EXPECT_EQ(smallest.get().index, found ? static_cast<uint32_t>(least - errors.begin()) : 0U);
        std::array<size_t, 64> order;
        std::iota(order.begin(), order.end(), size_t{0});
        std::ranges::stable_sort(order, {}, [&](size_t i) { return errors[i]; });
        for (size_t k = 0; k < 4; k++)
            EXPECT_EQ(candidates[k], errors[order[k]] < start ? order[k] : 0U);
    }
}

} // namespace
