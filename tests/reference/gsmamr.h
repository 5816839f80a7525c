// SPDX-License-Identifier: BSD-2-Clause
// The algebraic codebook search of GSM-AMR as 3GPP TS 26.073 computes it, operator by operator, but for what the library
// does differently on purpose: sharpening wraps, and negative pulses of some codebooks have an amplitude of their own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace reference::gsmamr {

// The formulas count in int.
template <class T, size_t n> struct Array : std::array<T, n> {
    T &operator[](int i) { return this->data()[i]; }
    const T &operator[](int i) const { return this->data()[i]; }
};
using Subframe = Array<int16_t, 40>;

void prepare(const int16_t *speech, const int16_t *numerator, const int16_t *denominator, const int16_t *lpc,
             const int16_t *synthesisMemory, const int16_t *weightingMemory, Subframe &impulse, Subframe &residual,
             Subframe &target);

struct Found {
    Subframe code; // without sharpening
    Subframe sharpened, filtered;
};

Found search(int16_t lag, int16_t gain, const Subframe &target, const Subframe &residual, Subframe &impulse,
             int subframe, int rate);

} // namespace reference::gsmamr
