// SPDX-License-Identifier: BSD-2-Clause
// Fields follow each other without gaps, every one with its least significant bit first.
#include "g723/frame.h"

#include <cstring>

namespace ryxcodec::g723 {

namespace {

enum { type63, type53, typeSid, typeNothing };

constexpr int gains = 24;
constexpr int combinedBits = 13;
constexpr int positionBits[subframes] = {16, 14, 16, 14};
constexpr int signBits[subframes] = {6, 5, 6, 5};

// Octets leave as they fill.
class BitWriter {
public:
    explicit BitWriter(uint8_t *octets) : octets_(octets) {}

    // The low bits of a value, 24 at most.
    void put(int value, int bits) {
        pool_ |= (static_cast<uint32_t>(value) & ((1U << bits) - 1)) << filled_;
        for (filled_ += bits; filled_ >= 8; filled_ -= 8, pool_ >>= 8)
            octets_[count_++] = static_cast<uint8_t>(pool_);
    }
    int octets() const { return count_; } // of a frame, which fills them all

private:
    uint8_t *octets_;
    uint32_t pool_ = 0; // fewer than 8 bits between calls
    int filled_ = 0, count_ = 0;
};

class BitReader {
public:
    BitReader(const uint8_t *octets, int count) { std::memcpy(octets_, octets, static_cast<size_t>(count)); }

    int get(int bits) { // 24 at most
        uint32_t word;
        std::memcpy(&word, octets_ + place_ / 8, sizeof word);
        word = word >> place_ % 8 & ((1U << bits) - 1);
        place_ += bits;
        return static_cast<int>(word);
    }

private:
    uint8_t octets_[largestFrame + sizeof(uint32_t)] = {};
    int place_ = 0;
};

// The upper parts of the four position numbers in one word.
int combine(const Subframe *s) {
    const auto upper = [=](int k) { return s[k].positions >> positionBits[k]; };
    return (9 * upper(0) + upper(1)) * 90 + 9 * upper(2) + upper(3);
}

void separate(int word, Subframe *s) {
    const int upper[subframes] = {word / 90 / 9, word / 90 % 9, word % 90 / 9, word % 90 % 9};
    for (int k = 0; k < subframes; k++)
        s[k].positions += upper[k] << positionBits[k];
}

void putSpeech(const Frame &frame, BitWriter &bits) {
    const bool high = frame.rate == ryxG723Rate63;
    for (int half = 0; half < 2; half++) {
        bits.put(frame.lag[half] - shortestLag, 7);
        bits.put(frame.subframe[2 * half + 1].offset, 2);
    }
    for (const Subframe &s : frame.subframe)
        bits.put(gains * s.pitchGain + s.gain + (high ? s.train << 11 : 0), 12);
    for (const Subframe &s : frame.subframe)
        bits.put(s.grid, 1);
    if (high) {
        bits.put(0, 1);
        bits.put(combine(frame.subframe), combinedBits);
    }
    for (int k = 0; k < subframes; k++)
        bits.put(frame.subframe[k].positions, high ? positionBits[k] : 12);
    for (int k = 0; k < subframes; k++)
        bits.put(frame.subframe[k].signs, high ? signBits[k] : 4);
}

bool getLags(Frame &frame, BitReader &bits) {
    bool valid = true;
    for (int half = 0; half < 2; half++) {
        const int code = bits.get(7);
        valid &= code < 124;
        frame.lag[half] = static_cast<int16_t>(code + shortestLag);
        frame.subframe[2 * half].offset = 1;
        frame.subframe[2 * half + 1].offset = static_cast<int16_t>(bits.get(2));
    }
    return valid;
}

bool getGains(Frame &frame, BitReader &bits) {
    bool valid = true;
    for (int k = 0; k < subframes; k++) {
        Subframe &s = frame.subframe[k];
        int word = bits.get(12);
        const bool few = frame.rate == ryxG723Rate63 && frame.lag[k / 2] < shortLagLimit;
        s.train = few ? static_cast<int16_t>(word >> 11) : int16_t{0};
        if (few) word &= 0x7ff;
        s.pitchGain = static_cast<int16_t>(word / gains);
        s.gain = static_cast<int16_t>(word % gains);
        valid &= s.pitchGain < (few ? 85 : 170);
    }
    return valid;
}

bool getSpeech(Frame &frame, BitReader &bits) {
    const bool high = frame.rate == ryxG723Rate63;
    if (!getLags(frame, bits) || !getGains(frame, bits)) return false;
    for (Subframe &s : frame.subframe)
        s.grid = static_cast<int16_t>(bits.get(1));
    if (high) bits.get(1);
    const int combined = high ? bits.get(combinedBits) : 0;
    for (int k = 0; k < subframes; k++)
        frame.subframe[k].positions = bits.get(high ? positionBits[k] : 12);
    if (high) separate(combined, frame.subframe);
    for (int k = 0; k < subframes; k++)
        frame.subframe[k].signs = static_cast<int16_t>(bits.get(high ? signBits[k] : 4));
    return true;
}

} // namespace

int pack(const Frame &frame, uint8_t *octets) {
    BitWriter bits(octets);
    switch (frame.type) {
    case ryxG723FrameSpeech:
        bits.put(frame.rate == ryxG723Rate63 ? type63 : type53, 2);
        bits.put(frame.lsf, 24);
        putSpeech(frame, bits);
        break;
    case ryxG723FrameSID:
        bits.put(typeSid, 2);
        bits.put(frame.lsf, 24);
        bits.put(frame.sidGain, 6);
        break;
    default:
        bits.put(typeNothing, 8);
    }
    return bits.octets();
}

bool unpack(const uint8_t *octets, Frame &frame) {
    BitReader bits(octets, octetsOf(octets[0]));
    const int type = bits.get(2);
    if (type == typeNothing) {
        frame.type = ryxG723FrameNothing;
        return true;
    }
    frame.lsf = bits.get(24);
    if (type == typeSid) {
        frame.type = ryxG723FrameSID;
        frame.sidGain = bits.get(6);
        return true;
    }
    frame.type = ryxG723FrameSpeech;
    frame.rate = type == type63 ? ryxG723Rate63 : ryxG723Rate53;
    return getSpeech(frame, bits);
}

} // namespace ryxcodec::g723
