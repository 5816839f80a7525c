// SPDX-License-Identifier: BSD-2-Clause
// Adaptive filters of the echo canceller as their formulas are written. Arguments as in the library's functions.
#pragma once

#include <cstdint>

#include "ryxsc.h"

namespace reference::ec {

// Without a step array the taps are fixed.
void filter16(const int16_t *x, const int16_t *s, const int32_t *mu, int16_t *e, int len, int16_t *h, int taps,
              int16_t *errPrev);
float estimate(const float *x, const float *h, int taps);

ryx32fc filterBin(const ryx32fc *const *history, const ryx32fc *const *coefs, int taps, int k);
ryx32fc updatedBin(ryx32fc coef, double step, ryx32fc error, ryx32fc x);

} // namespace reference::ec
