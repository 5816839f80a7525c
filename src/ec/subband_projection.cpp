// SPDX-License-Identifier: BSD-2-Clause
// Affine projection update of the echo canceller's sub-band filter, in double precision, two bands at a time.
#include <emmintrin.h>

#include <cstdint>
#include <limits>

#include "common/checks.h"
#include "ec/implementations.h"
#include "ec/subband_filter.h"
#include "frame/scratch.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

// Numbers of two neighbouring bands; behind the last of an odd count it stands once more.
struct Complex {
    __m128d re, im;
};

Complex operator+(Complex x, Complex y) {
    return {x.re + y.re, x.im + y.im};
}
Complex operator-(Complex x, Complex y) {
    return {x.re - y.re, x.im - y.im};
}
Complex operator*(Complex x, Complex y) {
    return {x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re};
}
Complex operator*(__m128d x, Complex y) {
    return {x * y.re, x * y.im};
}
Complex timesConjugate(Complex x, Complex y) {
    return {x.re * y.re + x.im * y.im, x.im * y.re - x.re * y.im};
}

constexpr Complex zero = {};

class BandPair {
public:
    BandPair(int k, int numBands) : first_(k), isSingle_(k + 1 == numBands) {}

    __m128d of(const double *row) const { return _mm_setr_pd(row[first_], row[isSingle_ ? first_ : first_ + 1]); }
    Complex of(const ryx32fc *row) const {
        const __m128 bins = load(row);
        const __m128 parts = _mm_shuffle_ps(bins, bins, _MM_SHUFFLE(3, 1, 2, 0));
        return {_mm_cvtps_pd(parts), _mm_cvtps_pd(_mm_movehl_ps(parts, parts))};
    }

    // Where the mask is set.
    void add(Complex update, int mask, ryx32fc *row) const {
        const __m128 sums = _mm_add_ps(load(row), _mm_unpacklo_ps(_mm_cvtpd_ps(update.re), _mm_cvtpd_ps(update.im)));
        if (mask & 1) _mm_storel_pi(reinterpret_cast<__m64 *>(row + first_), sums);
        if (mask & 2 && !isSingle_) _mm_storeh_pi(reinterpret_cast<__m64 *>(row + first_ + 1), sums);
    }

private:
    __m128 load(const ryx32fc *row) const {
        if (!isSingle_) return _mm_loadu_ps(&row[first_].re);
        const __m128 bin = _mm_castsi128_ps(_mm_loadu_si64(row + first_));
        return _mm_movelh_ps(bin, bin);
    }

    int first_;
    bool isSingle_;
};

// The regressors of one pair of bands, their correlations and the solution. Regressor p is x[p], x[p + 1], ...
class Projection {
public:
    static int64_t workCount(int taps, int order) { return int64_t{order} * order + order + taps + (order - 1); }

    Projection(Complex *work, int taps, int order)
        : taps_(taps), order_(order), rows_(work), g_(rows_ + order * order), x_(g_ + order) {}

    void update(const double *const *step, const ryx32fc *const *history, const ryx32fc *const *error,
                ryx32fc *const *coefs, BandPair bands) {
        for (int i = 0; i < taps_ + order_ - 1; i++)
            x_[i] = bands.of(history[i]);
        for (int p = 0; p < order_; p++)
            g_[p] = bands.of(error[p]);
        correlate(bands.of(step[1]));
        const int solved = factorise();
        if (solved == 0) return;
        solve();
        for (int t = 0; t < taps_; t++) {
            Complex sum = zero;
            for (int p = 0; p < order_; p++)
                sum = sum + timesConjugate(g_[p], x_[p + t]);
            bands.add(bands.of(step[0]) * sum, solved, coefs[t]);
        }
    }

private:
    Complex &entry(int p, int q) { return rows_[p * order_ + q]; }

    // The lower triangle, the regularisation on the diagonal.
    void correlate(__m128d regularisation) {
        for (int p = 0; p < order_; p++) {
            for (int q = 0; q <= p; q++) {
                Complex sum = zero;
                for (int t = 0; t < taps_; t++)
                    sum = sum + timesConjugate(x_[p + t], x_[q + t]);
                entry(p, q) = sum;
            }
            entry(p, p).re += regularisation;
        }
    }

    // Cholesky, in place, the reciprocals of the pivots' roots on the diagonal. In which bands all pivots are positive.
    int factorise() {
        int positive = 3;
        for (int q = 0; q < order_; q++) {
            for (int p = q; p < order_; p++)
                for (int m = 0; m < q; m++)
                    entry(p, q) = entry(p, q) - timesConjugate(entry(p, m), entry(q, m));
            const __m128d pivot = entry(q, q).re;
            positive &= _mm_movemask_pd(_mm_cmpgt_pd(pivot, _mm_setzero_pd()));
            if (positive == 0) return 0;
            const __m128d scale = _mm_set1_pd(1) / _mm_sqrt_pd(pivot);
            for (int p = q + 1; p < order_; p++)
                entry(p, q) = scale * entry(p, q);
            entry(q, q).re = scale;
        }
        return positive;
    }

    // Forward, then backward substitution, in place of the errors.
    void solve() {
        for (int p = 0; p < order_; p++) {
            for (int m = 0; m < p; m++)
                g_[p] = g_[p] - entry(p, m) * g_[m];
            g_[p] = entry(p, p).re * g_[p];
        }
        for (int p = order_ - 1; p >= 0; p--) {
            for (int m = p + 1; m < order_; m++)
                g_[p] = g_[p] - timesConjugate(g_[m], entry(m, p));
            g_[p] = entry(p, p).re * g_[p];
        }
    }

    int taps_, order_;
    Complex *rows_, *g_, *x_;
};

constexpr int mostOrderOnStack = 8;

} // namespace

ryxStatus ryxsFIRSubbandAPCoeffUpdate_EC_32fc_I_u8(const double *const *step, const ryx32fc *const *history,
                                                   const ryx32fc *const *error, ryx32fc *const *coefs, int taps,
                                                   int numBands, int order) {
    if (anyNull(step, history, error, coefs)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps) || order < 1) return ryxStsOutOfRange;
    Complex onStack[mostOrderOnStack * (mostOrderOnStack + 1) + mostTaps + mostOrderOnStack - 1];
    const bool needsScratch = order > mostOrderOnStack;
    const int64_t count = Projection::workCount(taps, order);
    const bool canBeHad = count <= std::numeric_limits<int>::max() / static_cast<int>(sizeof(Complex));
    const int bytes = needsScratch && canBeHad ? static_cast<int>(count) * static_cast<int>(sizeof(Complex)) : 0;
    const Scratch<Complex> scratch(allocateBytes(bytes));
    if (needsScratch && !scratch.get()) return ryxStsNoMem;
    Projection projection(needsScratch ? scratch.get() : onStack, taps, order);
    for (int k = 0; k < numBands; k += 2)
        projection.update(step, history, error, coefs, BandPair(k, numBands));
    return ryxStsOk;
}
