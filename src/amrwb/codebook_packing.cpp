// SPDX-License-Identifier: BSD-2-Clause
// Each code for k pulses stands beside its inverse. `bits` is the width of a position, so a section has 2^bits of them;
// the halves of a section are told apart by the highest of these bits.
#include "amrwb/codebook_packing.h"

#include <algorithm>

namespace ryxsc::amrwb {

namespace {

constexpr int field(int index, int shift, int width) {
    return (index >> shift) & ((1 << width) - 1);
}
constexpr int position(int pulse, int bits) {
    return field(pulse, 0, bits);
}
constexpr int sign(int pulse) {
    return pulse / negativePulse;
}
constexpr int half(int pulse, int bits) {
    return field(pulse, bits - 1, 1);
}

using Values = const uint8_t *;

// Decoded pulses of a track, in any order.
class Track {
public:
    explicit Track(uint8_t *values) : next_(values) {}
    void put(int place, int isNegative) { *next_++ = static_cast<uint8_t>(place + isNegative * negativePulse); }

private:
    uint8_t *next_;
};

// One pulse, bits + 1 bits: position, sign.
constexpr int pack1(Values pulse, int bits) {
    return position(pulse[0], bits) | sign(pulse[0]) << bits;
}
void unpack1(int index, int bits, int offset, Track &track) {
    track.put(field(index, 0, bits) + offset, field(index, bits, 1));
}

// Two pulses, 2 * bits + 1 bits: the second position, the first, the sign of the first. The second has another sign when
// its position is the lower one.
constexpr int pack2(int pulse, int other, int bits) {
    const bool inOrder = position(pulse, bits) <= position(other, bits);
    if (inOrder == (sign(pulse) != sign(other))) std::swap(pulse, other);
    return position(other, bits) | position(pulse, bits) << bits | sign(pulse) << (2 * bits);
}
constexpr int pack2(Values pulses, int bits) {
    return pack2(pulses[0], pulses[1], bits);
}
void unpack2(int index, int bits, int offset, Track &track) {
    const int first = field(index, bits, bits), second = field(index, 0, bits), isNegative = field(index, 2 * bits, 1);
    track.put(first + offset, isNegative);
    track.put(second + offset, second < first ? 1 - isNegative : isNegative);
}

// Three or four pulses of a section: two that share a half, with a bit for it, then the rest in the whole section.
struct Paired {
    int pair; // 2 * bits bits
    uint8_t rest[2];
};
constexpr Paired pairUp(Values v, int bits) {
    const auto agree = [=](int i, int j) { return half(v[i], bits) == half(v[j], bits); };
    const auto pair = [=](int i, int j) { return pack2(v[i], v[j], bits - 1) | half(v[i], bits) << (2 * bits - 1); };
    if (agree(0, 1)) return {pair(0, 1), {v[2], v[3]}};
    if (agree(0, 2)) return {pair(0, 2), {v[1], v[3]}};
    return {pair(1, 2), {v[0], v[3]}};
}
void unpackPair(int index, int bits, int offset, Track &track) {
    unpack2(index, bits - 1, offset + (field(index, 2 * bits - 1, 1) << (bits - 1)), track);
}

// 3 * bits + 1 bits. The array has a fourth element, which does not count.
constexpr int pack3(Values pulses, int bits) {
    const Paired paired = pairUp(pulses, bits);
    return paired.pair | pack1(paired.rest, bits) << (2 * bits);
}
void unpack3(int index, int bits, int offset, Track &track) {
    unpackPair(index, bits, offset, track);
    unpack1(index >> (2 * bits), bits, offset, track);
}

// 4 * bits + 1 bits.
constexpr int pack4InSection(Values pulses, int bits) {
    const Paired paired = pairUp(pulses, bits);
    return paired.pair | pack2(paired.rest, bits) << (2 * bits);
}
void unpack4InSection(int index, int bits, int offset, Track &track) {
    unpackPair(index, bits, offset, track);
    unpack2(index >> (2 * bits), bits, offset, track);
}

// The pulses by halves of the section, in the order they came in. Room for the fourth element that pack3() reads.
struct Halves {
    int lowerCount = 0, upperCount = 0;
    uint8_t lower[mostPulsesPerTrack + 1] = {}, upper[mostPulsesPerTrack + 1] = {};

