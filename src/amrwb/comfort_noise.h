// SPDX-License-Identifier: BSD-2-Clause
// What encoder and decoder of comfort noise share (3GPP TS 26.192).
#pragma once

#include "amrwb/arithmetic.h"
#include "common/log2.h"

namespace ryxsc::amrwb {

inline constexpr int historyFrames = 8;

constexpr int16_t nextPlace(int16_t place) {
    return static_cast<int16_t>((place + 1) % historyFrames);
}

// Base-2 logarithm of an energy over 256 samples, Q7.
inline int16_t logEnergy(int32_t energy, int adjustment) {
    const Log2 logarithm = log2(energy);
    return static_cast<int16_t>(logarithm.exponent * 128 + (logarithm.fraction >> 8) - 1024 - adjustment);
}

// The energy of an index of 6 bits as a logarithm, Q9.
inline int16_t logEnergyOfIndex(int16_t index) {
    return mult(shl(index, 9), 12483);
}

// 256 samples of white noise whose amplitude is the given level, Q0 of a 32-bit number.
inline void makeNoise(int32_t level, int16_t &seed, int16_t *noise) {
    const int n = norm_l(level);
    const int16_t mantissa = extract_h(L_shl(level, n));
    fillWithNoise(noise, frameLength, 4, seed);
    const Scaled root = inverseRoot(dotSquare(noise, frameLength));
    const int16_t gain = mult(mantissa, root.high());
    const int exponent = 15 - n + root.exponent + 4;
    for (int i = 0; i < frameLength; i++)
        noise[i] = shl(mult(noise[i], gain), exponent);
}

} // namespace ryxsc::amrwb
