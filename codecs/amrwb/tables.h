// SPDX-License-Identifier: BSD-2-Clause
// The modes of AMR-WB: widths of the parameters, order of the bits, homing frames (3GPP TS 26.173, TS 26.201).
#pragma once

#include <cstdint>

namespace ryxcodec::amrwb {

inline constexpr int frameLength = 320; // samples at 16 kHz
inline constexpr int subframes = 4;
inline constexpr int subframeLength = 64; // samples at 12.8 kHz
inline constexpr int lpOrder = 16;
inline constexpr int speechModes = 9;
inline constexpr int sidBits = 35;
inline constexpr int mostBits = 477;
inline constexpr int largestFrame = 61; // octets, with the header

struct Mode {
    int code;              // of the bit rate, as the primitives know it
    int bits;              // of a frame
    int codeWords;         // of the algebraic codebook in a subframe
    uint8_t codeWidths[8]; // their bits
    const uint16_t *order; // parameter bit of each bit of the octets
    const int16_t *homing; // bits of the decoder homing frame in groups of 15, the first one highest
    int homingBits;        // how many of them lie in the first subframe and in front of it

    constexpr bool isLow() const { return code <= 9; }            // 6.60 and 8.85
    constexpr bool hasHighBandGain() const { return code == 21; } // 23.85
    constexpr int isfWords() const { return code == 5 ? 5 : 7; }
};
extern const Mode modes[speechModes];

} // namespace ryxcodec::amrwb
