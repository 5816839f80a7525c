// SPDX-License-Identifier: BSD-2-Clause
// Excitation codebook of ITU-T G.728, Annex G: 128 shapes of five samples, four gains with a sign.
#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int shapes = 128, shapesPerGroup = 4;

int16_t shapeSample(int shape, int n) {
    return shapeCodebook[shape >> 2][n >> 1][shape & 3][n & 1];
}

// Words x and y in all dwords.
Vector pairs(int16_t x, int16_t y) {
    return _mm_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(y) << 16 | static_cast<uint16_t>(x)));
}

// Words of the low halves of two vectors of dwords side by side, both limited to 16 bits.
Vector limitedPairs(Vector x, Vector y) {
    return _mm_shuffle_epi8(_mm_packs_epi32(x, y), _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
}

// Energies in Q5 of four shapes behind the filter h. Sums of a pair of squares fit 32 bits without a sign; where one takes
// its upper two bits the energy is limited.
class FilteredEnergy {
public:
    explicit FilteredEnergy(const int16_t *h)
        : h0_(pairs(h[0], 0)), h1_(pairs(h[1], h[0])), h2_(pairs(h[2], h[1])), h3_(pairs(h[3], h[2])),
          h4_(pairs(h[4], h[3])) {}

    Vector operator()(const int16_t (&group)[3][shapesPerGroup][2]) const {
        const Vector y01 = simd::loadAligned(group[0]), y23 = simd::loadAligned(group[1]);
        const Vector y4 = simd::loadAligned(group[2]);
        const auto product = [](Vector y, Vector h) { return _mm_madd_epi16(y, h); };
        const auto filtered = [](Vector sum) { return _mm_srai_epi32(sum, 14); };
        const Vector f0 = filtered(product(y01, h0_)), f1 = filtered(product(y01, h1_));
        const Vector f2 = filtered(_mm_add_epi32(product(y01, h2_), product(y23, h0_)));
        const Vector f3 = filtered(_mm_add_epi32(product(y01, h3_), product(y23, h1_)));
        const Vector f4 =
            filtered(_mm_add_epi32(_mm_add_epi32(product(y01, h4_), product(y23, h2_)), product(y4, h0_)));
        const auto squares = [](Vector x) { return _mm_madd_epi16(x, x); };
        const Vector e01 = squares(limitedPairs(f0, f1)), e23 = squares(limitedPairs(f2, f3));
        const Vector e4 = squares(limitedPairs(f4, _mm_setzero_si128()));
        const Vector excess = _mm_srli_epi32(_mm_or_si128(_mm_or_si128(e01, e23), e4), 30);
        const Vector energy = _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(e01, e23), e4), 15);
        return _mm_or_si128(energy, _mm_slli_epi32(excess, 16));
    }

private:
    Vector h0_, h1_, h2_, h3_, h4_;
};

// Whether no sum of products of an impulse response with 16-bit samples leaves 32 bits.
bool isBounded(const int16_t *impulse) {
    int32_t magnitudes = 0;
    for (int n = 0; n < vectorLength; n++)
        magnitudes += std::abs(impulse[n]);
    return magnitudes < 1 << 16;
}

