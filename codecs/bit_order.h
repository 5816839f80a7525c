// SPDX-License-Identifier: BSD-2-Clause
// Frames whose bits are sent in another order than the parameters are made of: a bit in each octet between the two.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace ryxcodec {

// Eight bits as eight octets 0 or 1, the most significant one first.
inline constexpr auto spreadOctets = [] {
    std::array<std::array<uint8_t, 8>, 256> table = {};
    for (size_t octet = 0; octet < table.size(); octet++)
        for (size_t bit = 0; bit < 8; bit++)
            table[octet][bit] = static_cast<uint8_t>(octet >> (7 - bit) & 1);
    return table;
}();

inline void spread(const uint8_t *octets, int count, uint8_t *bits) {
#pragma GCC unroll 4
    for (int i = 0; i < count; i++)
        std::memcpy(bits + 8 * i, spreadOctets[octets[i]].data(), 8);
}

// The other way. Each of the eight octets 0 or 1 meets its place in the uppermost octet of the product, and no sum of the
// others reaches it.
inline void gather(const uint8_t *bits, int count, uint8_t *octets) {
    for (int i = 0; i < count; i++) {
        uint64_t eight;
        std::memcpy(&eight, bits + 8 * i, 8);
        octets[i] = static_cast<uint8_t>((eight * 0x8040201008040201) >> 56);
    }
}

// Numbers of up to 16 bits behind one another, the most significant bit first.
class FieldWriter {
public:
    explicit FieldWriter(uint8_t *octets) : octets_(octets) {}

    void put(unsigned value, int width) {
        pending_ = pending_ << width | (value & ((1U << width) - 1));
        for (count_ += width; count_ >= 8; count_ -= 8)
            *octets_++ = static_cast<uint8_t>(pending_ >> (count_ - 8));
    }
    // Fills the last octet with zeros.
    void finish() {
        if (count_ > 0) put(0, 8 - count_);
    }

private:
    uint8_t *octets_;
    uint64_t pending_ = 0;
    int count_ = 0; // pending bits
};

// Reads up to three octets at a time, so some behind the last field.
class FieldReader {
public:
    static constexpr int beyond = 2;

    explicit FieldReader(const uint8_t *octets) : octets_(octets) {}

    unsigned get(int width) {
        const uint8_t *const at = octets_ + place_ / 8;
        const unsigned three = static_cast<unsigned>(at[0] << 16 | at[1] << 8 | at[2]);
        const unsigned value = (three << (8 + place_ % 8)) >> (32 - width);
        place_ += width;
        return value;
    }

private:
    const uint8_t *octets_;
    int place_ = 0;
};

} // namespace ryxcodec