    constexpr Halves(Values pulses, int count, int bits) {
        for (int i = 0; i < count; i++) {
            if (half(pulses[i], bits))
                upper[upperCount++] = pulses[i];
            else
                lower[lowerCount++] = pulses[i];
        }
    }
};

// 4 * bits bits: how many of four pulses lie in the lower half, modulo 4; then one code for each half.
constexpr int pack4(Values pulses, int bits) {
    const Halves h(pulses, 4, bits);
    const int n = bits - 1, count = (h.lowerCount & 3) << (4 * bits - 2);
    switch (h.lowerCount) {
    case 0:
        return count | 1 << (4 * bits - 3) | pack4InSection(h.upper, n);
    case 1:
        return count | pack1(h.lower, n) << (3 * n + 1) | pack3(h.upper, n);
    case 2:
        return count | pack2(h.lower, n) << (2 * n + 1) | pack2(h.upper, n);
    case 3:
        return count | pack3(h.lower, n) << (n + 1) | pack1(h.upper, n);
    default:
        return count | pack4InSection(h.lower, n);
    }
}
void unpack4(int index, int bits, int offset, Track &track) {
    const int n = bits - 1, upper = offset + (1 << n);
    switch (field(index, 4 * bits - 2, 2)) {
    case 0:
        return unpack4InSection(index, n, field(index, 4 * bits - 3, 1) ? upper : offset, track);
    case 1:
        unpack1(index >> (3 * n + 1), n, offset, track);
        return unpack3(index, n, upper, track);
    case 2:
        unpack2(index >> (2 * n + 1), n, offset, track);
        return unpack2(index, n, upper, track);
    default:
        unpack3(index >> (n + 1), n, offset, track);
        return unpack1(index, n, upper, track);
    }
}

// 5 * bits bits: three pulses of the fuller half, with a bit for it; the rest in the whole section.
constexpr int pack5(Values pulses, int bits) {
    const Halves h(pulses, 5, bits);
    const bool isUpper = h.lowerCount < 3;
    const uint8_t *const fuller = isUpper ? h.upper : h.lower, *const other = isUpper ? h.lower : h.upper;
    const int more = std::max(h.lowerCount, h.upperCount) - 3; // 0..2
    const int first = more > 0 ? fuller[3] : other[0], second = more > 1 ? fuller[4] : other[1 - more];
    return int{isUpper} << (5 * bits - 1) | pack3(fuller, bits - 1) << (2 * bits + 1) | pack2(first, second, bits);
}
void unpack5(int index, int bits, int offset, Track &track) {
    const int n = bits - 1;
    unpack3(index >> (2 * bits + 1), n, offset + (field(index, 5 * bits - 1, 1) << n), track);
    unpack2(index, bits, offset, track);
}

// 6 * bits - 2 bits: how many of six pulses the emptier half has, but 0 also for one of the six in the same half; which
// half is the fuller one; the codes of both.
constexpr int pack6(Values pulses, int bits) {
    const Halves h(pulses, 6, bits);
    const int n = bits - 1, fewer = std::min(h.lowerCount, h.upperCount), count = fewer << (6 * bits - 4);
    if (fewer == 3) return count | pack3(h.lower, n) << (3 * n + 1) | pack3(h.upper, n);
    const bool isUpper = h.lowerCount < 3;
    const uint8_t *const fuller = isUpper ? h.upper : h.lower, *const other = isUpper ? h.lower : h.upper;
    const int head = count | int{isUpper} << (6 * bits - 5);
    if (fewer == 2) return head | pack4(fuller, n) << (2 * n + 1) | pack2(other, n);
    return head | pack5(fuller, n) << bits | pack1(fewer == 1 ? other : fuller + 5, n);
}
void unpack6(int index, int bits, int offset, Track &track) {
    const int n = bits - 1, upper = offset + (1 << n);
    const bool isUpper = field(index, 6 * bits - 5, 1);
    const int fuller = isUpper ? upper : offset, other = isUpper ? offset : upper;
    switch (field(index, 6 * bits - 4, 2)) {
    case 0:
        unpack5(index >> bits, n, fuller, track);
        return unpack1(index, n, fuller, track);
    case 1:
        unpack5(index >> bits, n, fuller, track);
        return unpack1(index, n, other, track);
    case 2:
        unpack4(index >> (2 * n + 1), n, fuller, track);
        return unpack2(index, n, other, track);
    default:
        unpack3(index >> (3 * n + 1), n, offset, track);
        return unpack3(index, n, upper, track);
    }
}

constexpr int bits = 4; // of a position in a track

int pack(Values pulses, int count) {
    switch (count) {
    case 1:
        return pack1(pulses, bits);
    case 2:
        return pack2(pulses, bits);
    case 3:
        return pack3(pulses, bits);
    case 4:
        return pack4(pulses, bits);
    case 5:
        return pack5(pulses, bits);
    default:
        return pack6(pulses, bits);
    }
}

void unpack(int index, int count, Track track) {
    switch (count) {
    case 1:
        return unpack1(index, bits, 0, track);
    case 2:
        return unpack2(index, bits, 0, track);
    case 3:
        return unpack3(index, bits, 0, track);
    case 4:
        return unpack4(index, bits, 0, track);
    case 5:
        return unpack5(index, bits, 0, track);
    default:
        return unpack6(index, bits, 0, track);
    }
}

// From four pulses on an index takes two words, the upper one four words in front of the lower one. Width of the latter.
constexpr int lowerWidth(int count) {
    return count < 4 ? 0 : count == 4 ? 14 : count == 5 ? 10 : 11;
}

} // namespace

void packPulses(const Codebook &codebook, const TrackPulses &pulses, int16_t *words) {
    for (int t = 0; t < tracks; t++) {
        const int count = codebook.pulsesPerTrack[static_cast<size_t>(t)], width = lowerWidth(count);
        const int index = pack(pulses.values[t], count);
        words[t] = static_cast<int16_t>(index >> width);
        if (width > 0) words[t + tracks] = static_cast<int16_t>(field(index, 0, width));
    }
}

void unpackPulses(const Codebook &codebook, const int16_t *words, TrackPulses &pulses) {
    for (int t = 0; t < tracks; t++) {
        const int count = codebook.pulsesPerTrack[static_cast<size_t>(t)], width = lowerWidth(count);
        const int index = width > 0 ? words[t] * (1 << width) + words[t + tracks] : words[t];
        unpack(index, count, Track(pulses.values[t]));
    }
}

} // namespace ryxsc::amrwb
