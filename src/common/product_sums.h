// SPDX-License-Identifier: BSD-2-Clause
// Sums of doubled products as the fixed-point recommendations form them: acc = L_mac(acc, x[i], y[i]), saturated after
// every term in the order of the index.
//
// Where 2 * sum |x[i] * y[i]| and the start fit 31 bits, nothing saturates, whatever the order: such sums are taken with
// pmaddwd modulo 2^32. By Cauchy's inequality they fit if energy(x) * energy(y) < 2^60, and one look at the energies
// serves for all lags of a search; a bound of them is enough for it, and takes half the time. Everything else takes the
// terms one by one.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

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

// An upper bound of the energy of some words, in units of 2^16: the sum of the upper halves of the squares, and 1 for each
// word's lower half. Beyond 2^28 where a lane is full.
class EnergyBound {
    using Vector = simd::Vector;

public:
    void add(Vector words) { sums_ = _mm_adds_epu16(sums_, _mm_mulhi_epi16(words, words)); }
    void add(const EnergyBound &other) { sums_ = _mm_adds_epu16(sums_, other.sums_); }

    // -1 in the lanes that are full.
    Vector full() const { return _mm_cmpeq_epi16(sums_, simd::words(-1)); }
    // The sums in four dwords.
    Vector dwords() const {
        return _mm_add_epi32(_mm_and_si128(sums_, simd::dwords(0xffff)), _mm_srli_epi32(sums_, 16));
    }
    uint64_t of(int n) const {
        const auto sum = static_cast<uint64_t>(simd::sumOfDwords(dwords()));
        return sum + static_cast<uint64_t>(n) + (_mm_movemask_epi8(full()) != 0 ? uint64_t{1} << 28 : 0);
    }

private:
    Vector sums_ = _mm_setzero_si128();
};

inline uint64_t energyBound(const int16_t *x, int n) {
    EnergyBound even, odd;
    int i = 0;
    for (; n - i >= 16; i += 16) {
        even.add(simd::load(x + i));
        odd.add(simd::load(x + i + 8));
    }
    for (; n - i >= 4; i += 4)
        even.add(simd::load64(x + i));
    for (; i < n; i++)
        odd.add(simd::loadWord(x + i));
    even.add(odd);
    return even.of(n);
}

// Whether no sum of doubled products of two vectors with these bounds can saturate, as above; false now and then where
// the energies themselves would just tell.
inline bool boundsFit(uint64_t boundX, uint64_t boundY) {
    return boundX * boundY < 1 << 28;
}
// The same for the bounds of n words each, and of two vectors of n words.
inline bool boundsFit(const EnergyBound &x, const EnergyBound &y, int n) {
    const simd::Vector sums = _mm_hadd_epi32(x.dwords(), y.dwords());
    const auto both = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_hadd_epi32(sums, sums)));
    const auto count = static_cast<uint64_t>(n);
    return _mm_movemask_epi8(_mm_or_si128(x.full(), y.full())) == 0 &&
           boundsFit((both & 0xffffffff) + count, (both >> 32) + count);
}
[[gnu::noinline]] inline bool productsFit(const int16_t *x, const int16_t *y, int n) {
    EnergyBound boundX, boundY;
    int i = 0;
    for (; n - i >= 8; i += 8) {
        boundX.add(simd::load(x + i));
        boundY.add(simd::load(y + i));
    }
    if (n - i >= 4) {
        boundX.add(simd::load64(x + i));
        boundY.add(simd::load64(y + i));
        i += 4;
    }
    for (; i < n; i++) {
        boundX.add(simd::loadWord(x + i));
        boundY.add(simd::loadWord(y + i));
    }
    return boundsFit(boundX, boundY, n);
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
    using simd::Vector;
    EnergyBound boundX, boundY;
    Vector sums = _mm_setzero_si128();
    const auto add = [&](Vector wordsX, Vector wordsY) {
        sums = _mm_add_epi32(sums, _mm_madd_epi16(wordsX, wordsY));
        boundX.add(wordsX);
        boundY.add(wordsY);
    };
    int i = 0;
    for (; n - i >= 8; i += 8)
        add(simd::load(x + i), simd::load(y + i));
    if (n - i >= 4) {
        add(simd::load64(x + i), simd::load64(y + i));
        i += 4;
    }
    for (; i < n; i++)
        add(simd::loadWord(x + i), simd::loadWord(y + i));
    if (!boundsFit(boundX, boundY, n)) [[unlikely]]
        return macInOrder(x, y, n, start);
    return {wrapAdd32(start, wrapMul32(2, simd::sumOfDwords(sums))), false};
}

