// SPDX-License-Identifier: BSD-2-Clause
// A frame is 36 bits of log-area ratios and four times 56 bits of sub-segments. Each of these groups fits a 64-bit word,
// in which the parameters follow each other from the most significant bit (33 octets) or from the least significant one
// (65 octets for a pair) on.
#include "frame.h"

namespace ryxcodec::gsmfr {

namespace {

constexpr int larBits = 36;
constexpr int segmentBits = 56;
constexpr uint64_t signature = 0xd;
constexpr int larWidths[larCount] = {6, 6, 5, 5, 4, 4, 3, 3};
constexpr int segmentWidths[] = {7, 2, 2, 6, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3};

// Parameters to the bits of a group and back, first parameter in the most significant or the least significant bits.
template <bool highFirst, int count> uint64_t join(const int16_t *parameters, const int (&widths)[count]) {
    uint64_t bits = 0;
    int at = 0;
    for (int i = 0; i < count; i++) {
        const uint64_t value = static_cast<uint64_t>(parameters[i]) & ((1u << widths[i]) - 1);
        bits = highFirst ? bits << widths[i] | value : bits | value << at;
        at += widths[i];
    }
    return bits;
}

template <bool highFirst, int count> void split(uint64_t bits, int16_t *parameters, const int (&widths)[count]) {
    for (int i = 0; i < count; i++) {
        const int at = highFirst ? count - 1 - i : i;
        parameters[at] = static_cast<int16_t>(bits & ((1u << widths[at]) - 1));
        bits >>= widths[at];
    }
}

const int16_t *wordsOf(const SubSegment &segment) {
    return &segment.lag;
}
int16_t *wordsOf(SubSegment &segment) {
    return &segment.lag;
}

void putHighFirst(uint64_t bits, int octets, uint8_t *at) {
    for (int i = octets - 1; i >= 0; i--, bits >>= 8)
        at[i] = static_cast<uint8_t>(bits);
}

uint64_t getHighFirst(const uint8_t *at, int octets) {
    uint64_t bits = 0;
    for (int i = 0; i < octets; i++)
        bits = bits << 8 | at[i];
    return bits;
}

// Groups of bits one behind the other, from the least significant bit of the first octet on.
class LowFirstWriter {
public:
    explicit LowFirstWriter(uint8_t *to) : to_(to) {}

    void put(uint64_t bits, int count) {
        pool_ |= bits << filled_; // at most 7 + 56 bits
        for (filled_ += count; filled_ >= 8; filled_ -= 8) {
            *to_++ = static_cast<uint8_t>(pool_);
            pool_ >>= 8;
        }
    }

private:
    uint8_t *to_;
    uint64_t pool_ = 0;
    int filled_ = 0;
};

class LowFirstReader {
public:
    explicit LowFirstReader(const uint8_t *from) : from_(from) {}

    uint64_t get(int count) {
        for (; filled_ < count; filled_ += 8)
            pool_ |= static_cast<uint64_t>(*from_++) << filled_;
        const uint64_t bits = pool_ & ((uint64_t{1} << count) - 1);
        pool_ >>= count;
        filled_ -= count;
        return bits;
    }

private:
    const uint8_t *from_;
    uint64_t pool_ = 0;
    int filled_ = 0;
};

} // namespace

void pack(const Frame &frame, uint8_t *octets) {
    putHighFirst(signature << larBits | join<true>(frame.lar, larWidths), 5, octets);
    for (int i = 0; i < segments; i++)
        putHighFirst(join<true>(wordsOf(frame.segment[i]), segmentWidths), 7, octets + 5 + 7 * i);
}

Frame unpack(const uint8_t *octets) {
    Frame frame;
    split<true>(getHighFirst(octets, 5), frame.lar, larWidths);
    for (int i = 0; i < segments; i++)
        split<true>(getHighFirst(octets + 5 + 7 * i, 7), wordsOf(frame.segment[i]), segmentWidths);
    return frame;
}

bool hasSignature(const uint8_t *octets) {
    return octets[0] >> 4 == signature;
}

void packPair(const uint8_t *frames, uint8_t *pair) {
    LowFirstWriter writer(pair);
    for (int k = 0; k < 2; k++) {
        const Frame frame = unpack(frames + k * frameOctets);
        writer.put(join<false>(frame.lar, larWidths), larBits);
        for (const SubSegment &segment : frame.segment)
            writer.put(join<false>(wordsOf(segment), segmentWidths), segmentBits);
    }
}

void unpackPair(const uint8_t *pair, uint8_t *frames) {
    LowFirstReader reader(pair);
    for (int k = 0; k < 2; k++) {
        Frame frame;
        split<false>(reader.get(larBits), frame.lar, larWidths);
        for (SubSegment &segment : frame.segment)
            split<false>(reader.get(segmentBits), wordsOf(segment), segmentWidths);
        pack(frame, frames + k * frameOctets);
    }
}

} // namespace ryxcodec::gsmfr
