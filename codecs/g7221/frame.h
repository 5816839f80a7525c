// SPDX-License-Identifier: BSD-2-Clause
// Frames of ITU-T G.722.1 as octets, first bit in the most significant one: envelope codes, number of the categorisation,
// vector codes, ones.
#pragma once

#include <cstdint>

#include <ryxsc.h>

namespace ryxcodec::g7221 {

// What differs between the main body and Annex C.
struct Format {
    int sampleRate;
    int frameLength;
    int regions;
    int controlBits;  // of the number of the categorisation
    int longestFrame; // octets

    constexpr bool hasFrameOf(int octets) const {
        return (octets == 60 || octets == 80 || octets == 120) && octets <= longestFrame;
    }
    constexpr int codedLength() const { return regions * ryxG7221RegionLength; }
};

inline constexpr Format wideband = {16000, 320, ryxG7221Regions, 4, 80};
inline constexpr Format superwideband = {32000, 640, ryxG7221RegionsC, 5, 120};

inline constexpr int framesPerSecond = 50;
inline constexpr int16_t noiseOnly = 7; // the coarsest category
inline constexpr int maxFrameLength = 640;
inline constexpr int maxRegions = ryxG7221RegionsC;
inline constexpr int maxCodedLength = maxRegions * ryxG7221RegionLength;
inline constexpr int maxVectors = maxRegions * ryxG7221VectorsPerRegion;
inline constexpr int maxBalances = 31;

// Writes codes until the frame is full and drops the rest.
class FrameWriter {
public:
    FrameWriter(uint8_t *frame, int octets) : next_(frame), end_(frame + octets) {}

    void put(uint32_t code, int bits);
    void put(const uint32_t *codes, const uint8_t *codeBits, int count);
    void fillWithOnes();

private:
    uint8_t *next_, *end_;
    uint64_t pending_ = 0;
    int pendingBits_ = 0; // below 32
};

// A number of up to eight bits.
int readBits(const uint8_t *frame, int position, int bits);

} // namespace ryxcodec::g7221
