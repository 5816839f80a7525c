// SPDX-License-Identifier: BSD-2-Clause
// Frames of GSM full rate: 76 parameters, their 33 octets (RFC 3551, ETSI TS 101 318), and pairs of frames in 65 octets
// (WAV format 0x31).
#pragma once

#include <cstdint>

namespace ryxcodec::gsmfr {

inline constexpr int frameOctets = 33;
inline constexpr int pairOctets = 65;
inline constexpr int larCount = 8;
inline constexpr int segments = 4;
inline constexpr int segmentLength = 40;
inline constexpr int pulses = 13;

// The parameters in the order of GSM 06.10, table 1.1.
struct SubSegment {
    int16_t lag, gain, grid, scale; // Nc, bc, Mc, xmaxc
    int16_t codes[pulses];          // xMc
};

struct Frame {
    int16_t lar[larCount]; // LARc
    SubSegment segment[segments];

    int16_t *words() { return reinterpret_cast<int16_t *>(this); }
    const int16_t *words() const { return reinterpret_cast<const int16_t *>(this); }
};
inline constexpr int frameParameters = 76;
static_assert(sizeof(Frame) == frameParameters * sizeof(int16_t));

void pack(const Frame &frame, uint8_t *octets);
Frame unpack(const uint8_t *octets);

// Frames of 33 octets begin with the four bits 1101.
bool hasSignature(const uint8_t *octets);

// Two frames of 33 octets each, one behind the other, to and from 65 octets.
void packPair(const uint8_t *frames, uint8_t *pair);
void unpackPair(const uint8_t *pair, uint8_t *frames);

} // namespace ryxcodec::gsmfr
