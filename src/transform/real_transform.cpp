// SPDX-License-Identifier: BSD-2-Clause
// The real transform by a complex transform of half the length: the even samples are real parts, the odd ones imaginary.
// Its results Z[k] and the bins belong together in pairs k, M - k (M = N/2):
//
//     X[k] = E + W D, X[M-k] = conj(E - W D), E = (Z[k] + conj Z[M-k]) / 2, D = (Z[k] - conj Z[M-k]) / 2,
//     W = -i exp(-2 pi i k / N)
#include "transform/real_transform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

#include "transform/complex_stages.h"

namespace ryxsc::transform {

namespace {

// Integers that a forward transform takes are expected within +-2^18: more does not fit 32 bits with 13 bits of order.
constexpr int signalBits = 18;

template <class Sample> using ForwardLanes =
    std::conditional_t<std::is_same_v<Sample, float>, FourFloats, TwoDoubles<Sample>>;
template <class Sample> using InverseLanes = TwoDoubles<Sample>;

// The first stage takes a quarter of the M points at a time, in whole vectors.
template <class Lanes> constexpr bool fillsLanes(int order) {
    return order >= 3 && (1 << order) / 8 >= Lanes::width;
}

using Root = Complex<OneNumber<TwoDoubles<float>>>;

// exp(-2 pi i k / n) for a power of two n, 0 <= k < n: of an angle in the first octant, so that equal values come out
// equal and those on the axes exact.
Root rootOfUnity(int64_t k, int64_t n) {
    if (2 * k > n) return conjugate(rootOfUnity(n - k, n));
    if (4 * k > n) {
        const Root mirrored = rootOfUnity(n / 2 - k, n);
        return {-mirrored.re, mirrored.im};
    }
    if (8 * k > n) {
        const Root mirrored = rootOfUnity(n / 4 - k, n);
        return {-mirrored.im, -mirrored.re};
    }
    constexpr double pi = 3.14159265358979323846;
    const double angle = 2 * pi * static_cast<double>(k) / static_cast<double>(n);
    return {std::cos(angle), -std::sin(angle)};
}

// Writes `width` complex numbers, real parts in front.
template <class Real, class Factor> Real *writeVector(Real *to, int width, Factor factor) {
    for (int i = 0; i < width; i++) {
        const Root value = factor(i);
        to[i] = static_cast<Real>(value.re);
        to[i + width] = static_cast<Real>(value.im);
    }
    return to + 2 * width;
}

// The factors of all stages in the order of their use.
template <class Real> Real *writeStageFactors(Real *to, int points, int width) {
    for (int remaining = points; hasFactors(points, remaining); remaining /= 4) {
        const int lanes = remaining == points ? width : 1;
        for (int p = 0; p < remaining / 4; p += lanes)
            for (int j = 1; j < 4; j++)
                to = writeVector(to, lanes, [=](int i) { return rootOfUnity(int64_t{j} * (p + i), remaining); });
    }
    return to;
}

// The factors W of the pairs k = 1 .. M/2.
template <class Real> void writePairFactors(Real *to, int points, int width) {
    for (int k = 1; k <= points / 2; k += width)
        to = writeVector(to, width, [=](int i) { return timesMinusI(rootOfUnity(k + i, 2 * int64_t{points})); });
}

// How many numbers the tables hold: those of the stages, two per pair, and room for a whole vector.
constexpr int64_t tableLength(int order) {
    return factorsOfStages(1 << (order - 1)) + (int64_t{1} << order) / 2 + 8;
}

template <class Lanes> void writeTables(void *to, int order) {
    const int width = fillsLanes<Lanes>(order) ? Lanes::width : 1, points = 1 << (order - 1);
    writePairFactors(writeStageFactors(static_cast<typename Lanes::Real *>(to), points, width), points, width);
}

// Bytes in front of the tables in single precision: those in double precision.
constexpr int64_t doubleTableBytes(int order) {
    return (tableLength(order) * int64_t{sizeof(double)} + 15) & ~int64_t{15};
}

// The values M-k, M-k-1, ..., conjugated.
template <class Lanes> Complex<Lanes> loadMirrored(Split<typename Lanes::Real> from, int mirror) {
    const Complex<Lanes> x = loadSplit<Lanes>(from, mirror - Lanes::width + 1);
    return {Lanes::reversed(x.re), -Lanes::reversed(x.im)};
}

// 2^-sf, sf limited to 31.
double powerOfHalf(int sf) {
    return std::bit_cast<double>(static_cast<uint64_t>(1023 - std::min(sf, 31)) << 52);
}

// What a call needs besides its vectors.
template <class Real> struct Call {
    Call(const void *numbers, double scaleOfDirection, double guard, int sf, void *work)
        : tables(static_cast<const Real *>(numbers)), scale(static_cast<Real>(scaleOfDirection * powerOfHalf(sf))),
          half(static_cast<Real>(0.5 + guard * powerOfHalf(sf))), memory(static_cast<Real *>(work)) {}

    Split<Real> buffer(int points, int number) const {
        return {memory + 2 * points * number, memory + 2 * points * number + points};
    }

    const Real *tables;
    Real scale;
    Real half; // what rounding adds before it truncates
    Real *memory;
};

// Z to X.
template <class Lanes> [[gnu::always_inline]] inline void separate(int points, const Call<typename Lanes::Real> &call,
                                                                   Split<typename Lanes::Real> z,
                                                                   typename Lanes::Sample *dst) {
    using Single = OneNumber<Lanes>;
    const auto *factors = call.tables + factorsOfStages(points);
    const auto scale = Lanes::broadcast(call.scale / 2), half = Lanes::broadcast(call.half);
    Single::storePairs(dst, {call.scale * (z.re[0] + z.im[0]), 0}, call.half);
    Single::storePairs(dst + 2 * points, {call.scale * (z.re[0] - z.im[0]), 0}, call.half);
    for (int k = 1; k <= points / 2; k += Lanes::width) {
        const Complex<Lanes> x = loadSplit<Lanes>(z, k), mirrored = loadMirrored<Lanes>(z, points - k);
        const Complex<Lanes> even = scaled(scale, x + mirrored);
        const Complex<Lanes> odd =
            scaled(scale, x - mirrored) * Complex<Lanes>{Lanes::load(factors), Lanes::load(factors + Lanes::width)};
        const Complex<Lanes> high = conjugate(even - odd);
        Lanes::storePairs(dst + 2 * k, even + odd, half);
        Lanes::storePairs(dst + 2 * (points - k - Lanes::width + 1),
                          {Lanes::reversed(high.re), Lanes::reversed(high.im)}, half);
        factors += 2 * Lanes::width;
    }
}

// X to Z, scaled, real and imaginary parts exchanged.
template <class Lanes> [[gnu::always_inline]] inline void combine(int points, const Call<typename Lanes::Real> &call,
                                                                  const typename Lanes::Sample *src,
                                                                  Split<typename Lanes::Real> z) {
    const auto *factors = call.tables + factorsOfStages(points);
    const auto scale = Lanes::broadcast(call.scale);
    const auto first = static_cast<typename Lanes::Real>(src[0]);
    const auto last = static_cast<typename Lanes::Real>(src[2 * points]);
    z.im[0] = call.scale * (first + last);
    z.re[0] = call.scale * (first - last);
    for (int k = 1; k <= points / 2; k += Lanes::width) {
        const Complex<Lanes> x = Lanes::loadPairs(src + 2 * k);
        const Complex<Lanes> high = Lanes::loadPairs(src + 2 * (points - k - Lanes::width + 1));
        const Complex<Lanes> mirrored = {Lanes::reversed(high.re), -Lanes::reversed(high.im)};
        const Complex<Lanes> even = scaled(scale, x + mirrored);
        const Complex<Lanes> odd = scaled(scale, x - mirrored) *
                                   conjugate(Complex<Lanes>{Lanes::load(factors), Lanes::load(factors + Lanes::width)});
        const Complex<Lanes> low = even + odd, rest = conjugate(even - odd);
        storeSplit<Lanes>(z, k, swapped(low));
        storeSplit<Lanes>(z, points - k - Lanes::width + 1, {Lanes::reversed(rest.im), Lanes::reversed(rest.re)});
        factors += 2 * Lanes::width;
    }
}

template <class Lanes>
[[gnu::always_inline]] inline void transformForward(int points, const Call<typename Lanes::Real> &call,
                                                    const typename Lanes::Sample *src, typename Lanes::Sample *dst) {
    const auto load = [=](int i) { return Lanes::loadPairs(src + 2 * i); };
    const auto store = [](Split<typename Lanes::Real> to, int i, Complex<Lanes> x) { storeSplit<Lanes>(to, i, x); };
    const auto z =
        transformComplex<Lanes>(points, call.tables, call.buffer(points, 0), call.buffer(points, 1), load, store);
    separate<Lanes>(points, call, z, dst);
}

template <class Lanes>
[[gnu::always_inline]] inline void transformInverse(int points, const Call<typename Lanes::Real> &call,
                                                    const typename Lanes::Sample *src, typename Lanes::Sample *dst) {
    const Split<typename Lanes::Real> z = call.buffer(points, 1);
    combine<Lanes>(points, call, src, z);
    const auto half = Lanes::broadcast(call.half);
    const auto load = [=](int i) { return loadSplit<Lanes>(z, i); };
    const auto store = [=](Split<typename Lanes::Real>, int i, Complex<Lanes> x) {
        Lanes::storePairs(dst + 2 * i, swapped(x), half);
    };
    transformComplex<Lanes>(points, call.tables, call.buffer(points, 0), z, load, store);
}

// Calls work(lanes, points of the complex transform). The orders of the sub-band filter banks have code of their own, in
// single precision those of block filters too.
template <class Lanes, class Work> void withLanes(int order, Work work) {
    if (order == 5) return work(Lanes{}, std::integral_constant<int, 16>{});
    if (order == 6) return work(Lanes{}, std::integral_constant<int, 32>{});
    if constexpr (std::is_same_v<Lanes, FourFloats>) {
        if (order == 7) return work(Lanes{}, std::integral_constant<int, 64>{});
        if (order == 8) return work(Lanes{}, std::integral_constant<int, 128>{});
    }
    if (fillsLanes<Lanes>(order)) return work(Lanes{}, 1 << (order - 1));
    work(OneNumber<Lanes>{}, 1 << (order - 1));
}

} // namespace

template <class Sample> ryxStatus RealTransform<Sample>::getSize(int order, int normalisation, int *bytes) {
    if (order < 1 || order > 30) return ryxStsBadOrder;
    if (normalisation < 1 || normalisation > 8 || !std::has_single_bit(static_cast<unsigned>(normalisation)))
        return ryxStsBadFlag;
    if (order > highestOrder) return ryxStsBadSize;
    const int64_t singleBytes = std::is_same_v<Sample, float> ? tableLength(order) * int64_t{sizeof(float)} : 0;
    const int64_t all = int64_t{sizeof(RealTransform)} + doubleTableBytes(order) + singleBytes;
    *bytes = static_cast<int>((all + 15) & ~int64_t{15});
    return ryxStsOk;
}

template <class Sample>
ryxStatus RealTransform<Sample>::initialise(RealTransform *transform, int order, int normalisation) {
    int bytes;
    if (const ryxStatus status = getSize(order, normalisation, &bytes); status != ryxStsOk) return status;
    const double points = std::ldexp(1, order);
    const auto direction = [=](int magnitudeBits, int dividingByN) {
        double scale = 1;
        if (normalisation == dividingByN) scale = 1 / points;
        if (normalisation == bothBySqrtN) scale = 1 / std::sqrt(points);
        // A sum takes at most order bits more than its terms. 47 bits below that is far above the rounding errors of
        // double precision.
        return Direction{scale, std::ldexp(scale, magnitudeBits + order - 47)};
    };
    *transform = {};
    transform->identifier_ = identifier;
    transform->order_ = order;
    transform->forward_ = direction(signalBits, forwardByN);
    transform->inverse_ = direction(31, inverseByN);
    auto *tables = reinterpret_cast<std::byte *>(transform + 1);
    writeTables<InverseLanes<Sample>>(tables, order);
    if (std::is_same_v<Sample, float>) writeTables<ForwardLanes<Sample>>(tables + doubleTableBytes(order), order);
    return ryxStsOk;
}

template <class Sample>
ryxStatus RealTransform<Sample>::forward(const Sample *src, Sample *dst, int sf, void *memory) const {
    if (!isValid()) return ryxStsBadContext;
    using Lanes = ForwardLanes<Sample>;
    const auto *tables = reinterpret_cast<const std::byte *>(this + 1);
    if (std::is_same_v<Sample, float>) tables += doubleTableBytes(order_);
    const Call<typename Lanes::Real> call(tables, forward_.scale, forward_.guard, sf, memory);
    withLanes<Lanes>(order_,
                     [&](auto lanes, auto points) { transformForward<decltype(lanes)>(points, call, src, dst); });
    return ryxStsOk;
}

template <class Sample>
ryxStatus RealTransform<Sample>::inverse(const Sample *src, Sample *dst, int sf, void *memory) const {
    if (!isValid()) return ryxStsBadContext;
    const Call<double> call(this + 1, inverse_.scale, inverse_.guard, sf, memory);
    withLanes<InverseLanes<Sample>>(
        order_, [&](auto lanes, auto points) { transformInverse<decltype(lanes)>(points, call, src, dst); });
    return ryxStsOk;
}

template <class Sample>
ryxStatus RealTransform<Sample>::inverseSingle(const float *src, float *dst,
                                               void *memory) const requires std::is_same_v<Sample, float> {
    if (!isValid()) return ryxStsBadContext;
    const auto *tables = reinterpret_cast<const std::byte *>(this + 1) + doubleTableBytes(order_);
    const Call<float> call(tables, inverse_.scale, inverse_.guard, 0, memory);
    withLanes<FourFloats>(order_,
                          [&](auto lanes, auto points) { transformInverse<decltype(lanes)>(points, call, src, dst); });
    return ryxStsOk;
}

template class RealTransform<float>;
template class RealTransform<int32_t>;

} // namespace ryxsc::transform
