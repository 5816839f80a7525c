// SPDX-License-Identifier: BSD-2-Clause
// Excitation codebook of ITU-T G.728, Annex G: 128 shapes of five samples, four gains with a sign.
#include <bit>
#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/codebook_search.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

// Words of the low halves of two vectors of dwords side by side, both limited to 16 bits.
Vector limitedPairs(Vector x, Vector y) {
    return _mm_shuffle_epi8(_mm_packs_epi32(x, y), _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
}

// Energies in Q5 of shapes behind the filter h. Sums of a pair of squares fit 32 bits without a sign; where one takes its upper
// two bits the energy is limited.
class FilteredEnergy {
public:
    explicit FilteredEnergy(const int16_t *h)
        : h0_(simd::wordPairs(h[0], 0)), h1_(simd::wordPairs(h[1], h[0])), h2_(simd::wordPairs(h[2], h[1])),
          h3_(simd::wordPairs(h[3], h[2])), h4_(simd::wordPairs(h[4], h[3])) {}

    // Words, of the shapes 8 g to 8 g + 7.
    Vector ofEight(size_t g) const {
        const Sums front(*this, shapeCodebook[2 * g]);
        const Sums back(*this, shapeCodebook[2 * g + 1]);
        // While the sum of all squares fits, the bits in any of its terms are no more than it; otherwise they are above 16 bits.
        return _mm_max_epi16(_mm_packs_epi32(front.sum, back.sum), _mm_packs_epi32(front.bits, back.bits));
    }

private:
    struct Sums {
        Vector sum, bits; // of the squares, and what any term has, both >> 15

        Sums(const FilteredEnergy &h, const int16_t (&group)[3][shapesPerGroup][2]) {
            const Vector y01 = simd::loadAligned(group[0]), y23 = simd::loadAligned(group[1]);
            const Vector y4 = simd::loadAligned(group[2]);
            const auto product = [](Vector y, Vector factor) { return _mm_madd_epi16(y, factor); };
            const auto filtered = [](Vector x) { return _mm_srai_epi32(x, 14); };
            const Vector f0 = filtered(product(y01, h.h0_)), f1 = filtered(product(y01, h.h1_));
            const Vector f2 = filtered(_mm_add_epi32(product(y01, h.h2_), product(y23, h.h0_)));
            const Vector f3 = filtered(_mm_add_epi32(product(y01, h.h3_), product(y23, h.h1_)));
            const Vector f4 =
                filtered(_mm_add_epi32(_mm_add_epi32(product(y01, h.h4_), product(y23, h.h2_)), product(y4, h.h0_)));
            const auto squares = [](Vector x) { return _mm_madd_epi16(x, x); };
            const Vector e01 = squares(limitedPairs(f0, f1)), e23 = squares(limitedPairs(f2, f3));
            const Vector e4 = squares(limitedPairs(f4, _mm_setzero_si128()));
            sum = _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(e01, e23), e4), 15);
            bits = _mm_srli_epi32(_mm_or_si128(_mm_or_si128(e01, e23), e4), 15);
        }
    };

    Vector h0_, h1_, h2_, h3_, h4_;
};

// The same for impulse responses that begin with 1 in Q13, as those of the codec do: that takes a third fewer operations.
class LeadingOneEnergy {
public:
    explicit LeadingOneEnergy(const int16_t *h)
        : h1_(simd::wordPairs(h[1], h[0])), h2_(simd::wordPairs(h[2], h[1])), h3_(simd::wordPairs(h[3], h[2])),
          h4_(simd::wordPairs(h[4], h[3])) {}

