// SPDX-License-Identifier: BSD-2-Clause
// Frames one after the other with nothing around them. Their length follows from the rate, or from the first octet.
#include "storage/format.h"

namespace ryxcodec {

namespace {

int frameOctets(const ryxCodec &codec, int rate) {
    const int bits = static_cast<int>(int64_t{rate} * codec.frameLength / codec.sampleRate);
    return (bits + 7) / 8;
}

int readOfLength(int octets, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < octets) return ryxStsBadSize;
    takeOctets(*frames, src, octets);
    return octets;
}

int readByRate(const Stream &stream, const uint8_t *src, int size, ryxCodecFrame *frames) {
    return readOfLength(frameOctets(stream.codec, stream.rate), src, size, frames);
}

// Lower rates leave bits of the octets free.
int readLargest(const Stream &stream, const uint8_t *src, int size, ryxCodecFrame *frames) {
    return readOfLength(stream.codec.largestFrame, src, size, frames);
}

// The two lowest bits: 6.3 kbit/s, 5.3 kbit/s, silence descriptor, nothing.
int readG723(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    constexpr int octets[] = {24, 20, 4, 1};
    return readOfLength(octets[src[0] & 3], src, size, frames);
}

int write(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    return frames->count == 0 ? int{ryxStsBadSize} : giveOctets(*frames, dst);
}

// A decoder cannot tell frames of different lengths apart.
int writeG729(const ryxCodec &codec, const ryxCodecFrame *frames, uint8_t *dst) {
    return frames->count < 8 ? int{ryxStsBadSize} : write(codec, frames, dst);
}

} // namespace

constinit const Format formatG722 = {{"g722", "octets of two samples", "g722 ", 1, 80, ""}, readLargest, write};
constinit const Format formatG726 = {
    {"g726", "codes without gaps (RFC 3551, or ITU-T I.366.2)", "g726 ", 1, 100, ""}, readByRate, write};
constinit const Format formatGsm = {{"gsm", "33 octets a frame (RFC 3551)", "gsm-fr ", 1, 33, ""}, readByRate, write};
constinit const Format formatG723 = {
    {"g723", "24, 20, 4 or 1 octets a frame (RFC 3551)", "g723 ", 1, 24, ""}, readG723, write};
constinit const Format formatG728 = {
    {"g728", "5 octets for four vectors (RFC 3551)", "g728 ", 1, 5, ""}, readByRate, write};
constinit const Format formatG729 = {
    {"g729", "10 octets a frame, 8 or 15 at the other rates (RFC 3551)", "g729 g729a ", 1, 15, ""},
    readByRate,
    writeG729};
constinit const Format formatG7221 = {
    {"g7221", "60, 80 or 120 octets a frame (RFC 5577)", "g7221 g7221c ", 1, 120, ""}, readByRate, write};

} // namespace ryxcodec
