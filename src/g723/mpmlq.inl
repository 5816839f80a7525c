// SPDX-License-Identifier: BSD-2-Clause
// Search of the multipulse code of ITU-T G.723.1, 6.3 kbit/s (MP-MLQ): five or six pulses of one magnitude on the even or
// the odd samples, with and without repetition at the pitch lag.
//
// For each grid and four gain levels, pulses are placed one after the other where the largest correlation with the target
// remains. The correlations of a grid stay in eight vectors; what a pulse takes from them is a piece of a table, the
// autocorrelation of the response times the level, mirrored around lag 0. Inputs that could saturate a sum take
// the recommendation's steps one by one.
#pragma once

#include <bit>
#include <cstdlib>

#include "common/checks.h"
#include "common/convolution.h"
#include "common/product_sums.h"
#include "g723/fixed_codebook.h"

namespace {

using namespace ryxsc;
using namespace ryxsc::g723;
using simd::Vector;

constexpr int mostPulses = 6;
constexpr int lowestLevel = 2; // candidates go from two below the nearest level to one above
constexpr int highestLevel = 22;
constexpr int paddedLength = 64; // of a subframe
constexpr int gridVectors = 8;   // 30 positions and two more that are never taken

struct MultipulseCode {
    int16_t level = 0, grid = 0, train = 0;
    int16_t position[mostPulses] = {}; // on the grid
    bool negative[mostPulses] = {};
};

// x * factor, eight words to eight dwords and, behind them, their negatives.
struct SignedTables {
    int32_t *positive, *negative;