    // Words, of the shapes 8 g to 8 g + 7. Collects the bits of sums of two squares; where these are 2^30 or more in one of
    // them, an energy is above 16 bits and the words are worthless.
    Vector ofEight(size_t g, Vector &bits) const {
        const Vector front = ofFour(2 * g, bits);
        return _mm_packs_epi32(front, ofFour(2 * g + 1, bits));
    }

private:
    Vector ofFour(size_t group, Vector &bits) const {
        const Vector y01 = simd::loadAligned(shapeCodebook[group][0]), y23 = simd::loadAligned(shapeCodebook[group][1]);
        const auto filtered = [](Vector x, Vector y) { return _mm_srai_epi32(_mm_add_epi32(x, y), 14); };
        const Vector f1 = _mm_srai_epi32(_mm_madd_epi16(y01, h1_), 14);
        const Vector f2 = filtered(_mm_madd_epi16(y01, h2_), simd::loadAligned(firstSampleOnly.third[group]));
        const Vector f3 = filtered(_mm_madd_epi16(y01, h3_), _mm_madd_epi16(y23, h1_));
        const Vector f4 = filtered(_mm_add_epi32(_mm_madd_epi16(y01, h4_), _mm_madd_epi16(y23, h2_)),
                                   simd::loadAligned(firstSampleOnly.fifth[group]));
        const Vector f14 = limitedPairs(f1, f4), f23 = limitedPairs(f2, f3);
        const Vector e14 = _mm_madd_epi16(f14, f14), e23 = _mm_madd_epi16(f23, f23);
        bits = _mm_or_si128(_mm_or_si128(bits, e14), e23);
        const Vector e0 = simd::loadAligned(firstSampleOnly.firstSquare[group]);
        return _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(e14, e23), e0), 15);
    }

    Vector h1_, h2_, h3_, h4_;
};

// Energies of all shapes; returns the largest one, or 32767 where one is above 16 bits.
int16_t energiesOfAll(const int16_t *impulse, Vector *energies) {
    Vector loud = _mm_setzero_si128(), bits = loud;
    const auto put = [&](size_t g, Vector words) {
        energies[g] = words;
        loud = _mm_max_epi16(loud, words);
    };
    if (impulse[0] == 8192) [[likely]] {
        const LeadingOneEnergy energy(impulse);
        for (size_t g = 0; g < shapes / 8; g++)
            put(g, energy.ofEight(g, bits));
    } else {
        const FilteredEnergy energy(impulse);
        for (size_t g = 0; g < shapes / 8; g++)
            put(g, energy.ofEight(g));
    }
    const bool above =
        _mm_movemask_epi8(_mm_cmpgt_epi32(_mm_setzero_si128(), _mm_or_si128(bits, _mm_slli_epi32(bits, 1)))) != 0;
    return above ? max16 : simd::largestWord(loud);
}

// Whether no sum of products of an impulse response with 16-bit samples leaves 32 bits.
bool isBounded(const int16_t *impulse) {
    int32_t magnitudes = 0;
    for (int n = 0; n < vectorLength; n++)
        magnitudes += std::abs(impulse[n]);
    return magnitudes < 1 << 16;
}

// The target correlated with the impulse response, whose five samples have zeros behind them, Q7.
[[gnu::always_inline]] inline Vector convolveBackward(const int16_t *target, int exponent, Vector impulse,
                                                      bool bounded) {
    const int shift = exponent + 13 - 7;
    if (!bounded || shift < 0) [[unlikely]] {
        int16_t h[8], backward[vectorLength];
        simd::store(h, impulse);
        for (int n = 0; n < vectorLength; n++) {
            int64_t sum = 0;
            for (int m = n; m < vectorLength; m++)
                sum += h[m - n] * target[m];
            backward[n] = sat16(shiftLimited(sat32(sum), -shift));
        }
        return loadFive(backward);
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
    const Vector fifth = _mm_madd_epi16(pairsFrom.template operator()<4>(), h01); // zeros behind it
    const Vector count = _mm_cvtsi32_si128(shift);
    return _mm_packs_epi32(_mm_sra_epi32(four, count), _mm_sra_epi32(fifth, count));
}

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
    for (size_t g = 0; g < shapes / 8; g++)
        simd::store(energies + 8 * g, energy.ofEight(g));
    return ryxStsOk;
}

