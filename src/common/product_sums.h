// SPDX-License-Identifier: BSD-2-Clause
// Sums of doubled products as the fixed-point recommendations form them: acc = L_mac(acc, x[i], y[i]), saturated after
// every term in the order of the index.
//
// Where 2 * sum |x[i] * y[i]| and the start fit 31 bits, nothing saturates, whatever the order: such sums are taken with
// pmaddwd modulo 2^32. By Cauchy's inequality they fit if energy(x) * energy(y) < 2^60, and one look at the energies
// serves for all lags of a search. Everything else takes the terms one by one.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/fixed_point.h"
#include "common/simd.h"

namespace ryxsc {

// A sum, and whether anything was saturated on the way: a product, or the sum after any of its terms.
struct WatchedSum {
    int32_t value;
    bool saturated;
};

// sum over i = 0 .. n - 1 of x[i]^2, exactly.
uint64_t energyOfLoud(const int16_t *x, int n);        // n up to 4096
inline uint64_t energyOfFew(const int16_t *x, int n) { // n up to 80
    using simd::Vector;
    // As long as no lane has reached 2^31, adding a pair of squares does not go beyond 2^32.
    Vector sums = _mm_setzero_si128(), seen = sums;
    int i = 0;
    for (; n - i >= 8; i += 8) {
        const Vector words = simd::load(x + i);
        sums = _mm_add_epi32(sums, _mm_madd_epi16(words, words));
        seen = _mm_or_si128(seen, sums);
    }
    if (_mm_movemask_ps(_mm_castsi128_ps(seen)) != 0) [[unlikely]]
        return energyOfLoud(x, n);
    auto total = static_cast<uint64_t>(simd::sumOfQwords(simd::sumsOfUnsignedDwords(sums)));
    for (; i < n; i++)
        total += static_cast<uint64_t>(x[i] * x[i]);
    return total;
}
inline constexpr int few = 80;
[[gnu::noinline]] inline uint64_t energyOfMany(const int16_t *x, int n) {
    uint64_t total = 0;
    for (; n > few; x += few, n -= few)
        total += energyOfFew(x, few);
    return total + energyOfFew(x, n);
}
inline uint64_t energy(const int16_t *x, int n) {
    return n <= few ? energyOfFew(x, n) : energyOfMany(x, n);
}
[[gnu::noinline]] inline uint64_t energyOfLoud(const int16_t *x, int n) {
    using simd::Vector;
    // A pair of squares is at most 2^31: the upper parts and the lower 8 bits are summed apart.
    Vector upper = _mm_setzero_si128(), lower = _mm_setzero_si128();
    int i = 0;
    for (; n - i >= 8; i += 8) {
        const Vector words = simd::load(x + i), pairs = _mm_madd_epi16(words, words);
        upper = _mm_add_epi32(upper, _mm_srli_epi32(pairs, 8)); // 2^9 times 2^23 at most
        lower = _mm_add_epi32(lower, _mm_and_si128(pairs, simd::dwords(0xff)));
    }
    uint64_t total = (static_cast<uint64_t>(simd::sumOfQwords(simd::sumsOfUnsignedDwords(upper))) << 8) +
                     static_cast<uint64_t>(simd::sumOfQwords(simd::sumsOfUnsignedDwords(lower)));
    for (; i < n; i++)
        total += static_cast<uint64_t>(x[i] * x[i]);
    return total;
}

// Whether no sum of doubled products of two vectors of these energies, or of parts of them, can saturate. A start of 1
// is covered: doubled products are even.
inline bool fitsSums(uint64_t energyX, uint64_t energyY) {
    return static_cast<unsigned __int128>(energyX) * energyY < uint64_t{1} << 60;
}

// start + sum of 2 * x[i]^2 for start >= 0: no term is negative, so only the end counts.
inline WatchedSum macEnergy(const int16_t *x, int n, int32_t start = 0) {
    const uint64_t sum = 2 * energy(x, n) + static_cast<uint64_t>(start);
    return sum > max32 ? WatchedSum{max32, true} : WatchedSum{static_cast<int32_t>(sum), false};
}

// start + sum of 2 * x[i] * y[i * step], one by one.
inline WatchedSum macInOrder(const int16_t *x, const int16_t *y, int n, int32_t start = 0, int step = 1) {
    WatchedSum sum{start, false};
    for (int i = 0; i < n; i++) {
        const int64_t product = int64_t{2} * x[i] * y[i * step];
        const int64_t next = sum.value + int64_t{sat32(product)};
        sum.saturated |= product > max32 || next != sat32(next);
        sum.value = sat32(next);
    }
    return sum;
}

// The sum of x[i] * y[i], modulo 2^32.
inline int32_t wrappedProducts(const int16_t *x, const int16_t *y, int n) {
    using simd::Vector;
    Vector sums[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
    int i = 0;
    for (; n - i >= 16; i += 16)
        for (int half = 0; half < 2; half++)
            sums[half] =
                _mm_add_epi32(sums[half], _mm_madd_epi16(simd::load(x + i + 8 * half), simd::load(y + i + 8 * half)));
    for (; n - i >= 4; i += 4)
        sums[0] = _mm_add_epi32(sums[0], _mm_madd_epi16(simd::load64(x + i), simd::load64(y + i)));
    int32_t sum = simd::sumOfDwords(_mm_add_epi32(sums[0], sums[1]));
    for (; i < n; i++)
        sum = wrapAdd32(sum, x[i] * y[i]);
    return sum;
}

// start + sum of 2 * x[i] * y[i], start 0 or 1.
[[gnu::noinline]] inline WatchedSum macProducts(const int16_t *x, const int16_t *y, int n, int32_t start = 0) {
    if (!fitsSums(energy(x, n), energy(y, n))) [[unlikely]]
        return macInOrder(x, y, n, start);
    return {wrapAdd32(start, wrapMul32(2, wrappedProducts(x, y, n))), false};
}

// Correlations, out[k] = sum over i = 0 .. n - 1 of x[i] * y[i + k], modulo 2^32.
namespace correlation {

using simd::Vector;

// `lags` of them, each in lanes of its own that are added in the end: for long vectors and few lags.
template <int lags> [[gnu::noinline]] void deep(const int16_t *x, const int16_t *y, int n, int32_t *out) {
    constexpr int rounded = (lags + 3) / 4 * 4;
    Vector sums[rounded];
#pragma GCC unroll 12
    for (Vector &sum : sums) // in registers all along
        sum = _mm_setzero_si128();
    int i = 0;
    for (; n - i >= 8; i += 8) {
        const Vector words = simd::load(x + i);
#pragma GCC unroll 12
        for (int k = 0; k < lags; k++)
            sums[k] = _mm_add_epi32(sums[k], _mm_madd_epi16(words, simd::load(y + i + k)));
    }
    if (n - i >= 4) {
        const Vector words = simd::load64(x + i);
#pragma GCC unroll 12
        for (int k = 0; k < lags; k++)
            sums[k] = _mm_add_epi32(sums[k], _mm_madd_epi16(words, simd::load64(y + i + k)));
        i += 4;
    }
    for (; i < n; i++)
#pragma GCC unroll 12
        for (int k = 0; k < lags; k++)
            sums[k] = _mm_add_epi32(sums[k], _mm_cvtsi32_si128(x[i] * y[i + k]));
    for (int k = 0; k + 4 <= lags; k += 4)
        simd::store(out + k, simd::sumsOfDwords(sums + k));
    if constexpr (lags % 4 != 0) {
        alignas(16) int32_t rest[4];
        simd::store(rest, simd::sumsOfDwords(sums + lags / 4 * 4));
        std::copy_n(rest, lags % 4, out + lags / 4 * 4);
    }
}

// `lags` of them, a multiple of 8, in a lane each: those of even and of odd k apart.
template <int lags> [[gnu::noinline]] void wide(const int16_t *x, const int16_t *y, int n, int32_t *out) {
    Vector even[lags / 8], odd[lags / 8];
    for (int v = 0; v < lags / 8; v++)
        even[v] = odd[v] = _mm_setzero_si128();
    int i = 0;
    for (; i <= n - 2; i += 2) {
        const Vector pair = _mm_shuffle_epi32(simd::load32(x + i), 0);
#pragma GCC unroll 4
        for (int v = 0; v < lags / 8; v++) {
            even[v] = _mm_add_epi32(even[v], _mm_madd_epi16(pair, simd::load(y + i + 8 * v)));
            odd[v] = _mm_add_epi32(odd[v], _mm_madd_epi16(pair, simd::load(y + i + 8 * v + 1)));
        }
    }
    if (i < n) { // nothing behind the last y that is needed is read
        const Vector low = _mm_set1_epi32(static_cast<uint16_t>(x[i])), high = _mm_slli_epi32(low, 16);
        for (int v = 0; v < lags / 8; v++) {
            even[v] = _mm_add_epi32(even[v], _mm_madd_epi16(low, simd::load(y + i + 8 * v)));
            odd[v] = _mm_add_epi32(odd[v], _mm_madd_epi16(high, simd::load(y + i + 8 * v)));
        }
    }
    for (int v = 0; v < lags / 8; v++) {
        simd::store(out + 8 * v, _mm_unpacklo_epi32(even[v], odd[v]));
        simd::store(out + 8 * v + 4, _mm_unpackhi_epi32(even[v], odd[v]));
    }
}

// Eight of them, n a multiple of 8.
inline void eight(const int16_t *x, const int16_t *y, int n, int32_t *out) {
    Vector sums[8];
#pragma GCC unroll 8
    for (Vector &sum : sums)
        sum = _mm_setzero_si128();
    for (int i = 0; i < n; i += 8) {
        const Vector words = simd::load(x + i);
#pragma GCC unroll 8
        for (int k = 0; k < 8; k++)
            sums[k] = _mm_add_epi32(sums[k], _mm_madd_epi16(words, simd::load(y + i + k)));
    }
    simd::store(out, simd::sumsOfDwords(sums));
    simd::store(out + 4, simd::sumsOfDwords(sums + 4));
}

} // namespace correlation

// The same for k = 0 .. count - 1. Reads y[0 .. n + count - 2].
// Lags of a search: y = x - longest lag, so that out[k] belongs to the lag longest - k.
inline void wrappedCorrelations(const int16_t *x, const int16_t *y, int n, int count, int32_t *out) {
    int k = 0;
    if (count >= 24 || n < 128) {
        for (; count - k >= 32; k += 32)
            correlation::wide<32>(x, y + k, n, out + k);
        for (; count - k >= 8; k += 8)
            n % 8 == 0 ? correlation::eight(x, y + k, n, out + k) : correlation::wide<8>(x, y + k, n, out + k);
    } else {
        for (; count - k >= 11; k += 11)
            correlation::deep<11>(x, y + k, n, out + k);
    }
    for (; count - k >= 6; k += 6)
        correlation::deep<6>(x, y + k, n, out + k);
    for (; count - k >= 3; k += 3)
        correlation::deep<3>(x, y + k, n, out + k);
    for (; k < count; k++)
        out[k] = wrappedProducts(x, y + k, n);
}

// out[k] = sum over i = 0 .. n - 1 of 2 * x[i] * y[i + k], saturating, for k = 0 .. count - 1.
// The caller that knows the energies (see fitsSums) says so.
inline void macCorrelations(const int16_t *x, const int16_t *y, int n, int count, int32_t *out, bool fits) {
    if (fits) {
        wrappedCorrelations(x, y, n, count, out);
        for (int k = 0; k < count; k++)
            out[k] = static_cast<int32_t>(static_cast<uint32_t>(out[k]) << 1);
    } else {
        for (int k = 0; k < count; k++)
            out[k] = macInOrder(x, y + k, n).value;
    }
}
inline void macCorrelations(const int16_t *x, const int16_t *y, int n, int count, int32_t *out) {
    macCorrelations(x, y, n, count, out, fitsSums(energy(x, n), energy(y, n + count - 1)));
}

// The largest of count >= 1 values and its index: of equal ones the first, or the last.
struct IndexedValue {
    int32_t value;
    int index;
};
inline int32_t largest(const int32_t *values, int count) {
    using simd::Vector;
    const auto greater = [](Vector x, Vector y) { return simd::select(_mm_cmpgt_epi32(x, y), x, y); };
    if (count < 4) return *std::max_element(values, values + count);
    Vector best = simd::load(values + count - 4);
    for (int k = 0; k + 4 <= count; k += 4)
        best = greater(best, simd::load(values + k));
    best = greater(best, _mm_unpackhi_epi64(best, best));
    best = greater(best, _mm_shuffle_epi32(best, 0x55));
    return _mm_cvtsi128_si32(best);
}
inline IndexedValue firstLargest(const int32_t *values, int count) {
    const int32_t value = largest(values, count);
    const simd::Vector wanted = simd::dwords(value);
    int k = 0;
    while (k + 4 <= count && _mm_movemask_epi8(_mm_cmpeq_epi32(simd::load(values + k), wanted)) == 0)
        k += 4;
    while (values[k] != value)
        k++;
    return {value, k};
}
inline IndexedValue lastLargest(const int32_t *values, int count) {
    const int32_t value = largest(values, count);
    const simd::Vector wanted = simd::dwords(value);
    int k = count;
    while (k >= 4 && _mm_movemask_epi8(_mm_cmpeq_epi32(simd::load(values + k - 4), wanted)) == 0)
        k -= 4;
    do
        k--;
    while (values[k] != value);
    return {value, k};
}

} // namespace ryxsc
