// SPDX-License-Identifier: BSD-2-Clause
// Search of the algebraic code of ITU-T G.723.1, 5.3 kbit/s: four pulses, one on each track of every fourth even (or, all
// of them, odd) sample.
#include <bit>

#include "common/checks.h"
#include "common/product_sums.h"
#include "g723/fixed_codebook.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;
using simd::Vector;

namespace {

constexpr int tracks = 4;
constexpr int perTrack = 8;               // even positions of a track, the last of some beyond the subframe
constexpr int places = tracks * perTrack; // track by track: place p is the sample 8 (p % 8) + 2 (p / 8)
constexpr int paddedLength = 64;
constexpr int16_t loudest = 32000; // upper half of an energy that leaves no room to scale up

constexpr int sampleOf(int place) {
    return 8 * (place % perTrack) + 2 * (place / perTrack);
}
constexpr int placeOf(int sample) {
    return sample / 2 % tracks * perTrack + sample / 8;
}

struct AlgebraicCode {
    int place[tracks] = {0, perTrack, 2 * perTrack, 3 * perTrack};
    int shift = 0; // 1: all pulses a sample later
};

class AlgebraicSearch {
public:
    AlgebraicSearch(const int16_t *target, const int16_t *response) {
        correlateTarget(target, response);
        buildMatrix(response);
        chooseSigns();
    }

    // The fourth track is searched for the best of the others only, and not more often than the budget allows.
    AlgebraicCode run(int &budget) {
        const int16_t threshold = std::max(thresholdOf(0), thresholdOf(1));
        const Vector limit = simd::words(threshold);
        for (int i0 = 0; i0 < perTrack; i0++)
            for (int i1 = perTrack; i1 < 2 * perTrack; i1++) {
                alignas(16) int16_t sums[2][perTrack];
                const Vector even = sumsWithThird(0, i0, i1), odd = sumsWithThird(1, i0, i1);
                simd::store(sums[0], even);
                simd::store(sums[1], odd);
                const Vector promising = _mm_cmpgt_epi16(_mm_max_epi16(even, odd), limit);
                auto left = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(promising, _mm_setzero_si128())));
                for (; left != 0; left &= left - 1) {
                    const int k = std::countr_zero(left);
                    const int shift = sums[1][k] > sums[0][k] ? 1 : 0;
                    searchFourth(i0, i1, 2 * perTrack + k, sums[shift][k], shift);
                    if (--budget <= 0) return best_;
                }
            }
        return best_;
    }

    bool isPositive(int place) const { return sign_[place] == 0; }

