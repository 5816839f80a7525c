// SPDX-License-Identifier: BSD-2-Clause
// Word formats of 3GPP TS 26.173: 16-bit little-endian words, one for every bit, in the order in which the encoder writes
// its parameters.
#include <cstring>

#include "amrwb/frame.h"
#include "storage/format.h"
#include "storage/words.h"

namespace ryxcodec {

namespace {

using namespace amrwb;

constexpr uint16_t transmitted = 0x6b21, received = 0x6b20;
constexpr int one = 127, zero = -127;

// Types of transmitted frames, the second word behind 0x6b21.
enum { txSpeech, txSidFirst, txSidUpdate, txNoData };

constexpr FrameType receivedAs[] = {speechGood, sidFirst, sidUpdate, noData};

void readBits(const uint8_t *src, int count, int16_t oneWord, ParameterBits &bits) {
    bits = {};
    for (int i = 0; i < count; i++)
        bits.values[i] = static_cast<int16_t>(word(src + 2 * i)) == oneWord;
}

// Frame octets of the type, with its marks.
void putFrame(FrameType type, int mode, const ParameterBits &bits, ryxCodecFrame &frame) {
    frame = {};
    if (type == noData) return;
    if (type == speechLost) {
        frame.octets[0] = 14 << 3 | 4;
        frame.count = 1;
    } else if (type == sidFirst || type == sidUpdate || type == sidBad) {
        frame.count = packSid(bits, type != sidFirst, mode, frame.octets);
    } else {
        frame.count = packSpeech(bits, mode, frame.octets);
    }
    if (type == speechBad || type == sidBad) frame.octets[0] = static_cast<uint8_t>(frame.octets[0] & ~4);
    if (type == speechDegraded) frame.marks = ryxFrameDegraded;
}

int read(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < 6) return ryxStsBadSize;
    const int start = word(src), number = word(src + 2), mode = word(src + 4);
    if (start != transmitted && start != received) return ryxStsBadIndex;
    if (mode >= speechModes || number > (start == transmitted ? int{txNoData} : int{noData})) return ryxStsBadIndex;
    const FrameType type = start == transmitted ? receivedAs[number] : static_cast<FrameType>(number);
    const int bits = type <= speechBad ? modes[mode].bits : sidBits;
    if (size < 6 + 2 * bits) return ryxStsBadSize;
    ParameterBits values;
    readBits(src + 6, bits, one, values);
    putFrame(type, mode, values, *frames);
    return 6 + 2 * bits;
}

// Content of a frame as the encoder made it; the bits of one of which nothing is sent are zero.
struct Content {
    int type, mode, count;
    ParameterBits bits;
};

ryxStatus contentOf(const ryxCodecFrame &frame, Content &content) {
    content = {txNoData, 0, sidBits, {}};
    Unpacked unpacked;
    const ryxStatus status = unpack({frame.octets, frame.count, 0}, content.bits, unpacked);
    if (status != ryxStsOk) return status;
    if (unpacked.type == speechGood) {
        content.type = txSpeech;
        content.mode = unpacked.mode;
        content.count = modes[unpacked.mode].bits;
    } else if (unpacked.type == sidFirst || unpacked.type == sidUpdate) {
        content.type = unpacked.type == sidFirst ? txSidFirst : txSidUpdate;
        content.mode = frame.octets[5] & 15;
        if (content.mode >= speechModes) return ryxStsBadSize;
    } else if (unpacked.type != noData) {
        return ryxStsBadSize;
    }
    return ryxStsOk;
}

int write(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    Content content;
    if (contentOf(*frames, content) != ryxStsOk) return ryxStsBadSize;
    uint8_t *at = putWord(putWord(putWord(dst, transmitted), content.type), content.mode);
    for (int i = 0; i < content.count; i++)
        at = putWord(at, content.bits.values[i] ? one : zero);
    return 6 + 2 * content.count;
}

// The serial format of ITU-T G.192: the number of bits tells the mode. SID_FIRST has no bits either.
int readItu(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < 4) return ryxStsBadSize;
    const int start = word(src), count = word(src + 2);
    if (start != goodFrame && start != erasedFrame) return ryxStsBadIndex;
    int mode = 0;
    while (mode < speechModes && modes[mode].bits != count)
        mode++;
    if (mode == speechModes && count != 0 && count != sidBits) return ryxStsBadIndex;
    if (size < 4 + 2 * count) return ryxStsBadSize;
    ParameterBits values;
    readBits(src + 4, count, oneBit, values);
    const FrameType speech = start == goodFrame ? speechGood : speechLost;
    putFrame(count == 0 ? noData : count == sidBits ? sidUpdate : speech, mode % speechModes, values, *frames);
    return 4 + 2 * count;
}

int writeItu(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    Content content;
    if (contentOf(*frames, content) != ryxStsOk) return ryxStsBadSize;
    const int count = content.type == txSidFirst || content.type == txNoData ? 0 : content.count;
    uint8_t *at = putWord(putWord(dst, goodFrame), count);
    for (int i = 0; i < count; i++)
        at = putWord(at, content.bits.values[i] ? oneBit : zeroBit);
    return 4 + 2 * count;
}

} // namespace

constinit const Format formatWordsAmrwb = {
    {"3gpp", "word format of TS 26.173", "amr-wb ", 1, 6 + 2 * mostBits, ""}, read, write};
constinit const Format formatItuAmrwb = {
    {"itu", "serial words (ITU-T G.192)", "amr-wb ", 1, 4 + 2 * mostBits, ""}, readItu, writeItu};

} // namespace ryxcodec
