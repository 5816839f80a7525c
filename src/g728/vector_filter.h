// SPDX-License-Identifier: BSD-2-Clause
// Pole-zero filters of order 10 over a vector of five samples. What the past contributes to all five is summed in vectors;
// what remains is the recursion within the vector.
#pragma once

#include <cstdint>

#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/vectors.h"

namespace ryxsc::g728 {

// Memory of the pole-zero filter, as ryxsIIR16s_G728_16s() documents it.
struct PoleZeroState {
    int16_t inputs[order], reserved1[6]; // newest first
    int16_t outputs[order], reserved2[6];
};
static_assert(sizeof(PoleZeroState) == 64);

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
        // -2^15 has a magnitude with the sign of -1, but none with that of 1.
        const auto sum = [](simd::Vector x) {
            const simd::Vector negative = _mm_min_epi16(x, _mm_sub_epi16(_mm_setzero_si128(), x));
            return _mm_madd_epi16(negative, simd::words(-1));
        };
        return simd::sumOfDwords(_mm_add_epi32(sum(front), sum(back)));
    }
};

// Outputs of a vector.
struct VectorOutputs {
    int64_t values[vectorLength]; // of 16 bits

    // Put together in scalar registers: a word that had to be stored in between could not be loaded as part of more.
    simd::Vector forward() const {
        const auto word = [this](int n) { return uint64_t{static_cast<uint16_t>(values[n])}; };
        return _mm_set_epi64x(static_cast<int64_t>(word(4)),
                              static_cast<int64_t>(word(0) | word(1) << 16 | word(2) << 32 | word(3) << 48));
    }
};

// Sums of products for the five samples, modulo 2^32: 0 to 3 in the dwords of a vector.
struct VectorSums {
    simd::Vector four;
    int32_t fifth;
};

// Ten coefficients, and the same as pairs: 1 and 2 in all dwords, 3 and 4, and so on.
struct PairedTaps {
    Ten words;
    simd::Vector pairs[5];

    explicit PairedTaps(const int16_t *c)
        : words(c), pairs{_mm_shuffle_epi32(words.front, 0x00), _mm_shuffle_epi32(words.front, 0x55),
                          _mm_shuffle_epi32(words.front, 0xaa), _mm_shuffle_epi32(words.front, 0xff),
                          _mm_shuffle_epi32(words.back, 0x00)} {}
};

// `past` moved on by five samples, given in reverse order.
inline Ten advanced(const Ten &past, simd::Vector reversed) {
    return {_mm_or_si128(reversed, _mm_slli_si128(past.front, 10)), _mm_srli_si128(_mm_slli_si128(past.front, 6), 12)};
}

// Words 3 - n + i and 4 - n + i of x in dword n, 0 where i + 3 - n is below 0.
template <int i> simd::Vector pairsBackFrom(simd::Vector x) {
    constexpr auto octet = [](int n, int j) {
        const int word = i + 3 - n + j / 2;
        return static_cast<char>(word < 0 ? -1 : 2 * word + j % 2);
    };
    return _mm_shuffle_epi8(x,
                            _mm_setr_epi8(octet(0, 0), octet(0, 1), octet(0, 2), octet(0, 3), octet(1, 0), octet(1, 1),
                                          octet(1, 2), octet(1, 3), octet(2, 0), octet(2, 1), octet(2, 2), octet(2, 3),
                                          octet(3, 0), octet(3, 1), octet(3, 2), octet(3, 3)));
}

// Zeros: sample n gets sum over i = 1..10 of c[i] x[n - i]; all inputs are there.
inline VectorSums zeroSums(const PairedTaps &c, const Ten &past, simd::Vector reversed) {
    using simd::Vector;
    const Vector near = _mm_or_si128(reversed, _mm_slli_si128(past.front, 10)); // x[4] .. x[-3]
    const Vector far = _mm_alignr_epi8(past.back, past.front, 6);               // x[-4] .. x[-10]
    const Vector middle = _mm_alignr_epi8(far, near, 8);                        // x[0] .. x[-7]
    const Vector sums[] = {
        _mm_madd_epi16(pairsBackFrom<2>(near), c.pairs[0]), _mm_madd_epi16(pairsBackFrom<0>(middle), c.pairs[1]),
        _mm_madd_epi16(pairsBackFrom<2>(middle), c.pairs[2]), _mm_madd_epi16(pairsBackFrom<0>(far), c.pairs[3]),
        _mm_madd_epi16(pairsBackFrom<2>(far), c.pairs[4])};
    const Vector fifth = _mm_add_epi32(_mm_madd_epi16(_mm_alignr_epi8(far, near, 2), c.words.front),
                                       _mm_madd_epi16(far, _mm_slli_si128(c.words.back, 2)));
    return {_mm_add_epi32(_mm_add_epi32(_mm_add_epi32(sums[0], sums[1]), _mm_add_epi32(sums[2], sums[3])), sums[4]),
            simd::sumOfDwords(fifth)};
}

