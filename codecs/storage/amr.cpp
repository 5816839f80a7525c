// SPDX-License-Identifier: BSD-2-Clause
// Storage formats of AMR and AMR-WB (RFC 4867): a magic line, then for every frame its table-of-contents octet and the
// octets of that frame type. A frame is these octets as they stand; no data is a frame of which nothing was sent.
#include "storage/format.h"

namespace ryxcodec {

namespace {

constexpr int noData = 15;
constexpr uint8_t noDataOctet = noData << 3 | 4;

// Octets behind the table-of-contents octet. Of the other systems' silence descriptors only the length counts here.
constexpr int narrowbandOctets[16] = {12, 13, 15, 17, 19, 20, 26, 31, 5, 6, 5, 5, 0, 0, 0, 0};
constexpr int widebandOctets[16] = {17, 23, 32, 36, 40, 46, 50, 58, 60, 5, 0, 0, 0, 0, 0, 0};

// Reserved types count as no data (3GPP TS 26.073, TS 26.173), as nothing tells what they will be.
constexpr bool isReserved(const int (&octets)[16], int type) {
    return &octets == &narrowbandOctets ? type >= 12 && type <= 14 : type >= 10 && type <= 13;
}

template <const int (&octets)[16]> int read(const Stream &, const uint8_t *src, int size, ryxCodecFrame *frames) {
    const int type = src[0] >> 3 & 15, length = 1 + octets[type];
    if (size < length) return ryxStsBadSize;
    takeOctets(*frames, src, length);
    if (type == noData || isReserved(octets, type)) frames->count = 0;
    return length;
}

template <const int (&octets)[16]> int write(const ryxCodec &, const ryxCodecFrame *frames, uint8_t *dst) {
    const ryxCodecFrame &frame = *frames;
    if (frame.count == 0 || frame.lost) {
        dst[0] = noDataOctet;
        return 1;
    }
    if (frame.count != 1 + octets[frame.octets[0] >> 3 & 15]) return ryxStsBadSize;
    return giveOctets(frame, dst);
}

} // namespace

constinit const Format formatAmr = {{"amr", "AMR storage format (RFC 4867)", "gsm-amr ", 1, 32, "#!AMR\n"},
                                    read<narrowbandOctets>,
                                    write<narrowbandOctets>};
constinit const Format formatAwb = {{"awb", "AMR-WB storage format (RFC 4867)", "amr-wb ", 1, 61, "#!AMR-WB\n"},
                                    read<widebandOctets>,
                                    write<widebandOctets>};

} // namespace ryxcodec
