// Stages of a complex transform of M points that leaves its results in natural order (Stockham): radix 4, and radix 2 at
// the end where M is not a power of four.
//
// A stage of `remaining` points at stride s takes, for p = 0 .. remaining/4 - 1 and q = 0 .. s - 1, the four values at
// q + s*(p + j*remaining/4) and puts their transform, times exp(-2 pi i p j / remaining), to q + s*(4*p + j).
#pragma once

#include <utility>

#include "transform/lanes.h"

namespace ryxsc::transform {

// Real and imaginary parts apart.
template <class Real> struct Split { Real *re, *im; };

template <class Lanes> inline Complex<Lanes> loadSplit(Split<typename Lanes::Real> from, int i) {
    return {Lanes::load(from.re + i), Lanes::load(from.im + i)};
}
template <class Lanes> inline void storeSplit(Split<typename Lanes::Real> to, int i, Complex<Lanes> x) {
    Lanes::store(to.re + i, x.re);
    Lanes::store(to.im + i, x.im);
}

// Transform of four values.
template <class Lanes> [[gnu::always_inline]] inline void transformFour(Complex<Lanes> (&x)[4]) {
    const Complex<Lanes> sum02 = x[0] + x[2], sum13 = x[1] + x[3];
    const Complex<Lanes> difference02 = x[0] - x[2], difference13 = timesMinusI(x[1] - x[3]);
    x[0] = sum02 + sum13;
    x[1] = difference02 + difference13;
    x[2] = sum02 - sum13;
    x[3] = difference02 - difference13;
}

// The factors of a stage: for each p three complex numbers, those of j = 1, 2, 3. The first stage has them for `width`
// successive p at a time, as it computes these in one vector.
inline constexpr int factorsPerStep = 6;

// Stride 1. load(i) gives the values from index i on.
template <class Lanes, class Load> [[gnu::always_inline]] inline void
firstStage(int points, const typename Lanes::Real *factors, Load load, Split<typename Lanes::Real> to) {
    constexpr int width = Lanes::width;
    const int quarter = points / 4;
    for (int p = 0; p < quarter; p += width) {
        Complex<Lanes> x[4] = {load(p), load(p + quarter), load(p + 2 * quarter), load(p + 3 * quarter)};
        transformFour(x);
        for (int j = 1; j < 4; j++) {
            x[j] = x[j] * Complex<Lanes>{Lanes::load(factors), Lanes::load(factors + width)};
            factors += 2 * width;
        }
        Lanes::storeLanes(to.re + 4 * p, x[0].re, x[1].re, x[2].re, x[3].re);
        Lanes::storeLanes(to.im + 4 * p, x[0].im, x[1].im, x[2].im, x[3].im);
    }
}

// Strides from 4 on.
template <class Lanes>
[[gnu::always_inline]] inline void middleStage(int points, int remaining, const typename Lanes::Real *factors,
                                               Split<typename Lanes::Real> from, Split<typename Lanes::Real> to) {
    const int stride = points / remaining;
    for (int p = 0; p < remaining / 4; p++) {
        Complex<Lanes> factor[4];
        for (int j = 1; j < 4; j++) {
            factor[j] = {Lanes::broadcast(factors[0]), Lanes::broadcast(factors[1])};
            factors += 2;
        }
        for (int q = 0; q < stride; q += Lanes::width) {
            Complex<Lanes> x[4];
            for (int j = 0; j < 4; j++)
                x[j] = loadSplit<Lanes>(from, q + stride * p + points / 4 * j);
            transformFour(x);
            storeSplit<Lanes>(to, q + stride * 4 * p, x[0]);
            for (int j = 1; j < 4; j++)
                storeSplit<Lanes>(to, q + stride * (4 * p + j), x[j] * factor[j]);
        }
    }
}

// What is left: 4, 2 or 1 points.
template <class Lanes, class Load, class Store>
[[gnu::always_inline]] inline void lastStage(int points, int remaining, Load load, Store store) {
    const int stride = points / remaining;
    for (int q = 0; q < stride; q += Lanes::width) {
        if (remaining == 4) {
            Complex<Lanes> x[4] = {load(q), load(q + stride), load(q + 2 * stride), load(q + 3 * stride)};
            transformFour(x);
            for (int j = 0; j < 4; j++)
                store(q + stride * j, x[j]);
        } else if (remaining == 2) {
            const Complex<Lanes> x = load(q), y = load(q + stride);
            store(q, x + y);
            store(q + stride, x - y);
        } else {
            store(q, load(q));
        }
    }
}

// The sum over n = 0 .. points-1 of x[n] * exp(-2 pi i k n / points): x comes from load(i), the results go to
// store(buffer, i, values), which may put them into the buffer. Returns that buffer, the first or the second one.
template <class Lanes, class Load, class Store> [[gnu::always_inline]] inline Split<typename Lanes::Real>
transformComplex(int points, const typename Lanes::Real *factors, Split<typename Lanes::Real> first,
                 Split<typename Lanes::Real> second, Load load, Store store) {
    const auto storeSecond = [&](int i, Complex<Lanes> x) { store(second, i, x); };
    if (points <= 4) {
        lastStage<Lanes>(points, points, load, storeSecond);
        return second;
    }
    firstStage<Lanes>(points, factors, load, first);
    int remaining = points / 4;
    for (; remaining > 4; remaining /= 4) {
        factors += factorsPerStep * remaining;
        middleStage<Lanes>(points, remaining, factors, first, second);
        std::swap(first, second);
    }
    const auto loadFirst = [&](int i) { return loadSplit<Lanes>(first, i); };
    lastStage<Lanes>(points, remaining, loadFirst, storeSecond);
    return second;
}

} // namespace ryxsc::transform
