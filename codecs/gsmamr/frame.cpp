// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/frame.h"

#include <algorithm>
#include <cstring>

#include "bit_order.h"

namespace ryxcodec::gsmamr {

namespace {

constexpr int mostBits = 244;
constexpr int sidFrameBits = 35 + 4; // behind the parameters whether it is an update, and the mode
constexpr int typeNoData = 15;

// Octets behind the header of frames that are no data to this codec: silence descriptors of other systems, and nothing.
constexpr int foreignOctets(int type) {
    return type == typeNoData ? 0 : type == 9 ? 6 : type == 10 || type == 11 ? 5 : -1;
}

constexpr uint8_t headerOf(int type) {
    return static_cast<uint8_t>(type << 3 | 4);
}
constexpr int octetsOf(int bits) {
    return 1 + (bits + 7) / 8;
}

// Room for whole octets, and for what is read behind the last one.
constexpr int mostOctets = (mostBits + 7) / 8 + FieldReader::beyond;

void putBits(const int16_t *parameters, const Mode &mode, uint8_t *frame) {
    uint8_t octets[mostOctets], bits[8 * mostOctets], sent[8 * mostOctets];
    FieldWriter fields(octets);
    for (int i = 0; i < mode.parameters; i++)
        fields.put(static_cast<uint16_t>(parameters[i]), mode.widths[i]);
    fields.finish();
    const int count = (mode.bits + 7) / 8;
    spread(octets, count, bits);
    std::memset(sent + 8 * (count - 1), 0, 8);
#pragma GCC unroll 8
    for (int k = 0; k < mode.bits; k++)
        sent[k] = bits[mode.order[k]];
    gather(sent, count, frame + 1);
}

uint8_t bitAt(const uint8_t *frame, int k) {
    return static_cast<uint8_t>(frame[1 + k / 8] >> (7 - k % 8) & 1);
}

void getBits(const uint8_t *frame, const Mode &mode, int16_t *parameters) {
    uint8_t sent[8 * mostOctets], bits[8 * mostOctets], octets[mostOctets];
    const int count = (mode.bits + 7) / 8;
    spread(frame + 1, count, sent);
    std::memset(bits + 8 * (count - 1), 0, 8);
#pragma GCC unroll 8
    for (int k = 0; k < mode.bits; k++)
        bits[mode.order[k]] = sent[k];
    gather(bits, count, octets);
    std::memset(octets + count, 0, FieldReader::beyond);
    FieldReader fields(octets);
    for (int i = 0; i < mode.parameters; i++)
        parameters[i] = static_cast<int16_t>(fields.get(mode.widths[i]));
}

} // namespace

int packSpeech(const int16_t *parameters, int mode, uint8_t *frame) {
    const int octets = octetsOf(modes[mode].bits);
    std::memset(frame, 0, static_cast<size_t>(octets));
    frame[0] = headerOf(mode);
    putBits(parameters, modes[mode], frame);
    return octets;
}

// The mode's lowest bit comes first.
int packSid(const int16_t *parameters, bool isUpdate, int mode, uint8_t *frame) {
    const int octets = octetsOf(sidFrameBits);
    std::memset(frame, 0, static_cast<size_t>(octets));
    frame[0] = headerOf(sidMode);
    putBits(parameters, modes[sidMode], frame);
    const int tail = int{isUpdate} << 4 | (mode & 1) << 3 | (mode & 2) << 1 | (mode & 4) >> 1;
    frame[octets - 1] = static_cast<uint8_t>(frame[octets - 1] | tail);
    return octets;
}

ryxStatus unpack(const ReceivedFrame &frame, Received &received) {
    received.type = frame.has(ryxFrameOnset) ? ryxGSMAMROnset : ryxGSMAMRNoData;
    received.mode = -1;
    std::fill_n(received.parameters, sidParameters, int16_t{0});
    if (frame.lost() || frame.count == 0) return ryxStsOk;
    const int type = frame.octets[0] >> 3 & 15;
    const bool bad = (frame.octets[0] & 4) == 0 || frame.has(ryxFrameBad);
    if (const int octets = foreignOctets(type); octets >= 0)
        return frame.count == 1 + octets ? ryxStsOk : ryxStsBadSize;
    if (type > sidMode) return ryxStsBadIndex;
    if (frame.count != octetsOf(type == sidMode ? sidFrameBits : modes[type].bits)) return ryxStsBadSize;
    getBits(frame.octets, modes[type], received.parameters);
    if (type == sidMode) {
        const auto bit = [&](int k) { return bitAt(frame.octets, k); };
        received.type = bad ? ryxGSMAMRSidBad : bit(35) != 0 ? ryxGSMAMRSidUpdate : ryxGSMAMRSidFirst;
        received.mode = bit(36) | bit(37) << 1 | bit(38) << 2;
        return ryxStsOk;
    }
    received.mode = type;
    if (!frame.has(ryxFrameOnset))
        received.type = bad                           ? ryxGSMAMRSpeechBad
                        : frame.has(ryxFrameDegraded) ? ryxGSMAMRSpeechDegraded
                                                      : ryxGSMAMRSpeechGood;
    return ryxStsOk;
}

bool isHomingFrame(const int16_t *parameters, int mode, bool whole) {
    const Mode &of = modes[mode];
    return std::equal(of.homing, of.homing + (whole ? of.parameters : of.homingParameters), parameters);
}

} // namespace ryxcodec::gsmamr