private:
    void correlateTarget(const int16_t *target, const int16_t *response) {
        int32_t sums[subframeLength];
        if (fitsSums(energy(target, subframeLength), energy(response, subframeLength))) [[likely]] {
            int16_t padded[2 * paddedLength] = {};
            std::copy_n(target, subframeLength, padded);
            for (int k = 0; k < subframeLength; k += 4)
                wrappedCorrelations(response, padded + k, subframeLength - k, 4, sums + k);
            for (int32_t &sum : sums)
                sum *= 2;
        } else {
            for (int i = 0; i < subframeLength; i++)
                sums[i] = dotProduct(target + i, response, subframeLength - i);
        }
        // At most 2^13, so that three of them fit 16 bits.
        const int normalisation = std::min<int>(norm_l(largestMagnitude(sums, subframeLength)), 16);
        for (int i = 0; i < subframeLength; i++)
            corr_[i % 2][placeOf(i)] = static_cast<int16_t>(sums[i] >> (18 - normalisation));
    }

    void buildMatrix(const int16_t *response) {
        alignas(16) int16_t h[2 * paddedLength] = {};
        const WatchedSum squares = macEnergy(response, subframeLength);
        const int left = extract_h(squares.value) > loudest ? -1 : norm_l(squares.value) >> 1;
        for (int i = 0; i < subframeLength; i++)
            h[i] = shl(response[i], left);
        if (squares.saturated) [[unlikely]]
            return buildMatrixInOrder(h);
        // Products two by two, for all distances; their running sums belong to pairs of pulses ever closer to the start.
        for (int distance = 0; distance < subframeLength; distance += 2) {
            alignas(16) int32_t products[paddedLength / 2];
            for (int n = 0; n < subframeLength - distance; n += 8)
                simd::store(products + n / 2, _mm_madd_epi16(simd::loadAligned(h + n), simd::load(h + n + distance)));
            int32_t sum = 0;
            for (int later = subframeLength - 2, i = 0; later >= distance; later -= 2, i++) {
                sum += products[i];
                set(later - distance, later, static_cast<int16_t>(sum >> 15));
            }
        }
    }

    void buildMatrixInOrder(const int16_t *h) {
        for (int a = 0; a < subframeLength; a += 2)
            for (int b = a; b < subframeLength; b += 2)
                set(a, b, extract_h(dotProduct(h, h + b - a, subframeLength - b)));
    }

    void set(int a, int b, int16_t value) { matrix_[placeOf(a)][placeOf(b)] = matrix_[placeOf(b)][placeOf(a)] = value; }

    // Each pair of an even sample and its neighbour has one sign.
    void chooseSigns() {
        for (int at = 0; at < places; at += 8) {
            const Vector even = simd::loadAligned(corr_[0] + at), odd = simd::loadAligned(corr_[1] + at);
            const Vector negative = simd::signMask(_mm_add_epi16(even, odd));
            simd::store(sign_ + at, negative);
            simd::store(corr_[0] + at, simd::negateSaturatedWhere(negative, even));
            simd::store(corr_[1] + at, simd::negateSaturatedWhere(negative, odd));
        }
        for (int a = 0; a < places; a++)
            for (int at = 0; at < places; at += 8) {
                const Vector differ = _mm_xor_si128(simd::loadAligned(sign_ + at), simd::words(sign_[a]));
                simd::store(matrix_[a] + at, simd::negateSaturatedWhere(differ, simd::loadAligned(matrix_[a] + at)));
            }
        for (int k = 0; k < perTrack; k++)
            own_[k] = matrix_[3 * perTrack + k][3 * perTrack + k];
    }

    int16_t thresholdOf(int shift) const {
        int sumOfLargest = 0, sum = 0;
        for (int track = 0; track < 3; track++) {
            const int16_t *values = corr_[shift] + track * perTrack;
            sumOfLargest += *std::max_element(values, values + perTrack);
            for (int q = 0; q < perTrack; q++)
                sum += values[q];
        }
        const int mean = sum >> 3;
        return static_cast<int16_t>(mean + mult(static_cast<int16_t>(sumOfLargest - mean), 16384));
    }

    Vector sumsWithThird(int shift, int i0, int i1) const {
        const auto two = static_cast<int16_t>(corr_[shift][i0] + corr_[shift][i1]);
        return _mm_add_epi16(simd::words(two), simd::loadAligned(corr_[shift] + 2 * perTrack));
    }

    // All eight positions at once; those that beat the best so far, which are few, one by one.
    void searchFourth(int a, int b, int c, int16_t sum, int shift) {
        constexpr int fourth = 3 * perTrack;
        const int16_t *rowA = matrix_[a] + fourth, *rowB = matrix_[b] + fourth, *rowC = matrix_[c] + fourth;
        const int fixed =
            matrix_[a][a] + matrix_[b][b] + matrix_[c][c] + 2 * (matrix_[a][b] + matrix_[a][c] + matrix_[b][c]);
        const Vector correlation = _mm_adds_epi16(simd::words(sum), simd::loadAligned(corr_[shift] + fourth));
        alignas(16) int16_t squares[perTrack], energies[perTrack];
        const Vector square = simd::mulShiftSaturated<15>(correlation, correlation);
        // Ones and twos as factors widen the words and add them up.
        const Vector own = simd::loadAligned(own_), ab0 = simd::loadAligned(rowA), ab1 = simd::loadAligned(rowB),
                     cross = simd::loadAligned(rowC), twos = simd::words(2), ownAndTwo = _mm_set1_epi32(0x10002);
        const auto sums = [&](Vector ab, Vector cOwn) {
            const Vector all = _mm_add_epi32(_mm_madd_epi16(ab, twos), _mm_madd_epi16(cOwn, ownAndTwo));
            return _mm_srai_epi32(_mm_slli_epi32(_mm_add_epi32(all, simd::dwords(fixed)), 12),
                                  16); // low words of sum / 16
        };
        const Vector energy = _mm_packs_epi32(sums(_mm_unpacklo_epi16(ab0, ab1), _mm_unpacklo_epi16(cross, own)),
                                              sums(_mm_unpackhi_epi16(ab0, ab1), _mm_unpackhi_epi16(cross, own)));
        // square * bestEnergy - bestSquare * energy; squares are not negative.
        const simd::Dwords gain = simd::sumsOfTwoProducts(square, simd::words(bestEnergy_), energy,
                                                          simd::words(static_cast<int16_t>(-bestSquare_)));
        const Vector zero = _mm_setzero_si128();
        if (_mm_movemask_epi8(_mm_or_si128(_mm_cmpgt_epi32(gain.front, zero), _mm_cmpgt_epi32(gain.back, zero))) == 0)
            return;
        simd::store(squares, square);
        simd::store(energies, energy);
        for (int k = 0; k < perTrack; k++) {
            if (L_mult(squares[k], bestEnergy_) <= L_mult(bestSquare_, energies[k])) continue;
            bestSquare_ = squares[k];
            bestEnergy_ = energies[k];
            best_ = {{a, b, c, fourth + k}, shift};
        }
    }

    alignas(16) int16_t corr_[2][places] = {}; // of the target with the response, at even and odd samples
    alignas(16) int16_t matrix_[places][places] = {};
    alignas(16) int16_t sign_[places];  // -1 for negative pulses
    alignas(16) int16_t own_[perTrack]; // energies on the fourth track
    int16_t bestSquare_ = 0, bestEnergy_ = max16;
    AlgebraicCode best_;
};

