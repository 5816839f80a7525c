// SPDX-License-Identifier: BSD-2-Clause
// Reading bits of a frame, most significant first.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/simd.h"

namespace ryxsc::g7221 {

// A frame in padded memory: zeros follow it, so that words may be read from any position up to its end.
class BitReader {
public:
    static constexpr int maxBits = 960;

    // At least 128 bits.
    BitReader(const uint8_t *frame, int bits) {
        const int octets = bits / 8;
        for (int i = 0; i < octets - 16; i += 16)
            simd::store(octets_ + i, simd::load(frame + i));
        simd::store(octets_ + octets - 16, simd::load(frame + octets - 16));
        simd::store64(octets_ + octets, _mm_setzero_si128());
    }

    // The bits from position on, at the top of the word; at least 57 of them, 0 <= position <= maxBits.
    uint64_t window(int position) const {
        uint64_t word = 0;
        std::memcpy(&word, octets_ + (position >> 3), sizeof word);
        return __builtin_bswap64(word) << (position & 7);
    }
    // The next bits as a number, 1 <= count <= 57.
    unsigned peek(int position, int count) const { return static_cast<unsigned>(window(position) >> (64 - count)); }

private:
    uint8_t octets_[maxBits / 8 + 8];
};

} // namespace ryxsc::g7221