// The target correlated with the impulse response, whose five samples have zeros behind them, Q7.
[[gnu::always_inline]] inline void convolveBackward(const int16_t *target, int exponent, Vector impulse, bool bounded,
                                                    int16_t *backward) {
    const int shift = exponent + 13 - 7;
    if (!bounded || shift < 0) [[unlikely]] {
        int16_t h[8];
        simd::store(h, impulse);
        for (int n = 0; n < vectorLength; n++) {
            int64_t sum = 0;
            for (int m = n; m < vectorLength; m++)
                sum += h[m - n] * target[m];
            backward[n] = sat16(shiftLimited(sat32(sum), -shift));
        }
        return;
    }
    const Vector t = loadFive(target);
    const auto pairsFrom = [=]<int n>() { // samples n and n + 1, n + 1 and n + 2, and so on
        return _mm_unpacklo_epi16(_mm_srli_si128(t, 2 * n), _mm_srli_si128(t, 2 * n + 2));
    };
    const Vector h01 = _mm_shuffle_epi32(impulse, 0x00), h23 = _mm_shuffle_epi32(impulse, 0x55);
    const Vector h4 = _mm_shuffle_epi32(impulse, 0xaa);
    const Vector four = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(pairsFrom.template operator()<0>(), h01),
                                                    _mm_madd_epi16(pairsFrom.template operator()<2>(), h23)),
                                      _mm_madd_epi16(pairsFrom.template operator()<4>(), h4));
    const Vector fifth = _mm_madd_epi16(pairsFrom.template operator()<4>(), h01);
    const Vector count = _mm_cvtsi32_si128(shift);
    simd::store64(backward, simd::saturateDwords(_mm_sra_epi32(four, count)));
    simd::storeWord(backward + 4, simd::saturateDwords(_mm_sra_epi32(fifth, count)));
}

int32_t correlationOf(int shape, const int16_t *backward) {
    int32_t sum = 0;
    for (int n = 0; n < vectorLength; n++)
        sum += shapeSample(shape, n) * backward[n];
    return sum;
}

// Index of the magnitude in whose cell the quotient of correlation and energy falls. The boundaries rise.
int gainOf(int32_t correlation, int energy) {
    int index = 0;
    for (int i = 0; i < 3; i++)
        index += correlation > gainMagnitudes[i].boundary * energy ? 1 : 0;
    return index;
}

int gainIndexOf(int32_t correlation, int energy) {
    return gainOf(std::abs(correlation), energy) + (correlation <= 0 ? 4 : 0);
}

// Correlations of four shapes with the target. |y| sums up to 47018 at most, so they fit 32 bits.
class Correlation {
public:
    explicit Correlation(const int16_t *backward)
        : b01_(pairs(backward[0], backward[1])), b23_(pairs(backward[2], backward[3])), b4_(pairs(backward[4], 0)) {}

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
// are.
class Distortion {
public:
    explicit Distortion(const int16_t *backward) : correlation_(backward) {
        for (int i = 0; i < 3; i++) {
            boundary_[i] = pairs(gainMagnitudes[i].boundary, 0);
            change_[i] = _mm_xor_si128(weights(i), weights(i + 1));
        }
    }

    Vector operator()(const int16_t (&group)[3][shapesPerGroup][2], const int16_t *energies) const {
        const Vector correlation = _mm_abs_epi32(correlation_(group));
        const Vector limited = simd::saturateDwords(_mm_srai_epi32(correlation, 14));
        const Vector both = _mm_unpacklo_epi16(simd::load64(energies), limited);
        Vector weight = weights(0);
        for (int i = 0; i < 3; i++) {
            const Vector exceeded = _mm_cmpgt_epi32(correlation, _mm_madd_epi16(both, boundary_[i]));
            weight = _mm_xor_si128(weight, _mm_and_si128(exceeded, change_[i]));
        }
        return _mm_madd_epi16(both, weight);
    }

private:
    static Vector weights(int i) {
        return pairs(gainMagnitudes[i].square, static_cast<int16_t>(-gainMagnitudes[i].gain));
    }

    Correlation correlation_;
    Vector boundary_[3], change_[3];
};

// What searches with the same impulse response share: energies, and in the float form of the distortion's bound the same
// times 2^-15 and 2^14 by them.
struct State {
    float energies[shapes], inverses[shapes];
    int16_t words[shapes];
    int16_t impulse[vectorLength], bounded, reserved[2];
};
static_assert(sizeof(State) == 1296);

// A state in its place, at any address.
class StateView {
public:
    explicit StateView(const void *block) : octets_(static_cast<const unsigned char *>(block)) {}

