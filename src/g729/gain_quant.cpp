// SPDX-License-Identifier: BSD-2-Clause
// Quantisation and decoding of the gains in ITU-T G.729 (clauses 3.9, 4.1.5 and 4.4.2) and its Annex D: prediction of the
// code gain, a conjugate-structure codebook of two stages with pre-selection, concealment.
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/log2.h"
#include "common/product_sums.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int16_t lowestEnergy = -14336; // -14 dB, Q10
constexpr int predictorOrder = 4;

// 2^(14 + fraction / 2^15), rounded.
int16_t powerOfTwo14(int fraction) {
    const int32_t scaled = 64 * fraction;
    const auto interval = static_cast<size_t>(scaled >> 16);
    const auto position = static_cast<int16_t>(scaled >> 1 & 0x7fff);
    const int32_t x = powerOfTwo[interval] * 65536 - 2 * (powerOfTwo[interval] - powerOfTwo[interval + 1]) * position;
    return extract_l((x >> 16) + (x >> 15 & 1));
}

// The code gain that the energies of the past and of the code vector let expect, 16384 to 32767 times 2^-exponent.
struct PredictedGain {
    int16_t mantissa;
    int exponent;
};
PredictedGain predict(const int16_t *code, const int16_t *energies) {
    const Log2 level = log2(macEnergy(code, subframe).value);
    const auto exponent = static_cast<int16_t>(level.exponent), fraction = static_cast<int16_t>(level.fraction);
    int32_t sum = L_mac(L_mult(exponent, -24660), mult(fraction, -24660), 1); // in dB
    sum = L_shl(L_mac(sum, 32588, 32), 10);
    for (int i = 0; i < predictorOrder; i++)
        sum = L_mac(sum, gainPrediction[static_cast<size_t>(i)], energies[i]);
    const int32_t power = L_mult(extract_h(sum), 5439) >> 8; // times log2(10) / 20
    return {powerOfTwo14(power >> 1 & 0x7fff), 14 - extract_h(power)};
}

void push(int16_t energy, int16_t *energies) {
    std::copy_backward(energies, energies + predictorOrder - 1, energies + predictorOrder);
    energies[0] = energy;
}

// From the correction of the predicted gain, Q13.
void pushCorrection(int32_t correction, int16_t *energies) {
    const Log2 level = log2(correction);
    const int32_t decibels = L_shl((level.exponent - 13) * 65536 + 2 * level.fraction, 13);
    push(mult(extract_h(decibels), 24660), energies);
}

// A codebook of two stages, and where the arithmetic of the main body and of Annex D differs.
struct Codebook {
    const int16_t (*first)[2], (*second)[2];
    int16_t c00, c10;
    int32_t c01, c11; // scaled as the pre-selection needs them
    int16_t inverse;
    int gainShift; // of the optimum code gain
    int16_t firstLimits[4], secondLimits[8];
    int firstSteps, secondSteps; // at most, of the pre-selection
    int firstLimitShift, secondLimitShift;
    int firstCount, secondCount; // vectors that are searched
    int codeFormat;              // by how many bits the exponents of the code gain differ from the main body's
    int resultShift;             // of the sum of the corrections
    int secondIndexBits;
    const int16_t *firstIndex, *secondIndex, *firstVector, *secondVector;
};

constexpr Codebook mainBook{.first = gainFirst,
                            .second = gainSecond,
                            .c00 = 31881,
                            .c10 = 31548,
                            .c01 = 1731217536 >> 10,
                            .c11 = 1822990272 >> 15,
                            .inverse = -17103,
                            .gainShift = 7,
                            .firstLimits = {10808, 12374, 19778, 32567},
                            .secondLimits = {14087, 16188, 20274, 21321, 23525, 25232, 27873, 30542},
                            .firstSteps = 4,
                            .secondSteps = 8,
                            .firstLimitShift = 3,
                            .secondLimitShift = 5,
                            .firstCount = 4,
                            .secondCount = 8,
                            .codeFormat = 0,
                            .resultShift = 0,
                            .secondIndexBits = 4,
                            .firstIndex = firstGainIndex.data(),
                            .secondIndex = secondGainIndex.data(),
                            .firstVector = firstGainVector.data(),
                            .secondVector = secondGainVector.data()};
