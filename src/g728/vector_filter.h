// SPDX-License-Identifier: BSD-2-Clause
// Pole-zero filters of order 10 over a vector of five samples. What the past contributes to all five is summed in vectors;
// what remains is the recursion within the vector.
#pragma once

#include <cstdint>

#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/vectors.h"

namespace ryxsc::g728 {

// Ten words, the newest sample or first coefficient in front, in two vectors.
struct Ten {
    simd::Vector front, back; // words 0 to 7; 8 and 9 with zeros behind

    explicit Ten(const void *from)
        : front(simd::load(from)), back(simd::load32(static_cast<const unsigned char *>(from) + 16)) {}
    Ten(simd::Vector first, simd::Vector second) : front(first), back(second) {}

    void save(void *to) const {
        auto *const octets = static_cast<unsigned char *>(to);
        simd::store(octets, front);
        simd::store32(octets + 16, back);
    }
    int32_t magnitudeSum() const {
        const simd::Vector ones = simd::words(1);
        // As words without a sign a magnitude of 2^15 would do; as one with a sign it counts as -2^15 and is put right.
        const auto sum = [=](simd::Vector x) {
            const simd::Vector most = _mm_cmpeq_epi16(x, simd::words(min16));
            return _mm_add_epi32(_mm_madd_epi16(_mm_abs_epi16(x), ones),
                                 _mm_slli_epi32(_mm_madd_epi16(most, simd::words(-1)), 16));
        };
        return simd::sumOfDwords(_mm_add_epi32(sum(front), sum(back)));
    }
};

// Five words in reverse order, zeros behind them: from memory, or from registers, which spares the wait for memory that was
// written word by word.
inline simd::Vector reversedVector(const int16_t *x) {
    return reversedFive(loadFive(x));
}
struct VectorOutputs {
    int16_t values[vectorLength];

    simd::Vector forward() const {
        return _mm_setr_epi16(values[0], values[1], values[2], values[3], values[4], 0, 0, 0);
    }
    simd::Vector reversed() const {
        return _mm_setr_epi16(values[4], values[3], values[2], values[1], values[0], 0, 0, 0);
    }
};

// Sums of products for the five samples, modulo 2^32.
struct VectorSums {
    int32_t values[8];
};

// `past` moved on by five samples, given in reverse order.
inline Ten advanced(const Ten &past, simd::Vector reversed) {
    return {_mm_or_si128(reversed, _mm_slli_si128(past.front, 10)), _mm_srli_si128(_mm_slli_si128(past.front, 6), 12)};
}

// Zeros: sample n gets sum over i = 1..10 of c[i] x[n - i]; all inputs are there.
inline VectorSums zeroSums(const Ten &c, const Ten &past, simd::Vector reversed) {
    using simd::Vector;
    const Vector near = _mm_or_si128(reversed, _mm_slli_si128(past.front, 10)); // x[4] .. x[-3]
    const Vector far = _mm_alignr_epi8(past.back, past.front, 6);               // x[-4] .. x[-10]
    const auto sum = [&]<int n>() {
        constexpr int skip = 2 * (vectorLength - n);
        return _mm_add_epi32(_mm_madd_epi16(_mm_alignr_epi8(far, near, skip), c.front),
                             _mm_madd_epi16(_mm_srli_si128(far, skip), c.back));
    };
    const Vector sums[] = {sum.template operator()<0>(), sum.template operator()<1>(), sum.template operator()<2>(),
                           sum.template operator()<3>()};
    VectorSums out;
    simd::store(out.values, simd::sumsOfDwords(sums));
    out.values[4] = simd::sumOfDwords(sum.template operator()<4>());
    return out;
}

// Poles: sample n gets sum over i = n + 1..10 of c[i] y[n - i], what the outputs before the vector contribute.
inline VectorSums poleSums(const Ten &c, const Ten &past) {
    using simd::Vector;
    const auto sum = [&]<int n>() {
        const Vector front = _mm_madd_epi16(_mm_slli_si128(past.front, 2 * n), c.front);
        return _mm_add_epi32(front, _mm_madd_epi16(_mm_alignr_epi8(past.back, past.front, 2 * (8 - n)), c.back));
    };
    const Vector sums[] = {sum.template operator()<0>(), sum.template operator()<1>(), sum.template operator()<2>(),
                           sum.template operator()<3>()};
    VectorSums out;
    simd::store(out.values, simd::sumsOfDwords(sums));
    out.values[4] = simd::sumOfDwords(sum.template operator()<4>());
    return out;
}

// x >> 14, limited. Limits are rare: with a branch the next sample does not wait for them.
inline int16_t outputOf(int64_t x) {
    const int64_t output = x >> 14;
    if (output != static_cast<int16_t>(output)) [[unlikely]]
        return output < 0 ? min16 : max16;
    return static_cast<int16_t>(output);
}

// The recursion within a vector: output(n, sum) for sum = start(n) - sum over i = 1..n of c[i] y[n - i].
template <class Start, class Output> VectorOutputs recurseVector(const int16_t *c, Start start, Output output) {
    int64_t factors[vectorLength - 1];
    VectorOutputs y;
#pragma GCC unroll 4
    for (int i = 0; i < vectorLength - 1; i++)
        factors[i] = c[i];
#pragma GCC unroll 5
    for (int n = 0; n < vectorLength; n++) {
        int64_t sum = start(n);
#pragma GCC unroll 4
        for (int i = n; i >= 1; i--) // the newest output last
            sum -= factors[i - 1] * y.values[n - i];
        y.values[n] = output(n, sum);
    }
    return y;
}

} // namespace ryxsc::g728
