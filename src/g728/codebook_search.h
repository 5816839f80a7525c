// SPDX-License-Identifier: BSD-2-Clause
// Search of the excitation codebook of ITU-T G.728, Annex G: over all shapes, and over those that a bound leaves in the race.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>

#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/tables.h"
#include "g728/vectors.h"

namespace ryxsc::g728 {

using simd::Vector;

constexpr int shapes = 128, shapesPerGroup = 4;

inline int16_t shapeSample(int shape, int n) {
    return shapeCodebook[shape >> 2][n >> 1][shape & 3][n & 1];
}

inline int32_t correlationOf(int shape, const int16_t *backward) {
    int32_t sum = 0;
    for (int n = 0; n < vectorLength; n++)
        sum += shapeSample(shape, n) * backward[n];
    return sum;
}

// Five samples, zeros behind them.
inline Vector shapeSamples(size_t shape) {
    return simd::loadAligned(singleShapes.samples[shape]);
}

// Index of the magnitude in whose cell the quotient of correlation and energy falls. The boundaries rise.
inline int gainOf(int32_t correlation, int64_t energy) {
    int index = 0;
    for (int i = 0; i < 3; i++)
        index += correlation > gainMagnitudes[i].boundary * energy ? 1 : 0;
    return index;
}

inline int gainIndexOf(int32_t correlation, int energy) {
    return gainOf(std::abs(correlation), energy) + (correlation <= 0 ? 4 : 0);
}

// Correlations of four shapes with the target. |y| sums up to 47018 at most, so they fit 32 bits.
class Correlation {
public:
    explicit Correlation(const int16_t *backward)
        : b01_(simd::wordPairs(backward[0], backward[1])), b23_(simd::wordPairs(backward[2], backward[3])),
          b4_(simd::wordPairs(backward[4], 0)) {}

    Vector operator()(const int16_t (&group)[3][shapesPerGroup][2]) const {
        return _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(simd::loadAligned(group[0]), b01_),
                                           _mm_madd_epi16(simd::loadAligned(group[1]), b23_)),
                             _mm_madd_epi16(simd::loadAligned(group[2]), b4_));
    }

private:
    Vector b01_, b23_, b4_;
};

// Distortions of four shapes, each with its best gain: square * energy - gain * correlation. The words square and -gain are
// those of the first gain, changed at each boundary that the correlation exceeds; a boundary exceeded means the lower ones
// are. Correlations and energies are dwords.
struct Distortions {
    Vector values, gains; // and the indices of the best gains without their sign

    Distortions(Vector correlations, Vector energies) : gains(_mm_setzero_si128()) {
        const Vector c = _mm_abs_epi32(correlations);
        const Vector limited = simd::saturateDwords(_mm_srai_epi32(c, 14));
        const Vector both = _mm_or_si128(energies, _mm_unpacklo_epi16(_mm_setzero_si128(), limited));
        Vector weights = simd::loadAligned(gainCells.first);
        for (int i = 0; i < 3; i++) {
            const Vector exceeded =
                _mm_cmpgt_epi32(c, _mm_madd_epi16(energies, simd::loadAligned(gainCells.boundaries[i])));
            weights = _mm_xor_si128(weights, _mm_and_si128(exceeded, simd::loadAligned(gainCells.changes[i])));
            gains = _mm_sub_epi32(gains, exceeded);
        }
        values = _mm_madd_epi16(both, weights);
    }
};

// A shape with a gain, and how far from the target it remains.
struct Choice {
    int shape, gainIndex;
    int32_t distortion;
};

