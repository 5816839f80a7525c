// SPDX-License-Identifier: BSD-2-Clause
// Quantisation of the LSFs of GSM-AMR (3GPP TS 26.090, clause 5.2.5): in three parts, or as a matrix of two vectors in five.
#include "common/checks.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lsf_prediction.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

Lsf difference(const Lsf &x, const Lsf &y) {
    Lsf result;
    std::transform(x.begin(), x.end(), y.begin(), result.begin(), sub);
    return result;
}

void quantiseSplit(const int16_t *lsp, int16_t *residual, int16_t *quantised, int16_t *indices, Rate rate) {
    const Lsf lsf = lsfOf(copyOf(lsp)), weights = weightsOf(lsf);
    const Lsf predicted = predictLsf(residual, rate), target = difference(lsf, predicted);
    indices[0] = rate == Rate::r795 ? nearestWeighted(lowLsfs795, &target[0], &weights[0])
                                    : nearestWeighted(lowLsfs, &target[0], &weights[0]);
    indices[1] = hasSmallBooks(rate) ? nearestWeighted(middleLsfsSmall, &target[3], &weights[3])
                                     : nearestWeighted(middleLsfs, &target[3], &weights[3]);
    indices[2] = hasSmallBooks(rate) ? nearestWeighted(highLsfsSmall, &target[6], &weights[6])
                                     : nearestWeighted(highLsfs, &target[6], &weights[6]);
    readSplit(indices, rate, residual);
    const Lsp result = lspOf(reconstructLsf(predicted, residual));
    std::copy_n(result.data(), lsfOrder, quantised);
}

// Two neighbouring LSFs of both vectors, with their weights.
struct PairTarget {
    int16_t residual[4], weights[4];
};

int16_t nearestOfBothSigns(const PairCodebook<256, 4> &book, const PairTarget &target) {
    const auto weights = loadPairs<4>(target.weights), goal = loadPairs<4>(target.residual);
    const simd::Q15Factor factors[2] = {simd::Q15Factor(weights.pair[0]), simd::Q15Factor(weights.pair[1])};
    Smallest best(saturatedSum);
    Vector index = _mm_setr_epi32(0, 2, 4, 6);
    for (size_t group = 0; group < book.size / 4; group++) {
        ErrorSums plus, minus;
        for (size_t p = 0; p < 2; p++) {
            const Vector row = simd::loadAligned(book.quads[group][p]);
            const Vector below = factors[p] * _mm_subs_epi16(goal.pair[p], row);
            const Vector above = factors[p] * _mm_adds_epi16(goal.pair[p], row);
            plus.add(_mm_madd_epi16(below, below));
            minus.add(_mm_madd_epi16(above, above));
        }
        best.offer(plus.get(), plus.valid(), index);
        best.offer(minus.get(), minus.valid(), _mm_or_si128(index, simd::dwords(1)));
        index = _mm_add_epi32(index, simd::dwords(8));
    }
    return static_cast<int16_t>(best.get().index);
}

void quantiseMatrix(const int16_t *lsp, int16_t *residual, int16_t *quantised, int16_t *indices) {
    const Lsf middle = lsfOf(copyOf(lsp)), end = lsfOf(copyOf(lsp + lsfOrder));
    const Lsf middleWeights = weightsOf(middle), endWeights = weightsOf(end);
    const Lsf predicted = predictLsf(residual, Rate::r1220);
    const Lsf middleTarget = difference(middle, predicted), endTarget = difference(end, predicted);
    PairTarget targets[lsfOrder / 2];
    for (size_t i = 0; i < lsfOrder; i++) {
        PairTarget &target = targets[i / 2];
        target.residual[i % 2] = middleTarget[i];
        target.residual[2 + i % 2] = endTarget[i];
        target.weights[i % 2] = middleWeights[i];
        target.weights[2 + i % 2] = endWeights[i];
    }
    indices[0] = nearestWeighted(firstLsfMatrix, targets[0].residual, targets[0].weights);
    indices[1] = nearestWeighted(secondLsfMatrix, targets[1].residual, targets[1].weights);
    indices[2] = nearestOfBothSigns(thirdLsfMatrix, targets[2]);
    indices[3] = nearestWeighted(fourthLsfMatrix, targets[3].residual, targets[3].weights);
    indices[4] = nearestWeighted(fifthLsfMatrix, targets[4].residual, targets[4].weights);

    const MatrixResidual found = readMatrix(indices);
    const Lsp first = lspOf(reconstructLsf(predicted, found.middle)),
              second = lspOf(reconstructLsf(predicted, found.end));
    std::copy_n(first.data(), lsfOrder, quantised);
    std::copy_n(second.data(), lsfOrder, quantised + lsfOrder);
    std::copy_n(found.end, lsfOrder, residual);
}

} // namespace

ryxStatus ryxsLSPQuant_GSMAMR_16s_u8(const int16_t *lsp, int16_t *pastResidual, int16_t *quantised, int16_t *indices,
                                     int rate) {
    if (anyNull(lsp, pastResidual, quantised, indices)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    of == Rate::r1220 ? quantiseMatrix(lsp, pastResidual, quantised, indices)
                      : quantiseSplit(lsp, pastResidual, quantised, indices, of);
    return ryxStsOk;
}
