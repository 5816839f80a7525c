// SPDX-License-Identifier: BSD-2-Clause
// Four neighbouring bins of a spectrum in single precision.
#pragma once

#include <pmmintrin.h>

#include "ryxsc/ec.h"

namespace ryxsc::ec {

// Real and imaginary parts of four neighbouring bins.
struct FourBins {
    __m128 re, im;

    static FourBins load(const ryx32fc *from) {
        const __m128 front = _mm_loadu_ps(&from[0].re), back = _mm_loadu_ps(&from[2].re);
        return {_mm_shuffle_ps(front, back, _MM_SHUFFLE(2, 0, 2, 0)),
                _mm_shuffle_ps(front, back, _MM_SHUFFLE(3, 1, 3, 1))};
    }
    void store(ryx32fc *to) const {
        _mm_storeu_ps(&to[0].re, _mm_unpacklo_ps(re, im));
        _mm_storeu_ps(&to[2].re, _mm_unpackhi_ps(re, im));
    }

    // The first `count` bins, the others 0.
    static FourBins load(const ryx32fc *from, int count) {
        if (count == 4) return load(from);
        ryx32fc some[4] = {};
        for (int i = 0; i < count; i++)
            some[i] = from[i];
        return load(some);
    }
    void store(ryx32fc *to, int count) const {
        if (count == 4) return store(to);
        ryx32fc four[4];
        store(four);
        for (int i = 0; i < count; i++)
            to[i] = four[i];
    }

    __m128 power() const { return _mm_add_ps(_mm_mul_ps(re, re), _mm_mul_ps(im, im)); }

    void addProduct(const FourBins &x, const FourBins &h) {
        re = _mm_add_ps(re, _mm_sub_ps(_mm_mul_ps(x.re, h.re), _mm_mul_ps(x.im, h.im)));
        im = _mm_add_ps(im, _mm_add_ps(_mm_mul_ps(x.re, h.im), _mm_mul_ps(x.im, h.re)));
    }
};

// Sums of |x|^2 over four neighbouring bins of many spectra. Real and imaginary parts are added up apart.
class FourEnergies {
public:
    void add(const ryx32fc *bins) {
        const __m128 front = _mm_loadu_ps(&bins[0].re), back = _mm_loadu_ps(&bins[2].re);
        front_ = _mm_add_ps(front_, _mm_mul_ps(front, front));
        back_ = _mm_add_ps(back_, _mm_mul_ps(back, back));
    }
    void add(ryx32fc bin) {
        const __m128 x = _mm_setr_ps(bin.re, bin.im, 0, 0);
        front_ = _mm_add_ps(front_, _mm_mul_ps(x, x));
    }
    __m128 get() const { return _mm_hadd_ps(front_, back_); }

private:
    __m128 front_ = _mm_setzero_ps(), back_ = _mm_setzero_ps();
};

} // namespace ryxsc::ec
