// SPDX-License-Identifier: BSD-2-Clause
// The synthesis filter of ITU-T G.729 Annex C in single precision: y[n] = x[n] - a[1] y[n-1] - ... - a[10] y[n-10], the
// terms subtracted one by one in this order.
#pragma once

#include <algorithm>

#include "common/checks.h"

namespace {

constexpr int floatOrder = 10;

// The outputs before the first one run along in registers.
ryxStatus synthesiseFloat(const float *lpc, const float *src, float *dst, int len, float *history) {
    if (ryxsc::anyNull(lpc, src, dst, history)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    float past[floatOrder]; // the newest first
    std::reverse_copy(history, history + floatOrder, past);
    for (int n = 0; n < len; n++) {
        float sum = src[n] * lpc[0];
        for (int k = 0; k < floatOrder; k++)
            sum -= lpc[k + 1] * past[k];
        for (int k = floatOrder - 1; k > 0; k--)
            past[k] = past[k - 1];
        past[0] = dst[n] = sum;
    }
    std::reverse_copy(past, past + floatOrder, history);
    return ryxStsOk;
}

} // namespace
