// SPDX-License-Identifier: BSD-2-Clause
// Stages of GSM-AMR that work on whole frames or leave saturations out: against the operators of 3GPP TS 26.073 one by one, or
// against the functions of single subframes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <utility>

#include "common/fixed_point.h"
#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using namespace ryxsc;
using Words = std::vector<int16_t>;

constexpr int rates[] = {ryxGSMAMRRate4750, ryxGSMAMRRate5150, ryxGSMAMRRate5900,  ryxGSMAMRRate6700,
                         ryxGSMAMRRate7400, ryxGSMAMRRate7950, ryxGSMAMRRate10200, ryxGSMAMRRate12200};

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    int number(int low, int high) { return std::uniform_int_distribution(low, high)(engine_); }
    Words words(size_t count, int largest) {
        Words all(count);
        std::generate(all.begin(), all.end(), [&] { return static_cast<int16_t>(number(-largest, largest)); });
        return all;
    }
    // Ten falling LSPs: spread or close together, in some places out of order.
    Words lsp(bool ordered) {
        const int centre = number(-20000, 20000), reach = number(2000, 32000);
        Words all(10);
        for (int16_t &x : all)
            x = sat16(centre + number(-reach, reach));
        if (ordered) std::sort(all.rbegin(), all.rend());
        return all;
    }
    // Four sets of LP coefficients, of stable filters or of any.
    Words lpc(bool stable) {
        Words all;
        for (int k = 0; k < 4; k++) {
            Words set(11);
            ryxsLSPToLPC_G729_16s(lsp(true).data(), set.data());
            if (!stable) {
                set = words(11, 32767 >> number(0, 6));
                set[0] = 4096;
            }
            all.insert(all.end(), set.begin(), set.end());
        }
        return all;
    }

private:
    std::mt19937 engine_;
};

struct HighPass {
    int16_t a1, a2, b[3];
    int shift, outputShift;
    int32_t y1 = 0, y2 = 0;
    int16_t x1 = 0, x2 = 0;

    int16_t operator()(int16_t x) {
        const auto product = [](int32_t y, int16_t a) {
            int16_t high, low;
            L_Extract(y, high, low);
            return Mpy_32_16(high, low, a);
        };
        int32_t sum = L_add(product(y1, a1), product(y2, a2));
        sum = L_shl(L_mac(L_mac(L_mac(sum, x, b[0]), x1, b[1]), x2, b[2]), shift);
        y2 = std::exchange(y1, sum);
        x2 = std::exchange(x1, x);
        return round(L_shl(sum, outputShift));
    }
};

TEST(GsmAmrStages, HighPassFiltersEqualTheirOperatorsInAnyBlocks) {
    constexpr size_t length = 2000;
    std::mt19937 random(1);
    for (const int type : {ryxGSMAMRPreProcessing, ryxGSMAMRPostProcessing})
        for (const auto &[name, input] : signals::nasty(length, 3)) {
            SCOPED_TRACE(name);
            HighPass plain = type == ryxGSMAMRPreProcessing ? HighPass{7807, -3733, {1899, -3798, 1899}, 3, 0}
                                                            : HighPass{15836, -7667, {7699, -15398, 7699}, 2, 1};
            Words expected(length), samples = input;
            std::transform(input.begin(), input.end(), expected.begin(), [&](int16_t x) { return plain(x); });
            int32_t block[8];
            auto *const state = reinterpret_cast<HighPassFilterState_GSMAMR *>(block);
            ASSERT_EQ(ryxsHighPassFilterInit_GSMAMR_16s(state), ryxStsOk);
            size_t done = 0;
            for (const size_t count : signals::randomBlocks(length, 1, 400, random)) {
                ryxsHighPassFilter_GSMAMR_16s_I(&samples[done], static_cast<int>(count), type, state);
                done += count;
            }
            EXPECT_TRUE(samples == expected);
        }
}

