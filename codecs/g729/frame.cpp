// SPDX-License-Identifier: BSD-2-Clause
#include "g729/frame.h"

#include <cstring>

namespace ryxcodec::g729 {

namespace {

constexpr int sizes[] = {0, 2, 8, 10, 15};

class Writer {
public:
    explicit Writer(uint8_t *octets) : octets_(octets) {}
    void operator()(int16_t &value, int bits) {
        while (bits-- > 0) {
            octets_[at_ / 8] = static_cast<uint8_t>(octets_[at_ / 8] | (value >> bits & 1) << (7 - at_ % 8));
            at_++;
        }
    }

private:
    uint8_t *octets_;
    int at_ = 0;
};

class Reader {
public:
    explicit Reader(const uint8_t *octets) : octets_(octets) {}
    void operator()(int16_t &value, int bits) {
        int read = 0;
        for (; bits > 0; bits--, at_++)
            read = read << 1 | (octets_[at_ / 8] >> (7 - at_ % 8) & 1);
        value = static_cast<int16_t>(read);
    }

private:
    const uint8_t *octets_;
    int at_ = 0;
};

template <class Bits> void speechFrame(FrameType type, Bits bits, Parameters &p) {
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

template <class Bits> void frame(FrameType type, Bits bits, Parameters &p) {
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
    std::memset(octets, 0, static_cast<size_t>(octetsOf(type)));
    frame(type, Writer(octets), parameters);
}

Parameters unpack(FrameType type, const uint8_t *octets) {
    Parameters parameters{};
    frame(type, Reader(octets), parameters);
    return parameters;
}

} // namespace ryxcodec::g729
