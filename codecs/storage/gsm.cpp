// SPDX-License-Identifier: BSD-2-Clause
// Pairs of GSM full rate frames in 65 octets, as WAV files of format 0x31 hold them.
#include <cstring>

#include "gsmfr/frame.h"
#include "storage/format.h"

namespace ryxcodec {

namespace {

int read(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    if (size < gsmfr::pairOctets) return ryxStsBadSize;
    uint8_t pair[2 * gsmfr::frameOctets];
    gsmfr::unpackPair(src, pair);
    takeOctets(frames[0], pair, gsmfr::frameOctets);
    takeOctets(frames[1], pair + gsmfr::frameOctets, gsmfr::frameOctets);
    return gsmfr::pairOctets;
}

int write(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    if (frames[0].count != gsmfr::frameOctets || frames[1].count != gsmfr::frameOctets) return ryxStsBadSize;
    uint8_t pair[2 * gsmfr::frameOctets];
    giveOctets(frames[0], pair);
    giveOctets(frames[1], pair + gsmfr::frameOctets);
    gsmfr::packPair(pair, dst);
    return gsmfr::pairOctets;
}

} // namespace

constinit const Format formatWav49 = {
    {"wav49", "65 octets for two frames, in .wav files with a header", "gsm-fr ", 2, gsmfr::pairOctets, ""},
    read,
    write};

} // namespace ryxcodec
