// SPDX-License-Identifier: BSD-2-Clause
// Steps that the float forms of the LSF quantisers and decoders of ITU-T G.729 share (Annexes C and C+). LSFs,
// residuals and history are in radians.
#pragma once

#include <array>
#include <cstring>

#include "g729/lsf_indices.h"
#include "g729/lsp_tables.h"

namespace ryxsc::g729 {

using TenFloats = std::array<float, lsfOrder>;

inline constexpr float lsfFloorFloat = 0.005F;
inline constexpr float lsfCeilingFloat = 3.135F;
inline constexpr float lsfDistanceFloat = 0.0392F;
inline constexpr float firstGapFloat = 0.0012F;
inline constexpr float secondGapFloat = 0.0006F;

// operation(j) for every value.
template <class Operation> TenFloats eachValue(Operation operation) {
    TenFloats result;
    for (size_t j = 0; j < result.size(); j++)
        result[j] = operation(j);
    return result;
}

inline TenFloats loadFloats(const float *from) {
    return eachValue([from](size_t j) { return from[j]; });
}
inline void storeFloats(float *to, const TenFloats &x) {
    std::memcpy(to, x.data(), sizeof x);
}

inline TenFloats predict(const TenFloats &residual, const float *history, const FloatPredictor &predictor) {
    return eachValue([&](size_t j) {
        float sum = residual[j] * predictor.gain[j];
        for (size_t k = 0; k < historyDepth; k++)
            sum += history[lsfOrder * k + j] * predictor.taps[k][j];
        return sum;
    });
}

inline TenFloats removePrediction(const TenFloats &lsf, const float *history, const FloatPredictor &predictor) {
    return eachValue([&](size_t j) {
        float rest = lsf[j];
        for (size_t k = 0; k < historyDepth; k++)
            rest -= history[lsfOrder * k + j] * predictor.taps[k][j];
        return rest * predictor.inverseGain[j];
    });
}

inline void pushHistory(float *history, const TenFloats &residual) {
    std::memmove(history + lsfOrder, history, (historyDepth - 1) * sizeof residual);
    storeFloats(history, residual);
}

inline void spread(TenFloats &x, float gap) {
    for (size_t j = 1; j < x.size(); j++) {
        const float move = (x[j - 1] - x[j] + gap) * 0.5F;
        if (move > 0) {
            x[j - 1] -= move;
            x[j] += move;
        }
    }
}

inline TenFloats residualOfFloat(size_t l1, size_t l2, size_t l3) {
    constexpr size_t half = lsfOrder / 2;
    TenFloats residual = eachValue([&](size_t j) {
        const float second = j < half ? secondStageFloat[0].value(l2, j) : secondStageFloat[1].value(l3, j - half);
        return firstStageFloat.value(l1, j) + second;
    });
    spread(residual, firstGapFloat);
    spread(residual, secondGapFloat);
    return residual;
}

inline TenFloats noiseResidualOfFloat(size_t l1, size_t l2) {
    TenFloats residual =
        eachValue([&](size_t j) { return noiseFirstFloat.value(l1, j) + noiseSecondFloat.value(l2, j); });
    spread(residual, firstGapFloat);
    return residual;
}

// Orders and spaces decoded LSFs, and limits their ends.
ryxStatus stabilise(TenFloats &lsf);

// The end of every decoder and quantiser: LSFs and history from the residual that the indices stand for.
inline ryxStatus rebuild(const TenFloats &residual, const FloatPredictor &predictor, TenFloats &lsf, float *history) {
    lsf = predict(residual, history, predictor);
    pushHistory(history, residual);
    return stabilise(lsf);
}

} // namespace ryxsc::g729
