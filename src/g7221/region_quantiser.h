// SPDX-License-Identifier: BSD-2-Clause
// Quantisation of a region of ITU-T G.722.1: magnitudes to bins, bins to vector indices.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/simd.h"
#include "g7221/tables.h"

namespace ryxsc::g7221 {

// 20 bins as octets.
struct Bins {
    simd::Vector front, back; // 16 and 4; octets beyond these are 0
};

// Divides magnitudes by the step size of a category and a power index, with a rounding offset that depends on the
// magnitude's fraction.
class MagnitudeQuantiser {
public:
    MagnitudeQuantiser(const Quantiser &quantiser, int16_t inverseDeviation)
        : deadZone_(simd::words(quantiser.deadZone)), lowBits_(simd::words(quantiser.lowBits)),
          largestBin_(simd::words(quantiser.largestBin)) {
        // The inverse step size with two bits below the integer that multiplies.
        const int inverse = (quantiser.stepInverse * inverseDeviation + 4096) >> 13;
        doubledFraction_ = simd::words(static_cast<int16_t>(2 * (inverse & 3)));
        inverse_ = simd::dwords((inverse >> 2) | 0x10000);
    }

    Bins operator()(const int16_t *region) const {
        const Vector back = bins(simd::load64(region + 16));
        return {_mm_packs_epi16(bins(simd::load(region)), bins(simd::load(region + 8))),
                _mm_packs_epi16(back, _mm_setzero_si128())};
    }

private:
    using Vector = simd::Vector;

    // min((m * inverse + offset) >> 13, largest bin), offset = deadZone + ((m * fraction + lowBits) >> 2) in 16 bits. 0
    // gives 0. The product stays below 2^30; where it leaves 16 bits after the shift the largest bin is exceeded anyway.
    Vector bins(Vector x) const {
        const Vector negated = _mm_subs_epi16(_mm_setzero_si128(), x);
        const Vector magnitude = _mm_max_epi16(x, negated);
        const Vector fraction = _mm_srai_epi16(_mm_mullo_epi16(magnitude, doubledFraction_), 1);
        const Vector offset = _mm_add_epi16(deadZone_, _mm_srai_epi16(_mm_add_epi16(fraction, lowBits_), 2));
        const Vector front = _mm_madd_epi16(_mm_unpacklo_epi16(magnitude, offset), inverse_);
        const Vector back = _mm_madd_epi16(_mm_unpackhi_epi16(magnitude, offset), inverse_);
        return _mm_min_epi16(_mm_packs_epi32(_mm_srai_epi32(front, 13), _mm_srai_epi32(back, 13)), largestBin_);
    }

    Vector deadZone_, lowBits_, largestBin_;
    Vector doubledFraction_;
    Vector inverse_; // in the lower words, 1 in the upper ones
};

// Vector indices: the bins of a vector as digits, the first coefficient's the highest. Behind the last one up to the tenth
// element zeros.
inline void indexVectors(Bins bins, const Quantiser &quantiser, int16_t *vectors) {
    using simd::Vector;
    const int base = quantiser.largestBin + 1;
    const auto octetPairs = [](int even, int odd) { return simd::words(static_cast<int16_t>(even | odd << 8)); };
    const auto wordPairs = [](int even, int odd) { return simd::dwords(even | odd << 16); };
    if (quantiser.dimension == 2) {
        const Vector weights = octetPairs(base, 1);
        simd::store(vectors, _mm_maddubs_epi16(bins.front, weights));
        simd::store32(vectors + 8, _mm_maddubs_epi16(bins.back, weights));
    } else if (quantiser.dimension == 4) {
        const Vector weights = octetPairs(base, 1), pairWeights = wordPairs(base * base, 1);
        const Vector front = _mm_madd_epi16(_mm_maddubs_epi16(bins.front, weights), pairWeights);
        const Vector back = _mm_madd_epi16(_mm_maddubs_epi16(bins.back, weights), pairWeights);
        simd::store(vectors, _mm_packs_epi32(front, back));
        simd::store32(vectors + 8, _mm_setzero_si128());
    } else {
        // Five octets and three zeros for each vector.
        const Vector spread = _mm_setr_epi8(0, 1, 2, 3, 4, -1, -1, -1, 5, 6, 7, 8, 9, -1, -1, -1);
        const Vector front = _mm_shuffle_epi8(bins.front, spread);
        const Vector back = _mm_shuffle_epi8(_mm_alignr_epi8(bins.back, bins.front, 10), spread);
        const int square = base * base;
        const Vector weights = _mm_set1_epi64x(int64_t{square * square} | int64_t{square * base} << 8 |
                                               int64_t{square} << 16 | int64_t{base} << 24 | int64_t{1} << 32);
        const Vector ones = simd::words(1);
        const Vector sums = _mm_hadd_epi32(_mm_madd_epi16(_mm_maddubs_epi16(front, weights), ones),
                                           _mm_madd_epi16(_mm_maddubs_epi16(back, weights), ones));
        simd::store(vectors, _mm_packs_epi32(sums, _mm_setzero_si128()));
        simd::store32(vectors + 8, _mm_setzero_si128());
    }
}

// Quantises 20 coefficients; returns the bits of codes and signs. Category 7 has no vectors and takes none.
inline int quantiseRegion(const int16_t *region, int category, int scaledIndex, int16_t *vectors) {
    if (category == codedCategories) {
        std::fill_n(vectors, vectorsPerRegion, int16_t{0});
        return 0;
    }
    const Quantiser &quantiser = quantisers[static_cast<size_t>(category)];
    const MagnitudeQuantiser magnitudes(quantiser, inverseDeviations[static_cast<size_t>(scaledIndex)]);
    indexVectors(magnitudes(region), quantiser, vectors);
    const uint8_t *cost = vectorBits.data() + firstVector[static_cast<size_t>(category)];
    int bits = 0;
    for (int v = 0; v < quantiser.vectors(); v++)
        bits += cost[vectors[v]];
    return bits;
}

} // namespace ryxsc::g7221
