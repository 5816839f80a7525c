// SPDX-License-Identifier: BSD-2-Clause
// Steps of the gain quantisers and decoders of GSM-AMR (3GPP TS 26.090, clauses 5.8 and 6.1): prediction of the code gain,
// energies of the filtered vectors.
#pragma once

#include "gsmamr/arithmetic.h"
#include "gsmamr/rates.h"

namespace ryxsc::gsmamr {

inline constexpr int pastFrames = 4;

// The caller's quantised energies, newest first: 20 log10 and log2 of the corrections, Q10.
struct Predictor {
    int16_t *energies, *energies122;

    void update(int16_t energy, int16_t energy122) const {
        pushFront<pastFrames>(energies, energy);
        pushFront<pastFrames>(energies122, energy122);
    }
};

// The predicted code gain: log2 of it as exponent and fraction; at 7.95 kbit/s also the energy of the code vector.
struct Prediction {
    int exponent, fraction;
    Scaled codeEnergy;

    // Mantissa of the gain itself, 16384..32767.
    int16_t mantissa() const { return extract_l(powerOfTwo(14, fraction)); }
};
Prediction predictGain(const int16_t *code, const Predictor &predictor, Rate rate);

// correction (Q11 or Q12 as the table) times the predicted gain.
inline int16_t codeGainOf(int16_t correction, const Prediction &prediction, int shift) {
    return extract_h(L_shr(L_mult(correction, prediction.mantissa()), shift - prediction.exponent));
}

// Energies of a correction of Q12 that no table has: log2 in Q10, and 20 log10 in Q10.
struct CorrectionEnergies {
    int16_t energy, energy122;
};
CorrectionEnergies energiesOf(Log2 logarithm);
inline CorrectionEnergies energiesOfCorrection(int16_t correction) {
    const Log2 logarithm = log2(correction);
    return energiesOf({logarithm.exponent - 12, logarithm.fraction});
}

// The terms of the error |x - p y1 - g y2|^2 without that of x: of p^2, p, g^2, g, g p; and the gain g that would be best.
struct FilteredEnergies {
    Scaled terms[5];
    Scaled optimum;
};
FilteredEnergies filteredEnergies(const int16_t *target, const int16_t *target2, const int16_t *adaptive,
                                  const int16_t *filtered, const int16_t *pitchEnergies, Rate rate);

// hi(sum << n) with its normalisation n.
struct Normalised {
    int16_t mantissa;
    int shift;

    explicit Normalised(int32_t sum) : mantissa(extract_h(sum << norm_l(sum))), shift(norm_l(sum)) {}
};

// 65536 * mantissa >> shift as a number in double precision.
inline int32_t aligned(int16_t mantissa, int shift) {
    return clearBit0(L_shr(L_deposit_h(mantissa), shift));
}

} // namespace ryxsc::gsmamr
