// SPDX-License-Identifier: BSD-2-Clause
// Joint quantisation of the pitch gain and the predicted code gain in 6 or 7 bits (3GPP TS 26.173).
#include <cstdlib>
#include <span>

#include "amrwb/gain_prediction.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/log2.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

struct Coefficients {
    int16_t high[5], low[5];
};

struct Term {
    int16_t value;
    int exponent;
};

// On one exponent, the largest, with two bits of room; low parts come without their last three bits.
Coefficients align(const Term (&terms)[5]) {
    int largest = terms[0].exponent;
    for (const Term &term : terms)
        largest = std::max(largest, term.exponent);
    Coefficients c;
    for (int k = 0; k < 5; k++) {
        L_Extract(L_shr(terms[k].value * 65536, largest - terms[k].exponent + 2), c.high[k], c.low[k]);
        c.low[k] = static_cast<int16_t>(c.low[k] >> 3);
    }
    return c;
}

// First row of the smallest error, with sums that saturate after every term.
int searchSaturating(std::span<const GainPair> rows, const Coefficients &c, int16_t predicted) {
    int best = 0;
    int32_t smallest = max32;
    for (size_t i = 0; i < rows.size(); i++) {
        const int16_t pitch = rows[i].pitch;
        const int16_t code = mult_r(rows[i].code, predicted);
        const int16_t pitchSquare = mult_r(pitch, pitch);
        const int16_t both = mult_r(code, pitch);
        int16_t codeSquare, codeSquareLow;
        L_Extract(L_mult(code, code), codeSquare, codeSquareLow);
        int32_t error = L_mult(c.high[2], codeSquareLow) >> 3;
        error = L_mac(error, c.low[0], pitchSquare);
        error = L_mac(error, c.low[1], pitch);
        error = L_mac(error, c.low[2], codeSquare);
        error = L_mac(error, c.low[3], code);
        error = L_mac(error, c.low[4], both);
        error >>= 12;
        error = L_mac(error, c.high[0], pitchSquare);
        error = L_mac(error, c.high[1], pitch);
        error = L_mac(error, c.high[2], codeSquare);
        error = L_mac(error, c.high[3], code);
        error = L_mac(error, c.high[4], both);
        if (error < smallest) {
            smallest = error;
            best = static_cast<int>(i);
        }
    }
    return best;
}

// Eight rows at a time, 64 or 48 of them, of which no sum saturates.
int searchInLanes(const GainPair *rows, int count, const Coefficients &c, int16_t predicted) {
    const auto pairOf = [](int16_t x, int16_t y) { return _mm_set1_epi32(static_cast<uint16_t>(x) | y * 65536); };
    const Vector low01 = pairOf(c.low[0], c.low[1]), low23 = pairOf(c.low[2], c.low[3]), low4 = pairOf(c.low[4], 0);
    const Vector high01 = pairOf(c.high[0], c.high[1]), high23 = pairOf(c.high[2], c.high[3]);
    const Vector high4 = pairOf(c.high[4], 0), highOfLow = pairOf(0, c.high[2]);
    const Vector gain = simd::words(predicted);
    Vector best = simd::dwords(max32), bestRow = _mm_setzero_si128();
    for (int i = 0; i < count; i += 8) {
        const Vector first = simd::load(rows + i), second = simd::load(rows + i + 4);
        const auto lower = [](Vector x) { return _mm_srai_epi32(_mm_slli_epi32(x, 16), 16); };
        const Vector pitch = _mm_packs_epi32(lower(first), lower(second));
        const Vector factor = _mm_packs_epi32(_mm_srai_epi32(first, 16), _mm_srai_epi32(second, 16));
        // Neither is -32768, where pmulhrsw differs from mult_r.
        const Vector code = _mm_mulhrs_epi16(factor, gain);
        const Vector pitchSquare = _mm_mulhrs_epi16(pitch, pitch), both = _mm_mulhrs_epi16(code, pitch);
        const Vector square = _mm_mullo_epi16(code, code), squareHigh = _mm_mulhi_epi16(code, code);
        const Vector codeSquare = _mm_or_si128(_mm_slli_epi16(squareHigh, 1), _mm_srli_epi16(square, 15));
        const Vector codeSquareLow = _mm_and_si128(square, simd::words(max16));
        const auto errors = [&](Vector pitches, Vector codes, Vector cross) {
            const auto sum = [&](Vector factors01, Vector factors23, Vector factors4) {
                return _mm_add_epi32(
                    _mm_add_epi32(_mm_madd_epi16(pitches, factors01), _mm_madd_epi16(codes, factors23)),
                    _mm_madd_epi16(cross, factors4));
            };
            // The recommendation doubles all products.
            const Vector rest = _mm_srai_epi32(_mm_madd_epi16(cross, highOfLow), 2);
            const Vector low = _mm_add_epi32(rest, _mm_slli_epi32(sum(low01, low23, low4), 1));
            return _mm_add_epi32(_mm_srai_epi32(low, 12), _mm_slli_epi32(sum(high01, high23, high4), 1));
        };
        const auto enter = [&](Vector error, int row) {
            const Vector wins = _mm_cmpgt_epi32(best, error);
            best = simd::select(wins, error, best);
            bestRow = simd::select(wins, _mm_add_epi32(simd::dwords(row), _mm_setr_epi32(0, 1, 2, 3)), bestRow);
        };
        enter(errors(_mm_unpacklo_epi16(pitchSquare, pitch), _mm_unpacklo_epi16(codeSquare, code),
                     _mm_unpacklo_epi16(both, codeSquareLow)),
              i);
        enter(errors(_mm_unpackhi_epi16(pitchSquare, pitch), _mm_unpackhi_epi16(codeSquare, code),
                     _mm_unpackhi_epi16(both, codeSquareLow)),
              i + 4);
    }
    return static_cast<int>(simd::smallest(best, bestRow).index);
}

