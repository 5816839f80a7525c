// SPDX-License-Identifier: BSD-2-Clause
// The error of a pair of gains, brought to one exponent.
#pragma once

#include <algorithm>

#include "gsmamr/gain_steps.h"

namespace ryxsc::gsmamr {

// Terms with the scales of the gains in them, of which `scale` is that of the code gain.
struct ScaledTerms {
    Scaled terms[5];

    int largestExponent() const {
        return std::max({terms[0].exponent, terms[1].exponent, terms[2].exponent, terms[3].exponent, terms[4].exponent});
    }
};
inline ScaledTerms withCodeGain(const FilteredEnergies &energies, int scale) {
    const Scaled *const f = energies.terms;
    return {{{f[0].mantissa, f[0].exponent - 13},
             {f[1].mantissa, f[1].exponent - 14},
             {f[2].mantissa, f[2].exponent + 15 + 2 * scale},
             {f[3].mantissa, f[3].exponent + scale},
             {f[4].mantissa, f[4].exponent + 1 + scale}}};
}

// In double precision, one bit below the largest exponent.
class ErrorTerms {
public:
    explicit ErrorTerms(const ScaledTerms &scaled) : ErrorTerms(scaled, scaled.largestExponent()) {}
    ErrorTerms(const ScaledTerms &scaled, int largestExponent) {
        for (int i = 0; i < 5; i++)
            terms_[i] = aligned(scaled.terms[i].mantissa, largestExponent + 1 - scaled.terms[i].exponent);
    }

    int32_t operator[](int i) const { return terms_[i]; }

private:
    int32_t terms_[5];
};

} // namespace ryxsc::gsmamr
