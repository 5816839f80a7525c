// SPDX-License-Identifier: BSD-2-Clause
// Gain codebooks of GSM-AMR (3GPP TS 26.090, clause 5.8, TS 26.073).
#pragma once

#include <array>
#include <cstdint>

namespace ryxsc::gsmamr {

// Pitch gain (Q14), correction of the predicted code gain (Q12), and the energies for the predictors: log2 and 20 log10 of
// the correction, Q10.
struct GainRow {
    int16_t pitchGain, correction, log2Energy, energy;
};
extern const std::array<GainRow, 64> gainsOf515And590;
extern const std::array<GainRow, 128> gainsOf670To1020;

// Correction of the predicted code gain (Q11) with its energies, 7.95 and 12.2 kbit/s.
struct CodeGainRow {
    int16_t correction, log2Energy, energy;
};
extern const std::array<CodeGainRow, 32> codeGains;

// Pitch gains of 7.95 and 12.2 kbit/s, Q14.
extern const std::array<int16_t, 16> pitchGains;

// Pitch gain (Q14) and correction (Q12) of two subframes, 4.75 kbit/s.
struct JointGainRow {
    struct Gains {
        int16_t pitchGain, correction;
    } subframe[2];
};
extern const std::array<JointGainRow, 256> gainsOf475;

} // namespace ryxsc::gsmamr
