// SPDX-License-Identifier: BSD-2-Clause
// Word format of 3GPP TS 26.073: 250 words of 16 bits a frame, little-endian. The type, 244 words 0 or 1 for the bits in
// the order in which the encoder writes its parameters, the mode, and four words of no meaning.
#include <cstring>

#include "gsmamr/frame.h"
#include "storage/format.h"
#include "storage/words.h"

namespace ryxcodec {

namespace {

using namespace gsmamr;

constexpr int bitWords = 244, modeWord = 1 + bitWords, frameWords = 250;

// Types of transmitted frames.
enum { txSpeechGood, txSidFirst, txSidUpdate, txNoData, txSpeechDegraded, txSpeechBad, txSidBad, txOnset };

void readParameters(const uint8_t *src, const Mode &mode, int16_t *parameters) {
    for (int i = 0; i < mode.parameters; i++) {
        int value = 0;
        for (int bit = 0; bit < mode.widths[i]; bit++, src += 2)
            value = value << 1 | (word(src) & 1);
        parameters[i] = static_cast<int16_t>(value);
    }
}

void writeParameters(const int16_t *parameters, const Mode &mode, uint8_t *dst) {
    for (int i = 0; i < mode.parameters; i++)
        for (int bit = mode.widths[i] - 1; bit >= 0; bit--)
            dst = putWord(dst, parameters[i] >> bit & 1);
}

int read(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < 2 * frameWords) return ryxStsBadSize;
    const int type = word(src), mode = word(src + 2 * modeWord);
    if (type > txOnset) return ryxStsBadIndex;
    ryxCodecFrame &frame = *frames;
    frame = {};
    if (type == txOnset) frame.marks = ryxFrameOnset;
    if (type == txNoData || mode >= modeCount) // without a mode there are no bits either
        return type == txNoData || type == txOnset ? 2 * frameWords : int{ryxStsBadIndex};
    const bool isSid = type == txSidFirst || type == txSidUpdate || type == txSidBad;
    int16_t parameters[mostParameters] = {};
    readParameters(src + 2, modes[isSid ? sidMode : mode], parameters);
    frame.count = isSid ? packSid(parameters, type != txSidFirst, mode, frame.octets)
                        : packSpeech(parameters, mode, frame.octets);
    if (type == txSpeechBad || type == txSidBad) frame.octets[0] = static_cast<uint8_t>(frame.octets[0] & ~4);
    if (type == txSpeechDegraded) frame.marks = ryxFrameDegraded;
    return 2 * frameWords;
}

int write(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    Received received;
    const ryxCodecFrame &frame = *frames;
    const ReceivedFrame given = {frame.lost != 0 ? nullptr : frame.octets, frame.count, frame.marks};
    if (unpack(given, received) != ryxStsOk) return ryxStsBadSize;
    constexpr int types[] = {txSpeechGood, txSpeechDegraded, txOnset,  txSpeechBad,
                             txSidFirst,   txSidUpdate,      txSidBad, txNoData};
    const int type = types[received.type];
    const bool isSid = type == txSidFirst || type == txSidUpdate || type == txSidBad;
    std::memset(dst, 0, 2 * frameWords);
    putWord(dst, type);
    if (received.mode >= 0) writeParameters(received.parameters, modes[isSid ? sidMode : received.mode], dst + 2);
    putWord(dst + 2 * modeWord, received.mode);
    return 2 * frameWords;
}

} // namespace

constinit const Format formatWordsGsmamr = {
    {"3gpp", "word format of TS 26.073", "gsm-amr ", 1, 2 * frameWords, ""}, read, write};

} // namespace ryxcodec