// The shape of the smallest distortion, the first of equal ones, by looking at all of them.
inline int closestOfAll(const int16_t *backward, const int16_t *energies) {
    const Correlation correlation(backward);
    Vector smallest = simd::dwords(max32), winners = _mm_setzero_si128();
    Vector numbers = _mm_setr_epi32(0, 1, 2, 3);
    for (int g = 0; g < shapes / shapesPerGroup; g++) {
        const Vector energy = simd::load64(energies + g * shapesPerGroup);
        const Vector found =
            Distortions(correlation(shapeCodebook[g]), _mm_unpacklo_epi16(energy, _mm_setzero_si128())).values;
        const Vector better = _mm_cmpgt_epi32(smallest, found);
        smallest = simd::select(better, found, smallest);
        winners = _mm_max_epi16(winners, _mm_and_si128(better, numbers)); // numbers rise
        numbers = _mm_add_epi32(numbers, simd::dwords(shapesPerGroup));
    }
    return static_cast<int>(simd::smallest(smallest, winners).index);
}

// What searches with the same impulse response share. A shape of norm n and energy E has the weight n (512 / E)^1/2, rounded
// up, and the threshold 140 E^1/2, rounded down; they may be off by 2^-10 of themselves. That is what Candidates needs.
struct CodebookState {
    int16_t energies[shapes], weights[shapes], thresholds[shapes];
    int16_t impulse[vectorLength];
    int16_t bounded;  // what isBounded() says
    int16_t fits;     // whether all energies fit 16 bits
    int16_t weighted; // and all weights
};
static_assert(sizeof(CodebookState) == 784);

// Weights and thresholds of four shapes, from their energies and scaled norms. The processor's estimate of a reciprocal square
// root is off by up to 1.5 * 2^-12; factors that are off by 2^-11 to the safe side make up for that and all roundings, so that
// nothing that is found depends on it. A shape without energy gets a weight that does not fit.
struct Measure {
    Vector weights, thresholds;

    Measure(Vector energies, const float *norms) {
        const __m128 energy = _mm_max_ps(_mm_cvtepi32_ps(energies), _mm_set1_ps(0.25F));
        const __m128 inverse = _mm_rsqrt_ps(energy);
        const __m128 thresholdFactor = _mm_set1_ps(140 * (1 - 0x1p-11F));
        weights = _mm_cvtps_epi32(_mm_mul_ps(inverse, _mm_load_ps(norms)));
        thresholds = _mm_cvtps_epi32(_mm_mul_ps(inverse, _mm_mul_ps(energy, thresholdFactor)));
    }
};

// A state in its place, at any address.
class StateView {
public:
    explicit StateView(const void *block) : octets_(static_cast<const unsigned char *>(block)) {}

    // Of the shapes 8 g to 8 g + 7.
    Vector weights(size_t g) const {
        return simd::load(octets_ + offsetof(CodebookState, weights) + sizeof(Vector) * g);
    }
    Vector thresholds(size_t g) const {
        return simd::load(octets_ + offsetof(CodebookState, thresholds) + sizeof(Vector) * g);
    }

    // In word 0, with anything in word 1.
    Vector energyAndMore(size_t shape) const {
        return simd::load32(octets_ + offsetof(CodebookState, energies) + sizeof(int16_t) * shape);
    }
    void energies(int16_t *all) const {
        std::memcpy(all, octets_ + offsetof(CodebookState, energies), sizeof CodebookState::energies);
    }
    bool fits() const { return flag(offsetof(CodebookState, fits)); }
    bool isWeighted() const { return flag(offsetof(CodebookState, weighted)); }

    // The impulse response, zeros behind it, and whether it is bounded.
    Vector impulse() const {
        return _mm_srli_si128(_mm_slli_si128(simd::load(octets_ + offsetof(CodebookState, impulse)), 6), 6);
    }
    bool isBounded() const { return flag(offsetof(CodebookState, bounded)); }

private:
    bool flag(size_t at) const {
        int16_t x;
        std::memcpy(&x, octets_ + at, sizeof x);
        return x != 0;
    }

    const unsigned char *octets_;
};