    void fill(int at, const int16_t *x, Vector factor) const {
        const simd::Dwords product = simd::products(simd::load(x), factor);
        const Vector zero = _mm_setzero_si128();
        simd::store(positive + at, product.front);
        simd::store(positive + at + 4, product.back);
        simd::store(negative + at, _mm_sub_epi32(zero, product.front));
        simd::store(negative + at + 4, _mm_sub_epi32(zero, product.back));
    }
};

template <int pulses> class MultipulseSearch {
public:
    explicit MultipulseSearch(const int16_t *target) : targetEnergy_(energy(target, subframeLength)) {
        std::copy_n(target, subframeLength, target_);
        std::reverse_copy(target, target + subframeLength, reversedTarget_);
    }

    // With a response that repeats at the lag, or one that does not.
    void run(const int16_t *response, int16_t train) {
        train_ = train;
        std::copy_n(response, subframeLength, response_ + paddedLength);
        responsePeak_ = 0;
        for (int i = 0; i < subframeLength; i++)
            responsePeak_ = std::max(responsePeak_, std::abs(response[i]));
        correlate();
        for (int16_t grid = 0; grid < 2; grid++) {
            const int first = largestOf(grid);
            const int32_t magnitude = L_abs(cross_[grid][first]);
            const int nearest = nearestLevel(magnitude);
            for (int level = nearest - 2; level <= nearest + 1; level++)
                tryLevel(grid, first, magnitude, static_cast<int16_t>(level));
        }
    }

    const MultipulseCode &best() const { return best_; }

private:
    // Autocorrelation of the response and its correlation with the target.
    void correlate() {
        const int16_t *response = response_ + paddedLength;
        alignas(16) int16_t phase[2][2 * paddedLength] = {};
        for (int i = 0; i < subframeLength; i++)
            phase[i % 2][i / 2] = response[i] >> 1;
        const uint64_t halvedEnergy = energy(phase[0], 32) + energy(phase[1], 32);
        int32_t autoSums[32], crossSums[paddedLength];
        if (halvedEnergy < 1U << 30 && fitsSums(targetEnergy_, energy(response, subframeLength))) [[likely]] {
            int32_t odd[32], backwards[paddedLength];
            wrappedCorrelations(phase[0], phase[0], gridPositions, 32, autoSums);
            wrappedCorrelations(phase[1], phase[1], gridPositions, 32, odd);
            for (int k = 0; k < 32; k++)
                autoSums[k] = 2 * (autoSums[k] + odd[k]);
            wrappedConvolution<subframeLength>(reversedTarget_, response, backwards);
            for (int k = 0; k < subframeLength; k++)
                crossSums[k] = 2 * backwards[subframeLength - 1 - k];
        } else {
            correlateInOrder(autoSums, crossSums);
        }
        const int shift = norm_l(autoSums[0]);
        for (int m = 0; m < gridPositions; m++) {
            const int16_t scaled = round(L_shl(autoSums[m], shift));
            auto_[gridPositions - 1 - m] = auto_[gridPositions - 1 + m] = scaled;
        }
        for (int i = 0; i < subframeLength; i++)
            cross_[i % 2][i / 2] = L_shl(crossSums[i], shift - 4);
    }

    void correlateInOrder(int32_t *autoSums, int32_t *crossSums) const {
        const int16_t *response = response_ + paddedLength;
        int16_t halved[subframeLength];
        for (int i = 0; i < subframeLength; i++)
            halved[i] = response[i] >> 1;
        for (int m = 0; m < gridPositions; m++)
            autoSums[m] = dotProduct(halved + 2 * m, halved, subframeLength - 2 * m);
        for (int i = 0; i < subframeLength; i++)
            crossSums[i] = dotProduct(target_ + i, response, subframeLength - i);
    }

    // The last among equals.
    int largestOf(int grid) const {
        int best = 0;
        int32_t largest = 0;
        for (int g = 0; g < gridPositions; g++) {
            const int32_t magnitude = L_abs(cross_[grid][g]);
            best = magnitude >= largest ? g : best;
            largest = std::max(magnitude, largest);
        }
        return best;
    }

    int nearestLevel(int32_t magnitude) const {
        int nearest = highestLevel;
        int32_t smallest = 1 << 30;
        for (int level = highestLevel; level >= lowestLevel; level--) {
            // Both terms are positive, so their difference cannot saturate.
            const int32_t error = std::abs(2 * fixedGains[level] * auto_[gridPositions - 1] - magnitude);
            nearest = error < smallest ? level : nearest;
            smallest = std::min(error, smallest);
        }
        return nearest;
    }

    void tryLevel(int16_t grid, int first, int32_t magnitude, int16_t level) {
        MultipulseCode code;
        code.level = level;
        code.grid = grid;
        code.train = train_;
        const int64_t amplitude = fixedGains[level];
        // Correlations: the largest and what the pulses take. Samples: the sum of all pulses' responses, doubled.
        const bool fits = magnitude + 2 * amplitude * auto_[gridPositions - 1] * (pulses - 1) < floatRange &&
                          2 * amplitude * responsePeak_ * pulses <= max32;
        if (fits) [[likely]]
            placePulses(code, first);
        else
            placePulsesInOrder(code, first);
        const int32_t score = fits ? scoreOf(code) : scoreInOrder(code);
        if (score <= bestScore_) return;
        bestScore_ = score;
        best_ = code;
    }

    // Magnitudes are compared as single precision numbers of the same bits, which have the same order. 2^23 more make all
    // of them normal numbers, and below the last exponent none is a NaN; 0 stands for a position that is taken.
    static constexpr int32_t normalStart = 1 << 23;
    static constexpr int64_t floatRange = 0x7f800000 - normalStart;

    static Vector larger(Vector x, Vector y) {
        return _mm_castps_si128(_mm_max_ps(_mm_castsi128_ps(x), _mm_castsi128_ps(y)));
    }
    // One bit a position, from masks or signs.
    static uint32_t bitsOf(const Vector *x) {
        const auto half = [](const Vector *y) {
            return static_cast<uint32_t>(
                _mm_movemask_epi8(_mm_packs_epi16(_mm_packs_epi32(y[0], y[1]), _mm_packs_epi32(y[2], y[3]))));
        };
        return half(x) | half(x + 4) << 16;
    }

    void placePulses(MultipulseCode &code, int first) const {
        constexpr int tableLength = 2 * gridVectors * 4; // lags -29 .. 34, in steps of two samples
        alignas(16) int32_t table[2][tableLength];
        const SignedTables taken = {table[1], table[0]}; // of a positive pulse less is left
        const Vector factor = simd::words(static_cast<int16_t>(2 * fixedGains[code.level]));
        for (int j = 0; j < tableLength; j += 8)
            taken.fill(j, auto_ + j, factor);

        Vector cross[gridVectors], magnitude[gridVectors];
        alignas(16) int32_t free[gridVectors * 4];
        for (int v = 0; v < gridVectors; v++) {
            cross[v] = simd::loadAligned(cross_[code.grid] + 4 * v);
            simd::store(free + 4 * v, simd::dwords(-1));
        }
        free[gridPositions] = free[gridPositions + 1] = 0;
        uint32_t signs = bitsOf(cross);
        int next = first;
        for (int k = 0;; k++) {
            const uint32_t negative = signs >> next & 1;
            code.position[k] = static_cast<int16_t>(next);
            code.negative[k] = negative != 0;
            if (k == pulses - 1) break;
            free[next] = 0;
            const int32_t *change = table[negative] + gridPositions - 1 - next;
            for (int v = 0; v < gridVectors; v++) {
                cross[v] = _mm_add_epi32(cross[v], simd::load(change + 4 * v));
                magnitude[v] = _mm_and_si128(_mm_add_epi32(_mm_abs_epi32(cross[v]), simd::dwords(normalStart)),
                                             simd::loadAligned(free + 4 * v));
            }
            Vector largest = larger(larger(larger(magnitude[0], magnitude[1]), larger(magnitude[2], magnitude[3])),
                                    larger(larger(magnitude[4], magnitude[5]), larger(magnitude[6], magnitude[7])));
            largest = larger(largest, _mm_shuffle_epi32(largest, _MM_SHUFFLE(1, 0, 3, 2)));
            largest = larger(largest, _mm_shuffle_epi32(largest, _MM_SHUFFLE(2, 3, 0, 1)));
            for (int v = 0; v < gridVectors; v++)
                magnitude[v] = _mm_cmpeq_epi32(magnitude[v], largest);
            next = std::countr_zero(bitsOf(magnitude));
            signs = bitsOf(cross);
        }
    }

    int32_t scoreOf(const MultipulseCode &code) {
        const SignedTables responses = {responses_[0], responses_[1]};
        const Vector factor = simd::words(fixedGains[code.level]);
        for (int i = paddedLength; i < 2 * paddedLength; i += 8)
            responses.fill(i, response_ + i, factor);
        const int32_t *of[pulses];
        for (int k = 0; k < pulses; k++)
            of[k] = responses_[code.negative[k] ? 1 : 0] + paddedLength - code.grid - 2 * code.position[k];

        const auto sumOfResponses = [&](int at) {
            Vector sum = simd::load(of[0] + at);
            for (int k = 1; k < pulses; k++)
                sum = _mm_add_epi32(sum, simd::load(of[k] + at));
            return _mm_srai_epi32(sum, 13);
        };
        Vector correlation = _mm_setzero_si128(), squares = correlation, upperSquares = correlation;
        for (int i = 0; i < paddedLength; i += 8) {
            Vector filtered = _mm_packs_epi32(sumOfResponses(i), sumOfResponses(i + 4));
            if (i + 8 > subframeLength) filtered = _mm_move_epi64(filtered); // the last four lie behind the subframe
            const Vector pairs = _mm_madd_epi16(filtered, filtered);
            squares = _mm_add_epi32(squares, pairs);
            upperSquares = _mm_add_epi32(upperSquares, _mm_srli_epi32(pairs, 8));
            correlation = _mm_add_epi32(correlation, _mm_madd_epi16(filtered, simd::load(target_ + i)));
        }
        // With the energies T and Y of target and filtered vector, every partial sum of 2 t y - y^2 lies in
        // -(T + 2 Y) .. T.
        const uint64_t most = (static_cast<uint64_t>(simd::sumOfDwords(upperSquares)) + 32) << 8;
        if (targetEnergy_ + 2 * most > max32) [[unlikely]]
            return scoreInOrder(code);
        return wrapSub32(wrapMul32(2, simd::sumOfDwords(correlation)), simd::sumOfDwords(squares));
    }

    void placePulsesInOrder(MultipulseCode &code, int first) const {
        int32_t cross[gridPositions];
        bool taken[gridPositions] = {};
        std::copy_n(cross_[code.grid], gridPositions, cross);
        int next = first;
        for (int k = 0;; k++) {
            const int position = next;
            code.position[k] = static_cast<int16_t>(position);
            code.negative[k] = cross[position] < 0;
            if (k == pulses - 1) break;
            taken[position] = true;
            const auto amplitude =
                static_cast<int16_t>(code.negative[k] ? -fixedGains[code.level] : fixedGains[code.level]);
            int32_t largest = -1;
            for (int g = 0; g < gridPositions; g++) {
                if (taken[g]) continue;
                cross[g] = L_msu(cross[g], amplitude, auto_[gridPositions - 1 + g - position]);
                if (L_abs(cross[g]) <= largest) continue;
                largest = L_abs(cross[g]);
                next = g;
            }
        }
    }

    int32_t scoreInOrder(const MultipulseCode &code) const {
        const int16_t *response = response_ + paddedLength;
        int16_t vector[subframeLength] = {};
        for (int k = 0; k < pulses; k++)
            vector[code.grid + 2 * code.position[k]] =
                static_cast<int16_t>(code.negative[k] ? -fixedGains[code.level] : fixedGains[code.level]);
        int32_t score = 0;
        for (int l = 0; l < subframeLength; l++) {
            int32_t acc = 0;
            for (int j = 0; j <= l; j++)
                acc = L_mac(acc, vector[j], response[l - j]);
            const int16_t filtered = extract_h(L_shl(acc, 2));
            score = L_mac(score, target_[l], filtered);
            score = L_sub(score, L_mult(filtered, filtered) >> 1);
        }
        return score;
    }

    alignas(16) int16_t target_[2 * paddedLength] = {};
    alignas(16) int16_t reversedTarget_[paddedLength];
    alignas(16) int16_t response_[2 * paddedLength] = {};     // from paddedLength on
    alignas(16) int16_t auto_[paddedLength] = {};             // lag 2 * (i - 29) of the response
    alignas(16) int32_t cross_[2][32] = {};                   // correlation with the target, by grid
    alignas(16) int32_t responses_[2][2 * paddedLength] = {}; // of a positive and of a negative pulse, behind zeros
    uint64_t targetEnergy_;
    int responsePeak_ = 0;
    int16_t train_ = 0;
    int32_t bestScore_ = -(1 << 30);
    MultipulseCode best_;
};

// Number of the combination of positions, and signs, the first pulse in the highest bit.
void numberPositions(const int16_t *vector, int grid, int pulses, int32_t *number, int16_t *signs) {
    int32_t sum = 0;
    int bits = 0;
    for (int i = 0, passed = 6 - pulses; i < gridPositions && passed < 6; i++) {
        const int16_t pulse = vector[grid + 2 * i];
        if (pulse == 0) {
            sum += combinations.value[passed][i];
            continue;
        }
        bits = 2 * bits + (pulse < 0 ? 1 : 0);
        passed++;
    }
    *number = sum;
    *signs = static_cast<int16_t>(bits);
}

template <int pulses> MultipulseCode searchPulses(const int16_t *target, const int16_t *impulse, int lag) {
    MultipulseSearch<pulses> search(target);
    search.run(impulse, 0);
    if (lag < shortLagLimit) {
        int16_t periodic[subframeLength];
        addPulseTrain(impulse, lag, periodic);
        search.run(periodic, 1);
    }
    return search.best();
}

ryxStatus searchMultipulse(const int16_t *target, const int16_t *impulse, int lag, int subframe, int16_t *vector,
                           int32_t *positions, int16_t *signs, int16_t *gainIndex, int16_t *grid, int16_t *train) {
    if (anyNull(target, impulse, vector, positions, signs, gainIndex, grid, train)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag || subframe < 0 || subframe >= subframes) return ryxStsOutOfRange;
    const int count = pulseCounts[subframe];
    const MultipulseCode code =
        count == 6 ? searchPulses<6>(target, impulse, lag) : searchPulses<5>(target, impulse, lag);
    int16_t pulses[subframeLength] = {};
    for (int k = 0; k < count; k++)
        pulses[code.grid + 2 * code.position[k]] =
            static_cast<int16_t>(code.negative[k] ? -fixedGains[code.level] : fixedGains[code.level]);
    numberPositions(pulses, code.grid, count, positions, signs);
    *gainIndex = code.level;
    *grid = code.grid;
    *train = code.train;
    if (code.train != 0)
        addPulseTrain(pulses, lag, vector);
    else
        std::copy_n(pulses, subframeLength, vector);
    return ryxStsOk;
}

} // namespace