    __m128 energies(int shape) const { return four(offsetof(State, energies), shape); }
    __m128 inverses(int shape) const { return four(offsetof(State, inverses), shape); }
    int16_t energy(int shape) const {
        int16_t x;
        std::memcpy(&x, octets_ + offsetof(State, words) + sizeof x * static_cast<size_t>(shape), sizeof x);
        return x;
    }
    void filterBackward(const int16_t *target, int exponent, int16_t *backward) const {
        const Vector row = simd::load(octets_ + offsetof(State, impulse));
        const bool bounded = _mm_extract_epi16(row, vectorLength) != 0;
        convolveBackward(target, exponent, _mm_srli_si128(_mm_slli_si128(row, 6), 6), bounded, backward);
    }

private:
    __m128 four(size_t from, int shape) const {
        return _mm_castsi128_ps(simd::load(octets_ + from + sizeof(float) * static_cast<size_t>(shape)));
    }

    const unsigned char *octets_;
};

// The distortion of a shape whose correlation is C and whose energy E is square * E - gain * (C >> 14) for one of four gains,
// and no square is less than gain^2 / 2^15. So it is not below the least of gain^2 / 2^15 * E - gain * (C >> 14) for any gain
// in their range, which is easier to find. Few shapes have a bound below the smallest distortion; those are looked at closely.
class Candidates {
public:
    Candidates(StateView state, const int16_t *backward) : state_(state) {
        const Correlation correlation(backward);
        const __m128 lowest = _mm_set1_ps(gainMagnitudes[0].gain), highest = _mm_set1_ps(gainMagnitudes[3].gain);
        __m128 smallest = _mm_set1_ps(0x1p31f);
#pragma GCC unroll 4
        for (int g = 0; g < shapes; g += shapesPerGroup) {
            const Vector sum = correlation(shapeCodebook[g / shapesPerGroup]);
            simd::store(correlations_ + g, sum);
            const __m128 scaled = _mm_cvtepi32_ps(_mm_srli_epi32(_mm_abs_epi32(sum), 14));
            const __m128 wanted = _mm_mul_ps(scaled, state.inverses(g));
            const __m128 gain = _mm_max_ps(_mm_min_ps(wanted, highest), lowest);
            const __m128 slope = _mm_sub_ps(_mm_mul_ps(gain, state.energies(g)), scaled);
            const __m128 bound = _mm_mul_ps(slope, gain);
            _mm_store_ps(bounds_ + g, bound);
            smallest = _mm_min_ps(smallest, bound);
        }
        smallest = _mm_min_ps(smallest, _mm_movehl_ps(smallest, smallest));
        smallest_ = _mm_cvtss_f32(_mm_min_ss(smallest, _mm_shuffle_ps(smallest, smallest, 1)));
    }

    // The shape of the smallest distortion, the first of equal ones.
    int best() const {
        // Where the best gain lies between two of the four, the better of them costs less than 0.08 of the distortion.
        float limit = (smallest_ < 0 ? 0.92F * smallest_ : smallest_) + 2 * tolerance;
        for (;;) {
            int winner = 0;
            int32_t smallest = max32;
            for (int half = 0; half < shapes; half += shapes / 2)
                for (uint64_t mask = below(half, limit); mask != 0; mask &= mask - 1) {
                    const int shape = half + std::countr_zero(mask);
                    const int32_t found = distortion(shape);
                    winner = found < smallest ? shape : winner;
                    smallest = std::min(smallest, found);
                }
            const float enough = static_cast<float>(smallest) + tolerance;
            if (enough <= limit) [[likely]]
                return winner;
            limit = enough;
        }
    }

    int32_t correlation(int shape) const {
        return correlations_[shape];
    }

private:
    // More than the roundings of a bound, whose parts do not exceed 2^32.
    static constexpr float tolerance = 2048;

    int32_t distortion(int shape) const {
        const int32_t c = std::abs(correlations_[shape]);
        const int energy = state_.energy(shape);
        const GainMagnitude &g = gainMagnitudes[gainOf(c, energy)];
        return g.square * energy - g.gain * std::min(c >> 14, int32_t{max16});
    }