// Most shapes can be ruled out with 16 bits. A shape of energy E whose correlation is C has the distortion square * E - gain *
// (|C| >> 14) for one of four gains, and no square is less than gain^2 / 2^15. With G = gain (E / 2^15)^1/2 and H = |C| /
// (2^15 E)^1/2 the distortion is not below G^2 - 2 G H for some G from G0 on, that of the lowest gain. This means:
// - It is not below -H^2; and where H is less than G0, not below G0^2 - 2 G0 H, which exceeds -(2 H - 3/4 G0)^2 by the square of
//   2 H - 5/4 G0. So with m = min(H, 2 H - 3/4 G0) it is not below -m^2, or, where m is negative, not below 0.
// - A target that is weak for the gain leaves no distortion below 0. Then 3/4 (G0^2 - 2 G0 H)^1/2, a concave function of H, is
//   not below its chords between H = 0, 3/8 G0 and 1/2 G0: with n = min(3/4 G0 - H, 3/2 G0 - 3 H) the distortion is not below
//   16/9 n^2 where n is positive.
//
// What is computed is m * 2^(s - 3) and -n * 2^(s - 3), where 2^s scales the target. The correlation with a shape of norm 2^15
// comes from five rounded products, off by 2.5, of words that are rounded too: the shape's half a unit counts 5/8 at most with
// samples below 2^13, and the target's, where it is shifted to the right, less than 5^1/2. One more rounding after the product
// with the weight, and one of the weight itself, that is 6.5 for the H computed. The threshold, 3/4 G0, is off by 1. So m is off
// by 14 at most and n by 22.
class Candidates {
public:
    Candidates(StateView state, Vector backward) : state_(state), backward_(backward) {
        const Vector scale = normalisationCount(backward, 14, largestScale);
        target_ = shiftedByCount(backward, scale);
        thresholdShift_ = _mm_sub_epi32(_mm_cvtsi32_si128(largestScale), scale);
    }

    // The choice of the smallest distortion, the first of equal ones. Returns false if the measures do not tell.
    bool find(Choice &best) {
        largest_ = measureAll([](Vector h, Vector t) { return _mm_sub_epi16(h, _mm_subs_epu16(t, h)); });
        // The better of two gains around the best one costs less than 0.08 of the distortion, the bend of the bound 0.11.
        const Vector limits = _mm_sub_epi16(_mm_mulhrs_epi16(largest_, simd::words(31293)), simd::words(14));
        const auto limit = static_cast<int16_t>(_mm_cvtsi128_si32(limits));
        if (limit < 1) [[unlikely]]
            return findWeak(best);
        best = smallestOf(limits);
        // No shape below the limit comes as far as this.
        if (scaled((limit + 14) * (limit + 14)) <= -int64_t{64} * best.distortion) [[likely]]
            return true;
        return findFrom(best);
    }

private:
    static constexpr int largestScale = 6;

