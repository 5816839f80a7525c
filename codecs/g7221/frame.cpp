// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/frame.h"

#include <cstring>

namespace ryxcodec::g7221 {

void FrameWriter::put(uint32_t code, int bits) {
    const auto length = static_cast<uint8_t>(bits);
    put(&code, &length, 1);
}

// Frames are multiples of 32 bits. Locals, since octets may alias the members.
void FrameWriter::put(const uint32_t *codes, const uint8_t *codeBits, int count) {
    uint64_t pending = pending_;
    int pendingBits = pendingBits_;
    uint8_t *next = next_;
    for (int i = 0; i < count && next != end_; i++) {
        pending = pending << codeBits[i] | codes[i];
        pendingBits += codeBits[i];
        if (pendingBits < 32) continue;
        pendingBits -= 32;
        const uint32_t word = __builtin_bswap32(static_cast<uint32_t>(pending >> pendingBits));
        std::memcpy(next, &word, sizeof word);
        next += sizeof word;
    }
    pending_ = pending;
    pendingBits_ = pendingBits;
    next_ = next;
}

void FrameWriter::fillWithOnes() {
    while (next_ != end_) {
        const int bits = 32 - pendingBits_;
        put(0xffffffff >> pendingBits_, bits);
    }
}

int readBits(const uint8_t *frame, int position, int bits) {
    const int octet = position / 8, behind = 16 - position % 8 - bits;
    const int pair = frame[octet] << 8 | (behind < 8 ? frame[octet + 1] : 0);
    return pair >> behind & ((1 << bits) - 1);
}

} // namespace ryxcodec::g7221
