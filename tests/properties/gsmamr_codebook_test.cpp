// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>

#include "celp/front_end.h"
#include "harness/guarded_buffer.h"
#include "harness/signals.h"
#include "reference/gsmamr.h"
#include "ryxsc.h"

namespace {

using reference::gsmamr::Subframe;

constexpr int rates[] = {0, 1, 3, 6, 7, 8, 11, 12, 25};

struct Input {
    int16_t lag, gain, number;
    Subframe target, residual, impulse;
};

Subframe first40(const celp::Vector &vector) {
    Subframe subframe;
    std::copy_n(vector.begin(), subframe.size(), subframe.begin());
    return subframe;
}

std::vector<Input> fromSpeech() {
    std::vector<Input> inputs;
    for (const celp::Subframe &s : celp::analyse(celp::gsmAmr, signals::speech()))
        inputs.push_back(
            {s.pitchLag, s.pitchGain, s.number, first40(s.target), first40(s.residual), first40(s.impulse)});
    return inputs;
}

// Impulse responses that overflow, that hardly exist, that make the pulses as alike as can be.
Subframe nastyResponse(std::mt19937 &random) {
    const auto uniform = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random); };
    Subframe h = {};
    const int kind = uniform(0, 7), size = 1 << uniform(0, 15);
    for (int n = kind == 1 ? uniform(0, 39) : 0; n < 40; n++) {
        const int sample = kind == 0   ? 0
                           : kind <= 2 ? uniform(-size, size - 1)
                           : kind == 3 ? size - 1 - n / 8
                           : kind == 4 ? (n % 2 ? -size : size - 1)
                           : kind == 5 ? size >> std::min(n, 16)
                           : kind == 6 ? uniform(0, 9) == 0 ? size - 1 : 0
                                       : uniform(-3, 3);
        h[n] = static_cast<int16_t>(sample);
    }
    return h;
}

std::vector<Input> nasty() {
    std::mt19937 random(31);
    std::vector<Input> inputs;
    for (const auto &[name, samples] : signals::nasty(6400, 32))
        for (size_t n = 0; n + 80 <= samples.size(); n += 80) {
            Input input = {};
            input.lag = static_cast<int16_t>(17 + random() % 30);
            input.gain = static_cast<int16_t>(random() % 3 ? random() : random() % 20000);
            input.number = static_cast<int16_t>(random() % 4);
            std::copy_n(&samples[n], 40, input.target.begin());
            std::copy_n(&samples[n + 40], 40, input.residual.begin());
            input.impulse = nastyResponse(random);
            inputs.push_back(input);
        }
    return inputs;
}

struct Output {
    Subframe impulse, code, filtered, decoded;
    bool operator==(const Output &) const = default;
};

Output searchPlainly(const Input &input, int rate) {
    Output out = {input.impulse, {}, {}, {}};
    const auto found =
        reference::gsmamr::search(input.lag, input.gain, input.target, input.residual, out.impulse, input.number, rate);
    return {out.impulse, found.sharpened, found.filtered, found.code};
}

Output search(const Input &input, int rate, uint8_t *buffer) {
    Output out = {input.impulse, {}, {}, {}};
    int16_t codeword[10] = {};
    const int16_t *x = input.target.data(), *r = input.residual.data();
    int16_t *h = out.impulse.data(), *code = out.code.data(), *y = out.filtered.data();
    const ryxStatus status = buffer ? ryxsAlgebraicCodebookSearchEX_GSMAMR_16s(input.lag, input.gain, x, r, h, code, y,
                                                                               codeword, input.number, rate, buffer)
                                    : ryxsAlgebraicCodebookSearch_GSMAMR_16s(input.lag, input.gain, x, r, h, code, y,
                                                                             codeword, input.number, rate);
    EXPECT_EQ(status, ryxStsOk);
    EXPECT_EQ(ryxsFixedCodebookDecode_GSMAMR_16s(codeword, out.decoded.data(), input.number, rate), ryxStsOk);
    return out;
}

