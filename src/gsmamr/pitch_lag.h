// SPDX-License-Identifier: BSD-2-Clause
// Coding of the pitch lag of GSM-AMR (3GPP TS 26.090, clause 5.6.1): absolute in the first and often the third subframe,
// else relative to the lag before; in thirds of a sample, at 12.2 kbit/s in sixths.
#pragma once

#include <algorithm>

#include "gsmamr/rates.h"

namespace ryxsc::gsmamr {

inline constexpr int maxPitchLag = 143;

constexpr int minPitchLag(Rate rate) {
    return rate == Rate::r1220 ? 18 : 20;
}

constexpr bool isAbsolute(Rate rate, int subframe) {
    return subframe == 0 || (subframe == 2 && rate > Rate::r515);
}

// 4.75 to 6.70 kbit/s: relative lags have four bits, and fractions only next to their centre.
constexpr bool hasFourBits(Rate rate) {
    return rate <= Rate::r670;
}

struct LagRange {
    int min, max;

    // Of the lags of an absolute or relative search around a lag.
    static constexpr LagRange around(int lag, int below, int width, int smallest) {
        const int min = std::max(lag - below, smallest);
        return min + width > maxPitchLag ? LagRange{maxPitchLag - width, maxPitchLag} : LagRange{min, min + width};
    }
    static constexpr LagRange relative(Rate rate, int previous) {
        return rate == Rate::r795 ? around(previous, 10, 19, minPitchLag(rate))
                                  : around(previous, 5, 9, minPitchLag(rate));
    }
    static constexpr LagRange absolute(Rate rate, int openLoop) {
        return rate <= Rate::r515 ? around(openLoop, 5, 10, minPitchLag(rate))
                                  : around(openLoop, 3, 6, minPitchLag(rate));
    }

    // Of four bits.
    constexpr int centre(int previous) const { return std::max(std::min(previous, min + 5), max - 4); }
};

struct PitchLag {
    int lag, fraction;
};

} // namespace ryxsc::gsmamr