// Poles: sample n gets sum over i = n + 1..10 of c[i] y[n - i], what the outputs before the vector contribute.
inline VectorSums poleSums(const PairedTaps &c, const Ten &past) {
    using simd::Vector;
    const Vector far = _mm_alignr_epi8(past.back, past.front, 10); // y[-6] .. y[-10]
    const Vector sums[] = {_mm_madd_epi16(pairsBackFrom<-3>(past.front), c.pairs[0]),
                           _mm_madd_epi16(pairsBackFrom<-1>(past.front), c.pairs[1]),
                           _mm_madd_epi16(pairsBackFrom<1>(past.front), c.pairs[2]),
                           _mm_madd_epi16(pairsBackFrom<3>(past.front), c.pairs[3]),
                           _mm_madd_epi16(pairsBackFrom<0>(far), c.pairs[4])};
    const Vector fifth = _mm_madd_epi16(past.front, _mm_alignr_epi8(c.words.back, c.words.front, 8));
    return {_mm_add_epi32(_mm_add_epi32(_mm_add_epi32(sums[0], sums[1]), _mm_add_epi32(sums[2], sums[3])), sums[4]),
            simd::sumOfDwords(fifth)};
}

// x >> 14, limited. Limits are rare: with a branch the next sample waits neither for them nor for the comparison.
inline int64_t wideOutputOf(int64_t x) {
    int64_t output = x >> 14;
    if (static_cast<uint64_t>(output + 32768) > 65535) [[unlikely]]
        output = output < 0 ? min16 : max16;
    return output;
}
inline int16_t outputOf(int64_t x) {
    return static_cast<int16_t>(wideOutputOf(x));
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

// The pole-zero filter whose poles saturate at every step, on vectors for which they do not: while the sum over the zeros is
// far enough from the limits, they cannot, and the order of their products is free.
class WeightingFilter {
public:
    explicit WeightingFilter(const int16_t *coefficients)
        : zeros_(coefficients), poles_(coefficients + order), coefficients_(coefficients + order),
          limit_(max32 - int64_t{poles_.words.magnitudeSum()} * 32768) {}

    // Five samples, zeros behind them, which the response takes the place of; or false, with nothing changed.
    bool apply(simd::Vector &samples, Ten &inputs, Ten &outputs) const {
        using simd::Vector;
        if (limit_ < 0) [[unlikely]]
            return false;
        const Vector reversed = reversedFive(samples);
        const VectorSums run = zeroSums(zeros_, inputs, reversed), past = poleSums(poles_, outputs);
        const Vector current = _mm_srai_epi32(_mm_unpacklo_epi16(_mm_setzero_si128(), samples), 2);
        const Vector four = _mm_add_epi32(run.four, current);
        const auto newest = static_cast<int16_t>(_mm_extract_epi16(samples, vectorLength - 1));
        const int32_t fifth = wrapAdd32(run.fifth, newest * (1 << 14));
        const auto limit = static_cast<int32_t>(limit_);
        const Vector near = _mm_cmpgt_epi32(_mm_xor_si128(four, _mm_srai_epi32(four, 31)), simd::dwords(limit));
        if (_mm_movemask_epi8(near) != 0 || (fifth ^ (fifth >> 31)) > limit) [[unlikely]]
            return false;
        alignas(16) int32_t starts[4];
        _mm_store_si128(reinterpret_cast<Vector *>(starts), _mm_sub_epi32(four, past.four));
        const int32_t last = fifth - past.fifth;
        const VectorOutputs y = recurseVector(
            coefficients_, [&](int i) { return int64_t{i < 4 ? starts[i] : last}; },
            [](int, int64_t sum) { return wideOutputOf(sum); });
        samples = y.forward();
        inputs = advanced(inputs, reversed);
        outputs = advanced(outputs, reversedFive(samples));
        return true;
    }

private:
    PairedTaps zeros_, poles_;
    const int16_t *coefficients_;
    int64_t limit_;
};

} // namespace ryxsc::g728