TEST(GsmAmrStages, InterpolatedCoefficientsAreThoseOfEverySubframe) {
    Random random(2);
    for (int round = 0; round < 4000; round++) {
        const int rate = rates[round % 8];
        const bool ordered = round % 5 != 0;
        const Words before = random.lsp(ordered);
        Words now = random.lsp(ordered), end = random.lsp(ordered), interpolated(40), expected(44), lpc(44);
        now.insert(now.end(), end.begin(), end.end());
        ASSERT_EQ(ryxsInterpolate_GSMAMR_16s(before.data(), now.data(), interpolated.data(), rate), ryxStsOk);
        for (size_t k = 0; k < 4; k++)
            ryxsLSPToLPC_G729_16s(&interpolated[10 * k], &expected[11 * k]);
        ASSERT_EQ(ryxsInterpolatedLPC_GSMAMR_16s(before.data(), now.data(), lpc.data(), rate), ryxStsOk);
        ASSERT_TRUE(lpc == expected) << round;
    }
}

TEST(GsmAmrStages, ResponsesAndTargetsOfAFrameAreThoseOfItsSubframes) {
    Random random(3);
    for (int round = 0; round < 1000; round++) {
        const bool stable = round % 4 != 0;
        const int level = 32767 >> random.number(0, 10);
        const Words quantised = random.lpc(stable), numerators = random.lpc(stable), denominators = random.lpc(stable);
        const Words speech = random.words(50, level), synthesis = random.words(10, level),
                    weighting = random.words(10, level);
        Words impulses(160);
        ASSERT_EQ(
            ryxsImpulseResponses_GSMAMR_16s(numerators.data(), denominators.data(), quantised.data(), impulses.data()),
            ryxStsOk);
        for (size_t k = 0; k < 4; k++) {
            Words impulse(40), residual[2] = {Words(40), Words(40)}, target[2] = {Words(40), Words(40)};
            const int16_t *const a1 = &numerators[11 * k], *const a2 = &denominators[11 * k],
                                 *const q = &quantised[11 * k];
            ryxsImpulseResponseTarget_GSMAMR_16s(speech.data(), a1, a2, q, synthesis.data(), weighting.data(),
                                                 impulse.data(), residual[0].data(), target[0].data());
            ASSERT_EQ(ryxsTarget_GSMAMR_16s(speech.data(), a1, a2, q, synthesis.data(), weighting.data(),
                                            residual[1].data(), target[1].data()),
                      ryxStsOk);
            ASSERT_TRUE(std::equal(impulse.begin(), impulse.end(), impulses.begin() + static_cast<int>(40 * k)))
                << round;
            ASSERT_TRUE(residual[0] == residual[1] && target[0] == target[1]) << round;
        }
    }
}

