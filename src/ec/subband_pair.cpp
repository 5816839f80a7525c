// SPDX-License-Identifier: BSD-2-Clause
// Filter and update of a sub-band echo canceller for two sets of coefficients at once: both need the same far-end spectra.
#include <algorithm>

#include "common/checks.h"
#include "ec/four_bins.h"
#include "ec/subband_filter.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

using Rows = const ryx32fc *const *;

void filterFour(Rows history, Rows coefs1, Rows coefs2, int taps, int k, int count, ryx32fc *dst1, ryx32fc *dst2) {
    FourBins sum1 = {}, sum2 = {};
    for (int t = 0; t < taps; t++) {
        const FourBins x = FourBins::load(history[t] + k, count);
        sum1.addProduct(x, FourBins::load(coefs1[t] + k, count));
        sum2.addProduct(x, FourBins::load(coefs2[t] + k, count));
    }
    sum1.store(dst1 + k, count);
    sum2.store(dst2 + k, count);
}

// step * error of four bins, to be multiplied by conjugated bins.
class ScaledErrors {
public:
    ScaledErrors(const double *step, const ryx32fc *error, int count) {
        for (int i = 0; i < count; i++) {
            const auto re = static_cast<float>(step[i] * error[i].re), im = static_cast<float>(step[i] * error[i].im);
            re_[2 * i] = re;
            re_[2 * i + 1] = -re;
            im_[2 * i] = im_[2 * i + 1] = im;
        }
    }

    __m128 re(int half) const { return _mm_load_ps(re_ + 4 * half); }
    __m128 im(int half) const { return _mm_load_ps(im_ + 4 * half); }

private:
    alignas(16) float re_[8] = {}, im_[8] = {};
};

// h += scaled * conj(x) for two bins; `crossed` is x with real and imaginary parts exchanged.
__m128 updated(__m128 h, __m128 x, __m128 crossed, __m128 re, __m128 im) {
    return _mm_add_ps(h, _mm_add_ps(_mm_mul_ps(re, x), _mm_mul_ps(im, crossed)));
}

void updateFour(const double *step1, const double *step2, Rows history, const ryx32fc *error1, const ryx32fc *error2,
                ryx32fc *const *coefs1, ryx32fc *const *coefs2, int taps, int k) {
    const ScaledErrors scaled1(step1 + k, error1 + k, 4), scaled2(step2 + k, error2 + k, 4);
    for (int half = 0; half < 2; half++) {
        const __m128 re1 = scaled1.re(half), im1 = scaled1.im(half);
        const __m128 re2 = scaled2.re(half), im2 = scaled2.im(half);
        for (int t = 0; t < taps; t++) {
            const __m128 x = _mm_loadu_ps(&history[t][k + 2 * half].re);
            const __m128 crossed = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 3, 0, 1));
            float *const h1 = &coefs1[t][k + 2 * half].re, *const h2 = &coefs2[t][k + 2 * half].re;
            _mm_storeu_ps(h1, updated(_mm_loadu_ps(h1), x, crossed, re1, im1));
            _mm_storeu_ps(h2, updated(_mm_loadu_ps(h2), x, crossed, re2, im2));
        }
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
    return std::any_of(step, step + numBands, [](double x) { return x < 0; });
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
        filterFour(history, coefs1, coefs2, taps, k, 4, dst1, dst2);
    if (k < numBands) filterFour(history, coefs1, coefs2, taps, k, numBands - k, dst1, dst2);
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
