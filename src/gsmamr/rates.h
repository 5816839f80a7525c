// SPDX-License-Identifier: BSD-2-Clause
// The bit rates of GSM-AMR in rising order, so that they compare.
#pragma once

#include "ryxsc/gsmamr.h"

namespace ryxsc::gsmamr {

enum class Rate { r475, r515, r590, r670, r740, r795, r1020, r1220, none };

constexpr Rate rateOf(int rate) {
    switch (rate) {
    case ryxGSMAMRRate4750:
        return Rate::r475;
    case ryxGSMAMRRate5150:
        return Rate::r515;
    case ryxGSMAMRRate5900:
        return Rate::r590;
    case ryxGSMAMRRate6700:
        return Rate::r670;
    case ryxGSMAMRRate7400:
        return Rate::r740;
    case ryxGSMAMRRate7950:
        return Rate::r795;
    case ryxGSMAMRRate10200:
        return Rate::r1020;
    case ryxGSMAMRRate12200:
        return Rate::r1220;
    default:
        return Rate::none;
    }
}

// The rates whose decoder treats background noise apart.
constexpr bool isLow(Rate rate) {
    return rate <= Rate::r590;
}

} // namespace ryxsc::gsmamr
