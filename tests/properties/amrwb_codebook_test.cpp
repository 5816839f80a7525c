// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "amrwb/codebook_tables.h"
#include "celp/front_end.h"
#include "harness/guarded_buffer.h"
#include "harness/signals.h"
#include "reference/amrwb_codebook.h"
#include "ryxsc.h"

namespace {

using reference::amrwb::Found;
using reference::amrwb::Samples;
using ryxsc::amrwb::codebookOf;

constexpr int modes[] = {5, 9, 13, 15, 16, 18, 19, 20, 21, 22, 25, 26, 27, 28, 29, 30, 31, 32};

struct Result : Found {
    int16_t indices[8];
};

Result search(Samples target, Samples residual, Samples impulse, int mode, uint8_t *buffer) {
    Result r = {};
    EXPECT_EQ(ryxsAlgebraicCodebookSearchEX_AMRWB_16s(target.data(), residual.data(), impulse.data(), r.code.data(),
                                                      r.filtered.data(), mode, r.indices, buffer),
              ryxStsOk);
    return r;
}

Samples cut(const std::vector<int16_t> &signal, std::mt19937 &random, int shift) {
    Samples samples;
    std::copy_n(signal.begin() + static_cast<ptrdiff_t>(random() % (signal.size() - 64)), 64, samples.begin());
    for (int16_t &x : samples)
        x = static_cast<int16_t>(x >> shift);
    return samples;
}

// A resonance of any frequency, damping and strength.
Samples resonance(std::mt19937 &random) {
    const auto uniform = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
    const double amplitude = std::exp2(uniform(6, 14.9)), damping = uniform(0.5, 1), frequency = uniform(0, 3.14);
    Samples h;
    for (size_t n = 0; n < h.size(); n++) {
        const double time = static_cast<double>(n);
        h[n] = static_cast<int16_t>(amplitude * std::pow(damping, time) * std::cos(frequency * time));
    }
    return h;
}

TEST(AmrWbCodebook, SearchesEqualThePlainFormOnAnyInputWithTheBufferAnywhereBeforeThePage) {
    std::mt19937 random(81);
    const auto inputs = signals::nasty(2000, 81);
    const auto anyOf = [&](unsigned shifts) {
        return cut(inputs[random() % inputs.size()].samples, random, int(random() % shifts));
    };
    ryxtest::GuardedBuffer buffer;
    for (const int mode : modes)
        for (size_t trial = 0; trial < 64; trial++) {
            SCOPED_TRACE("mode " + std::to_string(mode) + ", trial " + std::to_string(trial));
            const unsigned shifts = trial % 8 == 7 ? 1 : 15; // some so loud that sums saturate
            const Samples target = anyOf(shifts), residual = anyOf(shifts);
            const Samples impulse = shifts > 1 && random() % 4 ? resonance(random) : anyOf(std::min(shifts, 12U));
            const auto *place =
                reinterpret_cast<uint8_t *>(trial % 2 ? buffer.place(8192, trial / 2) : buffer.placeAtFront(8192));
            const Result found = search(target, residual, impulse, mode, const_cast<uint8_t *>(place));
            const Found plain = reference::amrwb::searchCodebook(target, residual, impulse, mode);
            ASSERT_EQ(found.code, plain.code);
            ASSERT_EQ(found.filtered, plain.filtered);
            ASSERT_TRUE(buffer.isIntact());
        }
}

TEST(AmrWbCodebook, DecoderGivesBackTheCodeVectorOfSpeech) {
    alignas(32) static uint8_t buffer[8192];
    size_t halved = 0;
    for (const celp::Subframe &s : celp::analyse(celp::amrWb, signals::speech())) {
        const int64_t energy = std::inner_product(s.impulse.begin(), s.impulse.end(), s.impulse.begin(), int64_t{0});
        for (const int mode : modes) {
            const Result found = search(s.target, s.residual, s.impulse, mode, buffer);
            Samples decoded;
            ASSERT_EQ(ryxsAlgebraicCodebookDecode_AMRWB_16s(found.indices, decoded.data(), mode), ryxStsOk);
            const bool isHalved = codebookOf(mode)->pulses >= 12 && energy >= 1025 * 32768;
            for (int16_t &x : decoded)
                x = static_cast<int16_t>(x >> int{isHalved});
            ASSERT_EQ(decoded, found.code) << "mode " << mode;
            halved += isHalved;
        }
    }
    EXPECT_GT(halved, 100U);
}

TEST(AmrWbCodebook, EveryBitPatternDecodesToItsNumberOfPulses) {
    std::mt19937 random(82);
    ryxtest::GuardedBuffer words, code(64 * sizeof(int16_t));
    for (const int mode : modes) {
        const ryxsc::amrwb::Codebook &codebook = *codebookOf(mode);
        const size_t count = codebook.pulses < 4 ? 1 : codebook.pulses < 16 ? 4 : 8;
        words.place(count * sizeof(int16_t));
        for (unsigned trial = 0; trial < 0x10000; trial++) {
            for (size_t i = 0; i < count; i++)
                words.as<int16_t>()[i] = static_cast<int16_t>(count == 1 ? trial : random());
            ASSERT_EQ(ryxsAlgebraicCodebookDecode_AMRWB_16s(words.as<int16_t>(), code.as<int16_t>(), mode), ryxStsOk);
            int sum = 0;
            for (int n = 0; n < 64; n++)
                sum += std::abs(code.as<int16_t>()[n]);
            // Pulses on one position may cancel each other, two at a time.
            ASSERT_EQ(sum % 1024, codebook.pulses % 2 * 512);
            ASSERT_LE(sum, codebook.pulses * 512);
        }
        ASSERT_TRUE(words.isIntact() && code.isIntact());
    }
}

} // namespace
