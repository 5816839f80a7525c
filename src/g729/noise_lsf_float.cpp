// SPDX-License-Identifier: BSD-2-Clause
// Comfort-noise LSF quantiser of ITU-T G.729 Annex B in floating point (Annex C+).
#include <algorithm>

#include "common/checks.h"
#include "g729/implementations.h"
#include "g729/lsf_float_search.h"
#include "g729/noise_candidates.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr float noiseDistance = 0.0784F;

void space(TenFloats &x) {
    constexpr size_t last = lsfOrder - 1;
    if (x[0] < lsfFloorFloat) x[0] = lsfFloorFloat;
    for (size_t j = 0; j < last; j++)
        if (x[j + 1] - x[j] < noiseDistance) x[j + 1] = x[j] + noiseDistance;
    if (x[last] > lsfCeilingFloat) x[last] = lsfCeilingFloat;
    if (x[last] < x[last - 1]) x[last - 1] = x[last] - lsfDistanceFloat;
}

Candidates<float> firstStageCandidates(const TenFloats (&targets)[modes]) {
    Candidates<float> best(startError);
    for (size_t mode = 0; mode < modes; mode++)
        for (size_t group = 0; group < noiseFirstSize / 4; group++) {
            alignas(16) float errors[4];
            const __m128 sums = errorsOfFour(noiseFirstFloat, group, targets[mode].data(), nullptr);
            _mm_store_ps(errors, _mm_mul_ps(sums, _mm_set1_ps(noiseModeWeightsFloat[mode])));
            for (size_t i = 0; i < 4; i++)
                best.offer(errors[i], mode * noiseFirstSize + 4 * group + i);
        }
    return best;
}

TenFloats secondStageWeights(const FloatPredictor &predictor, const TenFloats &weights) {
    TenFloats q;
    for (size_t j = 0; j < lsfOrder; j++)
        q[j] = predictor.gain[j] * predictor.gain[j] * weights[j];
    return q;
}

// The number of the candidate times 16, plus the index of the second stage.
size_t searchSecondStage(const Candidates<float> &candidates, const TenFloats (&targets)[modes],
                         const TenFloats &weights) {
    const TenFloats squares[modes] = {secondStageWeights(noiseFloatPredictors[0], weights),
                                      secondStageWeights(noiseFloatPredictors[1], weights)};
    SmallestFloat best;
    __m128i number = _mm_setr_epi32(0, 1, 2, 3);
    for (const size_t candidate : candidates) {
        const size_t mode = candidate / noiseFirstSize;
        const TenFloats rest = withoutVector(targets[mode], noiseFirstFloat, candidate % noiseFirstSize);
        for (size_t group = 0; group < noiseSecondSize / 4; group++) {
            best.offer(errorsOfFour(noiseSecondFloat, group, rest.data(), squares[mode].data()), number);
            number = _mm_add_epi32(number, _mm_set1_epi32(4));
        }
    }
    return best.index();
}

} // namespace

ryxStatus ryxsLSFQuant_G729B_32f_u8(const float *lsf, float *history, float *quantised, int16_t *indices) {
    if (anyNull(lsf, history, quantised, indices)) return ryxStsNullPtr;
    TenFloats unquantised = loadFloats(lsf);
    space(unquantised);
    const TenFloats targets[modes] = {removePrediction(unquantised, history, noiseFloatPredictors[0]),
                                      removePrediction(unquantised, history, noiseFloatPredictors[1])};
    const Candidates<float> candidates = firstStageCandidates(targets);
    const NoiseIndices choice =
        noiseIndices(candidates, searchSecondStage(candidates, targets, weightsOf(unquantised)));

    TenFloats rebuilt;
    rebuild(noiseResidualOfFloat(choice.l1, choice.l2), noiseFloatPredictors[choice.mode], rebuilt, history);
    storeFloats(quantised, rebuilt);
    storeIndices(choice, indices);
    return ryxStsOk;
}
