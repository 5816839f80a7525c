// SPDX-License-Identifier: BSD-2-Clause
// What the receiver thinks of a frame and the one before: a sum of ryxGSMAMRBadFrame and its kin.
#pragma once

#include "ryxsc/gsmamr.h"

namespace ryxsc::gsmamr {

constexpr bool isLost(int quality) {
    return (quality & (ryxGSMAMRBadFrame | ryxGSMAMRPrevBadFrame)) != 0;
}
constexpr bool isTwiceDegraded(int quality) {
    constexpr int both = ryxGSMAMRDegradedFrame | ryxGSMAMRPrevDegradedFrame;
    return (quality & both) == both;
}
constexpr bool isUnsure(int quality) {
    return isLost(quality) || isTwiceDegraded(quality);
}

} // namespace ryxsc::gsmamr
