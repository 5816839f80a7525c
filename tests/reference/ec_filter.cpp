// SPDX-License-Identifier: BSD-2-Clause
#include "reference/ec_filter.h"

#include <algorithm>

namespace reference::ec {

namespace {

int64_t saturate(int64_t x, int bits) {
    const int64_t limit = int64_t{1} << (bits - 1);
    return std::clamp(x, -limit, limit - 1);
}

} // namespace

void filter16(const int16_t *x, const int16_t *s, const int32_t *mu, int16_t *e, int len, int16_t *h, int taps,
              int16_t *errPrev) {
    int64_t g = mu ? *errPrev : 0;
    for (int n = 0; n < len; n++) {
        int64_t y = 0;
        for (int k = 0; k < taps; k++) {
            if (mu)
                h[k] = static_cast<int16_t>(saturate(h[k] + (static_cast<int32_t>(x[n - 1 - k] * g + 4096) >> 13), 16));
            y = saturate(y + ((int64_t{x[n - k]} * h[k] + 16384) >> 15), 32);
        }
        e[n] = static_cast<int16_t>(saturate(s[n] - y, 16));
        if (mu) g = static_cast<int32_t>(int64_t{e[n]} * mu[n] + 1024) >> 11;
    }
    if (mu) *errPrev = static_cast<int16_t>(saturate(g, 16));
}

float estimate(const float *x, const float *h, int taps) {
    float y = 0;
    for (int k = 0; k < taps; k++)
        y += h[k] * x[-k];
    return y;
}

ryx32fc filterBin(const ryx32fc *const *history, const ryx32fc *const *coefs, int taps, int k) {
    ryx32fc y = {0, 0};
    for (int t = 0; t < taps; t++) {
        const ryx32fc x = history[t][k], h = coefs[t][k];
        y.re += x.re * h.re - x.im * h.im;
        y.im += x.re * h.im + x.im * h.re;
    }
    return y;
}

ryx32fc updatedBin(ryx32fc coef, double step, ryx32fc error, ryx32fc x) {
    const double re = step * error.re, im = step * error.im;
    return {coef.re + static_cast<float>(re * x.re + im * x.im), coef.im + static_cast<float>(im * x.re - re * x.im)};
}

} // namespace reference::ec
