// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.726 in frames of 20 ms.
#include <algorithm>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 160;
constexpr Workload frame{.inputLength = frameLength, .seconds = 0.020, .units = frameLength, .unit = "sample"};

// The low band has 15 bits, the coder takes 14.
const std::vector<int16_t> &linearSpeech() {
    static const std::vector<int16_t> speech = [] {
        std::vector<int16_t> samples = speech8k();
        for (int16_t &sample : samples)
            sample = static_cast<int16_t>(sample >> 1);
        return samples;
    }();
    return speech;
}

struct EncoderState : StateBlock<EncoderState_G726> {
    explicit EncoderState(int rate) : StateBlock(ryxsEncodeGetStateSize_G726_16s8u) {
        require(ryxsEncodeInit_G726_16s8u(*this, rate));
    }
};

struct DecoderState : StateBlock<DecoderState_G726> {
    DecoderState(int rate, int law) : StateBlock(ryxsDecodeGetStateSize_G726_8u16s) {
        require(ryxsDecodeInit_G726_8u16s(*this, rate, law));
    }
};

std::vector<uint8_t> speechCodes(int rate) {
    const std::vector<int16_t> &speech = linearSpeech();
    std::vector<uint8_t> codes(speech.size());
    EncoderState state(rate);
    require(ryxsEncode_G726_16s8u(state, speech.data(), codes.data(), static_cast<int>(speech.size())));
    return codes;
}

void encode(benchmark::State &run, int rate) {
    uint8_t codes[frameLength];
    EncoderState state(rate);
    measure(run, frame, linearSpeech(),
            [&](const int16_t *in) { return ryxsEncode_G726_16s8u(state, in, codes, frameLength); });
}

void decode(benchmark::State &run, int rate, int law) {
    int16_t samples[frameLength];
    DecoderState state(rate, law);
    measure(run, frame, speechCodes(rate),
            [&](const uint8_t *in) { return ryxsDecode_G726_8u16s(state, in, samples, frameLength); });
}

struct Option {
    const char *name;
    int value;
};

constexpr Option rates[] = {
    {"16k", ryxG726Rate16k}, {"24k", ryxG726Rate24k}, {"32k", ryxG726Rate32k}, {"40k", ryxG726Rate40k}};
constexpr Option laws[] = {{"linear", ryxG726Linear}, {"mu-law", ryxG726MuLaw}, {"a-law", ryxG726ALaw}};

const Registration registration([] {
    for (const Option &rate : rates)
        addCase(std::string("G726/encode/") + rate.name, encode, rate.value);
    for (const Option &law : laws)
        for (const Option &rate : rates)
            addCase(std::string("G726/decode/") + law.name + '/' + rate.name, decode, rate.value, law.value);
});

} // namespace
