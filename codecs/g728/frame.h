// SPDX-License-Identifier: BSD-2-Clause
// Frames of ITU-T G.728: an adaptation cycle of four vectors of five samples, four indices of ten bits.
#pragma once

#include <cstdint>

namespace ryxcodec::g728 {

constexpr int vectorLength = 5;
constexpr int vectors = 4;
constexpr int frameLength = vectors * vectorLength;
constexpr int frameOctets = 5;

struct Index {
    int16_t shape; // 0..127
    int16_t gain;  // 0..7
};

// Ten bits an index, shape first, the most significant bit first (RFC 3551).
void pack(const Index *indices, uint8_t *octets);
void unpack(const uint8_t *octets, Index *indices);

} // namespace ryxcodec::g728
