// SPDX-License-Identifier: BSD-2-Clause
// LSF quantiser of ITU-T G.729 in 16 bits: moving-average prediction with two sets of coefficients, a first stage of
// ten values and a second stage of two times five. Annex E uses the same.
#include <algorithm>

#include "common/checks.h"
#include "common/vector_quantiser_search.h"
#include "g729/implementations.h"
#include "g729/lsf_indices.h"
#include "g729/lsf_steps.h"
#include "g729/lsf_weights.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

// What the search finds for one of the two predictors.
struct Choice {
    size_t l1, l2, l3;
    Ten residual;
    int64_t error; // half the distortion, at most 2^30
};

// Sum of (mult(w, t) * t), the weighted square of the recommendation.
size_t nearestWeighted(const PairCodebook<secondStageSize, 5> &book, Vector target, Vector weights) {
    const Pairs<3> w = pairsOf(weights);
    const simd::Q15Factor factors[3] = {simd::Q15Factor(w.pair[0]), simd::Q15Factor(w.pair[1]),
                                        simd::Q15Factor(w.pair[2])};
    const auto terms = [&](Vector t, size_t p) { return _mm_madd_epi16(factors[p] * t, t); };
    return nearest(book, pairsOf(target), terms).index;
}

// Weighted square of the error that remains in the LSFs, for the choice between the predictors. The weighted error is
// limited to 16 bits; large ones do reach the limit.
int64_t remainingError(const Ten &residual, const Ten &target, const Ten &weights, const Predictor &predictor) {
    const Ten difference = subtract(residual, target), gain = loadRow(predictor.gain);
    Vector sum = _mm_setzero_si128();
    for (int i = 0; i < 2; i++) {
        const Vector error = simd::Q15Factor(gain[i]) * difference[i];
        const Vector squares = _mm_madd_epi16(simd::mulShiftSaturated<11>(weights[i], error), error);
        sum = _mm_add_epi64(sum, simd::sumsOfUnsignedDwords(squares));
    }
    return std::min<int64_t>(simd::sumOfQwords(sum), saturatedSum);
}

Choice search(const Ten &target, const Ten &weights, const Predictor &predictor) {
    Choice choice;
    choice.l1 = nearest(firstStage, pairsOf(target[0], target[1]), square).index;
    const Halves rest = split(subtract(target, vectorOf(firstStage, choice.l1)));
    const Halves halves = split(weights);
    choice.l2 = nearestWeighted(secondStage[0], rest.lower, halves.lower);
    choice.l3 = nearestWeighted(secondStage[1], rest.upper, halves.upper);
    choice.residual = residualOf(choice.l1, choice.l2, choice.l3);
    choice.error = remainingError(choice.residual, target, weights, predictor);
    return choice;
}

Indices quantise(const int16_t *lsf, int16_t *history, int16_t *quantised) {
    const Ten unquantised = loadTen(lsf);
    const Ten weights = weightsOf(unquantised);
    const History past(history);
    Choice choices[modes];
    for (int mode = 0; mode < modes; mode++) {
        const Ten target = removePrediction(unquantised, past, predictors[mode]);
        choices[mode] = search(target, weights, predictors[mode]);
    }
    const int mode = choices[1].error < choices[0].error ? 1 : 0;
    const Choice &best = choices[mode];
    rebuild(best.residual, past, predictors[mode], quantised, history);
    return {static_cast<int16_t>(mode), static_cast<int16_t>(best.l1), static_cast<int16_t>(best.l2),
            static_cast<int16_t>(best.l3)};
}

ryxStatus quantiseLsp(const int16_t *lsp, int16_t *history, int16_t *quantised, int16_t *packed) {
    if (anyNull(lsp, history, quantised, packed)) return ryxStsNullPtr;
    int16_t lsf[lsfOrder];
    ryxsLSPToLSF_G729_16s_u8(lsp, lsf);
    const Indices indices = quantise(lsf, history, lsf);
    ryxsLSFToLSP_G729_16s_u8(lsf, quantised);
    pack(indices, packed);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLSFQuant_G729_16s_u8(const int16_t *lsf, int16_t *history, int16_t *quantised, int16_t *indices) {
    if (anyNull(lsf, history, quantised, indices)) return ryxStsNullPtr;
    const Indices found = quantise(lsf, history, quantised);
    indices[0] = found.l0;
    indices[1] = found.l1;
    indices[2] = found.l2;
    indices[3] = found.l3;
    return ryxStsOk;
}

ryxStatus ryxsLSPQuant_G729_16s_u8(const int16_t *lsp, int16_t *history, int16_t *quantised, int16_t *packed) {
    return quantiseLsp(lsp, history, quantised, packed);
}

ryxStatus ryxsLSPQuant_G729E_16s_u8(const int16_t *lsp, int16_t *history, int16_t *quantised, int16_t *packed) {
    return quantiseLsp(lsp, history, quantised, packed);
}