// Correlations, out[k] = sum over i = 0 .. n - 1 of x[i] * y[i + k], modulo 2^32.
namespace correlation {

using simd::Vector;

// Runs step.operator()<k>() for k = 0 .. count - 1: with constant indices the sums stay in registers.
template <int count, class Step> [[gnu::always_inline]] inline void forEach(Step step) {
    [&]<int... k>(std::integer_sequence<int, k...>) __attribute__((always_inline)) {
        (step.template operator()<k>(), ...);
    }
    (std::make_integer_sequence<int, count>());
}

// sum += x * y, here and now: the compiler reorders long sums until they spill.
inline void addProducts(Vector &sum, Vector x, Vector y) {
    sum = _mm_add_epi32(sum, _mm_madd_epi16(x, y));
    simd::finish(sum);
}

// `lags` of them, each in lanes of its own that are added in the end: for long vectors and few lags. The sums go over
// several stretches of x and y.
struct Stretch {
    const int16_t *x, *y;
    int n;
};
template <int lags, class... Stretches> [[gnu::noinline]] void deep(int32_t *out, Stretches... stretches) {
    Vector sums[(lags + 3) / 4 * 4];
    forEach<(lags + 3) / 4 * 4>([&]<int k>() __attribute__((always_inline)) { sums[k] = _mm_setzero_si128(); });
    const auto add = [&](Stretch stretch) __attribute__((always_inline)) {
        const auto [x, y, n] = stretch;
        const int16_t *current = x, *later = y;
        for (const int16_t *const end = x + n / 8 * 8; current < end; current += 8, later += 8) {
            const Vector words = simd::load(current);
            forEach<lags>([&]<int k>()
                              __attribute__((always_inline)) { addProducts(sums[k], simd::load(later + k), words); });
        }
        if (n % 8 >= 4) {
            const Vector words = simd::load64(current);
            forEach<lags>([&]<int k>()
                              __attribute__((always_inline)) { addProducts(sums[k], simd::load64(later + k), words); });
            current += 4;
            later += 4;
        }
        for (; current < x + n; current++, later++)
            forEach<lags>([&]<int k>() __attribute__((always_inline)) {
                addProducts(sums[k], simd::loadWord(later + k), simd::loadWord(current));
            });
    };
    (add(stretches), ...);
    for (int k = 0; k + 4 <= lags; k += 4)
        simd::store(out + k, simd::sumsOfDwords(sums + k));
    if constexpr (lags % 4 != 0) {
        alignas(16) int32_t rest[4];
        simd::store(rest, simd::sumsOfDwords(sums + lags / 4 * 4));
        std::copy_n(rest, lags % 4, out + lags / 4 * 4);
    }
}

template <int lags> void deep(const int16_t *x, const int16_t *y, int n, int32_t *out) {
    deep<lags>(out, Stretch{x, y, n});
}

// `lags` of them, a multiple of 8, in a lane each. Those of even k come from pairs of samples x[i], x[i + 1] with i even;
// those of odd k from pairs x[i - 1], x[i], which meet the same words of y.
template <int lags> [[gnu::noinline]] void wide(const int16_t *x, const int16_t *y, int n, int32_t *out) {
    constexpr int vectors = lags / 8;
    Vector even[vectors], odd[vectors];
    forEach<vectors>([&]<int v>() __attribute__((always_inline)) { even[v] = odd[v] = _mm_setzero_si128(); });
    const auto add = [&](Vector pair, Vector past, const int16_t *from) __attribute__((always_inline)) {
        asm("" : "+r"(from)); // or else words that come again later are kept on the stack until then
        forEach<vectors>([&]<int v>() __attribute__((always_inline)) {
            const Vector words = simd::load(from + 8 * v);
            addProducts(even[v], words, pair);
            addProducts(odd[v], words, past);
        });
    };
    int i = 0;
    Vector before = _mm_setzero_si128();
    for (; i <= n - 8; i += 8) {
        const Vector now = simd::load(x + i), past = _mm_alignr_epi8(now, before, 14);
        before = now;
        add(_mm_shuffle_epi32(now, 0), _mm_shuffle_epi32(past, 0), y + i);
        add(_mm_shuffle_epi32(now, 0x55), _mm_shuffle_epi32(past, 0x55), y + i + 2);
        add(_mm_shuffle_epi32(now, 0xaa), _mm_shuffle_epi32(past, 0xaa), y + i + 4);
        add(_mm_shuffle_epi32(now, 0xff), _mm_shuffle_epi32(past, 0xff), y + i + 6);
    }
    before = _mm_srli_si128(before, 14);
    for (int k = 0; k < n % 8; k += 2) { // the last sample of an odd number goes with a zero
        const Vector now = k + 1 < n % 8 ? simd::load32(x + i + k) : simd::loadWord(x + i + k);
        const Vector past = _mm_or_si128(_mm_slli_epi32(now, 16), before);
        before = _mm_srli_epi32(now, 16);
        add(_mm_shuffle_epi32(now, 0), _mm_shuffle_epi32(past, 0), y + i + k);
    }
    if (n % 2 == 0) { // nothing behind the last y that is needed is read
        const Vector last = _mm_slli_epi32(_mm_shuffle_epi32(before, 0), 16);
        forEach<vectors>([&]<int v>() __attribute__((always_inline)) {
            addProducts(odd[v], simd::load(y + n - 1 + 8 * v), last);
        });
    }
    forEach<vectors>([&]<int v>() __attribute__((always_inline)) {
        simd::store(out + 8 * v, _mm_unpacklo_epi32(even[v], odd[v]));
        simd::store(out + 8 * v + 4, _mm_unpackhi_epi32(even[v], odd[v]));
    });
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
    if (count >= 24 || (count >= 8 && n < 128)) {
        // As few and as wide passes as there can be; the last one may repeat some lags of the one before.
        for (; count - k > 40; k += 32)
            correlation::wide<32>(x, y + k, n, out + k);
        const auto pass = [&](int groups) {
            const int at = std::min(k, count - 8 * groups);
            switch (groups) {
            case 4:
                return correlation::wide<32>(x, y + at, n, out + at);
            case 3:
                return correlation::wide<24>(x, y + at, n, out + at);
            case 2:
                return correlation::wide<16>(x, y + at, n, out + at);
            case 1:
                if (n % 8 == 0) return correlation::eight(x, y + at, n, out + at);
                return correlation::wide<8>(x, y + at, n, out + at);
            }
        };
        const int groups = (count - k + 7) / 8;
        const int first = groups == 5 || (k == 0 && count % 8 != 0) ? (groups + 1) / 2 : groups;
        pass(first);
        k += 8 * first;
        pass(groups - first);
        return;
    }
    const auto pass = [&]<int lags>() {
        correlation::deep<lags>(x, y + k, n, out + k);
        k += lags;
    };
    if (count == 17) pass.template operator()<9>();
    if (count - k == 8) pass.template operator()<8>();
    while (count - k >= 11)
        pass.template operator()<11>();
    while (count - k >= 6)
        pass.template operator()<6>();
    while (count - k >= 3)
        pass.template operator()<3>();
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
    macCorrelations(x, y, n, count, out, boundsFit(energyBound(x, n), energyBound(y, n + count - 1)));
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
    // Four at a time that do not wait for one another.
    Vector best[4];
    for (Vector &lane : best)
        lane = simd::load(values + count - 4);
    int k = 0;
    for (; k + 16 <= count; k += 16)
        for (int lane = 0; lane < 4; lane++)
            best[lane] = greater(best[lane], simd::load(values + k + 4 * lane));
    for (int lane = 0; k + 4 <= count; k += 4, lane++)
        best[lane] = greater(best[lane], simd::load(values + k));
    best[0] = greater(greater(best[0], best[1]), greater(best[2], best[3]));
    best[0] = greater(best[0], _mm_unpackhi_epi64(best[0], best[0]));
    best[0] = greater(best[0], _mm_shuffle_epi32(best[0], 0x55));
    return _mm_cvtsi128_si32(best[0]);
}
// Where in 16 values one stands, bit by bit.
inline uint32_t placesOf(simd::Vector value, const int32_t *values) {
    const auto equal = [=](int k) { return _mm_cmpeq_epi32(simd::load(values + k), value); };
    const simd::Vector front = _mm_packs_epi32(equal(0), equal(4)), back = _mm_packs_epi32(equal(8), equal(12));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(front, back)));
}
[[gnu::noinline]] inline IndexedValue firstLargest(const int32_t *values, int count) {
    const int32_t value = largest(values, count);
    const simd::Vector wanted = simd::dwords(value);
    int k = 0;
    for (; k + 16 <= count; k += 16)
        if (const uint32_t places = placesOf(wanted, values + k)) return {value, k + std::countr_zero(places)};
    while (values[k] != value)
        k++;
    return {value, k};
}
[[gnu::noinline]] inline IndexedValue lastLargest(const int32_t *values, int count) {
    const int32_t value = largest(values, count);
    const simd::Vector wanted = simd::dwords(value);
    int k = count;
    for (; k >= 16; k -= 16)
        if (const uint32_t places = placesOf(wanted, values + k - 16)) return {value, k - 16 + floorLog2(places)};
    do
        k--;
    while (values[k] != value);
    return {value, k};
}
// The same for so few that a look at all of them is cheaper than a branch: up to 4 * groups, with room for that many.
template <int groups> IndexedValue lastLargestOfFew(int32_t *values, int count) {
    std::fill(values + count, values + 4 * groups, min32);
    const int32_t value = largest(values, 4 * groups);
    unsigned ones = 0;
    for (int g = 0; g < groups; g++) {
        const simd::Vector equal = _mm_cmpeq_epi32(simd::load(values + 4 * g), simd::dwords(value));
        ones |= static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(equal))) << 4 * g;
    }
    return {value, std::min(floorLog2(ones), count - 1)};
}

} // namespace ryxsc
