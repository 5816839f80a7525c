// SPDX-License-Identifier: BSD-2-Clause
// What a stream format is to the library.
#pragma once

#include "codec.h"

namespace ryxcodec {

// The stream that a unit belongs to.
struct Stream {
    const ryxCodec &codec;
    int rate; // bits per second, one of the codec's
};

struct Format {
    ryxCodecFormat record;

    // Octets of the unit, or an error; `size` is at least 1.
    int (*read)(const Stream &stream, const uint8_t *src, int size, ryxCodecFrame *frames);
    // Octets of the unit, or an error. Nothing may be written before an error is known.
    int (*write)(const ryxCodec &codec, const ryxCodecFrame *frames, uint8_t *dst);
};

// A frame of which `count` octets are there, in good state.
inline void takeOctets(ryxCodecFrame &frame, const uint8_t *src, int count) {
    frame.count = count;
    frame.lost = 0;
    frame.marks = 0;
    for (int i = 0; i < count; i++)
        frame.octets[i] = src[i];
}

inline int giveOctets(const ryxCodecFrame &frame, uint8_t *dst) {
    for (int i = 0; i < frame.count; i++)
        dst[i] = frame.octets[i];
    return frame.count;
}

#define FORMAT(name) extern const Format name;
#include "storage/formats.def"
#undef FORMAT

} // namespace ryxcodec
