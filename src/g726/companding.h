// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.711 octets as ITU-T G.726 uses them, for 14-bit linear values.
//
// The synchronous coding adjustment moves octets along the line of all 256 values. A rank is the place on that line: 0 is
// the most negative octet, 255 the most positive, 127 and 128 are the two around zero. Octets as sign and magnitude, with their
// inversion undone, have the top bit for positive values and magnitudes that grow with the lower seven bits; ranks are the
// same with the magnitudes of negative values inverted.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/fixed_point.h"

namespace ryxsc::g726 {

// Signs are as good as random here, so they act through masks instead of branches.

constexpr int positive = 0x80; // in an octet as sign and magnitude

// -1 for an octet of a negative value.
constexpr int signMaskOf(int signMagnitude) {
    return ((signMagnitude & positive) >> 7) - 1;
}

// From sign and magnitude to rank and back.
constexpr int ranked(int code) {
    return code ^ (signMaskOf(code) & 0x7f);
}

constexpr int clamp14(int x) {
    return std::clamp(x, -8192, 8191);
}

struct ALaw {
    static constexpr int inversion = 0x55; // even bits

    // Octet of a reconstructed signal. -32768, which only an overflow leaves, counts as -2.
    static constexpr int compress(int sr) {
        const int value = 4 * clamp14(sr == min16 ? -2 : sr);
        const int signMask = value >> 31;
        const int magnitude = (value ^ signMask) >> 4;
        const int segment = floorLog2(static_cast<uint32_t>(magnitude | 8)) - 3;
        const int step = (magnitude >> (segment - (segment > 0))) & 15;
        return (segment << 4 | step | (~signMask & positive)) ^ inversion;
    }

    // -8064 .. 8064
    static constexpr int expand(int octet) {
        const int code = octet ^ inversion;
        const int segment = (code >> 4) & 7;
        const int inLaterSegment = segment > 0;
        const int magnitude = (2 * (code & 15) + 1 + 32 * inLaterSegment) << (segment + 1 - inLaterSegment);
        return negateWhere(signMaskOf(code), magnitude);
    }

    // The neighbour in the direction of move (-1, 0, 1). The ends stay.
    static constexpr int stepped(int octet, int move) {
        return ranked(std::clamp(ranked(octet ^ inversion) + move, 0, 255)) ^ inversion;
    }
};

struct MuLaw {
    static constexpr int inversion = 0x7f; // magnitude bits

    // Octet of a reconstructed signal. -32768, which only an overflow leaves, counts as 0. The result is never 127, the
    // negative zero.
    static constexpr int compress(int sr) {
        const int scaled = 4 * clamp14(sr == min16 ? 0 : sr);
        const int value = scaled - (scaled < 0 && scaled != min16);
        const int signMask = value >> 31;
        const int magnitude = std::min(((value ^ signMask) >> 2) + 33, 8191);
        const int segment = floorLog2(static_cast<uint32_t>(magnitude)) - 5;
        const int step = (magnitude >> (segment + 1)) & 15;
        return (segment << 4 | step | (~signMask & positive)) ^ inversion;
    }

    // -8031 .. 8031
    static constexpr int expand(int octet) {
        const int code = octet ^ inversion;
        const int magnitude = ((2 * (code & 15) + 33) << ((code >> 4) & 7)) - 33;
        return negateWhere(signMaskOf(code), magnitude);
    }

    // The neighbour in the direction of move. Up from the smallest negative octet comes the negative zero; down from the
    // positive zero it is passed over.
    static constexpr int stepped(int octet, int move) {
        const int rank = ranked(octet ^ inversion);
        const int overZero = (rank == 128) & (move < 0);
        return ranked(std::clamp(rank + move - overZero, 0, 255)) ^ inversion;
    }
};

} // namespace ryxsc::g726
