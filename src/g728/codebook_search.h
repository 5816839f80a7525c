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

// What searches with the same impulse response share.
struct CodebookState {
    uint16_t energies[shapes]; // shifted to the left as far as 16 bits allow, 4 places at most
    int16_t impulse[vectorLength];
    int16_t bounded; // what isBounded() says
    int16_t fits;    // whether all energies fit 16 bits; they are worthless if not
    int16_t shift;   // of the energies
};
static_assert(sizeof(CodebookState) == 272);

// A state in its place, at any address.
class StateView {
public:
    explicit StateView(const void *block) : octets_(static_cast<const unsigned char *>(block)) {}

    // Of the shapes 8 g to 8 g + 7, shifted.
    Vector energies(size_t g) const {
        return simd::load(octets_ + offsetof(CodebookState, energies) + sizeof(Vector) * g);
    }
    // In word 0, shifted, with anything in word 1.
    Vector energyAndMore(size_t shape) const {
        return simd::load32(octets_ + offsetof(CodebookState, energies) + sizeof(int16_t) * shape);
    }
    Vector shift() const { return _mm_cvtsi32_si128(word(offsetof(CodebookState, shift))); }
    bool fits() const { return word(offsetof(CodebookState, fits)) != 0; }

    // The impulse response, zeros behind it, and whether it is bounded.
    Vector impulse() const {
        return _mm_srli_si128(_mm_slli_si128(simd::load(octets_ + offsetof(CodebookState, impulse)), 6), 6);
    }
    bool isBounded() const { return word(offsetof(CodebookState, bounded)) != 0; }

private:
    int16_t word(size_t at) const {
        int16_t x;
        std::memcpy(&x, octets_ + at, sizeof x);
        return x;
    }

    const unsigned char *octets_;
};

// Most shapes can be ruled out with 16 bits. With the lowest gain g and its square s, a shape of energy E and correlation C
// gains g |C| - s E, in scales left out here, and with each higher one more from a boundary on: the largest of four lines in
// |C|. What the distortion really falls below 0 comes from one of these lines, and from |C| without its last bits: it is no more
// than the largest.
//
// What is computed is a quarter of that over g, where the correlation is scaled by 2^(scale - 15): 2^(scale - 3) / g for 1 of a
// distortion. It is not below the truth by 3 or more:
// - |C| is off by 5/2 for five rounded products, and by 47018 / 2^16 where the target, shifted right by one, is rounded down. With
//   4 more it is not below the truth, and it does not exceed 23516 with samples up to 2^14.
// - The multiples of E are rounded down, from factors rounded down, which makes the measure larger.
// - The quarter is rounded down, by 3/4 at most, and the three products by 1/2.
// All slopes together are 1.34, so that everything fits.
class Candidates {
public:
    Candidates(StateView state, Vector backward) : state_(state), backward_(backward) {
        const Vector largest = _mm_add_epi32(state.shift(), _mm_cvtsi32_si128(2));
        scale_ = _mm_min_epi16(normalisationCount(backward, 15, 15), largest);
        energyShift_ = _mm_sub_epi32(largest, scale_);
    }

    // The choice of the smallest distortion, the first of equal ones. What the best shape gains is less than its measure, for all
    // that the measure has too much and for the last bits of the correlation. Where that is more than expected, so that a shape
    // that was not looked at may come as far, the search looks again, with a limit that follows from the first choice: the first
    // limit is an expectation, not a bound.
    [[gnu::always_inline]] Choice find() {
        const int whole = 1 << (_mm_cvtsi128_si32(scale_) + 1); // the scale is -1 or more
        const int limit = measureAll() - 8 - (whole >> 4);
        const Choice best = smallestOf(limit);
        const int64_t gained = -int64_t{best.distortion} * whole;
        constexpr int unit = 16 * 4224; // a measure of 1 is 2^-(scale + 1) of it as a distortion: 4224 is g
        if (int64_t{limit + error} * unit <= gained) [[likely]]
            return best;
        // -4300 or more, as the shifted energies are below 2^16.
        return findAgain(static_cast<int>(gained / unit) - 1 - error);
    }

private:
    static constexpr int error = 3;

    [[gnu::noinline, gnu::cold]] Choice findAgain(int limit) const { return smallestOf(limit); }

    // Measures of all shapes; returns the largest one.
    [[gnu::always_inline]] int measureAll() {
        const Vector target = shiftedByCount(backward_, scale_);
        const Vector t0 = simd::broadcastWord<0>(target), t1 = simd::broadcastWord<2>(target);
        const Vector t2 = simd::broadcastWord<4>(target), t3 = simd::broadcastWord<6>(target);
        const Vector t4 = simd::broadcastWord<8>(target);
        const auto multiple = [&](size_t i) {
            return _mm_srl_epi16(simd::loadAligned(gainLines.multiples[i]), energyShift_);
        };
        const Vector m0 = multiple(0), m1 = multiple(1), m2 = multiple(2), m3 = multiple(3);
        const StateView state = state_;
        Vector largest = simd::words(min16);
#pragma GCC unroll 4
        for (size_t g = 0; g < shapes / 8; g++) {
            const auto product = [&](int n, Vector t) {
                return _mm_mulhrs_epi16(simd::loadAligned(shapeGroups.samples[g][n]), t);
            };
            const auto line = [](size_t i, Vector x) {
                return _mm_mulhrs_epi16(x, simd::loadAligned(gainLines.slopes[i]));
            };
            const auto ofEnergies = [&](Vector m) { return _mm_mulhi_epu16(state.energies(g), m); };
            const Vector sum = _mm_add_epi16(_mm_add_epi16(_mm_add_epi16(product(0, t0), product(1, t1)),
                                                           _mm_add_epi16(product(2, t2), product(3, t3))),
                                             product(4, t4));
            const Vector c = _mm_add_epi16(_mm_abs_epi16(sum), simd::words(4));
            Vector measured = _mm_srai_epi16(_mm_sub_epi16(c, ofEnergies(m0)), 2);
            const Vector first = _mm_subs_epu16(c, ofEnergies(m1));
            const Vector second = _mm_subs_epu16(first, ofEnergies(m2));
            const Vector third = _mm_subs_epu16(second, ofEnergies(m3));
            measured =
                _mm_add_epi16(_mm_add_epi16(measured, line(0, first)), _mm_add_epi16(line(1, second), line(2, third)));
            simd::store(measures_ + 8 * g, measured);
            largest = _mm_max_epi16(largest, measured);
        }
        return simd::largestWord(largest);
    }

    // The best of the shapes whose measures reach the limit. They are looked at in fours, two of each half of the codebook, with
    // the last shape of the half in place of one that is missing: no branch depends on how many there are while they are few.
    [[gnu::always_inline]] Choice smallestOf(int limit) const {
        const Vector limits = simd::words(static_cast<int16_t>(limit));
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
        const Distortions found(correlations,
                                _mm_srl_epi32(_mm_and_si128(energies, simd::dwords(0xffff)), state_.shift()));
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
    Vector backward_, scale_, energyShift_;
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

inline Choice choose(StateView state, Vector backward) {
    if (state.fits()) [[likely]]
        return Candidates(state, backward).find();
    int16_t impulse[8], words[vectorLength];
    simd::store(impulse, state.impulse());
    storeFive(words, backward);
    return chooseWidely(impulse, words);
}

} // namespace ryxsc::g728
