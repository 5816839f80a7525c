// SPDX-License-Identifier: BSD-2-Clause
// Reading bits of a frame, most significant first.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace ryxsc::g7221 {

// A frame in padded memory: zeros follow it, so that words may be read from any position up to its end.
class BitReader {
public:
    static constexpr int maxBits = 960;

    BitReader(const uint8_t *frame, int bits) {
        const auto octets = static_cast<size_t>(bits) / 8;
        std::memcpy(octets_, frame, octets);
        std::memset(octets_ + octets, 0, 8);
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
