// SPDX-License-Identifier: BSD-2-Clause
// Stages of a complex transform of M points that leaves its results in natural order (Stockham): radix 4, and radix 8 at
// the end where M is not a power of four.
//
// A stage of `remaining` points at stride s takes, for p = 0 .. remaining/4 - 1 and q = 0 .. s - 1, the four values at
// q + s*(p + j*remaining/4) and puts their transform, times exp(-2 pi i p j / remaining), to q + s*(4*p + j).
#pragma once

#include <cstdint>
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

// Transforms of 1, 2, 4 and 8 values in place.
template <class Lanes> [[gnu::always_inline]] inline void transformValues(Complex<Lanes> (&)[1]) {
}

template <class Lanes> [[gnu::always_inline]] inline void transformValues(Complex<Lanes> (&x)[2]) {
    const Complex<Lanes> sum = x[0] + x[1], difference = x[0] - x[1];
    x[0] = sum;
    x[1] = difference;
}

template <class Lanes> [[gnu::always_inline]] inline void transformValues(Complex<Lanes> (&x)[4]) {
    const Complex<Lanes> sum02 = x[0] + x[2], sum13 = x[1] + x[3];
    const Complex<Lanes> difference02 = x[0] - x[2], difference13 = timesMinusI(x[1] - x[3]);
    x[0] = sum02 + sum13;
    x[1] = difference02 + difference13;
    x[2] = sum02 - sum13;
    x[3] = difference02 - difference13;
}

template <class Lanes> [[gnu::always_inline]] inline void transformValues(Complex<Lanes> (&x)[8]) {
    Complex<Lanes> even[4] = {x[0], x[2], x[4], x[6]}, odd[4] = {x[1], x[3], x[5], x[7]};
    transformValues(even);
    transformValues(odd);
    odd[1] = timesRootOfMinusI(odd[1]);
    odd[2] = timesMinusI(odd[2]);
    odd[3] = timesRootOfMinusI(timesMinusI(odd[3]));
    for (int j = 0; j < 4; j++) {
        x[j] = even[j] + odd[j];
        x[j + 4] = even[j] - odd[j];
    }
}

// Whether the stage of `remaining` points has factors: the first stage of more than 4 points and those in the middle.
constexpr bool hasFactors(int points, int remaining) {
    return remaining > 8 || (remaining == points && points > 4);
}

// The factors of a stage: for each p three complex numbers, those of j = 1, 2, 3. The first stage has them for `width`
// successive p at a time, as it computes these in one vector.
inline constexpr int factorsPerStep = 6;

// Numbers that the factors of all stages take.
constexpr int64_t factorsOfStages(int points) {
    int64_t length = 0;
    for (int remaining = points; hasFactors(points, remaining); remaining /= 4)
        length += factorsPerStep * int64_t{remaining / 4};
    return length;
}

// Stride 1. load(i) gives the values from index i on.
template <class Lanes, class Load> [[gnu::always_inline]] inline void
firstStage(int points, const typename Lanes::Real *factors, Load load, Split<typename Lanes::Real> to) {
    constexpr int width = Lanes::width;
    const int quarter = points / 4;
    for (int p = 0; p < quarter; p += width) {
        Complex<Lanes> x[4] = {load(p), load(p + quarter), load(p + 2 * quarter), load(p + 3 * quarter)};
        transformValues(x);
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
            transformValues(x);
            storeSplit<Lanes>(to, q + stride * 4 * p, x[0]);
            for (int j = 1; j < 4; j++)
                storeSplit<Lanes>(to, q + stride * (4 * p + j), x[j] * factor[j]);
        }
    }
}

// Without factors.
template <int remaining, class Lanes, class Load, class Store>
[[gnu::always_inline]] inline void lastStageOf(int points, Load load, Store store) {
    const int stride = points / remaining;
    for (int q = 0; q < stride; q += Lanes::width) {
        Complex<Lanes> x[remaining];
        for (int j = 0; j < remaining; j++)
            x[j] = load(q + stride * j);
        transformValues(x);
        for (int j = 0; j < remaining; j++)
            store(q + stride * j, x[j]);
    }
}

template <class Lanes, class Load, class Store>
[[gnu::always_inline]] inline void lastStage(int points, int remaining, Load load, Store store) {
    switch (remaining) {
    case 8:
        return lastStageOf<8, Lanes>(points, load, store);
    case 4:
        return lastStageOf<4, Lanes>(points, load, store);
    case 2:
        return lastStageOf<2, Lanes>(points, load, store);
    default:
        return lastStageOf<1, Lanes>(points, load, store);
    }
}

// The sum over n = 0 .. points-1 of x[n] * exp(-2 pi i k n / points): x comes from load(i), the results go to
// store(buffer, i, values), which may put them into the buffer. Returns that buffer, the first or the second one.
template <class Lanes, class Load, class Store> [[gnu::always_inline]] inline Split<typename Lanes::Real>
transformComplex(int points, const typename Lanes::Real *factors, Split<typename Lanes::Real> first,
                 Split<typename Lanes::Real> second, Load load, Store store) {
    const auto storeSecond = [&](int i, Complex<Lanes> x) { store(second, i, x); };
    if (!hasFactors(points, points)) {
        lastStage<Lanes>(points, points, load, storeSecond);
        return second;
    }
    firstStage<Lanes>(points, factors, load, first);
    int remaining = points / 4;
    for (; hasFactors(points, remaining); remaining /= 4) {
        factors += factorsPerStep * remaining;
        middleStage<Lanes>(points, remaining, factors, first, second);
        std::swap(first, second);
    }
    const auto loadFirst = [&](int i) { return loadSplit<Lanes>(first, i); };
    lastStage<Lanes>(points, remaining, loadFirst, storeSecond);
    return second;
}

} // namespace ryxsc::transform
