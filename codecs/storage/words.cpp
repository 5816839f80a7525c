// SPDX-License-Identifier: BSD-2-Clause
// Formats of 16-bit little-endian words: the serial format of ITU-T G.192, and the index words of the G.728 sequences.
#include "storage/words.h"
#include "storage/format.h"

namespace ryxcodec {

namespace {

// Bits of a frame of so many octets; all but the 118 of G.729 at 11.8 kbit/s fill theirs.
int bitsOf(const ryxCodec &codec, int octets) {
    return octets == 15 && codec.frameLength == 80 ? 118 : 8 * octets;
}

// A frame is erased when its first word says so, or when no bit word is one: a good zero is 0x7f.
int readItu(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < 4) return ryxStsBadSize;
    const int kind = word(src), bits = word(src + 2);
    if (kind != goodFrame && kind != erasedFrame) return ryxStsBadIndex;
    if (bits > 8 * static_cast<int>(sizeof frames->octets)) return ryxStsBadIndex;
    if (size < 4 + 2 * bits) return ryxStsBadSize;

    ryxCodecFrame &frame = *frames;
    frame = {};
    frame.count = (bits + 7) / 8;
    bool empty = bits > 0;
    for (int i = 0; i < bits; i++) {
        const int bit = word(src + 4 + 2 * i);
        if (bit != 0) empty = false;
        if (bit == oneBit) frame.octets[i / 8] = static_cast<uint8_t>(frame.octets[i / 8] | 0x80 >> i % 8);
    }
    frame.lost = kind == erasedFrame || empty ? 1 : 0;
    return 4 + 2 * bits;
}

int writeItu(const ryxCodec &codec, const ryxCodecFrame *frames, uint8_t *dst) {
    const int bits = bitsOf(codec, frames->count);
    uint8_t *at = putWord(putWord(dst, frames->lost ? erasedFrame : goodFrame), bits);
    for (int i = 0; i < bits; i++) {
        const bool one = (frames->octets[i / 8] & 0x80 >> i % 8) != 0;
        at = putWord(at, frames->lost ? 0 : one ? oneBit : zeroBit);
    }
    return 4 + 2 * bits;
}

// Four indices of 10 bits.
int readIndices(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < 8) return ryxStsBadSize;
    uint64_t bits = 0;
    for (int i = 0; i < 4; i++)
        bits = bits << 10 | static_cast<uint64_t>(word(src + 2 * i) & 0x3ff);
    uint8_t octets[5];
    for (int i = 0; i < 5; i++)
        octets[i] = static_cast<uint8_t>(bits >> (32 - 8 * i));
    takeOctets(*frames, octets, 5);
    return 8;
}

int writeIndices(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    if (frames->count != 5) return ryxStsBadSize;
    uint64_t bits = 0;
    for (int i = 0; i < 5; i++)
        bits = bits << 8 | frames->octets[i];
    for (int i = 0; i < 4; i++)
        dst = putWord(dst, static_cast<int>(bits >> (30 - 10 * i) & 0x3ff));
    return 8;
}

} // namespace

constinit const Format formatItu = {
    {"itu", "serial words (ITU-T G.192)", "g729 g729a g7221 g7221c ", 1, 4 + 16 * 256, ""}, readItu, writeItu};
constinit const Format formatCw = {{"cw", "a word for every index", "g728 ", 1, 8, ""}, readIndices, writeIndices};

} // namespace ryxcodec