constexpr Codebook annexDBook{.first = gainFirstD,
                              .second = gainSecondD,
                              .c00 = 18756,
                              .c10 = 26166,
                              .c01 = 1349785278 >> 10,
                              .c11 = 1266310978 >> 15,
                              .inverse = -28940,
                              .gainShift = 6,
                              .firstLimits = {9919, 19675},
                              .secondLimits = {17233, 25144},
                              .firstSteps = 2,
                              .secondSteps = 2,
                              .firstLimitShift = 2,
                              .secondLimitShift = 5,
                              .firstCount = 6,
                              .secondCount = 6,
                              .codeFormat = 1,
                              .resultShift = 1,
                              .secondIndexBits = 3,
                              .firstIndex = firstGainIndexD.data(),
                              .secondIndex = secondGainIndexD.data(),
                              .firstVector = firstGainVectorD.data(),
                              .secondVector = secondGainVectorD.data()};

// <y1,y1>, -2<x,y1>, <y2,y2>, -2<x,y2>, 2<y1,y2> as mantissas with exponents.
struct Correlations {
    int16_t value[5];
    int exponent[5];
};

Correlations complete(const int16_t *target, const int16_t *filteredAdaptive, const int16_t *filteredFixed,
                      const int16_t *correlations, const int16_t *exponents) {
    int16_t fixed[subframe]; // Q9
    for (int n = 0; n < subframe; n++)
        fixed[n] = static_cast<int16_t>(filteredFixed[n] >> 3);
    Correlations all{{correlations[0], correlations[1]}, {exponents[0], exponents[1]}};
    const auto set = [&](int i, int32_t sum, int bias) {
        const int shift = norm_l(sum);
        all.value[i] = round(L_shl(sum, shift));
        all.exponent[i] = shift + bias;
    };
    set(2, macEnergy(fixed, subframe, 1).value, 3);
    set(3, macProducts(target, fixed, subframe, 1).value, -7);
    set(4, macProducts(filteredAdaptive, fixed, subframe, 1).value, -7);
    all.value[3] = negate(all.value[3]);
    return all;
}

struct Mantissa {
    int16_t value;
    int exponent;
};
Mantissa normalised(int32_t x, int exponent) {
    const int shift = norm_l(x);
    return {extract_h(L_shl(x, shift)), exponent + shift - 16};
}
// x - y, both shifted down by `extra` bits; the exponents are aligned downwards.
Mantissa difference(int32_t x, int ex, int32_t y, int ey, int extra) {
    const int common = std::min(ex, ey);
    return normalised(L_sub(L_shr(x, ex - common + extra), L_shr(y, ey - common + extra)), common - extra);
}

// The gains that minimise the error without quantisation: pitch gain Q9, code gain Q2 (Annex D too).
struct Optimum {
    int16_t pitch, code;
};
Optimum optimum(const Correlations &c, bool tamed) {
    const int16_t *const g = c.value;
    const int *const e = c.exponent;
    const Mantissa determinant = difference(L_mult(g[0], g[2]), e[0] + e[2] - 1, L_mult(g[4], g[4]), 2 * e[4] + 1, 0);
    // Positive for vectors that are not proportional.
    const int16_t inverse = determinant.value >= 16384 ? negate(div_s(16384, determinant.value)) : int16_t{0};
    const int inverseExponent = 29 - determinant.exponent;
    const auto gain = [&](const Mantissa &numerator, int format) {
        return extract_h(L_shl(L_mult(numerator.value, inverse), -(numerator.exponent + inverseExponent - format)));
    };
    const Mantissa pitch = difference(L_mult(g[2], g[1]), e[2] + e[1], L_mult(g[3], g[4]), e[3] + e[4] + 1, 1);
    const Mantissa code = difference(L_mult(g[0], g[3]), e[0] + e[3], L_mult(g[1], g[4]), e[1] + e[4] + 1, 1);
    const int16_t best = gain(pitch, 24);
    constexpr int16_t tamedLimit = 481; // 0.94
    return {tamed ? std::min(best, tamedLimit) : best, gain(code, 17)};
}

// The first vectors of both stages that are searched.
struct Start {
    int first, second;
};
Start preselect(const Codebook &book, const Optimum &best, const PredictedGain &predicted) {
    const int16_t gain = predicted.exponent >= 4 ? shr(predicted.mantissa, predicted.exponent - 4)
                                                 : extract_h(L_shl(predicted.mantissa, 20 - predicted.exponent)); // Q4
    const int32_t pitch = L_mult(book.c00, best.pitch);
    const auto coordinate = [&](int32_t x) { return L_mult(extract_h(L_shl(x, 2)), book.inverse); };
    const int32_t x =
        coordinate(L_sub(L_shl(best.code, book.gainShift), L_mult(extract_h(L_add(pitch, book.c11)), gain)));
    const int16_t scaled = mult(extract_h(L_sub(pitch, book.c01)), gain);
    const int32_t y = coordinate(L_sub(L_mult(scaled, book.c10), L_mult(book.c00, best.code) >> 3));

    const auto steps = [gain](int32_t value, const int16_t *limits, int count, int shift) {
        int i = 0;
        for (; i < count; i++) {
            const int32_t limit = L_mult(limits[i], gain) >> shift;
            if (gain > 0 ? value <= limit : value >= limit) break;
        }
        return i;
    };
    return {steps(y, book.firstLimits, book.firstSteps, book.firstLimitShift),
            steps(x, book.secondLimits, book.secondSteps, book.secondLimitShift)};
}