TEST(GsmAmrCodebook, SearchEqualsThePlainFormAndItsCodewordDecodesToTheCodeVector) {
    for (const auto &inputs : {fromSpeech(), nasty()})
        for (const int rate : rates)
            for (size_t i = 0; i < inputs.size(); i++) {
                // Without an impulse response the pulses stay where no codeword of two to four pulses can put them.
                const Subframe &h = inputs[i].impulse;
                const bool silent = std::all_of(h.begin(), h.end(), [](int16_t x) { return x == 0; });
                Output wanted = searchPlainly(inputs[i], rate), got = search(inputs[i], rate, nullptr);
                if (silent) got.decoded = wanted.decoded;
                ASSERT_TRUE(got == wanted) << "rate " << rate << ", subframe " << i << " of " << inputs.size();
            }
}

TEST(GsmAmrCodebook, BufferFormStaysInsideItsBufferAtEveryAddress) {
    const std::vector<Input> inputs = fromSpeech();
    int size;
    ASSERT_EQ(ryxsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s(&size), ryxStsOk);
    for (size_t offset = 0; offset < 16; offset++)
        for (const int rate : rates) {
            const Input &input = inputs[1000 + offset];
            ryxtest::GuardedBuffer buffer(static_cast<size_t>(size), offset);
            ASSERT_TRUE(search(input, rate, buffer.as<uint8_t>()) == search(input, rate, nullptr));
            ASSERT_TRUE(buffer.isIntact());
        }
}

TEST(GsmAmrCodebook, AnyWordsDecodeInsideTheCodeVector) {
    std::mt19937 random(33);
    ryxtest::GuardedBuffer words(20), code(80);
    for (int trial = 0; trial < 20000; trial++) {
        std::generate_n(words.as<int16_t>(), 10, [&] { return static_cast<int16_t>(random()); });
        const int rate = rates[trial % 9], pulses = rate < 6 ? 2 : rate == 6 ? 3 : rate < 11 ? 4 : rate == 11 ? 8 : 10;
        const auto number = static_cast<int16_t>(trial / 9 % 4);
        ASSERT_EQ(ryxsFixedCodebookDecode_GSMAMR_16s(words.as<int16_t>(), code.as<int16_t>(), number, rate), ryxStsOk);
        const int16_t *samples = code.as<int16_t>();
        const auto used = std::count_if(samples, samples + 40, [](int16_t x) { return x != 0; });
        ASSERT_TRUE(used >= pulses / 2 && used <= pulses);
        ASSERT_TRUE(code.isIntact());
    }
}

TEST(GsmAmrCodebook, PreparationEqualsThePlainForm) {
    std::vector<celp::Subframe> subframes = celp::analyse(celp::gsmAmr, signals::speech());
    std::mt19937 random(34);
    for (size_t i = 0; i < subframes.size(); i++) {
        celp::Subframe &s = subframes[i];
        if (i % 4 == 0) // loud signals and filters that saturate
            for (auto *words : {&s.lpc, &s.numerator, &s.denominator})
                for (int16_t &word : *words)
                    word = static_cast<int16_t>(static_cast<int16_t>(random()) >> (random() % 8));
        if (i % 8 < 2)
            for (int16_t &sample : s.speech)
                sample = static_cast<int16_t>(random());
        Subframe wanted[3], got[3];
        reference::gsmamr::prepare(s.speech.data(), s.numerator.data(), s.denominator.data(), s.lpc.data(),
                                   s.synthesisMemory.data(), s.weightingMemory.data(), wanted[0], wanted[1], wanted[2]);
        ryxsImpulseResponseTarget_GSMAMR_16s(s.speech.data(), s.numerator.data(), s.denominator.data(), s.lpc.data(),
                                             s.synthesisMemory.data(), s.weightingMemory.data(), got[0].data(),
                                             got[1].data(), got[2].data());
        ASSERT_TRUE(std::equal(wanted, wanted + 3, got)) << i;
    }
}

} // namespace
