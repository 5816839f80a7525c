// SPDX-License-Identifier: BSD-2-Clause
// Configurations of the algebraic codebooks of AMR-WB (3GPP TS 26.190, TS 26.173) and AMR-WB+ (TS 26.290).
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::amrwb {

// A subframe has 64 positions. Position p lies on track p mod 4 and has index p div 4 there.
inline constexpr int positions = 64;
inline constexpr int tracks = 4;
inline constexpr int trackLength = positions / tracks;
inline constexpr int mostPulses = 24;
inline constexpr int mostPulsesPerTrack = mostPulses / tracks;
inline constexpr int mostIterations = 4;

// The codebook of 12 bits has two pulses on two tracks of 32 positions instead: even and odd ones.
struct Codebook {
    int pulses;
    std::array<uint8_t, tracks> pulsesPerTrack; // all zero for 12 bits
    int16_t mixingFactor;                       // weight of the target beside the residual where signs are chosen, Q12
    int iterations;
    int firstStage;                // pulses that an iteration places on the best positions of their tracks
    std::array<uint8_t, 10> tried; // positions tried for the first pulse of each further pair

    constexpr bool hasTwoTracks() const { return pulses == 2; }
};

// The codebook of a bit-rate code; null for a code that names none.
const Codebook *codebookOf(int mode);

// Tracks in the order in which they get their pulses. Iteration k starts at entry 4k.
extern const std::array<uint8_t, 36> trackOrder;

} // namespace ryxsc::amrwb
