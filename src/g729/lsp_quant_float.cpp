// SPDX-License-Identifier: BSD-2-Clause
// LSP quantiser of ITU-T G.729 Annex E in floating point (Annex C+).
#include <cmath>

#include "common/checks.h"
#include "g729/implementations.h"
#include "g729/lsf_float_search.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

// What the search finds for one of the two predictors.
struct Choice {
    size_t l1, l2, l3;
    TenFloats residual;
    float error;
};

Choice search(const TenFloats &target, const TenFloats &weights, const FloatPredictor &predictor) {
    constexpr size_t half = lsfOrder / 2;
    Choice choice;
    choice.l1 = nearest(firstStageFloat, target.data(), nullptr);
    const TenFloats rest = withoutVector(target, firstStageFloat, choice.l1);
    choice.l2 = nearest(secondStageFloat[0], rest.data(), weights.data());
    choice.l3 = nearest(secondStageFloat[1], rest.data() + half, weights.data() + half);
    choice.residual = residualOfFloat(choice.l1, choice.l2, choice.l3);
    choice.error = 0;
    for (size_t j = 0; j < lsfOrder; j++) {
        const float error = (choice.residual[j] - target[j]) * predictor.gain[j];
        choice.error += weights[j] * error * error;
    }
    return choice;
}

Indices quantise(TenFloats &lsf, float *history) {
    const TenFloats weights = weightsOf(lsf);
    Choice choices[modes];
    for (int mode = 0; mode < modes; mode++)
        choices[mode] = search(removePrediction(lsf, history, floatPredictors[mode]), weights, floatPredictors[mode]);
    const int mode = choices[1].error < choices[0].error ? 1 : 0;
    const Choice &best = choices[mode];
    rebuild(best.residual, floatPredictors[mode], lsf, history);
    return {static_cast<int16_t>(mode), static_cast<int16_t>(best.l1), static_cast<int16_t>(best.l2),
            static_cast<int16_t>(best.l3)};
}

} // namespace

ryxStatus ryxsLSPQuant_G729E_32f_u8(const float *lsp, float *history, float *quantised, int16_t *packed) {
    if (anyNull(lsp, history, quantised, packed)) return ryxStsNullPtr;
    TenFloats lsf;
    for (size_t j = 0; j < lsfOrder; j++)
        lsf[j] = std::acos(lsp[j]);
    pack(quantise(lsf, history), packed);
    for (size_t j = 0; j < lsfOrder; j++)
        quantised[j] = std::cos(lsf[j]);
    return ryxStsOk;
}
