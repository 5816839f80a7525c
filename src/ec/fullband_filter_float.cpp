// SPDX-License-Identifier: BSD-2-Clause
// Full-band echo canceller in single precision: tap k weights the far-end sample x[n-k].
#include <xmmintrin.h>

#include <algorithm>

#include "common/checks.h"
#include "ec/implementations.h"

using namespace ryxsc;

namespace {

// Echo estimates of four times so many neighbouring outputs. Each is summed tap after tap; the outputs in the lanes of
// eight registers cover the latency of an addition.
template <int vectors> void filterVectors(const float *x, const float *h, int taps, float *y) {
    __m128 sums[vectors] = {};
    for (int k = 0; k < taps; k++) {
        const __m128 tap = _mm_set1_ps(h[k]);
#pragma GCC unroll 8
        for (int i = 0; i < vectors; i++)
            sums[i] = _mm_add_ps(sums[i], _mm_mul_ps(tap, _mm_loadu_ps(x + 4 * i - k)));
    }
    for (int i = 0; i < vectors; i++)
        _mm_storeu_ps(y + 4 * i, sums[i]);
}

// One to three outputs side by side.
void filterRest(const float *x, const float *h, int taps, float *y, int outputs) {
    const float *const second = x + (outputs > 1 ? 1 : 0);
    const float *const third = x + outputs - 1;
    float sums[3] = {};
    for (int k = 0; k < taps; k++) {
        sums[0] += h[k] * x[-k];
        sums[1] += h[k] * second[-k];
        sums[2] += h[k] * third[-k];
    }
    for (int n = 0; n < outputs; n++)
        y[n] = sums[n];
}

void subtract(const float *s, const float *y, float *e, int count) {
    for (int n = 0; n < count; n++)
        e[n] = s[n] - y[n];
}

template <int vectors> void filter(const float *x, const float *s, float *e, int len, const float *h, int taps) {
    float y[4 * vectors];
    int n = 0;
    for (; len - n >= 4 * vectors; n += 4 * vectors) {
        filterVectors<vectors>(x + n, h, taps, y);
        subtract(s + n, y, e + n, 4 * vectors);
    }
    if constexpr (vectors > 1) return filter<vectors / 2>(x + n, s + n, e + n, len - n, h, taps);
    if (n == len) return;
    filterRest(x + n, h, taps, y, len - n);
    subtract(s + n, y, e + n, len - n);
}

// Updates four taps, which stand in reversed order, with the samples before x. The products of the updated taps and the
// samples at x.
[[gnu::always_inline]] inline __m128 adaptFour(const float *x, float *h, __m128 g) {
    const __m128 taps = _mm_add_ps(_mm_loadu_ps(h), _mm_mul_ps(g, _mm_loadu_ps(x - 1)));
    _mm_storeu_ps(h, taps);
    return _mm_mul_ps(taps, _mm_loadu_ps(x));
}

float sumOfLanes(__m128 x) {
    x = _mm_add_ps(x, _mm_movehl_ps(x, x));
    return _mm_cvtss_f32(_mm_add_ss(x, _mm_shuffle_ps(x, x, 1)));
}

// Updates all taps, which stand in reversed order, and returns the echo estimate. x: the sample of the first of them. The
// sum may have any order; with a single one every addition would wait for the one before.
float adaptAndFilter(const float *x, float *h, int taps, float g) {
    constexpr int vectors = 4;
    const __m128 factor = _mm_set1_ps(g);
    __m128 sums[vectors] = {};
    int k = 0;
    for (; taps - k >= 4 * vectors; k += 4 * vectors) {
#pragma GCC unroll 4
        for (int i = 0; i < vectors; i++)
            sums[i] = _mm_add_ps(sums[i], adaptFour(x + k + 4 * i, h + k + 4 * i, factor));
    }
    for (; taps - k >= 4; k += 4)
        sums[0] = _mm_add_ps(sums[0], adaptFour(x + k, h + k, factor));
    float sum = sumOfLanes(_mm_add_ps(_mm_add_ps(sums[0], sums[1]), _mm_add_ps(sums[2], sums[3])));
    for (; k < taps; k++) {
        h[k] += g * x[k - 1];
        sum += h[k] * x[k];
    }
    return sum;
}

} // namespace

ryxStatus ryxsFIR_EC_32f_u8(const float *x, const float *s, float *e, int len, const float *h, int tapsLen) {
    if (anyNull(x, s, e, h)) return ryxStsNullPtr;
    if (len < 1 || tapsLen < 1) return ryxStsBadArg;
    filter<8>(x, s, e, len, h, tapsLen);
    return ryxStsOk;
}

ryxStatus ryxsNLMS_EC_32f_u8(const float *x, const float *s, const float *mu, float *e, int len, float *h, int tapsLen,
                             float *errPrev) {
    if (anyNull(x, s, mu, e, h, errPrev)) return ryxStsNullPtr;
    if (len < 1 || tapsLen < 1) return ryxStsBadArg;
    std::reverse(h, h + tapsLen);
    float g = *errPrev;
    for (int n = 0; n < len; n++) {
        e[n] = s[n] - adaptAndFilter(x + n - (tapsLen - 1), h, tapsLen, g);
        g = e[n] * mu[n];
    }
    std::reverse(h, h + tapsLen);
    *errPrev = g;
    return ryxStsOk;
}
