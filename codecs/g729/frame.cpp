// SPDX-License-Identifier: BSD-2-Clause
#include "g729/frame.h"

#include <algorithm>
#include <cstring>

namespace ryxcodec::g729 {

namespace {

constexpr int sizes[] = {0, 2, 8, 10, 15};

// The octets of a frame as a number of 128 bits, the first bit on top.
using Bits128 = unsigned __int128;

class Writer {
public:
    void operator()(int16_t value, int bits) {
        at_ -= bits;
        all_ |= static_cast<Bits128>(value & ((1 << bits) - 1)) << at_;
    }
    void store(uint8_t *octets, int count) const {
        for (int i = 0; i < count; i++)
            octets[i] = static_cast<uint8_t>(all_ >> (120 - 8 * i));
    }

private:
    Bits128 all_ = 0;
    int at_ = 128;
};

class Reader {
public:
    Reader(const uint8_t *octets, int count) {
        uint8_t all[16] = {};
        std::copy_n(octets, count, all);
        high_ = wordAt(all);
        low_ = wordAt(all + 8);
    }
    void operator()(int16_t &value, int bits) {
        value = static_cast<int16_t>(high_ >> (64 - bits));
        high_ = high_ << bits | low_ >> (64 - bits);
        low_ <<= bits;
    }

private:
    static uint64_t wordAt(const uint8_t *octets) {
        uint64_t word;
        std::memcpy(&word, octets, sizeof word);
        return __builtin_bswap64(word);
    }

    uint64_t high_, low_;
};

template <class Bits> void speechFrame(FrameType type, Bits &bits, Parameters &p) {
    const bool annexD = type == FrameType::speech6k4, annexE = type == FrameType::speech11k8;
    bool backward = false;
    if (annexE) {
        bits(p.mode[0], 1);
        bits(p.mode[1], 1);
        backward = p.mode[0] != 0;
    }
    if (!backward) {
        bits(p.lsp[0], 8);
        bits(p.lsp[1], 10);
    }
    for (int s = 0; s < subframes; s++) {
        bits(p.delay[s], s == 0 ? 8 : annexD ? 4 : 5);
        if (s == 0 && !annexD) bits(p.parity, 1);
        int16_t *const code = p.code[s];
        if (annexE) {
            bits(code[0], backward ? 13 : 7);
            bits(code[1], backward ? 10 : 7);
            for (int i = 2; i < 5; i++)
                bits(code[i], 7);
        } else {
            bits(code[0], annexD ? 9 : 13);
            bits(code[1], annexD ? 2 : 4);
        }
        bits(p.gain[s], annexD ? 6 : 7);
    }
}

template <class Bits> void frame(FrameType type, Bits &bits, Parameters &p) {
    if (type == FrameType::silence) {
        bits(p.silence[0], 1);
        bits(p.silence[1], 5);
        bits(p.silence[2], 4);
        bits(p.silence[3], 5);
    } else if (isSpeech(type)) {
        speechFrame(type, bits, p);
    }
}

} // namespace

int octetsOf(FrameType type) {
    return sizes[static_cast<int>(type)];
}

bool typeOf(int octets, FrameType &type) {
    for (int i = 0; i < 5; i++)
        if (sizes[i] == octets) {
            type = static_cast<FrameType>(i);
            return true;
        }
    return false;
}

// The six upper bits; Annex E takes in the next one.
int16_t parityOf(FrameType type, int16_t delay) {
    const int covered = delay & (type == FrameType::speech11k8 ? 0xfe : 0xfc);
    return static_cast<int16_t>((1 + __builtin_popcount(static_cast<unsigned>(covered))) & 1);
}

void pack(FrameType type, Parameters parameters, uint8_t *octets) {
    Writer writer;
    frame(type, writer, parameters);
    writer.store(octets, octetsOf(type));
}

Parameters unpack(FrameType type, const uint8_t *octets) {
    Parameters parameters{};
    if (type == FrameType::untransmitted) return parameters;
    Reader reader(octets, octetsOf(type));
    frame(type, reader, parameters);
    return parameters;
}

} // namespace ryxcodec::g729
