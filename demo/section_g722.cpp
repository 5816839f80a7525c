// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722: 7 kHz speech as two sub-bands.
#include <array>

#include "codec_page.h"
#include "lib/library_call.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 320; // 20 ms

// Transmit and receive QMF are linear-phase filters of 24 taps: 23 samples together, less the one sample by which the
// receive QMF's pair of outputs is ahead of the transmit QMF's pair of inputs. The cross-correlation of decoded and
// original speech has its maximum there.
constexpr size_t codecDelay = 22;

// The octets of 56 and 48 kbit/s keep their size; their lowest bits are free for other data and zero here.
std::vector<uint8_t> encode(std::span<const int16_t> speech, uint8_t speechBits) {
    StateBlock<SBADPCMState_G722> state(ryxsSBADPCMEncodeStateSize_G722_16s);
    check(ryxsSBADPCMEncodeInit_G722_16s(state));
    std::array<int16_t, 24> delayLine = {};
    std::array<int16_t, frameLength> bands, codes;
    std::vector<uint8_t> octets(speech.size() / 2);
    for (size_t start = 0; start < speech.size(); start += frameLength) {
        check(ryxsQMFEncode_G722_16s(&speech[start], bands.data(), frameLength, delayLine.data()));
        check(ryxsSBADPCMEncode_G722_16s(bands.data(), codes.data(), frameLength, state));
        for (size_t j = 0; j < frameLength / 2; j++)
            octets[start / 2 + j] = static_cast<uint8_t>((codes[2 * j + 1] << 6 | codes[2 * j]) & speechBits);
    }
    return octets;
}

std::vector<int16_t> decode(std::span<const uint8_t> octets, int16_t mode) {
    StateBlock<SBADPCMState_G722> state(ryxsSBADPCMDecodeStateSize_G722_16s);
    check(ryxsSBADPCMDecodeInit_G722_16s(state));
    std::array<int16_t, 24> delayLine = {};
    std::array<int16_t, frameLength> bands, codes;
    std::vector<int16_t> speech(2 * octets.size());
    for (size_t start = 0; start < speech.size(); start += frameLength) {
        for (size_t j = 0; j < frameLength / 2; j++) {
            const uint8_t octet = octets[start / 2 + j];
            codes[2 * j] = octet & 0x3F;
            codes[2 * j + 1] = static_cast<int16_t>(octet >> 6);
        }
        check(ryxsSBADPCMDecode_G722_16s(codes.data(), bands.data(), frameLength, mode, state));
        check(ryxsQMFDecode_G722_16s(bands.data(), &speech[start], frameLength, delayLine.data()));
    }
    return speech;
}

Codec codecAt(int kilobits, int16_t mode, uint8_t speechBits) {
    return {"G.722", kilobits, codecDelay, [=](std::span<const int16_t> speech) { return encode(speech, speechBits); },
            [=](std::span<const uint8_t> octets) { return decode(octets, mode); }};
}

} // namespace

void g722Section(const Speech &speech, Report &report) {
    report.beginSection("ITU-T G.722");
    report.addParagraph(
        "Speech up to 7 kHz at 64, 56 and 48 kbit/s. A quadrature mirror filter splits 16 kHz speech into two bands of "
        "4 kHz. Adaptive differential coding spends six bits a sample on the low band and two on the high band. The "
        "lower rates drop one or two bits of the low band's code, so they raise the coding error below 4 kHz and leave "
        "the high band as it is.");
    showCodec(report, speech.at16k, speech.excerpt,
              {codecAt(64, ryxG722Mode64k, 0xFF), codecAt(56, ryxG722Mode56k, 0xFE), codecAt(48, ryxG722Mode48k, 0xFC)},
              "g722");
}
