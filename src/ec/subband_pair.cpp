// SPDX-License-Identifier: BSD-2-Clause
// Filter and update of a sub-band echo canceller for two sets of coefficients at once: both need the same far-end spectra.
#include <pmmintrin.h>

#include "common/checks.h"
#include "ec/implementations.h"
#include "ec/subband_filter.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

using Rows = const ryx32fc *const *;

// Sums of products for two neighbouring bins, in the order of ryxsFIRSubband_EC_32fc().
struct TwoSums {
    // `re` and `im` hold the parts of x twice each.
    void add(__m128 re, __m128 im, const ryx32fc *coefs) {
        const __m128 h = _mm_loadu_ps(&coefs->re), crossed = _mm_shuffle_ps(h, h, _MM_SHUFFLE(2, 3, 0, 1));
        sum = _mm_add_ps(sum, _mm_addsub_ps(_mm_mul_ps(re, h), _mm_mul_ps(im, crossed)));
    }

    __m128 sum = _mm_setzero_ps();
};

void filterFour(Rows history, Rows coefs1, Rows coefs2, int taps, int k, ryx32fc *dst1, ryx32fc *dst2) {
    TwoSums front1, front2, back1, back2;
    for (int t = 0; t < taps; t++) {
        const __m128 front = _mm_loadu_ps(&history[t][k].re), back = _mm_loadu_ps(&history[t][k + 2].re);
        const __m128 frontRe = _mm_moveldup_ps(front), frontIm = _mm_movehdup_ps(front);
        const __m128 backRe = _mm_moveldup_ps(back), backIm = _mm_movehdup_ps(back);
        front1.add(frontRe, frontIm, coefs1[t] + k);
        front2.add(frontRe, frontIm, coefs2[t] + k);
        back1.add(backRe, backIm, coefs1[t] + k + 2);
        back2.add(backRe, backIm, coefs2[t] + k + 2);
    }
    _mm_storeu_ps(&dst1[k].re, front1.sum);
    _mm_storeu_ps(&dst1[k + 2].re, back1.sum);
    _mm_storeu_ps(&dst2[k].re, front2.sum);
    _mm_storeu_ps(&dst2[k + 2].re, back2.sum);
}

ryx32fc filterBin(Rows history, Rows coefs, int taps, int k) {
    ryx32fc sum = {0, 0};
    for (int t = 0; t < taps; t++) {
        const ryx32fc x = history[t][k], h = coefs[t][k];
        sum = {sum.re + (x.re * h.re - x.im * h.im), sum.im + (x.re * h.im + x.im * h.re)};
    }
    return sum;
}

// step * error of two bins, rounded, to be multiplied by conjugated bins.
struct ScaledErrors {
    ScaledErrors(const double *step, const ryx32fc *error) {
        const __m128 both = _mm_loadu_ps(&error->re);
        const __m128d first = _mm_mul_pd(_mm_load1_pd(step), _mm_cvtps_pd(both));
        const __m128d second = _mm_mul_pd(_mm_load1_pd(step + 1), _mm_cvtps_pd(_mm_movehl_ps(both, both)));
        const __m128 scaled = _mm_movelh_ps(_mm_cvtpd_ps(first), _mm_cvtpd_ps(second));
        re = _mm_xor_ps(_mm_moveldup_ps(scaled), _mm_setr_ps(0.0F, -0.0F, 0.0F, -0.0F));
        im = _mm_movehdup_ps(scaled);
    }

    // Adds the product with conj(x) to two coefficients; `crossed` is x with real and imaginary parts exchanged.
    void update(float *h, __m128 x, __m128 crossed) const {
        const __m128 change = _mm_add_ps(_mm_mul_ps(re, x), _mm_mul_ps(im, crossed));
        _mm_storeu_ps(h, _mm_add_ps(_mm_loadu_ps(h), change));
    }

    __m128 re, im;
};

void updateFour(const double *step1, const double *step2, Rows history, const ryx32fc *error1, const ryx32fc *error2,
                ryx32fc *const *coefs1, ryx32fc *const *coefs2, int taps, int k) {
    const ScaledErrors front1(step1 + k, error1 + k), back1(step1 + k + 2, error1 + k + 2);
    const ScaledErrors front2(step2 + k, error2 + k), back2(step2 + k + 2, error2 + k + 2);
    for (int t = 0; t < taps; t++) {
        const float *const x = &history[t][k].re;
        float *const h1 = &coefs1[t][k].re, *const h2 = &coefs2[t][k].re;
        const __m128 front = _mm_loadu_ps(x), back = _mm_loadu_ps(x + 4);
        const __m128 crossedFront = _mm_shuffle_ps(front, front, _MM_SHUFFLE(2, 3, 0, 1));
        const __m128 crossedBack = _mm_shuffle_ps(back, back, _MM_SHUFFLE(2, 3, 0, 1));
        front1.update(h1, front, crossedFront);
        back1.update(h1 + 4, back, crossedBack);
        front2.update(h2, front, crossedFront);
        back2.update(h2 + 4, back, crossedBack);
    }
}

void updateBin(double step, ryx32fc error, Rows history, ryx32fc *const *coefs, int taps, int k) {
    const auto re = static_cast<float>(step * error.re), im = static_cast<float>(step * error.im);
    for (int t = 0; t < taps; t++) {
        const ryx32fc x = history[t][k];
        ryx32fc &h = coefs[t][k];
        h = {h.re + (re * x.re + im * x.im), h.im + (im * x.re - re * x.im)};
    }
}

bool anyNegative(const double *step, int numBands) {
    __m128d negative = _mm_setzero_pd();
    int k = 0;
    for (; numBands - k >= 2; k += 2)
        negative = _mm_or_pd(negative, _mm_cmplt_pd(_mm_loadu_pd(step + k), _mm_setzero_pd()));
    return _mm_movemask_pd(negative) != 0 || (k < numBands && step[k] < 0);
}

} // namespace

ryxStatus ryxsFIRSubbandPair_EC_32fc_u8(const ryx32fc *const *history, const ryx32fc *const *coefs1,
                                        const ryx32fc *const *coefs2, ryx32fc *dst1, ryx32fc *dst2, int taps,
                                        int numBands) {
    if (anyNull(history, coefs1, coefs2, dst1, dst2)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps)) return ryxStsOutOfRange;
    int k = 0;
    for (; numBands - k >= 4; k += 4)
        filterFour(history, coefs1, coefs2, taps, k, dst1, dst2);
    for (; k < numBands; k++) {
        dst1[k] = filterBin(history, coefs1, taps, k);
        dst2[k] = filterBin(history, coefs2, taps, k);
    }
    return ryxStsOk;
}

ryxStatus ryxsFIRSubbandCoeffUpdatePair_EC_32fc_I_u8(const double *step1, const double *step2,
                                                     const ryx32fc *const *history, const ryx32fc *error1,
                                                     const ryx32fc *error2, ryx32fc *const *coefs1,
                                                     ryx32fc *const *coefs2, int taps, int numBands) {
    if (anyNull(step1, step2, history, error1, error2, coefs1, coefs2)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps)) return ryxStsOutOfRange;
    if (anyNegative(step1, numBands) || anyNegative(step2, numBands)) return ryxStsBadSize;
    int k = 0;
    for (; numBands - k >= 4; k += 4)
        updateFour(step1, step2, history, error1, error2, coefs1, coefs2, taps, k);
    for (; k < numBands; k++) {
        updateBin(step1[k], error1[k], history, coefs1, taps, k);
        updateBin(step2[k], error2[k], history, coefs2, taps, k);
    }
    return ryxStsOk;
}
