// SPDX-License-Identifier: BSD-2-Clause
// What the algebraic codebook search decides before it places pulses: the sign of each position and the order of merit of
// the positions of a track. Compiled by both processor variants.
#pragma once

#include "amrwb/codebook_response.inl"
#include "common/inv_sqrt.h"
#include "common/product_sums.h"

namespace ryxsc::amrwb {

namespace {

struct Signs {
    TrackWords correlations; // backward-filtered target times the sign; seldom negative
    TrackWords masks;        // -1 for a negative position
    TrackWords ranks;        // 0 for the most promising position of its track, 15 for the least
};

// The words track by track.
inline void separateTracks(const int16_t *words, TrackWords &separated) {
    const Vector order = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
    Vector half[2][tracks];
    for (int i = 0; i < 2; i++) {
        Vector low[2], high[2]; // words of tracks 0 and 1, 2 and 3
        for (int k = 0; k < 2; k++) {
            const Vector first = _mm_shuffle_epi8(simd::load(words + 32 * i + 16 * k), order);
            const Vector second = _mm_shuffle_epi8(simd::load(words + 32 * i + 16 * k + 8), order);
            low[k] = _mm_unpacklo_epi32(first, second);
            high[k] = _mm_unpackhi_epi32(first, second);
        }
        half[i][0] = _mm_unpacklo_epi64(low[0], low[1]);
        half[i][1] = _mm_unpackhi_epi64(low[0], low[1]);
        half[i][2] = _mm_unpacklo_epi64(high[0], high[1]);
        half[i][3] = _mm_unpackhi_epi64(high[0], high[1]);
    }
    for (int t = 0; t < tracks; t++)
        separated.put(t, half[0][t], half[1][t]);
}

// The largest of the dwords, none of them negative; -2^31 from pabsd counts as 2^31 - 1.
inline int32_t largestMagnitude(const TrackSums &sums) {
    uint32_t largest = 0;
    for (const Vector quarter : sums.quarter) {
        alignas(16) uint32_t lanes[4];
        _mm_store_si128(reinterpret_cast<Vector *>(lanes), _mm_abs_epi32(quarter));
        for (const uint32_t magnitude : lanes)
            largest = std::max(largest, magnitude);
    }
    return static_cast<int32_t>(std::min(largest, uint32_t{max32}));
}

// How the backward-filtered target is summed: as plain products, or doubled from 1 on with saturation after every term, as
// the recommendation has it.
enum class Sums { plain, exact };

// 1 + 2 * sum, without saturation.
inline void doubleAndAddOne(TrackSums (&sums)[tracks]) {
    for (TrackSums &track : sums)
        for (Vector &quarter : track.quarter)
            quarter = _mm_add_epi32(_mm_add_epi32(quarter, quarter), simd::dwords(1));
}
inline void sumInOrder(const Response &response, const int16_t *target, TrackSums (&sums)[tracks]) {
    for (int t = 0; t < tracks; t++) {
        int32_t values[trackLength];
        for (int i = 0; i < trackLength; i++) {
            const int n = tracks * i + t;
            values[i] = 1;
            for (int j = n; j < positions; j++)
                values[i] = L_mac(values[i], target[j], response.samples()[j - n]);
        }
        for (int q = 0; q < 4; q++)
            sums[t].quarter[q] = simd::load(values + 4 * q);
    }
}

// Target filtered backwards through h, scaled so that 3/8 of the sum of the tracks' maxima take 11 bits. Plain sums of
// silence stay silent; exact ones become a constant.
inline void filterTarget(const Response &response, const int16_t *target, Sums kind, TrackWords &filtered) {
    const Vector zero = _mm_setzero_si128();
    const BothSums halves[2] = {correlate(response, target, 0, 1, zero), correlate(response, target, 2, 3, zero)};
    TrackSums sums[tracks] = {halves[0].x, halves[0].y, halves[1].x, halves[1].y};
    if (kind == Sums::exact) {
        if (fitsSums(static_cast<uint64_t>(sumOfSquares(target)),
                     static_cast<uint64_t>(sumOfSquares(response.samples()))))
            doubleAndAddOne(sums);
        else
            sumInOrder(response, target, sums);
    }
    int32_t total = 1;
    for (const TrackSums &track : sums) {
        const int32_t largest = largestMagnitude(track);
        total = L_add(L_add(total, largest >> 2), largest >> 3);
    }
    // A shift to the left never saturates: 7 << 24 and 3 << 26 are the worst that small sums can do.
    const int shift = norm_l(total) - 4;
    const Vector left = _mm_cvtsi32_si128(std::max(shift, 0)), right = _mm_cvtsi32_si128(std::max(-shift, 0));
    const Vector rounding = simd::dwords(0x8000);
    for (int t = 0; t < tracks; t++) {
        for (Vector &quarter : sums[t].quarter)
            quarter = _mm_add_epi32(_mm_sra_epi32(_mm_sll_epi32(quarter, left), right), rounding);
        filtered.put(t, sums[t].front<16>(), sums[t].back<16>());
    }
}

// 1 / sqrt(energy / 2), as a mantissa times a power of two.
struct InverseRoot {
    int32_t mantissa;
    int exponent;
};
inline InverseRoot inverseRoot(int64_t energy) {
    const int32_t e = sat32(energy);
    const int exponent = floorLog2(static_cast<uint32_t>(e));
    return {inverseSqrtOfMantissa((e << (30 - exponent)) >> (exponent & 1)), -((exponent - 1) >> 1)};
}

// 0 for the largest of 16 words that are not negative, 1 for the next one; of equal words the earlier goes first.
inline void rank(const int16_t *words, Vector &front, Vector &back) {
    // From later + 15 - i on: -1 in the places behind place i.
    alignas(16) static constexpr int16_t later[32] = {0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,
                                                      -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    const Vector wordsFront = simd::load(words), wordsBack = simd::load(words + 8);
    front = back = _mm_setzero_si128();
    for (int i = 0; i < trackLength; i++) {
        const Vector one = simd::words(words[i]);
        // Places behind i lose to an equal word.
        front = _mm_sub_epi16(front, _mm_cmpgt_epi16(one, _mm_add_epi16(wordsFront, simd::load(later + 15 - i))));
        back = _mm_sub_epi16(back, _mm_cmpgt_epi16(one, _mm_add_epi16(wordsBack, simd::load(later + 23 - i))));
    }
}

// Signs of the sum of the normalised residual and the normalised filtered target; its magnitude gives the ranks.
inline void selectSigns(const Response &response, const int16_t *target, const int16_t *residual, Sums kind,
                        int16_t mixingFactor, Signs &signs) {
    TrackWords separated;
    separateTracks(residual, separated);
    filterTarget(response, target, kind, signs.correlations);
    const InverseRoot rootOfResidual = inverseRoot(1 + 2 * sumOfSquares(residual));
    const InverseRoot rootOfTarget = inverseRoot(1 + 2 * sumOfSquares(signs.correlations.words[0]));
    const int16_t residualGain = round(L_shl(rootOfResidual.mantissa, rootOfResidual.exponent + 5));
    const int16_t targetGain = mult_r(mixingFactor, round(L_shl(rootOfTarget.mantissa, rootOfTarget.exponent + 8)));
    const Vector residualGains = simd::words(residualGain), targetGains = simd::words(targetGain);

    const auto select = [&](Vector residuals, int16_t *correlations, int16_t *masks, int16_t *magnitudes) {
        const Vector filtered = simd::loadAligned(correlations);
        const simd::Dwords sums = simd::sumsOfTwoProducts(residuals, residualGains, filtered, targetGains);
        const Vector mixed = _mm_packs_epi32(_mm_srai_epi32(sums.front, 7), _mm_srai_epi32(sums.back, 7));
        const Vector mask = simd::signMask(mixed);
        simd::store(masks, mask);
        simd::store(correlations, simd::negateSaturatedWhere(mask, filtered));
        simd::store(magnitudes, simd::negateSaturatedWhere(mask, mixed));
    };
    for (int t = 0; t < tracks; t++) {
        alignas(16) int16_t magnitudes[trackLength];
        select(separated.front(t), signs.correlations.words[t], signs.masks.words[t], magnitudes);
        select(separated.back(t), signs.correlations.words[t] + 8, signs.masks.words[t] + 8, magnitudes + 8);
        Vector front, back;
        rank(magnitudes, front, back);
        signs.ranks.put(t, front, back);
    }
}

} // namespace

} // namespace ryxsc::amrwb