int search(std::span<const GainPair> rows, const Coefficients &c, int16_t predicted) {
    // The low parts are below 2^12: their sums stay within 31 bits, and by 12 bits lower they are below 2^19.
    int sumOfMagnitudes = 0;
    for (const int16_t high : c.high)
        sumOfMagnitudes += std::abs(int{high});
    if (sumOfMagnitudes * int64_t{max16} < (1 << 30) - (1 << 19))
        return searchInLanes(rows.data(), static_cast<int>(rows.size()), c, predicted);
    return searchSaturating(rows, c, predicted);
}

// Rows of the codebook that are searched: with 7 bits the half around the unquantised gain.
std::span<const GainPair> searchRange(int mode, bool clip, int16_t pitchGain) {
    if (isLowRate(mode)) return std::span(gains6).first(clip ? 48 : 64);
    size_t first = 0;
    const size_t count = clip ? 37 : 64;
    for (size_t i = 0; i < count; i++)
        first += pitchGain > gains7[32 + i].pitch;
    return std::span(gains7).subspan(first, 64);
}

// The gain that the innovation itself would take, from its energy: -10 log10, Q8 with the mean of 30 dB, plus prediction.
int16_t predictedEnergy(const int16_t *code, const int16_t *predictor) {
    const Scaled power = dotSquare(code, subframeLength);
    const Log2 logarithm = log2(power.mantissa);
    const auto exponent = static_cast<int16_t>(logarithm.exponent + power.exponent - 55);
    int32_t sum = Mpy_32_16(exponent, static_cast<int16_t>(logarithm.fraction), -24660);
    sum = L_shl(L_mac(sum, meanEnergy, 8192), 10);
    return predictEnergy(sum, predictor);
}

} // namespace

ryxStatus ryxsGainQuant_AMRWB_16s_u8(const int16_t *target, const int16_t *filtered, const int16_t *correlations,
                                     const int16_t *code, const int16_t *filteredCode, int q, int pitchGain, int clip,
                                     int mode, int16_t *predictor, int16_t *quantisedGain, int32_t *codeGain,
                                     int16_t *index) {
    if (anyNull(target, filtered, correlations, code, filteredCode, predictor, quantisedGain, codeGain, index))
        return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    const Scaled codePower = dotSquare(filteredCode, subframeLength);
    const Scaled codeTarget = dotProduct(target, filteredCode, subframeLength);
    const Scaled codePitch = dotProduct(filtered, filteredCode, subframeLength);
    const PredictedGain predicted(predictedEnergy(code, predictor));
    const int x = predicted.exponent + 4;
    const Coefficients c = align({
        {correlations[0], correlations[1] - 13},
        {negate(correlations[2]), correlations[3] + 1 - 14},
        {codePower.high(), codePower.exponent - 18 + 2 * q + 15 + 2 * x},
        {extract_h(L_negate(codeTarget.mantissa)), codeTarget.exponent - 8 + q + x},
        {codePitch.high(), codePitch.exponent - 8 + q + 1 + x},
    });
    const std::span<const GainPair> rows = searchRange(mode, clip != 0, static_cast<int16_t>(pitchGain));
    const int best = search(rows, c, predicted.mantissa);
    const GainPair &row = rows[static_cast<size_t>(best)];
    const GainPair *const book = isLowRate(mode) ? gains6 : gains7;
    *index = static_cast<int16_t>(&row - book);
    *quantisedGain = row.pitch;
    *codeGain = predicted.times(row.code);
    updatePredictor(predictor, row.code);
    return ryxStsOk;
}
