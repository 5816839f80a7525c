// SPDX-License-Identifier: BSD-2-Clause
// Decoding and concealment of the LSFs of GSM-AMR (3GPP TS 26.090, clause 6.1; TS 26.091, clause 6).
#include "common/checks.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lsf_prediction.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

bool areIndices(const int16_t *indices, Rate rate) {
    constexpr int matrixSizes[5] = {128, 256, 512, 256, 64};
    const int splitSizes[3] = {rate == Rate::r795 ? 512 : 256, hasSmallBooks(rate) ? 256 : 512,
                               hasSmallBooks(rate) ? 128 : 512};
    const bool matrix = rate == Rate::r1220;
    const int *const sizes = matrix ? matrixSizes : splitSizes;
    for (int i = 0; i < (matrix ? 5 : 3); i++)
        if (indices[i] < 0 || indices[i] >= sizes[i]) return false;
    return true;
}

// The last frequencies, drawn towards their mean. What the quantiser would remember of them is worked out backwards.
Lsf conceal(const int16_t *pastLsf, int16_t *residual, Rate rate) {
    const bool matrix = rate == Rate::r1220;
    const auto &mean = matrix ? lsfMean122 : lsfMean;
    const int16_t past = matrix ? 31128 : 29491, rest = matrix ? 1639 : 3277;
    const Lsf predicted = predictLsf(residual, rate);
    Lsf lsf;
    for (size_t i = 0; i < lsfOrder; i++) {
        lsf[i] = add(mult(pastLsf[i], past), mult(mean[i], rest));
        residual[i] = sub(lsf[i], predicted[i]);
    }
    spread(lsf);
    return lsf;
}

void write(const Lsf &lsf, int16_t *lsp) {
    const Lsp converted = lspOf(lsf);
    std::copy_n(converted.data(), lsfOrder, lsp);
}

} // namespace

ryxStatus ryxsLSFDecode_GSMAMR_16s_u8(const int16_t *indices, int16_t *pastResidual, int16_t *pastLsf, int16_t *lsp,
                                      int badFrame, int rate) {
    if (anyNull(indices, pastResidual, pastLsf, lsp)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    const bool matrix = of == Rate::r1220, bad = badFrame != 0;
    if (!bad && !areIndices(indices, of)) return ryxStsBadIndex;
    Lsf lsf;
    if (bad) {
        lsf = conceal(pastLsf, pastResidual, of);
        if (matrix) write(lsf, lsp);
    } else {
        const Lsf predicted = predictLsf(pastResidual, of);
        if (matrix) {
            const MatrixResidual residual = readMatrix(indices);
            write(reconstructLsf(predicted, residual.middle), lsp);
            std::copy_n(residual.end, lsfOrder, pastResidual);
        } else {
            readSplit(indices, of, pastResidual);
        }
        lsf = reconstructLsf(predicted, pastResidual);
    }
    std::copy_n(lsf.data(), lsfOrder, pastLsf);
    write(lsf, matrix ? lsp + lsfOrder : lsp);
    return ryxStsOk;
}