    // Measures of all shapes by their H and thresholds; returns the largest one in all words.
    template <class Measure> [[gnu::always_inline]] Vector measureAll(Measure measure) {
        const Vector t0 = simd::broadcastWord<0>(target_), t1 = simd::broadcastWord<2>(target_);
        const Vector t2 = simd::broadcastWord<4>(target_), t3 = simd::broadcastWord<6>(target_);
        const Vector t4 = simd::broadcastWord<8>(target_);
        Vector largest = simd::words(min16);
#pragma GCC unroll 4
        for (size_t g = 0; g < shapes / 8; g++) {
            const auto product = [&](int n, Vector t) {
                return _mm_mulhrs_epi16(simd::loadAligned(unitShapes.samples[g][n]), t);
            };
            const Vector sum = _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(product(0, t0), product(1, t1)),
                                                           _mm_add_epi16(product(2, t2), product(3, t3))),
                                             product(4, t4));
            const Vector measured = measure(_mm_mulhrs_epi16(_mm_abs_epi16(sum), state_.weights(g)),
                                            _mm_srl_epi16(state_.thresholds(g), thresholdShift_));
            simd::store(measures_ + 8 * g, measured);
            largest = _mm_max_epi16(largest, measured);
        }
        largest = _mm_max_epi16(largest, _mm_shuffle_epi32(largest, _MM_SHUFFLE(1, 0, 3, 2)));
        largest = _mm_max_epi16(largest, _mm_shuffle_epi32(largest, _MM_SHUFFLE(2, 3, 0, 1)));
        return _mm_max_epi16(largest, _mm_or_si128(_mm_slli_epi32(largest, 16), _mm_srli_epi32(largest, 16)));
    }

    // Square of a measure in the largest scale, in which 1 stands for 1/64 of a distortion.
    int64_t scaled(int square) const {
        return int64_t{square} << 2 * _mm_cvtsi128_si32(thresholdShift_);
    }
    // The measure for 1/64 of a distortion, rounded down or 1 less.
    int rootOf(int64_t distortion) const {
        const auto square = static_cast<float>(distortion >> 2 * _mm_cvtsi128_si32(thresholdShift_));
        return _mm_cvttss_si32(_mm_sqrt_ss(_mm_set_ss(square))) - 1;
    }

    // The same once more with the limit that follows from a choice.
    [[gnu::noinline, gnu::cold]] bool findFrom(Choice &best) {
        if (best.distortion >= 0) return findWeak(best);
        const int limit = rootOf(-int64_t{64} * best.distortion) - 14;
        if (limit < 1) return findWeak(best);
        best = smallestOf(simd::words(static_cast<int16_t>(limit)));
        return true;
    }

    // With -n, that is max(H - t, 3 H - 2 t) for a threshold t, as the measure. 3 H - 2 t fits 16 bits because H does not exceed
    // the greater one of t and the largest m.
    [[gnu::noinline, gnu::cold]] bool findWeak(Choice &best) {
        if (_mm_cvtsi128_si32(largest_) >> 16 > 8191) return false;
        const Vector largest = measureAll([](Vector h, Vector t) {
            return _mm_add_epi16(_mm_sub_epi16(h, t), _mm_subs_epu16(_mm_add_epi16(h, h), t));
        });
        int limit = std::min((_mm_cvtsi128_si32(largest) >> 16) * 35 / 32 - 24, -22);
        while (limit >= min16) {
            best = smallestOf(simd::words(static_cast<int16_t>(limit)));
            const int reached = -limit - 21; // by any shape below the limit
            if (scaled(reached * reached) > int64_t{36} * best.distortion) return true;
            limit = -26 - rootOf(int64_t{36} * best.distortion);
        }
        return false;
    }

    // The best of the shapes whose measures reach the limit. They are looked at in fours, two of each half of the codebook, with
    // the last shape of the half in place of one that is missing: no branch depends on how many there are while they are few.
    Choice smallestOf(Vector limits) const {
        uint64_t front = reaching(0, limits), back = reaching(shapes / 2, limits);
        int64_t smallest = INT64_MAX;
        do {
            constexpr uint64_t last = uint64_t{1} << 63;
            const auto next = [](uint64_t &mask) {
                const auto shape = static_cast<size_t>(std::countr_zero(mask | last));
                mask &= mask - 1;
                return shape;
            };
            const size_t first = next(front), second = next(front), third = next(back) + 64, fourth = next(back) + 64;
            smallest = std::min(smallest, smallestOf(first, second, third, fourth));
        } while ((front | back) != 0);
        return {static_cast<int>(smallest >> 3) & (shapes - 1), static_cast<int>(smallest & 7),
                static_cast<int32_t>(smallest >> 32)};
    }

    static Vector fourDwords(Vector x, Vector y, Vector z, Vector w) {
        return _mm_unpacklo_epi64(_mm_unpacklo_epi32(x, y), _mm_unpacklo_epi32(z, w));
    }

    // Distortion, shape and gain as one number.
    int64_t smallestOf(size_t first, size_t second, size_t third, size_t fourth) const {
        const auto products = [&](size_t shape) { return _mm_madd_epi16(shapeSamples(shape), backward_); };
        const Vector sums[] = {products(first), products(second), products(third), products(fourth)};
        const Vector energies = fourDwords(state_.energyAndMore(first), state_.energyAndMore(second),
                                           state_.energyAndMore(third), state_.energyAndMore(fourth));
        const auto number = [](size_t shape) { return _mm_cvtsi32_si128(static_cast<int>(shape)); };
        const Vector numbers =
            _mm_slli_epi32(fourDwords(number(first), number(second), number(third), number(fourth)), 3);
        const Vector correlations = simd::sumsOfDwords(sums);
        const Distortions found(correlations, _mm_and_si128(energies, simd::dwords(0xffff)));
        const Vector negative = _mm_andnot_si128(_mm_cmpgt_epi32(correlations, _mm_setzero_si128()), simd::dwords(4));
        const Vector choices = _mm_or_si128(_mm_or_si128(numbers, negative), found.gains);
        const simd::IndexedDword smallest = simd::smallest(found.values, choices);
        return int64_t{smallest.value} * (int64_t{1} << 32) | smallest.index;
    }

    // Which of 64 shapes have a measure at or above the limit.
    uint64_t reaching(int first, Vector limits) const {
        uint64_t mask = 0;
#pragma GCC unroll 4
        for (int i = 0; i < 64; i += 16) {
            const auto below = [&](int j) { return _mm_cmpgt_epi16(limits, simd::loadAligned(measures_ + first + j)); };
            const auto sixteen = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(below(i), below(i + 8))));
            mask |= static_cast<uint64_t>(sixteen) << i;
        }
        return ~mask;
    }

    StateView state_;
    Vector backward_, target_, thresholdShift_, largest_;
    alignas(16) int16_t measures_[shapes];
};

