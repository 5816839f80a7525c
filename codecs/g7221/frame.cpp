// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/frame.h"

namespace ryxcodec::g7221 {

// Frames are multiples of 32 bits.
void FrameWriter::put(uint32_t code, int bits) {
    pending_ = pending_ << bits | code;
    pendingBits_ += bits;
    if (pendingBits_ < 32) return;
    pendingBits_ -= 32;
    const auto word = static_cast<uint32_t>(pending_ >> pendingBits_);
    if (next_ == end_) return;
    for (int shift = 24; shift >= 0; shift -= 8)
        *next_++ = static_cast<uint8_t>(word >> shift);
}

void FrameWriter::put(const uint32_t *codes, const uint8_t *codeBits, int count) {
    for (int i = 0; i < count; i++)
        put(codes[i], codeBits[i]);
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