// The error of a pair of gains, but for the energy of the target.
class Distance {
public:
    Distance(const Codebook &book, const Correlations &c, const PredictedGain &predicted) {
        const int gain = predicted.exponent + book.codeFormat;
        const int exponent[5] = {c.exponent[0] + 13, c.exponent[1] + 14, c.exponent[2] + 2 * gain - 21,
                                 c.exponent[3] + gain - 3, c.exponent[4] + gain - 4};
        const int smallest = *std::min_element(exponent, exponent + 5);
        for (int i = 0; i < 5; i++)
            factor_[i] = L_shr(L_deposit_h(c.value[i]), exponent[i] - smallest);
    }

    // Of eight pairs, no gain of which is -32768.
    void of(Vector pitch, Vector code, int32_t *distances) const {
        const Vector gains[5] = {simd::mulShift<15>(pitch, pitch), pitch, simd::mulShift<15>(code, code), code,
                                 simd::mulShift<15>(code, pitch)};
        const auto sum = [&](auto widen) {
            Vector total = _mm_setzero_si128();
            for (int i = 0; i < 5; i++) {
                const Vector gain = widen(gains[i]), high = simd::dwords(highPart(factor_[i]) & 0xffff);
                const Vector low = _mm_srai_epi32(_mm_madd_epi16(gain, simd::dwords(lowPart(factor_[i]))), 15);
                total = lanes::addSaturated(total, _mm_slli_epi32(_mm_add_epi32(_mm_madd_epi16(gain, high), low), 1));
            }
            return total;
        };
        simd::store(distances, sum(simd::frontDwords));
        simd::store(distances + 4, sum(simd::backDwords));
    }

private:
    int32_t factor_[5];
};

// The gains of a pair of vectors; the history takes the correction.
void dequantise(const Codebook &book, int first, int second, const PredictedGain &predicted, int16_t *gains,
                int16_t *energies) {
    gains[0] = add(book.first[first][0], book.second[second][0]);
    const int32_t correction = (book.first[first][1] + book.second[second][1]) >> book.resultShift;
    const int16_t factor = extract_l(book.resultShift == 0 ? correction >> 1 : correction);
    gains[1] = extract_h(L_shl(L_mult(factor, predicted.mantissa), 4 - book.codeFormat - predicted.exponent));
    pushCorrection(correction, energies);
}

// The vectors with the smallest error, the first among equals. A tamed subframe takes no pitch gain from 1 on.
struct Choice {
    int first, second;
};
Choice search(const Codebook &book, const Start &start, const Distance &distance, const PredictedGain &predicted,
              bool tamed) {
    constexpr int16_t one = 16383;
    constexpr int lanesCount = 8;
    const int16_t(*const second)[2] = book.second + start.second;
    int16_t pitches[lanesCount] = {}, corrections[lanesCount] = {};
    for (int j = 0; j < book.secondCount; j++) {
        pitches[j] = second[j][0];
        corrections[j] = second[j][1];
    }
    int64_t best = int64_t{max32} << 8 | start.first << 4 | start.second; // the distance and the vectors
    for (int i = start.first; i < start.first + book.firstCount; i++) {
        const Vector pitch = _mm_adds_epi16(simd::words(book.first[i][0]), simd::load(pitches));
        const Vector x = simd::words(book.first[i][1]), y = simd::load(corrections);
        const Vector mean = _mm_add_epi16(_mm_and_si128(x, y), _mm_srai_epi16(_mm_xor_si128(x, y), 1)); // (x + y) >> 1
        int32_t distances[lanesCount];
        distance.of(pitch, simd::mulShift<15>(mean, simd::words(predicted.mantissa)), distances);
        for (int j = 0; j < book.secondCount; j++) {
            if (tamed && add(book.first[i][0], pitches[j]) >= one) continue;
            best = std::min(best, static_cast<int64_t>(distances[j]) * 256 | i << 4 | (start.second + j));
        }
    }
    return {static_cast<int>(best >> 4 & 15), static_cast<int>(best & 15)};
}

