// SPDX-License-Identifier: BSD-2-Clause
// For every frame one octet that counts its octets, then these; 0 when nothing was sent. Takes any codec.
#include "storage/format.h"

namespace ryxcodec {

namespace {

int read(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    const int count = src[0];
    if (size < 1 + count) return ryxStsBadSize;
    takeOctets(*frames, src + 1, count);
    return 1 + count;
}

int write(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    dst[0] = static_cast<uint8_t>(frames->count);
    return 1 + giveOctets(*frames, dst + 1);
}

} // namespace

constinit const Format formatPackets = {
    {"packets", "a count of octets before every frame", "", 1, 256, ""}, read, write};

} // namespace ryxcodec
