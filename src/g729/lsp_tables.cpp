// SPDX-License-Identifier: BSD-2-Clause
// Tables of the LSF quantiser of ITU-T G.729 and its Annex B, arranged from the recommendation's numbers.
#include "g729/lsp_tables.h"

#include "g729/lsp_codebooks.h"

namespace ryxsc::g729 {

namespace {

constexpr size_t order = lsfOrder;
constexpr size_t half = order / 2;

// From units of 0.0001. The integer division truncates toward zero, as the recommendation's 16-bit tables do.
constexpr int16_t fraction(int tenThousandths, int one) {
    return static_cast<int16_t>(tenThousandths * one / 10000);
}
constexpr int16_t q13(int tenThousandths) {
    return fraction(tenThousandths, 1 << 13);
}
constexpr float real(int tenThousandths) {
    return static_cast<float>(tenThousandths / 10000.0);
}

// valueOf(vector, j) in units of 0.0001, j = 0 .. values - 1.
template <size_t vectors, size_t values, class ValueOf> constexpr auto arrangeQ13(ValueOf valueOf) {
    return arrangePairs<vectors, values>([=](size_t i, size_t j) { return q13(valueOf(i, j)); });
}

template <size_t vectors, size_t values, class ValueOf>
constexpr FloatCodebook<vectors, values> arrangeFloats(ValueOf valueOf) {
    FloatCodebook<vectors, values> book{};
    for (size_t i = 0; i < vectors; i++)
        for (size_t j = 0; j < values; j++)
            book.quads[i / 4][j][i % 4] = real(valueOf(i, j));
    return book;
}

constexpr auto firstValue = [](size_t i, size_t j) -> int { return firstStageVectors[i][j]; };
constexpr auto lowerValue = [](size_t i, size_t j) -> int { return secondStageVectors[i][j]; };
constexpr auto upperValue = [](size_t i, size_t j) -> int { return secondStageVectors[i][half + j]; };
constexpr auto noiseFirstValue = [](size_t i, size_t j) -> int { return firstStageVectors[noiseFirstStage[i]][j]; };
constexpr auto noiseSecondValue = [](size_t i, size_t j) -> int {
    return secondStageVectors[noiseSecondStage[j / half][i]][j];
};

// The gain is what the taps leave of 1, subtracted in single precision from the newest frame on; the last bits of the
// recommendation's gains come from that order.
constexpr FloatPredictor makeFloatPredictor(size_t mode) {
    FloatPredictor predictor{};
    for (size_t j = 0; j < order; j++) {
        float gain = 1.0F;
        for (size_t k = 0; k < historyDepth; k++) {
            predictor.taps[k][j] = real(predictorTaps[mode][k][j]);
            gain -= predictor.taps[k][j];
        }
        predictor.gain[j] = gain;
        predictor.inverseGain[j] = 1.0F / gain;
    }
    return predictor;
}

constexpr FloatPredictor makeNoiseFloatPredictor(size_t mode) {
    FloatPredictor predictor{};
    for (size_t j = 0; j < order; j++) {
        for (size_t k = 0; k < historyDepth; k++) {
            const int blend = 6 * predictorTaps[0][k][j] + 4 * predictorTaps[1][k][j];
            predictor.taps[k][j] = mode == 0 ? real(predictorTaps[0][k][j]) : static_cast<float>(blend / 100000.0);
        }
        predictor.gain[j] = noiseGains[mode][j];
        predictor.inverseGain[j] = noiseInverseGains[mode][j];
    }
    return predictor;
}

constexpr Predictor withGains(const FloatPredictor &real) {
    Predictor predictor{};
    for (size_t j = 0; j < order; j++) {
        predictor.gain[j] = static_cast<int16_t>(32768.0F * real.gain[j]);
        predictor.inverseGain[j] = static_cast<int16_t>(4096.0F * real.inverseGain[j]);
    }
    return predictor;
}

constexpr int16_t tap(size_t mode, size_t k, size_t j) {
    return fraction(predictorTaps[mode][k][j], 1 << 15);
}

constexpr Predictor makePredictor(size_t mode) {
    Predictor predictor = withGains(makeFloatPredictor(mode));
    for (size_t k = 0; k < historyDepth; k++)
        for (size_t j = 0; j < order; j++)
            predictor.taps[k][j] = tap(mode, k, j);
    return predictor;
}

// The blend of mode 1 is made of the 16-bit tables, with 0.6 and 0.4 in Q15, one below the rounded factors.
constexpr Predictor makeNoisePredictor(size_t mode) {
    Predictor predictor = withGains(makeNoiseFloatPredictor(mode));
    for (size_t k = 0; k < historyDepth; k++)
        for (size_t j = 0; j < order; j++) {
            const int blend = 19660 * tap(0, k, j) + 13107 * tap(1, k, j);
            predictor.taps[k][j] = mode == 0 ? tap(0, k, j) : static_cast<int16_t>(blend >> 15);
        }
    return predictor;
}

// What lets the prediction go without saturation.
constexpr bool sumsBelowOne(const Predictor &predictor) {
    for (size_t j = 0; j < order; j++) {
        int sum = predictor.gain[j];
        for (size_t k = 0; k < historyDepth; k++)
            sum += predictor.taps[k][j];
        if (sum >= 1 << 15) return false;
    }
    return true;
}

} // namespace

constexpr PairCodebook<firstStageSize, 10> firstStage = arrangeQ13<firstStageSize, order>(firstValue);
constexpr FloatCodebook<firstStageSize, 10> firstStageFloat = arrangeFloats<firstStageSize, 10>(firstValue);

constexpr PairCodebook<secondStageSize, 5> secondStage[2] = {arrangeQ13<secondStageSize, half>(lowerValue),
                                                             arrangeQ13<secondStageSize, half>(upperValue)};
constexpr FloatCodebook<secondStageSize, 5> secondStageFloat[2] = {arrangeFloats<secondStageSize, 5>(lowerValue),
                                                                   arrangeFloats<secondStageSize, 5>(upperValue)};

constexpr Predictor predictors[modes] = {makePredictor(0), makePredictor(1)};
constexpr FloatPredictor floatPredictors[modes] = {makeFloatPredictor(0), makeFloatPredictor(1)};

constexpr PairCodebook<noiseFirstSize, 10> noiseFirst = arrangeQ13<noiseFirstSize, order>(noiseFirstValue);
constexpr PairCodebook<noiseSecondSize, 10> noiseSecond = arrangeQ13<noiseSecondSize, order>(noiseSecondValue);
constexpr FloatCodebook<noiseFirstSize, 10> noiseFirstFloat = arrangeFloats<noiseFirstSize, 10>(noiseFirstValue);
constexpr FloatCodebook<noiseSecondSize, 10> noiseSecondFloat = arrangeFloats<noiseSecondSize, 10>(noiseSecondValue);
constexpr Predictor noisePredictors[modes] = {makeNoisePredictor(0), makeNoisePredictor(1)};
constexpr FloatPredictor noiseFloatPredictors[modes] = {makeNoiseFloatPredictor(0), makeNoiseFloatPredictor(1)};

static_assert(sumsBelowOne(predictors[0]) && sumsBelowOne(predictors[1]));
static_assert(sumsBelowOne(noisePredictors[0]) && sumsBelowOne(noisePredictors[1]));

} // namespace ryxsc::g729
