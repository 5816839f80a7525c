// SPDX-License-Identifier: BSD-2-Clause
// Comfort-noise LSF quantiser of ITU-T G.729 Annex B in 16 bits: both predictors are searched together, and four
// candidates of the first stage go into the second.
#include "common/checks.h"
#include "common/vector_quantiser_search.h"
#include "g729/implementations.h"
#include "g729/lsf_steps.h"
#include "g729/lsf_weights.h"
#include "g729/noise_candidates.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int16_t noiseDistance = 2 * lsfDistance;

Ten spaced(const Ten &lsf) {
    int16_t x[lsfOrder];
    storeTen(x, lsf);
    if (x[0] >= lsfFloor && x[lsfOrder - 1] <= lsfCeiling && stepsReach(steps(lsf), noiseDistance)) return lsf;

    x[0] = std::max(x[0], lsfFloor);
    for (int j = 0; j < lsfOrder - 1; j++)
        if (sub(x[j + 1], x[j]) < noiseDistance) x[j + 1] = ryxsc::add(x[j], noiseDistance);
    x[9] = std::min(x[9], lsfCeiling);
    if (x[9] < x[8]) x[8] = sub(x[9], lsfDistance);
    return loadTen(x);
}

// The upper word of the saturated distortion.
Vector upperWords(const ErrorSums &sums) {
    const Vector valid = sums.valid();
    return _mm_or_si128(_mm_and_si128(valid, _mm_srli_epi32(sums.get(), 15)),
                        _mm_andnot_si128(valid, simd::dwords(0x7fff)));
}

// The errors are 16-bit words, so equal ones are common; the number of the vector in the lower bits keeps the first in
// front.
Candidates<int32_t> firstStageCandidates(const Ten (&targets)[modes]) {
    alignas(16) int32_t keys[modes * noiseFirstSize];
    Vector number = _mm_setr_epi32(0, 1, 2, 3);
    for (size_t mode = 0; mode < modes; mode++) {
        const Pairs<5> target = pairsOf(targets[mode][0], targets[mode][1]);
        const Vector weight = simd::dwords(noiseModeWeights[mode]);
        for (size_t group = 0; group < noiseFirstSize / 4; group++) {
            const Vector error = upperWords(errorsOfFour(noiseFirst, group, target, square));
            const Vector weighted = _mm_srli_epi32(_mm_madd_epi16(error, weight), 15);
            simd::store(keys + mode * noiseFirstSize + 4 * group, _mm_or_si128(_mm_slli_epi32(weighted, 6), number));
            number = _mm_add_epi32(number, simd::dwords(4));
        }
    }
    Candidates<int32_t> best(max32);
    for (const int32_t key : keys)
        best.offer(key, static_cast<size_t>(key & 63));
    return best;
}

// Weights of the squared residual errors: mult of the squared gain and the weight of the LSF.
Pairs<5> secondStageWeights(const Predictor &predictor, const Ten &weights) {
    const Ten gain = loadRow(predictor.gain);
    Ten q;
    for (int i = 0; i < 2; i++)
        q[i] = simd::Q15Factor(weights[i]) * simd::mulShiftSaturated<13>(gain[i], gain[i]);
    return pairsOf(q[0], q[1]);
}

// The number of the candidate times 16, plus the index of the second stage.
size_t searchSecondStage(const Candidates<int32_t> &candidates, const Ten (&targets)[modes], const Ten &weights) {
    const Pairs<5> q[modes] = {secondStageWeights(noisePredictors[0], weights),
                               secondStageWeights(noisePredictors[1], weights)};
    Smallest best(max16);
    Vector number = _mm_setr_epi32(0, 1, 2, 3);
    for (const size_t candidate : candidates) {
        const size_t mode = candidate / noiseFirstSize;
        const Ten rest = subtract(targets[mode], vectorOf(noiseFirst, candidate % noiseFirstSize));
        const Pairs<5> target = pairsOf(rest[0], rest[1]);
        const auto weigh = [&factor = q[mode]](Vector t, size_t p) {
            return _mm_madd_epi16(simd::mulShiftSaturated<12>(factor.pair[p], t), t);
        };
        for (size_t group = 0; group < noiseSecondSize / 4; group++) {
            const ErrorSums sums = errorsOfFour(noiseSecond, group, target, weigh);
            best.offer(_mm_srli_epi32(sums.get(), 15), sums.valid(), number);
            number = _mm_add_epi32(number, simd::dwords(4));
        }
    }
    return best.get().index;
}

} // namespace

ryxStatus ryxsLSFQuant_G729B_16s_u8(const int16_t *lsf, int16_t *history, int16_t *quantised, int16_t *indices) {
    if (anyNull(lsf, history, quantised, indices)) return ryxStsNullPtr;
    const Ten unquantised = spaced(loadTen(lsf));
    const Ten weights = weightsOf(unquantised);
    const History past(history);
    const Ten targets[modes] = {removePrediction(unquantised, past, noisePredictors[0]),
                                removePrediction(unquantised, past, noisePredictors[1])};
    const Candidates<int32_t> candidates = firstStageCandidates(targets);
    const size_t found = searchSecondStage(candidates, targets, weights);

    const NoiseIndices choice = noiseIndices(candidates, found);
    rebuild(noiseResidualOf(choice.l1, choice.l2), past, noisePredictors[choice.mode], quantised, history);
    storeIndices(choice, indices);
    return ryxStsOk;
}
