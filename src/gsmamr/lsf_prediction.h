// SPDX-License-Identifier: BSD-2-Clause
// Prediction of the LSFs from the last quantised residual, in the quantisers and the decoders (3GPP TS 26.090, clause 5.2.5).
#pragma once

#include "gsmamr/lsf_steps.h"
#include "gsmamr/rates.h"

namespace ryxsc::gsmamr {

inline Lsf predictLsf(const int16_t *residual, Rate rate) {
    Lsf predicted;
    for (size_t i = 0; i < lsfOrder; i++)
        predicted[i] = rate == Rate::r1220 ? add(lsfMean122[i], mult(residual[i], lsfPrediction122))
                                           : add(lsfMean[i], mult(residual[i], lsfPrediction[i]));
    return predicted;
}

// The sum with a residual, ordered.
inline Lsf reconstructLsf(const Lsf &predicted, const int16_t *residual) {
    Lsf lsf;
    for (size_t i = 0; i < lsfOrder; i++)
        lsf[i] = add(residual[i], predicted[i]);
    spread(lsf);
    return lsf;
}

template <class Book> void readVector(const Book &book, int index, int16_t *values) {
    for (size_t j = 0; j < Book::values; j++)
        values[j] = book.pair(static_cast<size_t>(index), j / 2)[j % 2];
}

// Codebooks of the split quantiser.
constexpr bool hasSmallBooks(Rate rate) {
    return rate <= Rate::r515;
}
inline void readSplit(const int16_t *indices, Rate rate, int16_t *residual) {
    rate == Rate::r795 ? readVector(lowLsfs795, indices[0], residual) : readVector(lowLsfs, indices[0], residual);
    hasSmallBooks(rate) ? readVector(middleLsfsSmall, indices[1], residual + 3)
                        : readVector(middleLsfs, indices[1], residual + 3);
    hasSmallBooks(rate) ? readVector(highLsfsSmall, indices[2], residual + 6)
                        : readVector(highLsfs, indices[2], residual + 6);
}

// Residuals of both vectors of a frame.
struct MatrixResidual {
    int16_t middle[lsfOrder], end[lsfOrder];

    void put(int pair, const int16_t (&values)[4]) {
        std::copy_n(values, 2, middle + 2 * pair);
        std::copy_n(values + 2, 2, end + 2 * pair);
    }
};
inline MatrixResidual readMatrix(const int16_t *indices) {
    MatrixResidual residual;
    int16_t values[4];
    readVector(firstLsfMatrix, indices[0], values);
    residual.put(0, values);
    readVector(secondLsfMatrix, indices[1], values);
    residual.put(1, values);
    readVector(thirdLsfMatrix, indices[2] >> 1, values);
    if ((indices[2] & 1) != 0) std::transform(values, values + 4, values, negate);
    residual.put(2, values);
    readVector(fourthLsfMatrix, indices[3], values);
    residual.put(3, values);
    readVector(fifthLsfMatrix, indices[4], values);
    residual.put(4, values);
    return residual;
}

} // namespace ryxsc::gsmamr