    // Which of 64 shapes have a bound at or below the limit.
    uint64_t below(int first, float limit) const {
        const __m128 limits = _mm_set1_ps(limit);
        uint64_t mask = 0;
        for (int i = 0; i < 4; i++) {
            const auto four = [&](int j) {
                return _mm_castps_si128(_mm_cmple_ps(_mm_load_ps(bounds_ + first + 16 * i + 4 * j), limits));
            };
            const Vector sixteen =
                _mm_packs_epi16(_mm_packs_epi32(four(0), four(1)), _mm_packs_epi32(four(2), four(3)));
            mask |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(sixteen))) << (16 * i);
        }
        return mask;
    }

    StateView state_;
    float smallest_;
    alignas(16) float bounds_[shapes];
    alignas(16) int32_t correlations_[shapes];
};

} // namespace

ryxStatus ryxsTarget_G728_16s_u8(const int16_t *weightedSpeech, const int16_t *weightedZeroInput, int16_t gain,
                                 int16_t gainExponent, int16_t *target, int16_t *exponent) {
    if (anyNull(weightedSpeech, weightedZeroInput, target, exponent)) return ryxStsNullPtr;
    if (gain < 1) return ryxStsOutOfRange;
    const Scaled inverse = divide(one, {gain, gainExponent});
    const Vector difference = _mm_subs_epi16(loadFive(weightedSpeech), loadFive(weightedZeroInput));
    Vector product = simd::mulShift<15>(simd::words(inverse.mantissa), difference); // the inverse is positive
    const int shift = normaliseFive(product, 16);
    storeFive(target, product);
    *exponent = asExponent(2 + inverse.exponent - 15 + shift);
    return ryxStsOk;
}

ryxStatus ryxsImpulseResponse_G728_16s_u8(const int16_t *synthesis, const int16_t *weighting, int16_t *response) {
    if (anyNull(synthesis, weighting, response)) return ryxStsNullPtr;
    int16_t synthesised[vectorLength] = {8192};
    response[0] = 8192;
    for (int n = 1; n < vectorLength; n++) {
        int64_t poles = 0, zeros = 0;
        for (int i = 1; i <= n; i++) {
            poles -= synthesis[i - 1] * synthesised[n - i];
            zeros += weighting[i - 1] * synthesised[n - i] - int64_t{weighting[order + i - 1]} * response[n - i];
        }
        synthesised[n] = sat16(sat32(poles >> 14));
        response[n] = sat16(sat32((poles + zeros) >> 14));
    }
    return ryxStsOk;
}

ryxStatus ryxsCodebookEnergy_G728_16s_u8(const int16_t *impulse, int16_t *energies) {
    if (anyNull(impulse, energies)) return ryxStsNullPtr;
    const FilteredEnergy energy(impulse);
    for (int g = 0; g < shapes / shapesPerGroup; g += 2)
        simd::store(energies + g * shapesPerGroup,
                    _mm_packs_epi32(energy(shapeCodebook[g]), energy(shapeCodebook[g + 1])));
    return ryxStsOk;
}

ryxStatus ryxsCodebookSearch_G728_16s_u8(const int16_t *target, int16_t exponent, const int16_t *impulse,
                                         const int16_t *energies, int16_t *shape, int16_t *gainIndex) {
    if (anyNull(target, impulse, energies, shape, gainIndex)) return ryxStsNullPtr;
    int16_t backward[vectorLength];
    convolveBackward(target, exponent, loadFive(impulse), isBounded(impulse), backward);
    const Distortion distortion(backward);
    Vector smallest = simd::dwords(max32), winners = _mm_setzero_si128();
    Vector numbers = _mm_setr_epi32(0, 1, 2, 3);
    for (int g = 0; g < shapes / shapesPerGroup; g++) {
        const Vector found = distortion(shapeCodebook[g], energies + g * shapesPerGroup);
        const Vector better = _mm_cmpgt_epi32(smallest, found);
        smallest = simd::select(better, found, smallest);
        winners = _mm_max_epi16(winners, _mm_and_si128(better, numbers)); // numbers rise
        numbers = _mm_add_epi32(numbers, simd::dwords(shapesPerGroup));
    }
    const auto winner = static_cast<int>(simd::smallest(smallest, winners).index);
    *shape = static_cast<int16_t>(winner);
    *gainIndex = static_cast<int16_t>(gainIndexOf(correlationOf(winner, backward), energies[winner]));
    return ryxStsOk;
}

