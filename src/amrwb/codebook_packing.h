// SPDX-License-Identifier: BSD-2-Clause
// Index words of the algebraic codebooks (3GPP TS 26.190, clause 5.8.2; TS 26.173: q_pulse).
#pragma once

#include <cstdint>

#include "amrwb/codebook_tables.h"

namespace ryxsc::amrwb {

// A pulse in its track: the index of its position, with the sign in a bit above it, set for a negative pulse.
inline constexpr int negativePulse = trackLength;

// The pulses of each track, in the order in which they were placed.
struct TrackPulses {
    uint8_t values[tracks][mostPulsesPerTrack];
};

void packPulses(const Codebook &codebook, const TrackPulses &pulses, int16_t *words);
// Takes every bit pattern: a field is masked where it is read.
void unpackPulses(const Codebook &codebook, const int16_t *words, TrackPulses &pulses);

// The codebook of 12 bits: a pulse on the even positions and one on the odd ones, with indices of five bits.
inline constexpr int negativeHalfPulse = positions / 2;
struct EvenOddPulses {
    int even, odd;
};
constexpr int16_t packPulses(EvenOddPulses pulses) {
    return static_cast<int16_t>(pulses.even << 6 | pulses.odd);
}
constexpr EvenOddPulses unpackPulses(int16_t word) {
    return {word >> 6 & 63, word & 63};
}

} // namespace ryxsc::amrwb