// Clause 6.2.1 in the recommendation's steps, subframe by subframe.
class PostFilter {
public:
    void run(int16_t *speech, const int16_t *lpc, int rate) {
        const bool high = rate >= ryxGSMAMRRate10200;
        for (int start = 0; start < 160; start += 40, lpc += 11) {
            int16_t b3[11], b4[11], h[22], residual[41], filtered[40];
            ryxsMulPowerC_NR_16s_Sfs(lpc, high ? 22938 : 18022, b3, 11, 15);
            ryxsMulPowerC_NR_16s_Sfs(lpc, high ? 24576 : 22938, b4, 11, 15);
            std::copy_n(speech + start, 40, input_ + 10);
            for (int n = 0; n < 40; n++) {
                int32_t sum = 0;
                for (int k = 0; k <= 10; k++)
                    sum = L_mac(sum, b3[k], input_[10 + n - k]);
                residual[n + 1] = round(L_shl(sum, 3));
            }
            residual[0] = std::exchange(last_, residual[40]);
            int16_t rest[10] = {}, taps[22] = {};
            std::copy_n(b3, 11, taps);
            synthesise(b4, taps, h, 22, rest);
            const int16_t tilt = tiltOf(h);
            for (int n = 40; n > 0; n--)
                residual[n] = sub(residual[n], mult(tilt, residual[n - 1]));
            synthesise(b4, residual + 1, filtered, 40, output_);
            std::copy_n(filtered, 40, speech + start);
            control(speech + start);
            std::copy_n(input_ + 40, 10, input_);
        }
    }

private:
    // memory: ten outputs, the oldest first.
    static void synthesise(const int16_t *a, const int16_t *x, int16_t *y, int len, int16_t *memory) {
        for (int n = 0; n < len; n++) {
            int32_t sum = L_mult(a[0], x[n]);
            for (int k = 1; k <= 10; k++)
                sum = L_msu(sum, a[k], memory[10 - k]);
            y[n] = round(L_shl(sum, 3));
            std::copy(memory + 1, memory + 10, memory);
            memory[9] = y[n];
        }
    }
    static int16_t tiltOf(const int16_t *h) {
        int32_t energy = 0, neighbours = 0;
        for (int n = 0; n < 22; n++)
            energy = L_mac(energy, h[n], h[n]);
        for (int n = 0; n < 21; n++)
            neighbours = L_mac(neighbours, h[n], h[n + 1]);
        const int16_t product = extract_h(neighbours);
        return product <= 0 ? int16_t{0} : div_s(mult(product, 26214), extract_h(energy));
    }
    static int32_t energyOf(const int16_t *x) {
        int32_t energy = 0, quarters = 0;
        for (int n = 0; n < 40; n++) {
            energy = L_mac(energy, x[n], x[n]);
            quarters = L_mac(quarters, static_cast<int16_t>(x[n] >> 2), static_cast<int16_t>(x[n] >> 2));
        }
        return energy < max32 ? energy >> 4 : quarters;
    }
    void control(int16_t *output) {
        const int32_t energy = energyOf(output), reference = energyOf(input_ + 10);
        if (energy == 0) {
            gain_ = 0;
            return;
        }
        int16_t step = 0;
        if (reference != 0) {
            const int n = norm_l(energy) - 1, k = norm_l(reference);
            const int16_t ratio = div_s(round(L_shl(energy, n)), round(L_shl(reference, k)));
            int32_t root = L_shr(L_shl(ratio, 7), n - k);
            ryxsInvSqrt_32s_I(&root, 1);
            step = mult(round(L_shl(root, 9)), 3276);
        }
        for (int n = 0; n < 40; n++) {
            gain_ = add(mult(gain_, 29491), step);
            output[n] = extract_h(L_shl(L_mult(output[n], gain_), 3));
        }
    }

    int16_t input_[50] = {}, output_[10] = {}, last_ = 0, gain_ = 4096;
};

TEST(GsmAmrStages, PostFilterEqualsItsOperatorsSubframeBySubframe) {
    Random random(4);
    for (int round = 0; round < 300; round++) {
        PostFilter plain;
        int32_t block[32];
        auto *const state = reinterpret_cast<PostFilterState_GSMAMR *>(block);
        ASSERT_EQ(ryxsPostFilterInit_GSMAMR_16s(state), ryxStsOk);
        for (int frame = 0; frame < 10; frame++) {
            const Words lpc = random.lpc(round % 3 != 0);
            Words speech = random.words(160, 32767 >> random.number(0, 15)), expected = speech;
            if (frame % 3 == 1) { // a silent subframe
                std::fill_n(&speech[static_cast<size_t>(40 * random.number(0, 3))], 40, int16_t{0});
                expected = speech;
            }
            const int rate = rates[round % 8];
            plain.run(expected.data(), lpc.data(), rate);
            ASSERT_EQ(ryxsPostFilter_GSMAMR_16s_I(speech.data(), lpc.data(), rate, state), ryxStsOk);
            ASSERT_TRUE(speech == expected) << round << ", frame " << frame;
        }
    }
}

