// SPDX-License-Identifier: BSD-2-Clause
#include <cstring>

#include "frame.h"

namespace ryxcodec::amrwb {

namespace {

// Types in the header octet: 0 to 8 are the speech modes.
constexpr int typeSid = 9, typeLost = 14, typeNoData = 15;

constexpr uint8_t headerOf(int type) {
    return static_cast<uint8_t>(type << 3 | 4);
}
constexpr int wholeOctets(int bits) {
    return (bits + 7) / 8 * 8;
}
constexpr int octetsOf(int bits) {
    return 1 + wholeOctets(bits) / 8;
}

constexpr int sidFrameBits = sidBits + 5; // type and mode follow

// Bits that no homing test looks at: the high-band gains, and one more.
constexpr bool isIgnored(const Mode &mode, int bit) {
    return mode.hasHighBandGain() &&
           ((bit >= 152 && bit <= 155) || (bit >= 257 && bit <= 261) || (bit >= 367 && bit <= 370) || bit > 472);
}

} // namespace

int packSpeech(const ParameterBits &bits, int mode, uint8_t *frame) {
    const Mode &format = modes[mode];
    uint8_t sent[wholeOctets(mostBits)] = {};
    for (int k = 0; k < format.bits; k++)
        sent[k] = bits.values[format.order[k]];
    frame[0] = headerOf(mode);
    gather(sent, wholeOctets(format.bits) / 8, frame + 1);
    return octetsOf(format.bits);
}

int packSid(const ParameterBits &bits, bool isUpdate, int mode, uint8_t *frame) {
    const int octets = octetsOf(sidFrameBits);
    std::memset(frame, 0, static_cast<size_t>(octets));
    frame[0] = headerOf(typeSid);
    if (isUpdate)
        for (int k = 0; k < sidBits; k++)
            frame[1 + k / 8] = static_cast<uint8_t>(frame[1 + k / 8] | bits.values[k] << (7 - k % 8));
    frame[octets - 1] = static_cast<uint8_t>(frame[octets - 1] | int{isUpdate} << 4 | mode);
    return octets;
}

ryxStatus unpack(const ReceivedFrame &frame, ParameterBits &bits, Unpacked &unpacked) {
    unpacked = {frame.lost() ? speechLost : noData, -1};
    if (frame.lost() || frame.count == 0) return ryxStsOk;
    const int type = frame.octets[0] >> 3 & 15;
    const bool isBad = (frame.octets[0] & 4) == 0 || frame.has(ryxFrameBad);
    const auto bit = [&](int k) { return static_cast<uint8_t>(frame.octets[1 + k / 8] >> (7 - k % 8) & 1); };
    if (type < speechModes) {
        const Mode &format = modes[type];
        if (frame.count != octetsOf(format.bits)) return ryxStsBadSize;
        uint8_t sent[wholeOctets(mostBits)];
        spread(frame.octets + 1, wholeOctets(format.bits) / 8, sent);
        for (int k = 0; k < format.bits; k++)
            bits.values[format.order[k]] = sent[k];
        unpacked = {isBad ? speechBad : frame.has(ryxFrameDegraded) ? speechDegraded : speechGood, type};
    } else if (type == typeSid) {
        if (frame.count != octetsOf(sidFrameBits)) return ryxStsBadSize;
        for (int k = 0; k < sidBits; k++)
            bits.values[k] = bit(k);
        unpacked.type = isBad ? sidBad : bit(sidBits) != 0 ? sidUpdate : sidFirst;
    } else {
        if (type != typeLost && type != typeNoData) return ryxStsBadIndex;
        if (frame.count != 1) return ryxStsBadSize;
        unpacked.type = type == typeLost ? speechLost : noData;
    }
    return ryxStsOk;
}

bool isHomingFrame(const ParameterBits &bits, int mode, bool isWhole) {
    const Mode &format = modes[mode];
    const int count = isWhole ? format.bits : format.homingBits;
    for (int k = 0; k < count; k++) {
        const int wanted = format.homing[k / 15] >> (14 - k % 15) & 1;
        if (bits.values[k] != wanted && !isIgnored(format, k)) return false;
    }
    return true;
}

} // namespace ryxcodec::amrwb
