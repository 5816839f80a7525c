// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.728: the recursion and the hybrid windows against their plain forms, and the forms with prepared coefficients or
// codebook against those without, for inputs of the codec and for those that it never has.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "g728/tables.h"
#include "harness/signals.h"
#include "reference/g728.h"
#include "ryxsc.h"

namespace {

namespace plain = reference::g728;
using Samples = std::vector<int16_t>;

// Autocorrelations from nearly singular to random.
Samples autoCorrelation(std::mt19937 &random, int kind) {
    const auto unit = [&] { return static_cast<double>(random() % 10000) / 10000; };
    Samples r(51);
    if (kind < 3) {
        double exact[51] = {};
        for (size_t lines = 1 + random() % 6; lines > 0; lines--) {
            const double frequency = 3.1416 * unit(), decay = std::pow(10, -6 * unit() - 2 * (kind == 2)),
                         power = unit();
            for (int i = 0; i <= 50; i++)
                exact[i] += power * std::cos(frequency * i) * std::exp(-decay * i);
        }
        const double noise = kind == 0 ? 1.004 : 1 + std::pow(2, -16 * unit());
        const double scale = (16384 + 16383 * unit()) / (exact[0] * noise + 1e-9);
        for (int i = 1; i <= 50; i++)
            r[static_cast<size_t>(i)] = static_cast<int16_t>(std::clamp(exact[i] * scale, -32768.0, 32767.0));
        r[0] = static_cast<int16_t>(std::min(exact[0] * noise * scale, 32767.0));
    } else {
        const auto shift = static_cast<unsigned>(kind == 3 ? random() % 12 : 0);
        for (int16_t &x : r)
            x = static_cast<int16_t>(static_cast<int16_t>(random()) >> shift);
        if (kind == 3) r[0] = static_cast<int16_t>(16384 + random() % 16384);
    }
    return r;
}

TEST(G728, RecursionEqualsThePlainFormWhereverItStops) {
    std::mt19937 random(61);
    int done = 0, halved = 0;
    for (int i = 0; i < 20000; i++) {
        const Samples r = autoCorrelation(random, i % 5);
        const int to = random() % 4 ? 50 : static_cast<int>(1 + random() % 50);
        const int middle = static_cast<int>(1 + random() % static_cast<unsigned>(to));
        plain::Recursion expected;
        const bool succeeds = plain::levinson(r.data(), to, expected);
        int16_t a[50], energy, fraction, reflection;
        ryxStatus status = ryxsLevinsonDurbin_G728_16s(r.data(), 0, middle, a, &energy, &fraction, &reflection);
        if (status == ryxStsOk && middle < to)
            status = ryxsLevinsonDurbin_G728_16s(r.data(), middle, to, a, &energy, &fraction, &reflection);
        ASSERT_EQ(status, succeeds ? ryxStsOk : ryxStsOverflow) << i;
        if (!succeeds) continue;
        done++;
        halved += expected.scale > 0;
        ASSERT_TRUE(std::equal(expected.a.begin(), expected.a.end(), a)) << i;
        ASSERT_EQ(energy, expected.energy);
        ASSERT_EQ(fraction, 15 - expected.scale);
        ASSERT_EQ(reflection, expected.reflection);
    }
    EXPECT_GT(done, 5000);
    EXPECT_GT(halved, 500);
}

// Any recursions together end as each does by itself; those that fail stay as they are. At an order on its way the first one
// is what a recursion up to there would be.
TEST(G728, RecursionsTogetherEqualRecursionsAlone) {
    std::mt19937 random(67);
    int failed = 0;
    for (int i = 0; i < 10000; i++) {
        LevinsonDurbin_G728 together[4], alone[4], passed = {}, expected = {};
        LevinsonDurbin_G728 *recursions[4];
        int orders[4];
        const size_t count = 1 + random() % 4;
        bool all = true;
        int via = 0;
        for (size_t j = 0; j < count; j++) {
            LevinsonDurbin_G728 &r = alone[j] = {};
            std::ranges::copy(autoCorrelation(random, static_cast<int>(random() % 5)), r.autoCorr);
            const int order = random() % 3 == 0 ? 10 : static_cast<int>(1 + random() % 50);
            const auto advance = [&](int to) {
                const ryxStatus status = ryxsLevinsonDurbin_G728_16s(r.autoCorr, r.order, to, r.coefficients, &r.energy,
                                                                     &r.fraction, &r.reflection);
                if (status == ryxStsOk) r.order = static_cast<int16_t>(to);
                return status == ryxStsOk;
            };
            if (random() % 2 == 0 && order > 1)
                advance(static_cast<int>(1 + random() % static_cast<unsigned>(order - 1)));
            together[j] = r;
            recursions[j] = &together[j];
            orders[j] = order;
            if (j == 0 && random() % 2 == 0) {
                via = r.order + 1 + static_cast<int>(random() % static_cast<unsigned>(order - r.order));
                const LevinsonDurbin_G728 before = r;
                if (advance(via)) expected = r;
                std::ranges::fill(expected.autoCorr, 0);
                r = before;
            }
            if (!advance(order)) {
                all = false;
                failed++;
            }
        }
        const int n = static_cast<int>(count);
        ASSERT_EQ(via == 0 ? ryxsLevinsonDurbinJoint_G728_16s(recursions, orders, n)
                           : ryxsLevinsonDurbinJointVia_G728_16s(recursions, orders, n, via, &passed),
                  all ? ryxStsOk : ryxStsOverflow);
        ASSERT_EQ(std::memcmp(together, alone, count * sizeof *alone), 0) << i;
        ASSERT_EQ(std::memcmp(&passed, &expected, sizeof passed), 0) << i;
    }
    EXPECT_GT(failed, 2000);
    EXPECT_LT(failed, 20000);
}

// One of several that must not begin keeps all from it.
TEST(G728, RecursionsTogetherAreCheckedBeforeAnyBegins) {
    LevinsonDurbin_G728 good = {};
    good.autoCorr[0] = 20000;
    LevinsonDurbin_G728 bad = good;
    bad.order = 2;
    const LevinsonDurbin_G728 before = good;
    LevinsonDurbin_G728 *const recursions[] = {&good, &bad}, *const none[] = {&good, nullptr};
    const struct {
        LevinsonDurbin_G728 *const *recursions;
        int orders[2], count;
        int16_t fraction;
        ryxStatus status;
    } cases[] = {{nullptr, {2, 3}, 2, 15, ryxStsNullPtr},        {none, {2, 3}, 2, 15, ryxStsNullPtr},
                 {recursions, {2, 3}, 0, 15, ryxStsBadSize},     {recursions, {2, 2}, 2, 15, ryxStsBadSize},
                 {recursions, {2, 51}, 2, 15, ryxStsOutOfRange}, {recursions, {2, 3}, 2, 12, ryxStsOutOfRange}};
    for (const auto &c : cases) {
        bad.fraction = c.fraction;
        EXPECT_EQ(ryxsLevinsonDurbinJoint_G728_16s(c.recursions, c.orders, c.count), c.status);
        EXPECT_EQ(std::memcmp(&good, &before, sizeof good), 0);
    }
    EXPECT_EQ(ryxsLevinsonDurbinJoint_G728_16s(recursions, nullptr, 1), ryxStsNullPtr);
    const int orders[] = {2};
    LevinsonDurbin_G728 passed = bad;
    EXPECT_EQ(ryxsLevinsonDurbinJointVia_G728_16s(recursions, orders, 1, 1, nullptr), ryxStsNullPtr);
    EXPECT_EQ(ryxsLevinsonDurbinJointVia_G728_16s(recursions, orders, 1, 0, &passed), ryxStsBadSize);
    EXPECT_EQ(ryxsLevinsonDurbinJointVia_G728_16s(recursions, orders, 1, 3, &passed), ryxStsOutOfRange);
    const int tooLarge[] = {51};
    EXPECT_EQ(ryxsLevinsonDurbinJointVia_G728_16s(recursions, tooLarge, 1, 0, &passed), ryxStsOutOfRange);
    EXPECT_EQ(std::memcmp(&passed, &bad, sizeof passed), 0);
    EXPECT_EQ(std::memcmp(&good, &before, sizeof good), 0);
}

// Speech, extremes, and silence after them, in which exponents drift far apart.
TEST(G728, HybridWindowsEqualThePlainForm) {
    struct Case {
        plain::HybridWindow window;
        const int16_t *factors;
        int largestExponent;
        ryxStatus (*function)(const int16_t *, int16_t *, HybridWindowState_G728 *);
    } cases[] = {{{10, 20, 30, 1}, ryxsc::g728::weightingWindow, 41, ryxsHybridWindowWeighting_G728_16s},
                 {{10, 4, 20, 2}, ryxsc::g728::logGainWindow, 32767, ryxsHybridWindowLogGain_G728_16s}};
    for (const Case &c : cases)
        for (const auto &[name, input] : signals::nasty(4000, 62)) {
            SCOPED_TRACE(name);
            plain::HybridWindow window = c.window;
            const int len = window.lags + window.entering + window.nonRecursive;
            uint8_t octets[105];
            auto *const state = reinterpret_cast<HybridWindowState_G728 *>(octets + 1);
            ASSERT_EQ(ryxsHybridWindowInit_G728_16s(state), ryxStsOk);
            Samples signal(input);
            std::fill_n(signal.begin() + 1500, 1500, int16_t{0});
            for (size_t at = 0; at + static_cast<size_t>(len) <= signal.size();
                 at += static_cast<size_t>(window.entering)) {
                const int16_t *const x = &signal[at];
                int32_t most = 0;
                for (int i = 0; i < len; i++)
                    most = std::max<int32_t>(most, x[i] < 0 ? ~x[i] : x[i]);
                const int shift = most == 0 ? 14 : plain::norm(most) - 17;
                Samples w;
                for (int i = len - 1; i >= 0; i--) {
                    const int64_t product = x[i] * c.factors[i];
                    w.push_back(plain::upper(shift >= 0 ? product << shift : product >> -shift));
                }
                Samples expected;
                const bool useful = window(w, shift, expected);
                window.exponent = std::min(window.exponent, c.largestExponent);
                int16_t r[11];
                ASSERT_EQ(c.function(x, r, state), useful ? ryxStsOk : ryxStsIllConditioned) << at;
                ASSERT_TRUE(std::equal(r, r + 11, expected.begin())) << at;
            }
        }
}

// Samples of 14 bits as in the codec, and one of 16 among small ones; exponents near each other, far apart and at their ends.
TEST(G728, HybridWindowOfTheSynthesisFilterEqualsThePlainForm) {
    std::mt19937 random(65);
    for (const auto &[name, input] : signals::nasty(4000, 66))
        for (const bool large : {false, true})
            for (const unsigned spread : {1U, 6U, 40U, 65536U}) {
                SCOPED_TRACE(name + (large ? ", a large sample, " : ", ") + std::to_string(spread));
                plain::HybridWindow window = {50, 20, 35, 2};
                uint8_t octets[105];
                auto *const state = reinterpret_cast<HybridWindowState_G728 *>(octets + 1);
                ASSERT_EQ(ryxsHybridWindowInit_G728_16s(state), ryxStsOk);
                for (size_t at = 0; at + 105 <= input.size(); at += 20) {
                    Samples x(input.begin() + static_cast<long>(at), input.begin() + static_cast<long>(at) + 105), w;
                    int16_t exponents[21];
                    for (int16_t &exponent : exponents)
                        exponent = static_cast<int16_t>(16 - random() % spread);
                    const int common = *std::min_element(exponents, exponents + 21);
                    for (size_t i = 105; i-- > 0;) {
                        x[i] = static_cast<int16_t>(x[i] >> (!large ? 2 : i == 80 ? 0 : 4));
                        const int shift = exponents[i / 5] - common;
                        w.push_back(
                            plain::upper(plain::shifted(int64_t{2} * x[i] * ryxsc::g728::synthesisWindow[i], shift)));
                    }
                    Samples expected;
                    const bool useful = window(w, common, expected);
                    int16_t r[51];
                    ASSERT_EQ(ryxsHybridWindowSynthesis_G728_16s(x.data(), exponents, r, state),
                              useful ? ryxStsOk : ryxStsIllConditioned)
                        << at;
                    ASSERT_TRUE(std::equal(r, r + 51, expected.begin())) << at;
                    window.exponent = std::clamp(window.exponent, -32768, 32767);
                }
            }
}

// Energies beyond 16 bits are limited where they have to be handed over, and nowhere else.
TEST(G728, BothSearchesOfTheCodebookEqualThePlainForm) {
    std::mt19937 random(63);
    uint8_t octets[273];
    int beyond = 0;
    for (int i = 0; i < 3000; i++) {
        auto *const state = reinterpret_cast<CodebookState_G728 *>(octets + i % 2);
        int16_t impulse[5], target[5], energies[128];
        const auto quiet = static_cast<unsigned>(random() % 16), weak = static_cast<unsigned>(random() % 16);
        for (int16_t &x : impulse)
            x = static_cast<int16_t>(static_cast<int16_t>(random()) >> weak);
        if (i % 4) impulse[0] = 8192;
        ASSERT_EQ(ryxsCodebookEnergy_G728_16s(impulse, energies), ryxStsOk);
        ASSERT_EQ(ryxsCodebookSetFilter_G728_16s(impulse, state), ryxStsOk);
        const std::vector<int64_t> exact = plain::energies(impulse), handedOver(energies, energies + 128);
        const bool fits = std::ranges::max(exact) <= 32767;
        beyond += !fits;
        ASSERT_TRUE(!fits || exact == handedOver) << i;
        for (int j = 0; j < 20; j++) {
            for (int16_t &x : target)
                x = static_cast<int16_t>(random() % 16 == 0 ? INT16_MIN : static_cast<int16_t>(random()) >> quiet);
            const auto exponent = static_cast<int16_t>(static_cast<int>(random() % 40) - 12);
            int16_t shape, gain;
            ASSERT_EQ(ryxsCodebookSearch_G728_16s(target, exponent, impulse, energies, &shape, &gain), ryxStsOk);
            ASSERT_EQ(8 * shape + gain, plain::codebookSearch(target, exponent, impulse, handedOver)) << i;
            ASSERT_EQ(ryxsCodebookSearchFiltered_G728_16s(target, exponent, state, &shape, &gain), ryxStsOk);
            ASSERT_EQ(8 * shape + gain, plain::codebookSearch(target, exponent, impulse, exact)) << i;
        }
    }
    EXPECT_GT(beyond, 100);
    EXPECT_LT(beyond, 1000);
}

TEST(G728, ArrangedCoefficientsGiveTheSameZeroInputResponse) {
    std::mt19937 random(64);
    uint8_t octets[745], first[145], second[145];
    for (int i = 0; i < 400; i++) {
        auto *const taps = reinterpret_cast<SynthesisTaps_G728 *>(octets + i % 2);
        auto *const x = reinterpret_cast<SynthesisFilterState_G728 *>(first + i % 2);
        auto *const y = reinterpret_cast<SynthesisFilterState_G728 *>(second + 1 - i % 2);
        ASSERT_EQ(ryxsSynthesisFilterInit_G728_16s(x), ryxStsOk);
        ASSERT_EQ(ryxsSynthesisFilterInit_G728_16s(y), ryxStsOk);
        int16_t a[50];
        const auto tame = static_cast<unsigned>(random() % 12);
        for (int k = 0; k < 50; k++)
            a[k] = static_cast<int16_t>(static_cast<int16_t>(random()) >>
                                        std::min(tame + static_cast<unsigned>(k) / 8, 15U));
        if (i % 8 == 0) a[random() % 50] = INT16_MIN; // has no opposite
        ASSERT_EQ(ryxsSynthesisTapsInit_G728_16s(a, taps), ryxStsOk);
        for (int j = 0; j < 30; j++) {
            int16_t expected[5], z[5], expectedExponent, exponent;
            ASSERT_EQ(ryxsSynthesisFilterZeroInput_G728_16s(a, expected, &expectedExponent, x), ryxStsOk);
            ASSERT_EQ(ryxsSynthesisFilterZeroInputTaps_G728_16s(taps, z, &exponent, y), ryxStsOk);
            ASSERT_TRUE(std::equal(z, z + 5, expected)) << i;
            ASSERT_EQ(exponent, expectedExponent);
            ASSERT_EQ(std::memcmp(x, y, 144), 0);
            if (random() % 4 == 0) continue; // the response stays in the memory as it is, with 15 bits
            const auto excitationExponent = static_cast<int16_t>(static_cast<int>(random() % 60) - 10);
            for (SynthesisFilterState_G728 *state : {x, y}) {
                std::mt19937 same(static_cast<unsigned>(100 * i + j));
                int16_t excitation[5], response[5], speech[5], speechExponent, e = excitationExponent;
                for (int16_t &value : excitation)
                    value = static_cast<int16_t>(static_cast<int16_t>(same()) >> same() % 8);
                ASSERT_EQ(ryxsSynthesisFilter_G728_16s(a, excitation, &e, INT16_MAX, response, speech, &speechExponent,
                                                       state),
                          ryxStsOk);
            }
        }
    }
}

// Any words, of a magnitude of their own.
Samples randomWords(std::mt19937 &random, size_t count, unsigned mostQuiet) {
    const auto quiet = static_cast<unsigned>(random() % (mostQuiet + 1));
    Samples x(count);
    for (int16_t &value : x)
        value =
            static_cast<int16_t>(random() % 64 == 0 && quiet < 2 ? INT16_MIN : static_cast<int16_t>(random()) >> quiet);
    return x;
}

// From filters of speech, in 32 bits, to those whose sums leave them.
TEST(G728, PostFilterOfACycleEqualsItsVectorsAndThePlainForm) {
    std::mt19937 random(67);
    uint8_t first[41], second[41];
    for (int i = 0; i < 600; i++) {
        auto *const x = reinterpret_cast<PostFilterState_G728 *>(first + i % 2);
        auto *const y = reinterpret_cast<PostFilterState_G728 *>(second + 1 - i % 2);
        plain::PostFilter expected;
        ASSERT_EQ(ryxsPostFilterInit_G728_16s(x), ryxStsOk);
        ASSERT_EQ(ryxsPostFilterInit_G728_16s(y), ryxStsOk);
        Samples zeros = randomWords(random, 10, 6), poles = randomWords(random, 10, 6);
        for (size_t k = 0; k < 10 && i % 3; k++) { // most filters decay
            zeros[k] = static_cast<int16_t>(zeros[k] >> (1 + k / 2));
            poles[k] = static_cast<int16_t>(poles[k] >> (1 + k / 2));
        }
        const bool limited = i % 7 == 0; // sums far beyond 32 bits, nearly all outputs limited
        if (limited) {
            zeros.assign(10, 20000);
            poles.assign(10, 0);
        }
        const auto tilt = static_cast<int16_t>(static_cast<int16_t>(random()) >> random() % 5);
        auto scale = static_cast<int16_t>(random()), scaleByVectors = scale;
        for (int cycle = 0; cycle < 8; cycle++) {
            const Samples speech = randomWords(random, 160, 12);
            const Samples src =
                limited ? Samples(20, static_cast<int16_t>(17500 + random() % 4800)) : randomWords(random, 20, 12);
            const bool any = random() % 4 == 0 && !limited;
            const Samples anyGains = randomWords(random, 4, 0);
            const int16_t gains[] = {any ? anyGains[0] : int16_t{16384}, any ? anyGains[1] : int16_t{14000}};
            const int16_t pitchGains[] = {any ? anyGains[2] : int16_t{0}, any ? anyGains[3] : int16_t{8500}};
            const int16_t lags[] = {static_cast<int16_t>(20 + random() % 121),
                                    static_cast<int16_t>(20 + random() % 121)};
            Samples pcm(20), byVectors(20), filtered(20), plainly(20);
            const int16_t *const now = speech.data() + 140;
            ASSERT_EQ(ryxsPostProcess_G728_16s(src.data(), now, lags, gains, pitchGains, zeros.data(), poles.data(),
                                               tilt, pcm.data(), &scale, x),
                      ryxStsOk);
            for (size_t n = 0; n < 20; n++) {
                const size_t h = n / 10;
                if (n % 5 == 0) {
                    ASSERT_EQ(ryxsPostFilter_G728_16s(&src[n], now + n, lags[h], gains[h], pitchGains[h], zeros.data(),
                                                      poles.data(), tilt, &filtered[n], y),
                              ryxStsOk);
                    ASSERT_EQ(ryxsGainControl_G728_16s(&src[n], &filtered[n], &byVectors[n], &scaleByVectors),
                              ryxStsOk);
                }
                plainly[n] = expected(src[n], now[n - lags[h]], gains[h], pitchGains[h], zeros, poles, tilt);
            }
            ASSERT_TRUE(filtered == plainly) << i << ", cycle " << cycle;
            ASSERT_TRUE(pcm == byVectors) << i << ", cycle " << cycle;
            ASSERT_EQ(scale, scaleByVectors);
            const int16_t wrongLags[] = {lags[0], random() % 2 ? int16_t{19} : int16_t{141}};
            ASSERT_EQ(ryxsPostProcess_G728_16s(src.data(), now, wrongLags, gains, pitchGains, zeros.data(),
                                               poles.data(), tilt, pcm.data(), &scale, x),
                      ryxStsOutOfRange);
            ASSERT_TRUE(pcm == byVectors && scale == scaleByVectors && std::memcmp(x, y, 40) == 0);
        }
    }
}

// Magnitudes that round up to a power of two, silence, and ratios up to where the scale is at its limit.
TEST(G728, GainControlEqualsThePlainForm) {
    std::mt19937 random(69);
    const auto vectorOf = [&](int32_t sum) {
        Samples x(5);
        for (int16_t &value : x) {
            value = static_cast<int16_t>(std::min(sum, 32767));
            sum -= value;
            if (random() % 2) value = static_cast<int16_t>(-value);
        }
        return x;
    };
    const auto sum = [&]() -> int32_t {
        const int32_t some[] = {0, 4, 5, 65534, 65535, 131069, 131070, 131071};
        return random() % 2 ? some[random() % 8] : static_cast<int32_t>(random() % 163836) >> random() % 18;
    };
    for (int i = 0; i < 20000; i++) {
        const Samples speech = vectorOf(sum()), src = vectorOf(sum());
        auto scale = static_cast<int16_t>(random()), expectedScale = scale;
        int16_t pcm[5], expected[5];
        ASSERT_EQ(ryxsGainControl_G728_16s(speech.data(), src.data(), pcm, &scale), ryxStsOk);
        plain::gainControl(speech.data(), src.data(), expected, expectedScale);
        ASSERT_TRUE(std::equal(pcm, pcm + 5, expected) && scale == expectedScale) << i;
    }
}

TEST(G728, ResidualConversionAndExcitationOfACycleEqualThoseOfItsVectors) {
    std::mt19937 random(68);
    uint8_t first[365], second[365];
    auto *const x = reinterpret_cast<ConcealmentState_G728 *>(first + 1);
    auto *const y = reinterpret_cast<ConcealmentState_G728 *>(second);
    ASSERT_EQ(ryxsConcealmentInit_G728_16s(x), ryxStsOk);
    ASSERT_EQ(ryxsConcealmentInit_G728_16s(y), ryxStsOk);
    for (int i = 0; i < 3000; i++) {
        const Samples inverse = randomWords(random, 10, 6), src = randomWords(random, 30, 12);
        const auto fraction = static_cast<int16_t>(random() % 16);
        Samples residual(20), converted(20), plainly(20), exponents(4);
        for (int16_t &exponent : exponents)
            exponent = static_cast<int16_t>(random() % 16 ? static_cast<int>(random() % 40) - 8 : random() % 65536);
        ASSERT_EQ(ryxsResidualFilterCycle_G728_16s(inverse.data(), &src[10], residual.data()), ryxStsOk);
        ASSERT_EQ(ryxsConvertCycle_G728_16s(src.data(), exponents.data(), fraction, converted.data()), ryxStsOk);
        ASSERT_EQ(ryxsConcealmentUpdateCycle_G728_16s(src.data(), exponents.data(), x), ryxStsOk);
        for (size_t n = 0; n < 20; n++) {
            int64_t sum = int64_t{src[10 + n]} * 8192;
            for (size_t k = 0; k < 10; k++)
                sum += int64_t{inverse[k]} * src[9 + n - k];
            plainly[n] = plain::rounded(sum, 14);
        }
        ASSERT_TRUE(residual == plainly) << i;
        for (size_t v = 0; v < 20; v += 5) {
            int16_t out[5];
            ASSERT_EQ(ryxsResidualFilter_G728_16s(inverse.data(), &src[10 + v], out), ryxStsOk);
            ASSERT_TRUE(std::equal(out, out + 5, &residual[v])) << i;
            ASSERT_EQ(ryxsConvertBlock_G728_16s(&src[v], exponents[v / 5], fraction, out), ryxStsOk);
            ASSERT_TRUE(std::equal(out, out + 5, &converted[v])) << i;
            ASSERT_EQ(ryxsConcealmentUpdate_G728_16s(&src[v], exponents[v / 5], y), ryxStsOk);
        }
        ASSERT_EQ(std::memcmp(x, y, 364), 0) << i;
    }
}

} // namespace