int16_t quantiseGain(const int16_t *target, int16_t *filtered) {
    for (int i = 0; i < subframeLength; i++)
        filtered[i] >>= 3;
    const int32_t correlation = macProducts(target, filtered, subframeLength).value;
    const int correlationShift = norm_l(correlation);
    const int16_t numerator = extract_h(L_shl(correlation, correlationShift));
    if (numerator <= 0) return 0;
    const int32_t squares = macEnergy(filtered, subframeLength).value;
    const int energyShift = norm_l(squares);
    const int16_t denominator = extract_h(L_shl(squares, energyShift));
    const int16_t ratio = div_s(static_cast<int16_t>(numerator >> 1), denominator);
    const int16_t gain = shr(ratio, correlationShift + 5 - energyShift);
    int best = 0;
    for (int level = 1; level < gainLevels; level++)
        if (abs_s(sub(gain, fixedGains[level])) < abs_s(sub(gain, fixedGains[best]))) best = level;
    return static_cast<int16_t>(best);
}

} // namespace

ryxStatus ryxsACELPFixedCodebookSearch_G723_16s_u8(const int16_t *target, const int16_t *impulse, int lag,
                                                   int pitchGainIndex, int *budget, int16_t *vector,
                                                   int16_t *positionsWord, int16_t *signs, int16_t *gainIndex,
                                                   int16_t *grid) {
    if (anyNull(target, impulse, budget, vector, positionsWord, signs, gainIndex, grid)) return ryxStsNullPtr;
    if (lag < shortestLag - 1 || lag > longestLag || pitchGainIndex < 0 || pitchGainIndex >= 170 || *budget < 0 ||
        *budget > 100000)
        return ryxStsOutOfRange;
    const PitchContribution contribution(lag, pitchGainIndex);
    int16_t response[subframeLength];
    for (int i = 0; i < subframeLength; i++)
        response[i] = impulse[i] >> 1;
    contribution.addTo(response);

    AlgebraicSearch search(target, response);
    int left = *budget + 120;
    const AlgebraicCode code = search.run(left);
    *budget = left;

    alignas(16) int16_t delayed[2 * paddedLength] = {}; // the response behind zeros
    std::copy_n(response, subframeLength, delayed + paddedLength);
    alignas(16) int16_t filtered[paddedLength] = {};
    int bits = 0, word = 0;
    for (int k = 0; k < tracks; k++) {
        const bool positive = search.isPositive(code.place[k]);
        const int position = sampleOf(code.place[k]) + code.shift;
        bits |= (positive ? 1 : 0) << k;
        word |= code.place[k] % perTrack << 3 * k;
        for (int i = 0; i < paddedLength && position < subframeLength; i += 8) {
            const Vector pulse = simd::load(delayed + paddedLength - position + i),
                         sum = simd::loadAligned(filtered + i);
            simd::store(filtered + i, positive ? _mm_adds_epi16(sum, pulse) : _mm_subs_epi16(sum, pulse));
        }
    }
    *positionsWord = static_cast<int16_t>(word);
    *signs = static_cast<int16_t>(bits);
    *grid = static_cast<int16_t>(code.shift);
    *gainIndex = quantiseGain(target, filtered);
    return ryxsACELPFixedCodebookDecode_G723_16s_u8(word, bits, *gainIndex, *grid, lag, pitchGainIndex, vector);
}
