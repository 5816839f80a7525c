// SPDX-License-Identifier: BSD-2-Clause
// Sub-band adaptive filter of the echo canceller with single-precision spectra.
#include <pmmintrin.h>

#include <algorithm>

#include "common/checks.h"
#include "ec/four_bins.h"
#include "ec/implementations.h"
#include "ec/subband_filter.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

template <int groups>
void filterGroups(const ryx32fc *const *history, const ryx32fc *const *coefs, int taps, int k, ryx32fc *dst) {
    FourBins sums[groups] = {};
    for (int t = 0; t < taps; t++) {
        const ryx32fc *const x = history[t] + k, *const h = coefs[t] + k;
#pragma GCC unroll 2
        for (int i = 0; i < groups; i++)
            sums[i].addProduct(FourBins::load(x + 4 * i), FourBins::load(h + 4 * i));
    }
    for (int i = 0; i < groups; i++)
        sums[i].store(dst + k + 4 * i);
}

ryx32fc filterBin(const ryx32fc *const *history, const ryx32fc *const *coefs, int taps, int k) {
    ryx32fc sum = {0, 0};
    for (int t = 0; t < taps; t++) {
        const ryx32fc x = history[t][k], h = coefs[t][k];
        sum.re += x.re * h.re - x.im * h.im;
        sum.im += x.re * h.im + x.im * h.re;
    }
    return sum;
}

// step * error of a bin, in double precision, and its product with a conjugated bin.
class ScaledError {
public:
    ScaledError(double step, ryx32fc error)
        : re_(_mm_setr_pd(step * error.re, -(step * error.re))), im_(_mm_set1_pd(step * error.im)) {}

    // In the lower two lanes, rounded to single precision.
    __m128 timesConjugate(const ryx32fc *x) const {
        const __m128d bin = _mm_cvtps_pd(loadBin(x));
        const __m128d swapped = _mm_shuffle_pd(bin, bin, 1);
        return _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(re_, bin), _mm_mul_pd(im_, swapped)));
    }

    void updateBin(const ryx32fc *x, ryx32fc *h) const {
        _mm_storel_pi(reinterpret_cast<__m64 *>(h), _mm_add_ps(loadBin(h), timesConjugate(x)));
    }

private:
    static __m128 loadBin(const ryx32fc *x) { return _mm_castsi128_ps(_mm_loadu_si64(x)); }

    __m128d re_, im_;
};

void updateFour(const double *step, const ryx32fc *const *history, const ryx32fc *error, ryx32fc *const *coefs,
                int taps, int k) {
    const ScaledError scaled[4] = {
        {step[k], error[k]}, {step[k + 1], error[k + 1]}, {step[k + 2], error[k + 2]}, {step[k + 3], error[k + 3]}};
    for (int t = 0; t < taps; t++) {
        const ryx32fc *const x = history[t] + k;
        ryx32fc *const h = coefs[t] + k;
#pragma GCC unroll 2
        for (int i = 0; i < 4; i += 2) {
            const __m128 both = _mm_movelh_ps(scaled[i].timesConjugate(x + i), scaled[i + 1].timesConjugate(x + i + 1));
            _mm_storeu_ps(&h[i].re, _mm_add_ps(_mm_loadu_ps(&h[i].re), both));
        }
    }
}

} // namespace

void ryxsc::ec::filterSpectra(const ryx32fc *const *history, const ryx32fc *const *coefs, ryx32fc *dst, int taps,
                              int numBands) {
    int k = 0;
    for (; numBands - k >= 8; k += 8)
        filterGroups<2>(history, coefs, taps, k, dst);
    for (; numBands - k >= 4; k += 4)
        filterGroups<1>(history, coefs, taps, k, dst);
    for (; k < numBands; k++)
        dst[k] = filterBin(history, coefs, taps, k);
}

ryxStatus ryxsFIRSubband_EC_32fc_u8(const ryx32fc *const *history, const ryx32fc *const *coefs, ryx32fc *dst, int taps,
                                    int numBands) {
    if (anyNull(history, coefs, dst)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps)) return ryxStsOutOfRange;
    filterSpectra(history, coefs, dst, taps, numBands);
    return ryxStsOk;
}

ryxStatus ryxsFIRSubbandCoeffUpdate_EC_32fc_I_u8(const double *step, const ryx32fc *const *history,
                                                 const ryx32fc *error, ryx32fc *const *coefs, int taps, int numBands) {
    if (anyNull(step, history, error, coefs)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps)) return ryxStsOutOfRange;
    if (std::any_of(step, step + numBands, [](double x) { return x < 0; })) return ryxStsBadSize;
    int k = 0;
    for (; numBands - k >= 4; k += 4)
        updateFour(step, history, error, coefs, taps, k);
    for (; k < numBands; k++)
        for (int t = 0; t < taps; t++)
            ScaledError(step[k], error[k]).updateBin(history[t] + k, coefs[t] + k);
    return ryxStsOk;
}
