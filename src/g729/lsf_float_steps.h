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

inline TenFloats loadFloats(const float *from) {
    TenFloats x;
    std::memcpy(x.data(), from, sizeof x);
    return x;
}
inline void storeFloats(float *to, const TenFloats &x) {
    std::memcpy(to, x.data(), sizeof x);
}

inline TenFloats predict(const TenFloats &residual, const float *history, const FloatPredictor &predictor) {
    TenFloats lsf;
    for (size_t j = 0; j < lsfOrder; j++) {
        lsf[j] = residual[j] * predictor.gain[j];
        for (size_t k = 0; k < historyDepth; k++)
            lsf[j] += history[lsfOrder * k + j] * predictor.taps[k][j];
    }
    return lsf;
}

inline TenFloats removePrediction(const TenFloats &lsf, const float *history, const FloatPredictor &predictor) {
    TenFloats residual = lsf;
    for (size_t j = 0; j < lsfOrder; j++) {
        for (size_t k = 0; k < historyDepth; k++)
            residual[j] -= history[lsfOrder * k + j] * predictor.taps[k][j];
        residual[j] *= predictor.inverseGain[j];
    }
    return residual;
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
    TenFloats residual;
    for (size_t j = 0; j < half; j++) {
        residual[j] = firstStageFloat.value(l1, j) + secondStageFloat[0].value(l2, j);
        residual[j + half] = firstStageFloat.value(l1, j + half) + secondStageFloat[1].value(l3, j);
    }
    spread(residual, firstGapFloat);
    spread(residual, secondGapFloat);
    return residual;
}

inline TenFloats noiseResidualOfFloat(size_t l1, size_t l2) {
    TenFloats residual;
    for (size_t j = 0; j < lsfOrder; j++)
        residual[j] = noiseFirstFloat.value(l1, j) + noiseSecondFloat.value(l2, j);
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