ryxStatus ryxsCodebookSearch_G728_16s_u8(const int16_t *target, int16_t exponent, const int16_t *impulse,
                                         const int16_t *energies, int16_t *shape, int16_t *gainIndex) {
    if (anyNull(target, impulse, energies, shape, gainIndex)) return ryxStsNullPtr;
    int16_t backward[vectorLength];
    storeFive(backward, convolveBackward(target, exponent, loadFive(impulse), isBounded(impulse)));
    const int winner = closestOfAll(backward, energies);
    *shape = static_cast<int16_t>(winner);
    *gainIndex = static_cast<int16_t>(gainIndexOf(correlationOf(winner, backward), energies[winner]));
    return ryxStsOk;
}

ryxStatus ryxsCodebookGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(CodebookState);
    return ryxStsOk;
}

ryxStatus ryxsCodebookSetFilter_G728_16s_u8(const int16_t *impulse, CodebookState_G728 *block) {
    if (anyNull(impulse, block)) return ryxStsNullPtr;
    auto *const octets = reinterpret_cast<unsigned char *>(block);
    Vector energies[shapes / 8];
    const int16_t loudest = energiesOfAll(impulse, energies);
    // A sample that was limited, to 32767 or to -32768, gives this energy or more.
    constexpr int16_t limited = max16 * max16 >> 15;
    const auto shift = static_cast<int16_t>(std::min(std::countl_zero(static_cast<uint16_t>(loudest)), 4));
    for (size_t g = 0; g < shapes / 8; g++)
        simd::store(octets + offsetof(CodebookState, energies) + sizeof(Vector) * g,
                    _mm_sll_epi16(energies[g], _mm_cvtsi32_si128(shift)));
    int16_t tail[vectorLength + 3] = {};
    std::copy_n(impulse, vectorLength, tail);
    tail[vectorLength] = isBounded(impulse);
    tail[vectorLength + 1] = loudest < limited;
    tail[vectorLength + 2] = shift;
    std::memcpy(octets + offsetof(CodebookState, impulse), tail, sizeof tail);
    return ryxStsOk;
}

ryxStatus ryxsCodebookSearchFiltered_G728_16s_u8(const int16_t *target, int16_t exponent,
                                                 const CodebookState_G728 *block, int16_t *shape, int16_t *gainIndex) {
    if (anyNull(target, block, shape, gainIndex)) return ryxStsNullPtr;
    const StateView state(block);
    const Vector backward = convolveBackward(target, exponent, state.impulse(), state.isBounded());
    const Choice best = choose(state, backward);
    *shape = static_cast<int16_t>(best.shape);
    *gainIndex = static_cast<int16_t>(best.gainIndex);
    return ryxStsOk;
}

ryxStatus ryxsCodebookDecode_G728_16s_u8(int16_t shape, int16_t gainIndex, int16_t gain, int16_t gainExponent,
                                         int16_t *excitation, int16_t *exponent) {
    if (anyNull(excitation, exponent)) return ryxStsNullPtr;
    if (shape < 0 || shape > 127 || gainIndex < 0 || gainIndex > 7) return ryxStsBadIndex;
    const GainMagnitude &g = gainMagnitudes[gainIndex & 3];
    const int32_t product = gain * (gainIndex > 3 ? -g.gain : g.gain);
    const int16_t scale = roundUpper(shiftLimited(product, g.shift));
    const int16_t *const samples = singleShapes.normalised[shape];
    const simd::Dwords products = simd::products(simd::loadAligned(samples), simd::words(scale));
    storeFive(excitation, roundedUpperHalves(products.front, products.back));
    *exponent = asExponent(gainExponent + 13 + g.shift - 16 + 11 + samples[vectorLength] - 16);
    return ryxStsOk;
}