// The choice where the impulse response gives filtered shapes or their energies more than 16 bits: one by one, from the
// response itself. In the encoder it does so now and then, between the adaptation of the weighting filter to a loud onset and
// that of the predictor.
[[gnu::noinline, gnu::cold]] inline Choice chooseWidely(const int16_t *impulse, const int16_t *backward) {
    Choice best = {0, 0, max32};
    for (int shape = 0; shape < shapes; shape++) {
        int64_t energy = 0;
        for (int n = 0; n < vectorLength; n++) {
            int32_t sum = 0;
            for (int m = 0; m <= n; m++)
                sum += shapeSample(shape, m) * impulse[n - m];
            energy += int64_t{sum >> 14} * (sum >> 14);
        }
        energy >>= 15;
        const int32_t correlation = correlationOf(shape, backward), magnitude = std::abs(correlation);
        const int gain = gainOf(magnitude, energy);
        const GainMagnitude &g = gainMagnitudes[gain];
        const int64_t distortion = g.square * energy - g.gain * std::min<int32_t>(magnitude >> 14, max16);
        if (distortion < best.distortion)
            best = {shape, gain + (correlation <= 0 ? 4 : 0), static_cast<int32_t>(distortion)};
    }
    return best;
}

inline Choice chooseOfAll(StateView state, Vector backward) {
    int16_t words[vectorLength], impulse[8], energies[shapes];
    storeFive(words, backward);
    if (!state.fits()) {
        simd::store(impulse, state.impulse());
        return chooseWidely(impulse, words);
    }
    state.energies(energies);
    const int shape = closestOfAll(words, energies);
    return {shape, gainIndexOf(correlationOf(shape, words), energies[shape]), 0};
}

inline Choice choose(StateView state, Vector backward) {
    Choice best;
    Candidates candidates(state, backward);
    if (candidates.find(best)) [[likely]]
        return best;
    return chooseOfAll(state, backward);
}

} // namespace ryxsc::g728
