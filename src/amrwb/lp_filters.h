// SPDX-License-Identifier: BSD-2-Clause
// LP filters of the coder: residual, synthesis, weighting (3GPP TS 26.173). Coefficients in Q12; a filter of comfort noise
// may be scaled down, which its first coefficient tells.
#pragma once

#include "amrwb/arithmetic.h"
#include "common/lp_filters.h"

namespace ryxsc::amrwb {

// a[i] * factor^i; every power and every product is rounded to Q15.
inline void weightFilter(const int16_t *a, int16_t factor, int order, int16_t *weighted) {
    weighted[0] = a[0];
    int16_t power = factor;
    for (int i = 1; i <= order; i++) {
        weighted[i] = wrap16((a[i] * power + 0x4000) >> 15);
        power = static_cast<int16_t>((power * factor + 0x4000) >> 15);
    }
}

// Synthesis at half the amplitude of the residual; dst[-order..-1] is the past, src may be dst.
template <int order> void synthesisFilterHalved(const int16_t *a, const int16_t *src, int16_t *dst, int len) {
    const auto gain = static_cast<int16_t>(a[0] >> 1);
    const int up = 3 + norm_s(a[0]) - 2;
    if (up > 14) [[unlikely]] // a[0] is 1 or -1: no bit is left to be rounded away
        in_order::synthesis<order>(a, gain, src, dst, len, up);
    else
        synthesisInPlaceOfHistory<order>(a, gain, src, dst, len, up);
}

} // namespace ryxsc::amrwb
