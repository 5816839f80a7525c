// SPDX-License-Identifier: BSD-2-Clause
// 16-bit little-endian words, and those of the serial format of ITU-T G.192.
#pragma once

#include <cstdint>

namespace ryxcodec {

inline constexpr int goodFrame = 0x6b21, erasedFrame = 0x6b20;
inline constexpr int zeroBit = 0x7f, oneBit = 0x81;

inline int word(const uint8_t *src) {
    return src[0] | src[1] << 8;
}
inline uint8_t *putWord(uint8_t *dst, int value) {
    dst[0] = static_cast<uint8_t>(value);
    dst[1] = static_cast<uint8_t>(value >> 8);
    return dst + 2;
}

} // namespace ryxcodec