ryxStatus ryxsCodebookGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsCodebookSetFilter_G728_16s_u8(const int16_t *impulse, CodebookState_G728 *block) {
    if (anyNull(impulse, block)) return ryxStsNullPtr;
    auto *const octets = reinterpret_cast<unsigned char *>(block);
    int16_t tail[vectorLength + 3] = {};
    std::copy_n(impulse, vectorLength, tail);
    tail[vectorLength] = isBounded(impulse);
    std::memcpy(octets + offsetof(State, impulse), tail, sizeof tail);
    const FilteredEnergy energy(impulse);
    for (int g = 0; g < shapes; g += 2 * shapesPerGroup) {
        const Vector first = energy(shapeCodebook[g / shapesPerGroup]);
        const Vector second = energy(shapeCodebook[g / shapesPerGroup + 1]);
        const Vector words = _mm_packs_epi32(first, second);
        simd::store(octets + offsetof(State, words) + 2 * static_cast<size_t>(g), words);
        const auto put = [=](int shape, Vector limited) {
            const size_t at = sizeof(float) * static_cast<size_t>(shape);
            const __m128 e = _mm_cvtepi32_ps(limited);
            const __m128 scaled = _mm_mul_ps(e, _mm_set1_ps(0x1p-15F));
            // A shape without energy takes the largest gain.
            const __m128 inverse = _mm_div_ps(_mm_set1_ps(0x1p14F), _mm_max_ps(e, _mm_set1_ps(0.5F)));
            simd::store(octets + offsetof(State, energies) + at, _mm_castps_si128(scaled));
            simd::store(octets + offsetof(State, inverses) + at, _mm_castps_si128(inverse));
        };
        put(g, simd::frontDwords(words));
        put(g + shapesPerGroup, simd::backDwords(words));
    }
    return ryxStsOk;
}

ryxStatus ryxsCodebookSearchFiltered_G728_16s_u8(const int16_t *target, int16_t exponent,
                                                 const CodebookState_G728 *block, int16_t *shape, int16_t *gainIndex) {
    if (anyNull(target, block, shape, gainIndex)) return ryxStsNullPtr;
    const StateView state(block);
    int16_t backward[vectorLength];
    state.filterBackward(target, exponent, backward);
    const Candidates candidates(state, backward);
    const int winner = candidates.best();
    *shape = static_cast<int16_t>(winner);
    *gainIndex = static_cast<int16_t>(gainIndexOf(candidates.correlation(winner), state.energy(winner)));
    return ryxStsOk;
}

ryxStatus ryxsCodebookDecode_G728_16s_u8(int16_t shape, int16_t gainIndex, int16_t gain, int16_t gainExponent,
                                         int16_t *excitation, int16_t *exponent) {
    if (anyNull(excitation, exponent)) return ryxStsNullPtr;
    if (shape < 0 || shape > 127 || gainIndex < 0 || gainIndex > 7) return ryxStsBadIndex;
    const GainMagnitude &g = gainMagnitudes[gainIndex & 3];
    const int32_t product = gain * (gainIndex > 3 ? -g.gain : g.gain);
    const int16_t scale = roundUpper(shiftLimited(product, g.shift));
    const auto &group = shapeCodebook[shape / shapesPerGroup];
    const auto pair = [&](int i) { return simd::load32(group[i][shape % shapesPerGroup]); };
    Vector samples = _mm_unpacklo_epi64(_mm_unpacklo_epi32(pair(0), pair(1)), pair(2));
    const int shift = normaliseFive(samples, 16);
    const simd::Dwords products = simd::products(samples, simd::words(scale));
    storeFive(excitation, roundedUpperHalves(products.front, products.back));
    *exponent = asExponent(gainExponent + 13 + g.shift - 16 + 11 + shift - 16);
    return ryxStsOk;
}
