// SPDX-License-Identifier: BSD-2-Clause
#include "frame.h"

namespace ryxcodec::g728 {

void pack(const Index *indices, uint8_t *octets) {
    uint64_t bits = 0;
    for (int k = 0; k < vectors; k++)
        bits = bits << 10 | static_cast<uint64_t>(indices[k].shape << 3 | indices[k].gain);
    for (int i = 0; i < frameOctets; i++)
        octets[i] = static_cast<uint8_t>(bits >> (32 - 8 * i));
}

void unpack(const uint8_t *octets, Index *indices) {
    uint64_t bits = 0;
    for (int i = 0; i < frameOctets; i++)
        bits = bits << 8 | octets[i];
    for (int k = 0; k < vectors; k++) {
        const auto index = static_cast<int>(bits >> (30 - 10 * k) & 0x3ff);
        indices[k] = {static_cast<int16_t>(index >> 3), static_cast<int16_t>(index & 7)};
    }
}

} // namespace ryxcodec::g728
