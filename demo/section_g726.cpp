// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.726: telephone speech, one short code per sample.
#include <array>

#include "codec_page.h"
#include "lib/code_packing.h"
#include "lib/library_call.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 160; // 20 ms
constexpr BitOrder packing = BitOrder::leastSignificantFirst;

std::vector<uint8_t> encode(std::span<const int16_t> speech, int rate, int bitsPerCode) {
    StateBlock<EncoderState_G726> state(ryxsEncodeGetStateSize_G726_16s8u);
    check(ryxsEncodeInit_G726_16s8u(state, rate));
    std::array<int16_t, frameLength> samples14;
    std::vector<uint8_t> codes(speech.size());
    for (size_t start = 0; start < speech.size(); start += frameLength) {
        for (size_t i = 0; i < frameLength; i++)
            samples14[i] = static_cast<int16_t>(speech[start + i] >> 2);
        check(ryxsEncode_G726_16s8u(state, samples14.data(), &codes[start], frameLength));
    }
    return packCodes(codes, bitsPerCode, packing);
}

std::vector<int16_t> decode(std::span<const uint8_t> stream, int rate, int bitsPerCode) {
    StateBlock<DecoderState_G726> state(ryxsDecodeGetStateSize_G726_8u16s);
    check(ryxsDecodeInit_G726_8u16s(state, rate, ryxG726Linear));
    const std::vector<uint8_t> codes = unpackCodes(stream, bitsPerCode, packing);
    std::vector<int16_t> speech(codes.size());
    for (size_t start = 0; start < speech.size(); start += frameLength)
        check(ryxsDecode_G726_8u16s(state, &codes[start], &speech[start], frameLength));
    for (int16_t &sample : speech)
        sample = static_cast<int16_t>(sample * 4); // 14 bits to 16
    return speech;
}

Codec codecAt(int kilobits, int rate) {
    const int bitsPerCode = kilobits / 8;
    return {"G.726", kilobits, 0, [=](std::span<const int16_t> speech) { return encode(speech, rate, bitsPerCode); },
            [=](std::span<const uint8_t> stream) { return decode(stream, rate, bitsPerCode); }};
}

} // namespace

void g726Section(const Speech &speech, Report &report) {
    report.beginSection("ITU-T G.726");
    report.addParagraph(
        "Telephone speech at 40, 32, 24 and 16 kbit/s: the recordings, resampled to 8 kHz, become one code of five, "
        "four, three or two bits per sample. A predictor with two poles and six zeros and a quantiser with an adaptive "
        "step follow the speech; encoder and decoder adapt from the codes alone. Every bit less adds four to six "
        "decibels of error, spread evenly over the band.");
    showCodec(report, speech.at8k, speech.excerpt,
              {codecAt(40, ryxG726Rate40k), codecAt(32, ryxG726Rate32k), codecAt(24, ryxG726Rate24k),
               codecAt(16, ryxG726Rate16k)},
              "g726");
}
