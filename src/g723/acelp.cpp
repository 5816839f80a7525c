// SPDX-License-Identifier: BSD-2-Clause
// Search of the algebraic code of ITU-T G.723.1, 5.3 kbit/s: four pulses, one on each track of every fourth even (or, all
// of them, odd) sample.
#include "common/checks.h"
#include "frame/implementations.h"
#include "g723/fixed_codebook.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int tracks = 4;
constexpr int positions = 64; // of the tracks; the last four lie beyond the subframe
constexpr int pairs = positions / 2;
constexpr int16_t loudest = 32000; // upper half of an energy that leaves no room to scale up

struct AlgebraicCode {
    int16_t position[tracks] = {0, 2, 4, 6}; // even ones
    int16_t shift = 0;                       // 1: all pulses a sample later
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
        for (int i0 = 0; i0 < positions; i0 += 8)
            for (int i1 = 2; i1 < positions; i1 += 8)
                for (int i2 = 4; i2 < positions; i2 += 8) {
                    const int even = corr_[i0] + corr_[i1] + corr_[i2];
                    const int odd = corr_[i0 + 1] + corr_[i1 + 1] + corr_[i2 + 1];
                    const int16_t shift = odd > even ? 1 : 0;
                    const int sum = std::max(odd, even);
                    if (sum <= threshold) continue;
                    searchFourth(i0, i1, i2, sum, shift);
                    if (--budget <= 0) return best_;
                }
        return best_;
    }

    bool isPositive(int position) const { return sign_[position / 2] > 0; }

private:
    void correlateTarget(const int16_t *target, const int16_t *response) {
        int32_t sums[subframeLength];
        for (int i = 0; i < subframeLength; i++)
            sums[i] = dotProduct(target + i, response, subframeLength - i);
        const int normalisation = std::min<int>(norm_l(largestMagnitude(sums, subframeLength)), 16);
        for (int i = 0; i < subframeLength; i++)
            corr_[i] = static_cast<int16_t>(sums[i] >> (18 - normalisation));
        std::fill(corr_ + subframeLength, corr_ + positions, int16_t{0});
    }

    void buildMatrix(const int16_t *response) {
        int16_t h[subframeLength];
        const int32_t energy = dotProduct(response, response, subframeLength);
        const int left = extract_h(energy) > loudest ? -1 : norm_l(energy) >> 1;
        for (int i = 0; i < subframeLength; i++)
            h[i] = shl(response[i], left);
        for (int a = 0; a < pairs; a++)
            for (int b = a; b < pairs; b++)
                matrix_[a][b] = matrix_[b][a] = 2 * b < subframeLength
                                                    ? extract_h(dotProduct(h, h + 2 * (b - a), subframeLength - 2 * b))
                                                    : int16_t{0};
    }

    // Each pair of an even sample and its neighbour has one sign.
    void chooseSigns() {
        for (int i = 0; i < pairs; i++) {
            sign_[i] = 1;
            if (2 * i >= subframeLength || corr_[2 * i] + corr_[2 * i + 1] >= 0) continue;
            sign_[i] = -1;
            corr_[2 * i] = static_cast<int16_t>(-corr_[2 * i]);
            corr_[2 * i + 1] = static_cast<int16_t>(-corr_[2 * i + 1]);
        }
        for (int a = 0; a < pairs; a++)
            for (int b = 0; b < pairs; b++)
                if (a != b && sign_[a] != sign_[b]) matrix_[a][b] = negate(matrix_[a][b]);
    }

    int16_t thresholdOf(int shift) const {
        int sumOfLargest = 0, sum = 0;
        for (int track = 0; track < 3; track++) {
            int16_t largest = min16;
            for (int position = 2 * track + shift; position < positions; position += 8) {
                largest = std::max(largest, corr_[position]);
                sum += corr_[position];
            }
            sumOfLargest += largest;
        }
        const int mean = sum >> 3;
        return static_cast<int16_t>(mean + mult(static_cast<int16_t>(sumOfLargest - mean), 16384));
    }

    void searchFourth(int i0, int i1, int i2, int sum, int16_t shift) {
        const int a = i0 / 2, b = i1 / 2, c = i2 / 2;
        const int fixed =
            matrix_[a][a] + matrix_[b][b] + matrix_[c][c] + 2 * (matrix_[a][b] + matrix_[a][c] + matrix_[b][c]);
        for (int i3 = 6; i3 < positions; i3 += 8) {
            const int d = i3 / 2;
            const int16_t correlation = add(static_cast<int16_t>(sum), corr_[i3 + shift]);
            const int all = fixed + matrix_[d][d] + 2 * (matrix_[a][d] + matrix_[b][d] + matrix_[c][d]);
            const int16_t energy = wrap16(all >> 4), square = mult(correlation, correlation);
            if (L_mult(square, bestEnergy_) <= L_mult(bestSquare_, energy)) continue;
            bestSquare_ = square;
            bestEnergy_ = energy;
            best_.position[0] = static_cast<int16_t>(i0);
            best_.position[1] = static_cast<int16_t>(i1);
            best_.position[2] = static_cast<int16_t>(i2);
            best_.position[3] = static_cast<int16_t>(i3);
            best_.shift = shift;
        }
    }

    int16_t corr_[positions]; // of the target with the response
    int16_t matrix_[pairs][pairs];
    int16_t sign_[pairs];
    int16_t bestSquare_ = 0, bestEnergy_ = max16;
    AlgebraicCode best_;
};

int16_t quantiseGain(const int16_t *target, int16_t *filtered) {
    for (int i = 0; i < subframeLength; i++)
        filtered[i] >>= 3;
    const int32_t correlation = dotProduct(target, filtered, subframeLength);
    const int correlationShift = norm_l(correlation);
    const int16_t numerator = extract_h(L_shl(correlation, correlationShift));
    if (numerator <= 0) return 0;
    const int32_t energy = dotProduct(filtered, filtered, subframeLength);
    const int energyShift = norm_l(energy);
    const int16_t denominator = extract_h(L_shl(energy, energyShift));
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

    int16_t filtered[subframeLength] = {};
    int bits = 0, word = 0;
    for (int k = 0; k < tracks; k++) {
        const bool positive = search.isPositive(code.position[k]);
        const int position = code.position[k] + code.shift;
        bits |= (positive ? 1 : 0) << k;
        word |= code.position[k] / 8 << 3 * k;
        for (int i = position; i < subframeLength; i++)
            filtered[i] =
                positive ? add(filtered[i], response[i - position]) : sub(filtered[i], response[i - position]);
    }
    *positionsWord = static_cast<int16_t>(word);
    *signs = static_cast<int16_t>(bits);
    *grid = code.shift;
    *gainIndex = quantiseGain(target, filtered);
    return ryxsACELPFixedCodebookDecode_G723_16s_u8(word, bits, *gainIndex, *grid, lag, pitchGainIndex, vector);
}
