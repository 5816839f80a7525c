// SPDX-License-Identifier: BSD-2-Clause
// Codebooks of the fifth-order pitch predictor of ITU-T G.723.1 by transmitted index: 85 vectors at 6.3 kbit/s for lags
// below 58, 170 vectors otherwise.
#pragma once

#include <cstdint>

#include "common/vector_quantiser.h"

namespace ryxsc::g723 {

inline constexpr int pitchTaps = 5;
inline constexpr int pitchTerms = 20;

// Gains in Q14, that of the oldest sample first, and three zeros.
struct alignas(16) PitchGains {
    int16_t value[8];
};
template <int size> struct GainList { PitchGains gains[size]; };
extern const GainList<85> pitchGains85;
extern const GainList<170> pitchGains170;

// A vector as the search takes it: the gains, then what is multiplied with energies, -g0^2 .. -g4^2, and with cross terms,
// -g1 g0, -g2 g0, -g2 g1, ... -g4 g3. A few vectors are so large that a score can saturate; they stand apart, and in the
// arrangement for the search there are zeros in their places.
struct LargeVector {
    int index;
    int16_t term[pitchTerms];
};
inline constexpr int largestVector = 86551; // sum of its magnitudes; those of the others are below 2^16
struct PitchBook85 {
    PairCodebook<88, pitchTerms> book;
    LargeVector large[2];
};
struct PitchBook170 {
    PairCodebook<172, pitchTerms> book;
    LargeVector large[7];
};
extern const PitchBook85 pitchBook85;
extern const PitchBook170 pitchBook170;

// Worst-case gain of each vector, Q13.
extern const int16_t tamingGains85[85];
extern const int16_t tamingGains170[170];

// The periodic part of the algebraic code: what is added to the lag (60: too long for any), and the gain in Q15.
extern const int8_t contributionLags[170];
extern const int16_t contributionGains[170];

} // namespace ryxsc::g723
