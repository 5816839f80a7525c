// SPDX-License-Identifier: BSD-2-Clause
// ISF quantisers of AMR-WB: split multistage quantiser of speech frames in 46 or 36 bits, comfort noise in 28 (3GPP
// TS 26.173). About distortions see codebook_search.h.
#include <array>

#include "amrwb/implementations.h"
#include "amrwb/isf_steps.h"
#include "common/checks.h"
#include "common/vector_quantiser_search.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

using Survivors = Candidates<int32_t>;

// Of the four dwords, which are not negative, the largest.
int32_t largest(Vector x) {
    alignas(16) int32_t values[4];
    simd::store(values, x);
    return std::max(std::max(values[0], values[1]), std::max(values[2], values[3]));
}

Vector smallerDwords(Vector x, Vector y) {
    const Vector isGreater = _mm_cmpgt_epi32(x, y);
    return _mm_or_si128(_mm_and_si128(isGreater, y), _mm_andnot_si128(isGreater, x));
}

// The four best vectors of the first stage. The best of each lane are four vectors, so none that is worse than all of these
// is among the four best; the rest are few.
template <class Book> Survivors findSurvivors(const Book &book, const int16_t *target) {
    alignas(16) int32_t errors[Book::size];
    const Pairs<Book::pairs> pairs = loadPairs<Book::values>(target);
    Vector bestOfLanes = simd::dwords(saturatedSum);
    for (size_t group = 0; group < Book::size / 4; group++) {
        const Vector sums = errorsOfFour(book, group, pairs, square).saturated();
        simd::store(errors + 4 * group, sums);
        bestOfLanes = smallerDwords(bestOfLanes, sums);
    }
    const Vector bound = simd::dwords(largest(bestOfLanes));
    Survivors survivors(saturatedSum, {0, 1, 2, 3});
    for (size_t row = 0; row < Book::size; row += 16) {
        const auto isWorse = [&](size_t i) { return _mm_cmpgt_epi32(simd::loadAligned(errors + row + i), bound); };
        const Vector worse =
            _mm_packs_epi16(_mm_packs_epi32(isWorse(0), isWorse(4)), _mm_packs_epi32(isWorse(8), isWorse(12)));
        for (uint32_t rest = static_cast<uint32_t>(~_mm_movemask_epi8(worse)) & 0xffff; rest != 0; rest &= rest - 1) {
            const size_t next = row + static_cast<size_t>(std::countr_zero(rest));
            survivors.offer(errors[next], next);
        }
    }
    return survivors;
}

// What one stage of split codebooks makes of a vector: half the sum of the distortions, and the indices.
struct SplitChoice {
    int64_t error;
    std::array<int16_t, 5> indices;
};

template <class... Books> SplitChoice searchSplit(const int16_t *target, const Books &...books) {
    SplitChoice choice{};
    size_t count = 0;
    const auto search = [&](const auto &book) {
        const simd::IndexedDword found = nearest(book, loadPairs<std::decay_t<decltype(book)>::values>(target), square);
        choice.error += found.value;
        choice.indices[count++] = static_cast<int16_t>(found.index);
        target += book.values;
    };
    (search(books), ...);
    return choice;
}

// Half of the residual: every survivor of the first stage goes through the second one. Writes the indices.
template <class Book, class... Books> void quantiseHalf(const int16_t *target, int16_t *firstIndex, int16_t *indices,
                                                        const Book &first, const Books &...second) {
    SplitChoice best{saturatedSum, {}};
    size_t bestRow = 0;
    for (const size_t row : findSurvivors(first, target)) {
        Isfs rest{};
        const auto index = static_cast<int16_t>(row);
        decodeVectors(&index, rest.values, first);
        forEach(rest.values, subtractWords, target, rest.values);
        const SplitChoice choice = searchSplit(rest.values, second...);
        if (choice.error >= best.error) continue;
        best = choice;
        bestRow = row;
    }
    *firstIndex = static_cast<int16_t>(bestRow);
    std::copy_n(best.indices.data(), sizeof...(second), indices);
}

} // namespace

ryxStatus ryxsISFQuant_AMRWB_16s_u8(const int16_t *isf, int16_t *residual, int16_t *quantised, int16_t *indices,
                                    int mode) {
    if (anyNull(isf, residual, quantised, indices)) return ryxStsNullPtr;
    if (!isSpeechMode(mode)) return ryxStsBadSize;
    Isfs target{};
    const auto removePrediction = [](Vector x, Vector mean, Vector past) {
        return _mm_subs_epi16(_mm_subs_epi16(x, mean), prediction(past));
    };
    forEach(target.values, removePrediction, isf, isfMean.data(), residual);
    const int16_t *low = target.values, *high = target.values + 9;
    if (has36Bits(mode)) {
        quantiseHalf(low, indices, indices + 2, firstStageLow, secondStage36Low1, secondStage36Low2);
        quantiseHalf(high, indices + 1, indices + 4, firstStageHigh, secondStage36High);
    } else {
        quantiseHalf(low, indices, indices + 2, firstStageLow, secondStage46Low1, secondStage46Low2, secondStage46Low3);
        quantiseHalf(high, indices + 1, indices + 5, firstStageHigh, secondStage46High1, secondStage46High2);
    }
    Isfs decoded, result;
    decodeResidual(indices, has36Bits(mode), decoded.values);
    rebuild(decoded.values, residual, result.values);
    space(result.values);
    std::copy_n(result.values, isfOrder, quantised);
    return ryxStsOk;
}

ryxStatus ryxsISFQuantDTX_AMRWB_16s_u8(const int16_t *isf, int16_t *quantised, int16_t *indices) {
    if (anyNull(isf, quantised, indices)) return ryxStsNullPtr;
    Isfs target;
    forEach(target.values, subtractWords, isf, noiseMean.data());
    const SplitChoice choice = searchSplit(target.values, noise1, noise2, noise3, noise4, noise5);
    std::copy_n(choice.indices.data(), choice.indices.size(), indices);
    return ryxsISFQuantDecodeDTX_AMRWB_16s_u8(indices, quantised);
}
