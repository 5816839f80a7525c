// SPDX-License-Identifier: BSD-2-Clause
// The fixed-point recursive filters of G.728 and G.729.1 against their formulas in 64 bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using Samples = std::vector<int16_t>;
constexpr size_t length = 1500;

int64_t wrap(int64_t x) {
    return static_cast<int32_t>(static_cast<uint64_t>(x));
}
int64_t saturate(int64_t x, int bits) {
    const int64_t limit = int64_t{1} << (bits - 1);
    return std::clamp(x, -limit, limit - 1);
}

// The element k places before element i of a signal that begins with silence.
int64_t past(const Samples &x, size_t i, size_t k) {
    return i < k ? 0 : x[i - k];
}

template <class Filter> void inBlocks(std::mt19937 &random, size_t longest, Filter filter) {
    size_t done = 0;
    for (const size_t block : signals::randomBlocks(length, 1, longest, random)) {
        ASSERT_EQ(filter(done, static_cast<int>(block)), ryxStsOk);
        done += block;
    }
}

TEST(PoleZeroFilterG728, EqualsItsFormulaInAnyBlocksAndForAnyCoefficients) {
    std::mt19937 random(5);
    for (int shift = 0; shift < 6; shift++) // from coefficients that saturate at every step to tame ones
        for (const auto &[name, input] : signals::nasty(length, 19)) {
            SCOPED_TRACE(name + ", coefficients shifted by " + std::to_string(shift));
            int16_t c[20];
            std::generate_n(c, 20, [&] { return static_cast<int16_t>(static_cast<int16_t>(random()) >> shift); });
            Samples output(length), expected(length);
            for (size_t i = 0; i < length; i++) {
                int64_t run = input[i] * 16384;
                for (size_t k = 0; k < 10; k++)
                    run = wrap(run + c[k] * past(input, i, k + 1));
                for (size_t k = 0; k < 10; k++)
                    run = saturate(run - c[10 + k] * past(expected, i, k + 1), 32);
                expected[i] = static_cast<int16_t>(saturate(run >> 14, 16));
            }
            int16_t words[32];
            auto *const state = reinterpret_cast<IIRState_G728 *>(words);
            ryxsIIR16sInit_G728_16s(state);
            inBlocks(random, shift % 2 ? 12 : 400,
                     [&](size_t i, int len) { return ryxsIIR16s_G728_16s(c, &input[i], &output[i], len, state); });
            ASSERT_EQ(output, expected);
            ASSERT_TRUE(std::equal(words, words + 10, input.rbegin()));
            ASSERT_TRUE(std::equal(words + 16, words + 26, output.rbegin()));
        }
}

TEST(HighPassFilterG7291, EqualsItsFormulaInAnyBlocksAndForAnyCoefficientsAndScaleFactors) {
    std::mt19937 random(6);
    for (const int sf : {0, 4, 1, 31, 32, 33, -1, -5, -31, -32, INT32_MIN, INT32_MAX})
        for (const auto &[name, input] : signals::nasty(length, 20)) {
            SCOPED_TRACE(name + ", scale factor " + std::to_string(sf));
            int16_t c[6] = {16384, 31858, -15499, 15935, -31870, 15935}; // with unit gain, so that loud inputs wrap
            if (random() % 2) std::generate_n(c, 6, [&] { return static_cast<int16_t>(random()); });
            Samples output = input, expected;
            int64_t y1 = 0, y2 = 0;
            for (size_t i = 0; i < length; i++) {
                const auto low = [](int64_t y) { return (y & 0xffff) >> 1; };
                const int64_t l = (c[1] * low(y1) + c[2] * low(y2)) >> 13;
                const int64_t zeros = c[3] * input[i] + c[4] * past(input, i, 1) + c[5] * past(input, i, 2);
                const int64_t y = saturate(l + wrap(4 * (zeros + c[1] * (y1 >> 16) + c[2] * (y2 >> 16))), 32);
                y2 = y1;
                y1 = y;
                const int64_t scaled = sf > 0 ? saturate(y << (sf & 31), 32) : y >> (-int64_t{sf} & 31);
                expected.push_back(static_cast<int16_t>(saturate((scaled + 32768) >> 16, 16)));
            }
            int16_t words[12];
            auto *const state = reinterpret_cast<FilterHighpassState_G7291 *>(words);
            ryxsFilterHighpassInit_G7291_16s(state, c);
            inBlocks(random, 300,
                     [&](size_t i, int len) { return ryxsFilterHighpass_G7291_16s_ISfs(&output[i], len, state, sf); });
            ASSERT_EQ(output, expected);
        }
}

} // namespace
