// SPDX-License-Identifier: BSD-2-Clause
// Joint quantisation of the pitch gain and the predicted code gain in 6 or 7 bits (3GPP TS 26.173).
#include <span>

#include "amrwb/gain_prediction.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/log2.h"
#include "frame/implementations.h"

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

// First row of the smallest error.
int search(std::span<const GainPair> rows, const Coefficients &c, int16_t predicted) {
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
