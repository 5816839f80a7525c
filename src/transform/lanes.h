// SPDX-License-Identifier: BSD-2-Clause
// The vectors that the transforms compute in: four floats, two doubles, or one number where a transform is too short for
// either. All have the same operations, so that each step of a transform is written once. Sample is what lies in the
// caller's arrays, float or 32-bit integer; integers are rounded when they are stored.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "common/simd.h"

namespace ryxsc::transform {

template <class Lanes> struct Complex { typename Lanes::Vector re, im; };

template <class Lanes> inline Complex<Lanes> operator+(Complex<Lanes> x, Complex<Lanes> y) {
    return {x.re + y.re, x.im + y.im};
}
template <class Lanes> inline Complex<Lanes> operator-(Complex<Lanes> x, Complex<Lanes> y) {
    return {x.re - y.re, x.im - y.im};
}
template <class Lanes> inline Complex<Lanes> operator*(Complex<Lanes> x, Complex<Lanes> y) {
    return {x.re * y.re - x.im * y.im, x.re * y.im + x.im * y.re};
}
template <class Lanes> inline Complex<Lanes> scaled(typename Lanes::Vector factor, Complex<Lanes> x) {
    return {factor * x.re, factor * x.im};
}
template <class Lanes> inline Complex<Lanes> conjugate(Complex<Lanes> x) {
    return {x.re, -x.im};
}
template <class Lanes> inline Complex<Lanes> timesMinusI(Complex<Lanes> x) {
    return {x.im, -x.re};
}
// exp(-i pi/4) x
template <class Lanes> inline Complex<Lanes> timesRootOfMinusI(Complex<Lanes> x) {
    const auto rootOfHalf = Lanes::broadcast(static_cast<typename Lanes::Real>(0.70710678118654752440));
    return scaled(rootOfHalf, Complex<Lanes>{x.re + x.im, x.im - x.re});
}
// i times the conjugate: the inverse transform is the forward transform between two of these.
template <class Lanes> inline Complex<Lanes> swapped(Complex<Lanes> x) {
    return {x.im, x.re};
}

// The nearest integers, ties upwards, saturated; `half` is 0.5 or a little more. Truncation, as conversion to nearest
// would depend on the rounding mode.
inline __m128i roundUpwards(__m128d x, __m128d half) {
    const __m128d limited = _mm_max_pd(_mm_min_pd(x + half, _mm_set1_pd(max32)), _mm_set1_pd(min32));
    const __m128i truncated = _mm_cvttpd_epi32(limited);
    const __m128d above = _mm_cmpgt_pd(_mm_cvtepi32_pd(truncated), limited);
    return _mm_add_epi32(truncated, _mm_shuffle_epi32(_mm_castpd_si128(above), _MM_SHUFFLE(2, 2, 2, 0)));
}

struct FourFloats {
    using Real = float;
    using Sample = float;
    using Vector = __m128;
    static constexpr int width = 4;

    static Vector broadcast(Real x) { return _mm_set1_ps(x); }
    static Vector load(const Real *from) { return _mm_loadu_ps(from); }
    static void store(Real *to, Vector x) { _mm_storeu_ps(to, x); }
    static Vector reversed(Vector x) { return _mm_shuffle_ps(x, x, _MM_SHUFFLE(0, 1, 2, 3)); }

    // Consecutive pairs of samples as complex numbers.
    static Complex<FourFloats> loadPairs(const Sample *from) {
        const Vector front = load(from), back = load(from + 4);
        return {_mm_shuffle_ps(front, back, _MM_SHUFFLE(2, 0, 2, 0)),
                _mm_shuffle_ps(front, back, _MM_SHUFFLE(3, 1, 3, 1))};
    }
    static void storePairs(Sample *to, Complex<FourFloats> x, Vector) {
        store(to, _mm_unpacklo_ps(x.re, x.im));
        store(to + 4, _mm_unpackhi_ps(x.re, x.im));
    }
    // Lane by lane, the four numbers of each lane one after the other.
    static void storeLanes(Real *to, Vector x0, Vector x1, Vector x2, Vector x3) {
        _MM_TRANSPOSE4_PS(x0, x1, x2, x3);
        store(to, x0);
        store(to + 4, x1);
        store(to + 8, x2);
        store(to + 12, x3);
    }
};

template <class Element> struct TwoDoubles {
    using Real = double;
    using Sample = Element;
    using Vector = __m128d;
    static constexpr int width = 2;

    static Vector broadcast(Real x) { return _mm_set1_pd(x); }
    static Vector load(const Real *from) { return _mm_loadu_pd(from); }
    static void store(Real *to, Vector x) { _mm_storeu_pd(to, x); }
    static Vector reversed(Vector x) { return _mm_shuffle_pd(x, x, 1); }

    static Complex<TwoDoubles> loadPairs(const int32_t *from) {
        const __m128i pairs = _mm_shuffle_epi32(simd::load(from), _MM_SHUFFLE(3, 1, 2, 0));
        return {_mm_cvtepi32_pd(pairs), _mm_cvtepi32_pd(_mm_unpackhi_epi64(pairs, pairs))};
    }
    static Complex<TwoDoubles> loadPairs(const float *from) {
        const __m128 pairs = _mm_loadu_ps(from);
        return {_mm_cvtps_pd(_mm_shuffle_ps(pairs, pairs, _MM_SHUFFLE(3, 1, 2, 0))),
                _mm_cvtps_pd(_mm_shuffle_ps(pairs, pairs, _MM_SHUFFLE(2, 0, 3, 1)))};
    }
    static void storePairs(int32_t *to, Complex<TwoDoubles> x, Vector half) {
        simd::store(to, _mm_unpacklo_epi32(roundUpwards(x.re, half), roundUpwards(x.im, half)));
    }
    static void storePairs(float *to, Complex<TwoDoubles> x, Vector) {
        _mm_storeu_ps(to, _mm_unpacklo_ps(_mm_cvtpd_ps(x.re), _mm_cvtpd_ps(x.im)));
    }
    static void storeLanes(Real *to, Vector x0, Vector x1, Vector x2, Vector x3) {
        store(to, _mm_unpacklo_pd(x0, x1));
        store(to + 2, _mm_unpacklo_pd(x2, x3));
        store(to + 4, _mm_unpackhi_pd(x0, x1));
        store(to + 6, _mm_unpackhi_pd(x2, x3));
    }
};

inline void storeSample(float *to, double x, double) {
    *to = static_cast<float>(x);
}
inline void storeSample(int32_t *to, double x, double half) {
    *to = _mm_cvtsi128_si32(roundUpwards(_mm_set_sd(x), _mm_set_sd(half)));
}

template <class Vectors> struct OneNumber {
    using Real = typename Vectors::Real;
    using Sample = typename Vectors::Sample;
    using Vector = Real;
    static constexpr int width = 1;

    static Vector broadcast(Real x) { return x; }
    static Vector load(const Real *from) { return *from; }
    static void store(Real *to, Vector x) { *to = x; }
    static Vector reversed(Vector x) { return x; }

    static Complex<OneNumber> loadPairs(const Sample *from) {
        return {static_cast<Real>(from[0]), static_cast<Real>(from[1])};
    }
    static void storePairs(Sample *to, Complex<OneNumber> x, Vector half) {
        storeSample(to, x.re, half);
        storeSample(to + 1, x.im, half);
    }
    static void storeLanes(Real *to, Vector x0, Vector x1, Vector x2, Vector x3) {
        to[0] = x0;
        to[1] = x1;
        to[2] = x2;
        to[3] = x3;
    }
};

} // namespace ryxsc::transform