// With a gain that changes between two values the mixed gain tells how far the LSFs are from their average.
TEST(GsmAmrStages, CodeGainsAreSmoothedByTheDistanceOfTheLsfs) {
    const auto distanceOf = [](const Words &lsf, const Words &average) {
        int16_t sum = 0;
        for (size_t i = 0; i < 10; i++) {
            const int16_t difference = abs_s(sub(average[i], lsf[i]));
            const int shift = norm_s(difference) - 1, averageShift = norm_s(average[i]);
            const int16_t ratio = div_s(shl(difference, shift), shl(average[i], averageShift));
            sum = add(sum, shl(ratio, averageShift - shift - 2));
        }
        return sum;
    };
    Random random(5);
    int32_t block[16];
    auto *const state = reinterpret_cast<CodeGainAverageState_GSMAMR *>(block);
    ASSERT_EQ(ryxsCodeGainAverageInit_GSMAMR_16s(0, state), ryxStsOk);
    Words kept(7), lsf(10), average(10);
    int steady = 0, unsteady = 0;
    for (int frame = 0; frame < 20000; frame++) {
        const int reach = 1 << random.number(3, frame % 500 == 0 ? 15 : 11);
        for (size_t i = 0; i < 10; i++) {
            average[i] =
                static_cast<int16_t>(frame % 7 == 0 ? random.number(1, 32767) : 800 + 1500 * static_cast<int>(i));
            lsf[i] = static_cast<int16_t>(std::clamp(average[i] + random.number(-reach, reach), 0, 32767));
        }
        const auto gain = static_cast<int16_t>(random.number(0, 8000));
        kept.erase(kept.begin());
        kept.push_back(gain);
        const int16_t distance = distanceOf(lsf, average);
        unsteady = distance > 5325 ? unsteady + 1 : 0;
        if (unsteady > 10) steady = 0;
        int16_t share = 8192, mixed;
        if (steady >= 40 && distance <= 5325) {
            const int16_t excess = std::max<int16_t>(sub(distance, 3277), 0);
            share = excess > 2048 ? int16_t{8192} : shl(excess, 2);
        }
        int32_t sum = 0;
        for (size_t k = 2; k < 7; k++)
            sum = L_mac(sum, 6554, kept[k]);
        const int16_t mean = round(sum);
        const int16_t expected = round(L_shl(L_msu(L_mac(L_mult(share, gain), 8192, mean), share, mean), 2));
        steady = std::min(steady + 1, 32767);
        ASSERT_EQ(ryxsCodeGainAverage_GSMAMR_16s(gain, lsf.data(), average.data(), 0, 0, 0, &mixed, ryxGSMAMRRate10200,
                                                 state),
                  ryxStsOk);
        ASSERT_EQ(mixed, expected) << frame;
    }
}

// One pair of LSPs close together, at the limit of its place and one unit beside it.
TEST(GsmAmrStages, ResonanceIsToldByPairsOneToSevenAtTheirLimits) {
    for (const int second : {32001, 32000, 30501, 30500})
        for (int pair = 0; pair <= 8; pair++)
            for (const int gap : {599, 600, 799, 800, 1099, 1100, 1499, 1500}) {
                std::array<int16_t, 10> lsp = {32767};
                for (int k = 1; k < 10; k++)
                    lsp[static_cast<size_t>(k)] =
                        static_cast<int16_t>(second - 3000 * (k - 1) + (pair > 0 && k > pair ? 3000 - gap : 0));
                const int limit = pair > 2 ? 1500 : second > 32000 ? 600 : second > 30500 ? 800 : 1100;
                const bool close = pair >= 1 && pair <= 7 && gap < limit;
                for (const int before : {0, 10, 11, 12}) {
                    auto count = static_cast<int16_t>(before);
                    int16_t resonance = -1;
                    ASSERT_EQ(ryxsLSPResonance_GSMAMR_16s(lsp.data(), &count, &resonance), ryxStsOk);
                    ASSERT_EQ(count, close ? std::min(before + 1, 12) : 0) << second << ' ' << pair << ' ' << gap;
                    ASSERT_EQ(resonance, count >= 12);
                }
            }
}

} // namespace
