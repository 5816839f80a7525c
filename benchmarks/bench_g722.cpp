// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722 in frames of 20 ms.
#include <cstring>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 320;
constexpr int pairs = frameLength / 2;
constexpr double frameSeconds = 0.020;
constexpr Workload frame{.inputLength = frameLength, .seconds = frameSeconds, .units = pairs, .unit = "pair"};

// The products of the recommendation: two filters of twelve taps per pair, whose sum and difference are the bands.
constexpr Workload qmfFrame{
    .inputLength = frameLength, .seconds = frameSeconds, .units = pairs, .unit = "pair", .products = 24 * pairs};

struct EncoderState : StateBlock<SBADPCMState_G722> {
    EncoderState() : StateBlock(ryxsSBADPCMEncodeStateSize_G722_16s) { require(ryxsSBADPCMEncodeInit_G722_16s(*this)); }
};

struct DecoderState : StateBlock<SBADPCMState_G722> {
    DecoderState() : StateBlock(ryxsSBADPCMDecodeStateSize_G722_16s) { require(ryxsSBADPCMDecodeInit_G722_16s(*this)); }
};

const std::vector<int16_t> &speechCodes() {
    static const std::vector<int16_t> codes = [] {
        std::vector<int16_t> all = speechBands();
        EncoderState state;
        require(ryxsSBADPCMEncode_G722_16s(all.data(), all.data(), static_cast<int>(all.size()), state));
        return all;
    }();
    return codes;
}

void qmfEncode(benchmark::State &run) {
    int16_t delay[24] = {}, bands[frameLength];
    measure(run, qmfFrame, speech16k(),
            [&](const int16_t *in) { return ryxsQMFEncode_G722_16s(in, bands, frameLength, delay); });
}

void qmfDecode(benchmark::State &run) {
    int16_t delay[24] = {}, speech[frameLength];
    measure(run, qmfFrame, speechBands(),
            [&](const int16_t *in) { return ryxsQMFDecode_G722_16s(in, speech, frameLength, delay); });
}

void adpcmEncode(benchmark::State &run) {
    int16_t codes[frameLength];
    EncoderState state;
    measure(run, frame, speechBands(),
            [&](const int16_t *in) { return ryxsSBADPCMEncode_G722_16s(in, codes, frameLength, state); });
}

void adpcmDecode(benchmark::State &run, int16_t mode) {
    int16_t bands[frameLength];
    DecoderState state;
    measure(run, frame, speechCodes(),
            [&](const int16_t *in) { return ryxsSBADPCMDecode_G722_16s(in, bands, frameLength, mode, state); });
}

void completeEncoder(benchmark::State &run) {
    int16_t delay[24] = {}, bands[frameLength], codes[frameLength];
    EncoderState state;
    measure(run, frame, speech16k(), [&](const int16_t *in) {
        const ryxStatus split = ryxsQMFEncode_G722_16s(in, bands, frameLength, delay);
        return split | ryxsSBADPCMEncode_G722_16s(bands, codes, frameLength, state);
    });
}

void completeDecoder(benchmark::State &run) {
    int16_t delay[24] = {}, bands[frameLength], speech[frameLength];
    DecoderState state;
    measure(run, frame, speechCodes(), [&](const int16_t *in) {
        const ryxStatus decoded = ryxsSBADPCMDecode_G722_16s(in, bands, frameLength, ryxG722Mode64k, state);
        return decoded | ryxsQMFDecode_G722_16s(bands, speech, frameLength, delay);
    });
}

// Includes a copy of the block, since the filter works in place and has to meet speech in every call.
void filterHighband(benchmark::State &run) {
    int16_t bands[frameLength];
    HighbandFilterState_G722 state = {};
    measure(run, frame, speechBands(), [&](const int16_t *in) {
        std::memcpy(bands, in, sizeof bands);
        return ryxsFilterHighband_G722_16s_I(bands, frameLength, &state);
    });
}

void downsample(benchmark::State &run) {
    constexpr int history = 5; // samples that the filter reads before a block
    std::vector<int16_t> input(history);
    input.insert(input.end(), speech8k().begin(), speech8k().end());
    int16_t output[pairs / 4];
    constexpr Workload block{
        .inputLength = pairs, .seconds = frameSeconds, .units = pairs / 4, .unit = "output", .products = 9 * pairs / 4};
    measure(run, block, input,
            [&](const int16_t *in) { return ryxsDownsampleFilter_G722_16s(in + history, pairs, output); });
}

void updateState(benchmark::State &run, int reset) {
    DecoderState state;
    measure(run, {.inputLength = 3}, speech8k(),
            [&](const int16_t *in) { return ryxsSBADPCMDecodeStateUpdate_G722_16s(in, in[2], reset, state); });
}

const Registration registration([] {
    addCase("G722/encoder", completeEncoder);
    addCase("G722/decoder", completeDecoder);
    addCase("G722/qmf_encode", qmfEncode);
    addCase("G722/qmf_decode", qmfDecode);
    addCase("G722/adpcm_encode", adpcmEncode);
    addCase("G722/adpcm_decode/64k", adpcmDecode, int16_t{ryxG722Mode64k});
    addCase("G722/adpcm_decode/56k", adpcmDecode, int16_t{ryxG722Mode56k});
    addCase("G722/adpcm_decode/48k", adpcmDecode, int16_t{ryxG722Mode48k});
    addCase("G722/filter_highband", filterHighband);
    addCase("G722/downsample", downsample);
    addCase("G722/state_update/keep", updateState, 0);
    addCase("G722/state_update/reset", updateState, 1);
});

} // namespace