ryxStatus quantise(const Codebook &book, const int16_t *target, const int16_t *filteredAdaptive,
                   const int16_t *filteredFixed, const int16_t *code, const int16_t *correlations,
                   const int16_t *exponents, int tamed, int16_t *index, int16_t *gains, int16_t *energies) {
    if (anyNull(target, filteredAdaptive, filteredFixed, code, correlations, exponents, index, gains, energies))
        return ryxStsNullPtr;
    const Correlations all = complete(target, filteredAdaptive, filteredFixed, correlations, exponents);
    const PredictedGain predicted = predict(code, energies);
    const Start start = preselect(book, optimum(all, tamed != 0), predicted);

    const Choice choice = search(book, start, Distance(book, all, predicted), predicted, tamed != 0);
    const int first = choice.first, second = choice.second;
    *index = static_cast<int16_t>(book.firstIndex[first] << book.secondIndexBits | book.secondIndex[second]);
    dequantise(book, first, second, predicted, gains, energies);
    return ryxStsOk;
}

ryxStatus decode(const Codebook &book, int16_t index, const int16_t *code, int16_t *gains, int16_t *energies) {
    if (anyNull(code, gains, energies)) return ryxStsNullPtr;
    const int bits = book.secondIndexBits;
    if (index < 0 || index >= 8 << bits) return ryxStsBadIndex;
    const PredictedGain predicted = predict(code, energies);
    dequantise(book, book.firstVector[index >> bits], book.secondVector[index & ((1 << bits) - 1)], predicted, gains,
               energies);
    return ryxStsOk;
}

// The prediction goes on 4 dB below the mean of the past.
void pushErased(int16_t *energies) {
    const int mean = (energies[0] + energies[1] + energies[2] + energies[3]) >> 2;
    push(std::max(sub(static_cast<int16_t>(mean), 4096), lowestEnergy), energies);
}

} // namespace

ryxStatus ryxsGainQuant_G729_16s_u8(const int16_t *target, const int16_t *filteredAdaptive,
                                    const int16_t *filteredFixed, const int16_t *code, const int16_t *correlations,
                                    const int16_t *exponents, int tamed, int16_t *index, int16_t *gains,
                                    int16_t *energies) {
    return quantise(mainBook, target, filteredAdaptive, filteredFixed, code, correlations, exponents, tamed, index,
                    gains, energies);
}

ryxStatus ryxsGainQuant_G729D_16s_u8(const int16_t *target, const int16_t *filteredAdaptive,
                                     const int16_t *filteredFixed, const int16_t *code, const int16_t *correlations,
                                     const int16_t *exponents, int tamed, int16_t *index, int16_t *gains,
                                     int16_t *energies) {
    return quantise(annexDBook, target, filteredAdaptive, filteredFixed, code, correlations, exponents, tamed, index,
                    gains, energies);
}

ryxStatus ryxsGainDecode_G729_16s_u8(int16_t index, const int16_t *code, int16_t *gains, int16_t *energies) {
    return decode(mainBook, index, code, gains, energies);
}

ryxStatus ryxsGainDecode_G729D_16s_u8(int16_t index, const int16_t *code, int16_t *gains, int16_t *energies) {
    return decode(annexDBook, index, code, gains, energies);
}

ryxStatus ryxsGainDecodeErased_G729_16s_u8(int16_t *gains, int16_t *energies) {
    constexpr int16_t largestPitchGain = 29491; // 0.9, Q15: its factor and its limit
    if (anyNull(gains, energies)) return ryxStsNullPtr;
    gains[0] = std::min(mult(gains[0], 29491), largestPitchGain);
    gains[1] = mult(gains[1], 32111);
    pushErased(energies);
    return ryxStsOk;
}

ryxStatus ryxsGainDecodeErased_G729E_16s_u8(int stationary, int badSubframes, int16_t *gains, int16_t *muting,
                                            int16_t *energies) {
    if (anyNull(gains, muting, energies)) return ryxStsNullPtr;
    if (badSubframes < 0) return ryxStsOutOfRange;
    if (badSubframes < 2) {
        gains[0] = stationary != 0 ? 16384 : 15564;
    } else {
        gains[0] = mult(gains[0], *muting);
        gains[1] = mult(gains[1], *muting);
        if (stationary == 0)
            *muting = mult(*muting, 32112);
        else if (badSubframes > 10)
            *muting = mult(*muting, 32604);
    }
    pushErased(energies);
    return ryxStsOk;
}
