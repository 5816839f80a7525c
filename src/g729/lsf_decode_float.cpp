// SPDX-License-Identifier: BSD-2-Clause
// LSF decoders of ITU-T G.729 and its Annex B in floating point (Annexes C and C+), and what an erased frame does to
// the history.
#include <utility>

#include "common/checks.h"
#include "g729/implementations.h"
#include "g729/lsf_float_steps.h"

using namespace ryxsc;
using namespace ryxsc::g729;

ryxStatus ryxsc::g729::stabilise(TenFloats &lsf) {
    constexpr size_t last = lsfOrder - 1;
    // A single pass, which need not leave the LSFs in order.
    for (size_t j = 0; j < last; j++)
        if (lsf[j + 1] < lsf[j]) std::swap(lsf[j], lsf[j + 1]);

    const bool low = lsf[0] < lsfFloorFloat;
    if (low) lsf[0] = lsfFloorFloat;
    for (size_t j = 0; j < last; j++)
        if (lsf[j + 1] - lsf[j] < lsfDistanceFloat) lsf[j + 1] = lsf[j] + lsfDistanceFloat;

    // The last value comes down alone, so it may end too close to the one below it.
    const bool high = lsf[last] > lsfCeilingFloat;
    if (high) lsf[last] = lsfCeilingFloat;
    return clampStatus(low, high);
}

namespace {

ryxStatus decode(const TenFloats &residual, const FloatPredictor &predictor, float *history, float *lsf) {
    TenFloats decoded;
    const ryxStatus status = rebuild(residual, predictor, decoded, history);
    storeFloats(lsf, decoded);
    return status;
}

} // namespace

ryxStatus ryxsLSFDecode_G729_32f_u8(const int16_t *indices, float *history, float *lsf) {
    if (anyNull(indices, history, lsf)) return ryxStsNullPtr;
    if (!isMode(indices[0])) return ryxStsBadIndex;
    const TenFloats residual = residualOfFloat(bits<7>(indices[1]), bits<5>(indices[2]), bits<5>(indices[3]));
    return decode(residual, floatPredictors[indices[0]], history, lsf);
}

ryxStatus ryxsLSFDecode_G729B_32f_u8(const int16_t *indices, float *history, float *lsf) {
    if (anyNull(indices, history, lsf)) return ryxStsNullPtr;
    if (!isMode(indices[0])) return ryxStsBadIndex;
    const TenFloats residual = noiseResidualOfFloat(bits<5>(indices[1]), bits<4>(indices[2]));
    return decode(residual, noiseFloatPredictors[indices[0]], history, lsf);
}

ryxStatus ryxsLSFDecodeErased_G729_32f_u8(int16_t mode, float *history, const float *lsf) {
    if (anyNull(history, lsf)) return ryxStsNullPtr;
    if (!isMode(mode)) return ryxStsBadIndex;
    pushHistory(history, removePrediction(loadFloats(lsf), history, floatPredictors[mode]));
    return ryxStsOk;
}
