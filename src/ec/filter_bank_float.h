// SPDX-License-Identifier: BSD-2-Clause
// Overlap and add of the filter bank in single precision.
#pragma once

#include <xmmintrin.h>

#include "ec/filter_bank.h"

namespace ryxsc::ec {

namespace {

// a[k] += y[k mod N] w[L-1-k].
inline void overlap(Bank<float> &bank, const float *y) {
    const float *window = bank.window();
    float *line = bank.line();
    const int points = bank.points, windowLen = bank.windowLen;
    if (points < 4) {
        for (int k = 0; k < windowLen; k++)
            line[k] += y[k % points] * window[windowLen - 1 - k];
        return;
    }
    for (int n = 0; n < points; n += 4) {
        const __m128 four = _mm_load_ps(y + n);
        for (int k = n; k < windowLen; k += points) {
            const __m128 taps = _mm_loadr_ps(window + windowLen - 4 - k);
            _mm_storeu_ps(line + k, _mm_loadu_ps(line + k) + four * taps);
        }
    }
}

} // namespace

} // namespace ryxsc::ec
