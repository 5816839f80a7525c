// SPDX-License-Identifier: BSD-2-Clause
// Split vector quantiser of the LSFs, ITU-T G.723.1.
#include <cstdlib>

#include "common/checks.h"
#include "common/simd.h"
#include "g723/implementations.h"
#include "g723/operators.h"
#include "g723/tables.h"

using namespace ryxsc;
using namespace ryxsc::g723;
using simd::Vector;

namespace {

constexpr int16_t prediction = 12288;

// Close neighbours make a frequency heavy: 32 / distance, scaled together to 15 bits.
void weigh(const int16_t *lsf, int16_t *weights) {
    for (int i = 0; i < order; i++) {
        const int16_t above = i < order - 1 ? sub(lsf[i + 1], lsf[i]) : max16;
        const int16_t below = i > 0 ? sub(lsf[i], lsf[i - 1]) : max16;
        const int16_t distance = std::min(above, below);
        weights[i] = distance > 32 ? div_s(32, distance) : max16;
    }
    const int16_t shift = norm_s(*std::max_element(weights, weights + order));
    for (int i = 0; i < order; i++)
        weights[i] = shl(weights[i], shift);
}

constexpr int rows = 256;

template <int length> int nearestInOrder(const int16_t (*book)[length], const int16_t *target, const int16_t *weights) {
    int best = 0;
    int32_t largest = -1;
    for (int row = 0; row < rows; row++) {
        int16_t weighted[length];
        for (int j = 0; j < length; j++)
            weighted[j] = mult_r(weights[j], book[row][j]);
        int32_t acc = 0;
        for (int j = 0; j < length; j++)
            acc = L_mac(acc, target[j], weighted[j]);
        acc = L_shl(acc, 1);
        for (int j = 0; j < length; j++)
            acc = L_msu(acc, book[row][j], weighted[j]);
        if (acc <= largest) continue;
        largest = acc;
        best = row;
    }
    return best;
}

// Two rows of the codebook, four words each; a third word is followed by anything.
template <int length> Vector twoRows(const int16_t (*book)[length], int row) {
    const int16_t *from = &book[0][0] + row * length;
    if constexpr (length == 4) {
        return simd::load(from);
    } else {
        const auto spread = [](Vector x, char first) {
            const Vector places = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 4, 5, 6, 7, 8, 9, 10, 11, 10, 11);
            return _mm_shuffle_epi8(x, _mm_add_epi8(places, _mm_set1_epi8(first)));
        };
        // The last rows are loaded so that nothing behind them is.
        return row < rows - 2 ? spread(simd::load(from), 0) : spread(simd::load(from - 2), 4);
    }
}

// Half of each row's score is the sum of (2 target - c) * weighted c. The codebooks stay within 6012, and targets up to
// this within 16 bits in the first factor; then nothing saturates in the recommendation's steps either.
constexpr int largestTarget = 12000;

template <int length> int nearest(const int16_t (*book)[length], const int16_t *target, const int16_t *weights) {
    for (int j = 0; j < length; j++)
        if (std::abs(target[j]) > largestTarget) [[unlikely]]
            return nearestInOrder(book, target, weights);
    int16_t both[2][4] = {}; // the fourth weight of three is 0
    for (int j = 0; j < length; j++) {
        both[0][j] = static_cast<int16_t>(2 * target[j]);
        both[1][j] = weights[j];
    }
    const Vector doubled = _mm_shuffle_epi32(simd::load64(both[0]), _MM_SHUFFLE(1, 0, 1, 0));
    const Vector weight = _mm_shuffle_epi32(simd::load64(both[1]), _MM_SHUFFLE(1, 0, 1, 0));
    const auto terms = [=](Vector c) { return _mm_madd_epi16(_mm_sub_epi16(doubled, c), _mm_mulhrs_epi16(weight, c)); };
    // Row 0 is zero, and so is its score.
    Vector best = _mm_setzero_si128(), bestRow = best, row = _mm_setr_epi32(0, 1, 2, 3);
    for (int i = 0; i < rows; i += 4) {
        const Vector scores = _mm_hadd_epi32(terms(twoRows(book, i)), terms(twoRows(book, i + 2)));
        const Vector better = _mm_cmpgt_epi32(scores, best);
        best = simd::select(better, scores, best);
        bestRow = simd::select(better, row, bestRow);
        row = _mm_add_epi32(row, simd::dwords(4));
    }
    return static_cast<int>(simd::smallest(_mm_sub_epi32(simd::dwords(max32), best), bestRow).index);
}

} // namespace

ryxStatus ryxsLSFQuant_G723_16s32s_u8(const int16_t *lsf, const int16_t *previous, int32_t *index) {
    if (anyNull(lsf, previous, index)) return ryxStsNullPtr;
    int16_t weights[order], target[order];
    weigh(lsf, weights);
    for (int i = 0; i < order; i++)
        target[i] = sub(sub(lsf[i], lsfMean[i]), mult_r(sub(previous[i], lsfMean[i]), prediction));
    const int low = nearest(lowBand, target, weights);
    const int middle = nearest(middleBand, target + 3, weights + 3);
    const int high = nearest(highBand, target + 6, weights + 6);
    *index = low << 16 | middle << 8 | high;
    return ryxStsOk;
}
