// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/codebook.h"

#include <algorithm>
#include <utility>

namespace ryxsc::gsmamr {

namespace {

// Whether a first pulse on this track belongs to the second track set, by subframe.
constexpr bool isInSecondSet[subframesPerFrame][5] = {
    {0, 1, 0, 1, 1},
    {0, 1, 1, 0, 1},
    {0, 1, 0, 1, 1},
    {0, 1, 1, 0, 1},
};

// Gray code of a position index, and back.
constexpr int grayOf[8] = {0, 1, 3, 2, 6, 4, 5, 7};
constexpr int indexOfGray[8] = {0, 1, 3, 2, 5, 6, 4, 7};

// The words are sums: a track that holds two pulses, which only silence brings about, adds them up.
class TwoWords {
public:
    void add(int positionBits, bool negative, int signBit) {
        positions_ += positionBits;
        signs_ += negative ? 0 : signBit;
    }
    void write(int16_t *codeword) const {
        codeword[0] = static_cast<int16_t>(positions_);
        codeword[1] = static_cast<int16_t>(signs_);
    }

private:
    int positions_ = 0, signs_ = 0;
};

TwoWords pack9Bits(int subframe, const Pulses &pulses) {
    TwoWords words;
    const int set = isInSecondSet[subframe][pulses.position[0] % 5] ? 64 : 0;
    words.add(pulses.position[0] / 5 + set, pulses.negative[0], 1);
    words.add(pulses.position[1] / 5 * 8, pulses.negative[1], 2);
    return words;
}

TwoWords pack11Bits(const Pulses &pulses) {
    constexpr int secondTrack[5] = {0, 1, 2, 0, 3};
    TwoWords words;
    for (int k = 0; k < 2; k++) {
        const int index = pulses.position[k] / 5, track = pulses.position[k] % 5;
        if (track == 3 || (track == 1 && k == 0))
            words.add(2 * index + (track == 3), pulses.negative[k], 1);
        else
            words.add(64 * index + 16 * secondTrack[track], pulses.negative[k], 2);
    }
    return words;
}

TwoWords pack14Bits(const Pulses &pulses) {
    constexpr int weight[5] = {1, 16, 256, 16, 256}, offset[5] = {0, 0, 0, 8, 128}, sign[5] = {1, 2, 4, 2, 4};
    TwoWords words;
    for (int k = 0; k < 3; k++) {
        const int track = pulses.position[k] % 5;
        words.add(pulses.position[k] / 5 * weight[track] + offset[track], pulses.negative[k], sign[track]);
    }
    return words;
}

TwoWords pack17Bits(const Pulses &pulses) {
    constexpr int weight[5] = {1, 8, 64, 1024, 1024}, offset[5] = {0, 0, 0, 0, 512}, sign[5] = {1, 2, 4, 8, 8};
    TwoWords words;
    for (int k = 0; k < 4; k++) {
        const int track = pulses.position[k] % 5;
        words.add(grayOf[pulses.position[k] / 5] * weight[track] + offset[track], pulses.negative[k], sign[track]);
    }
    return words;
}

// The two pulses of each track, so ordered that the sign of the second follows from that of the first: it is the same
// where the second does not lie in front of the first. Without branches, which nothing could predict.
template <int tracks> class TrackPairs {
public:
    explicit TrackPairs(const Pulses &pulses) {
        int found[tracks] = {};
        for (int k = 0; k < 2 * tracks; k++) {
            const int track = pulses.position[k] % tracks;
            pulses_[track][found[track]++] = pulses.position[k] / tracks + (pulses.negative[k] ? sign : 0);
        }
        for (auto &[earlier, later] : pulses_) {
            const int difference = earlier ^ later;
            const bool sameSign = (difference & sign) == 0, isInFront = (later & ~sign) < (earlier & ~sign);
            const int exchange = sameSign == isInFront ? difference : 0;
            earlier ^= exchange;
            later ^= exchange;
        }
    }

    int first(int track) const { return pulses_[track][0] & ~sign; }
    int second(int track) const { return pulses_[track][1] & ~sign; }
    bool isNegative(int track) const { return (pulses_[track][0] & sign) != 0; }

private:
    static constexpr int sign = 16; // beside the index of the position

    int pulses_[tracks][2];
};

int packThree(int a, int b, int c) {
    return 8 * (a / 2 + 5 * (b / 2) + 25 * (c / 2)) + a % 2 + 2 * (b % 2) + 4 * (c % 2);
}

// Two pulses of ten positions in seven bits: the halves of the positions, a snake through 25 cells, in 32 steps.
int packTwo(int a, int b) {
    const int row = b / 2, column = row % 2 == 0 ? a / 2 : 4 - a / 2;
    return 4 * ((32 * (column + 5 * row) + 12) / 25) + a % 2 + 2 * (b % 2);
}

void pack31Bits(const Pulses &pulses, int16_t *codeword) {
    const TrackPairs<4> pairs(pulses);
    for (int track = 0; track < 4; track++)
        codeword[track] = pairs.isNegative(track);
    codeword[4] = static_cast<int16_t>(packThree(pairs.first(0), pairs.second(0), pairs.first(1)));
    codeword[5] = static_cast<int16_t>(packThree(pairs.first(2), pairs.second(2), pairs.second(1)));
    codeword[6] = static_cast<int16_t>(packTwo(pairs.first(3), pairs.second(3)));
}

void pack35Bits(const Pulses &pulses, int16_t *codeword) {
    const TrackPairs<5> pairs(pulses);
    for (int track = 0; track < 5; track++) {
        codeword[track] = static_cast<int16_t>(grayOf[pairs.first(track)] + (pairs.isNegative(track) ? 8 : 0));
        codeword[track + 5] = static_cast<int16_t>(grayOf[pairs.second(track)]);
    }
}

// Appends pulses to an empty set.
class Collector {
public:
    void add(int position, bool negative) {
        pulses_.position[pulses_.count] = position;
        pulses_.negative[pulses_.count++] = negative;
    }
    // Two pulses of a track with `step` positions to the next track's first.
    void addPair(int track, int step, int first, int second, bool negative) {
        add(first * step + track, negative);
        add(second * step + track, negative != (second < first));
    }
    operator Pulses() const { return pulses_; }

private:
    Pulses pulses_ = {};
};

Pulses unpack9Bits(int subframe, int positions, int signs) {
    const auto &tracks = trackPairs9Bits[static_cast<size_t>((positions >> 6) & 1)][static_cast<size_t>(subframe)];
    Collector pulses;
    pulses.add(tracks[0] + 5 * (positions & 7), (signs & 1) == 0);
    pulses.add(tracks[1] + 5 * ((positions >> 3) & 7), (signs & 2) == 0);
    return pulses;
}

Pulses unpack11Bits(int positions, int signs) {
    constexpr int secondTrack[4] = {0, 1, 2, 4};
    Collector pulses;
    pulses.add(5 * ((positions >> 1) & 7) + 1 + 2 * (positions & 1), (signs & 1) == 0);
    pulses.add(5 * ((positions >> 6) & 7) + secondTrack[(positions >> 4) & 3], (signs & 2) == 0);
    return pulses;
}

Pulses unpack14Bits(int positions, int signs) {
    Collector pulses;
    pulses.add(5 * (positions & 7), (signs & 1) == 0);
    pulses.add(5 * ((positions >> 4) & 7) + (positions & 8 ? 3 : 1), (signs & 2) == 0);
    pulses.add(5 * ((positions >> 8) & 7) + (positions & 128 ? 4 : 2), (signs & 4) == 0);
    return pulses;
}

Pulses unpack17Bits(int positions, int signs) {
    Collector pulses;
    for (int track = 0; track < 3; track++)
        pulses.add(5 * indexOfGray[(positions >> (3 * track)) & 7] + track, ((signs >> track) & 1) == 0);
    pulses.add(5 * indexOfGray[(positions >> 10) & 7] + (positions & 512 ? 4 : 3), (signs & 8) == 0);
    return pulses;
}

struct ThreeIndices {
    int a, b, c;
};

// As an unsigned word, so that whatever does not fit ten bits is limited like a tenth bit too many.
ThreeIndices unpackThree(int16_t word) {
    const int most = std::min(static_cast<uint16_t>(word) >> 3, 124);
    const int high = most / 25, rest = most % 25;
    return {2 * (rest % 5) + (word & 1), 2 * (rest / 5) + ((word >> 1) & 1), 2 * high + ((word >> 2) & 1)};
}

Pulses unpack31Bits(const int16_t *codeword) {
    const ThreeIndices left = unpackThree(codeword[4]), right = unpackThree(codeword[5]);
    const int cell = (25 * ((codeword[6] & 127) >> 2) + 12) >> 5, row = cell / 5;
    const int column = row % 2 == 0 ? cell % 5 : 4 - cell % 5;
    const int last[2] = {2 * column + (codeword[6] & 1), 2 * row + ((codeword[6] >> 1) & 1)};
    Collector pulses;
    pulses.addPair(0, 4, left.a, left.b, codeword[0] != 0);
    pulses.addPair(1, 4, left.c, right.c, codeword[1] != 0);
    pulses.addPair(2, 4, right.a, right.b, codeword[2] != 0);
    pulses.addPair(3, 4, last[0], last[1], codeword[3] != 0);
    return pulses;
}

Pulses unpack35Bits(const int16_t *codeword) {
    Collector pulses;
    for (int track = 0; track < 5; track++) {
        const int first = indexOfGray[codeword[track] & 7], second = indexOfGray[codeword[track + 5] & 7];
        pulses.addPair(track, 5, first, second, (codeword[track] & 8) != 0);
    }
    return pulses;
}

} // namespace

void pack(Codebook codebook, int subframe, const Pulses &pulses, int16_t *codeword) {
    switch (codebook) {
    case Codebook::twoPulses9Bits:
        return pack9Bits(subframe, pulses).write(codeword);
    case Codebook::twoPulses11Bits:
        return pack11Bits(pulses).write(codeword);
    case Codebook::threePulses:
        return pack14Bits(pulses).write(codeword);
    case Codebook::fourPulses:
        return pack17Bits(pulses).write(codeword);
    case Codebook::eightPulses:
        return pack31Bits(pulses, codeword);
    default:
        return pack35Bits(pulses, codeword);
    }
}

Pulses unpack(Codebook codebook, int subframe, const int16_t *codeword) {
    switch (codebook) {
    case Codebook::twoPulses9Bits:
        return unpack9Bits(subframe, codeword[0], codeword[1]);
    case Codebook::twoPulses11Bits:
        return unpack11Bits(codeword[0], codeword[1]);
    case Codebook::threePulses:
        return unpack14Bits(codeword[0], codeword[1]);
    case Codebook::fourPulses:
        return unpack17Bits(codeword[0], codeword[1]);
    case Codebook::eightPulses:
        return unpack31Bits(codeword);
    default:
        return unpack35Bits(codeword);
    }
}

void place(Codebook codebook, const Pulses &pulses, int16_t *code) {
    const bool eight = codebook == Codebook::eightPulses, ten = codebook == Codebook::tenPulses;
    const int16_t positive = ten ? 4096 : 8191, negative = ten ? -4096 : eight ? -8191 : -8192;
    std::fill_n(code, subframeLength, int16_t{0});
    for (int k = 0; k < pulses.count; k++) {
        int16_t &sample = code[pulses.position[k]];
        sample = static_cast<int16_t>(sample + (pulses.negative[k] ? negative : positive));
    }
}

void replaceDouble(Codebook codebook, const Pulses &pulses, int16_t *code) {
    if (codebook == Codebook::twoPulses11Bits && pulses.position[0] == pulses.position[1])
        code[pulses.position[1]] = pulses.negative[1] ? -8192 : 8191;
}

} // namespace ryxsc::gsmamr
