// SPDX-License-Identifier: BSD-2-Clause
// The algebraic codebooks of GSM-AMR (3GPP TS 26.090, clause 5.7): which rate uses which, their tracks, their codewords.
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::gsmamr {

inline constexpr int subframeLength = 40;
inline constexpr int subframesPerFrame = 4;

enum class Codebook { twoPulses9Bits, twoPulses11Bits, threePulses, fourPulses, eightPulses, tenPulses, none };

constexpr Codebook codebookOf(int rate) {
    switch (rate) {
    case 0:
    case 1:
        return Codebook::twoPulses9Bits;
    case 3:
        return Codebook::twoPulses11Bits;
    case 6:
        return Codebook::threePulses;
    case 7:
    case 8:
        return Codebook::fourPulses;
    case 11:
        return Codebook::eightPulses;
    case 12:
    case 25:
        return Codebook::tenPulses; // silence-descriptor frames, deliberately
    default:
        return Codebook::none;
    }
}

// A subframe number outside 0..3.
constexpr bool isNoSubframe(int16_t subframe) {
    return subframe < 0 || subframe >= subframesPerFrame;
}

// Tracks of the two pulses of 9 bits: [track set][subframe][pulse].
inline constexpr std::array<std::array<std::array<uint8_t, 2>, subframesPerFrame>, 2> trackPairs9Bits = {{
    {{{0, 2}, {0, 3}, {0, 2}, {0, 3}}},
    {{{1, 3}, {2, 4}, {1, 4}, {1, 4}}},
}};

inline constexpr int maxPulses = 10;

// In the order in which the search stores them.
struct Pulses {
    int count;
    int position[maxPulses];
    bool negative[maxPulses];
};

// Writes the words of the codebook: two, seven for eight pulses, ten for ten.
void pack(Codebook codebook, int subframe, const Pulses &pulses, int16_t *codeword);

// The pulses of a codeword. Every position lies in the subframe, whatever the words.
Pulses unpack(Codebook codebook, int subframe, const int16_t *codeword);

// Adds the pulses to an empty code vector.
void place(Codebook codebook, const Pulses &pulses, int16_t *code);

// 3GPP TS 26.073 stores the pulses of 5.90 kbit/s one after the other instead of adding them: where both are on one position,
// the second one stays.
void replaceDouble(Codebook codebook, const Pulses &pulses, int16_t *code);

} // namespace ryxsc::gsmamr
