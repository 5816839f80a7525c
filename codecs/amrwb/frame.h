// SPDX-License-Identifier: BSD-2-Clause
// Frames of AMR-WB: parameters as bits in the order of the encoder, octets in the order of RFC 4867.
#pragma once

#include <ryxsc.h>

#include "bit_order.h"
#include "codec.h"
#include "tables.h"

namespace ryxcodec::amrwb {

// One bit in each octet, in the order in which the encoder writes its parameters, and room for what is read behind the last
// one.
struct ParameterBits {
    uint8_t values[mostBits + 16];
};

class BitWriter {
public:
    explicit BitWriter(ParameterBits &bits) : at_(bits.values) {}
    void put(int value, int width) {
        for (int i = width - 1; i >= 0; i--)
            *at_++ = static_cast<uint8_t>(value >> i & 1);
    }

private:
    uint8_t *at_;
};

class BitReader {
public:
    explicit BitReader(const ParameterBits &bits) : at_(bits.values) {}
    // Up to 16 bits.
    int16_t get(int width) {
        uint8_t octets[2];
        gather(at_, 2, octets);
        at_ += width;
        return static_cast<int16_t>((octets[0] << 8 | octets[1]) >> (16 - width));
    }

private:
    const uint8_t *at_;
};

// What a frame is to the decoder; the numbers are those of ryxsDecDTXHandler_AMRWB_16s().
enum FrameType { speechGood, speechDegraded, speechLost, speechBad, sidFirst, sidUpdate, sidBad, noData };

inline constexpr int isfNoiseWidths[5] = {6, 6, 6, 5, 5};
inline constexpr int isfWidths36[5] = {8, 8, 7, 7, 6};
inline constexpr int isfWidths46[7] = {8, 8, 6, 7, 7, 5, 5};
inline const int *isfWidths(const Mode &mode) {
    return mode.isfWords() == 5 ? isfWidths36 : isfWidths46;
}
// Of a lag that stands alone, and of one relative to the subframe before.
inline bool hasAbsoluteLag(const Mode &mode, int subframe) {
    return subframe == 0 || (subframe == 2 && mode.code != 5);
}
inline int lagWidth(const Mode &mode, int subframe) {
    return (hasAbsoluteLag(mode, subframe) ? 9 : 6) - int{mode.isLow()};
}
inline int gainWidth(const Mode &mode) {
    return mode.isLow() ? 6 : 7;
}

// Return the number of octets, with the header.
int packSpeech(const ParameterBits &bits, int mode, uint8_t *frame);
int packSid(const ParameterBits &bits, bool isUpdate, int mode, uint8_t *frame);

// Header and contents of a frame that was received. Bits are written as far as the frame has some.
struct Unpacked {
    FrameType type;
    int mode; // -1: not a speech frame
};
ryxStatus unpack(const ReceivedFrame &frame, ParameterBits &bits, Unpacked &unpacked);

// Whether the bits are those of the mode's decoder homing frame, all of them or those up to the first subframe's end.
bool isHomingFrame(const ParameterBits &bits, int mode, bool isWhole);

} // namespace ryxcodec::amrwb
