// SPDX-License-Identifier: BSD-2-Clause
// LSF decoders of ITU-T G.729 and its Annex B in 16 bits, and what an erased frame does to the history.
#include <utility>

#include "common/checks.h"
#include "g729/implementations.h"
#include "g729/lsf_indices.h"
#include "g729/lsf_steps.h"

using namespace ryxsc;
using namespace ryxsc::g729;

// The status tells about the two ends only.
ryxStatus ryxsc::g729::stabilise(int16_t *lsf) {
    // A single pass, which need not leave the LSFs in order.
    for (int j = 0; j < lsfOrder - 1; j++)
        if (lsf[j + 1] < lsf[j]) std::swap(lsf[j], lsf[j + 1]);

    const bool low = lsf[0] < lsfFloor;
    if (low) lsf[0] = lsfFloor;
    for (int j = 0; j < lsfOrder - 1; j++)
        if (lsf[j + 1] - lsf[j] < lsfDistance) lsf[j + 1] = ryxsc::add(lsf[j], lsfDistance);

    // The last value comes down alone, so it may end too close to the one below it.
    const bool high = lsf[lsfOrder - 1] > lsfCeiling;
    if (high) lsf[lsfOrder - 1] = lsfCeiling;
    return clampStatus(low, high);
}

ryxStatus ryxsLSFDecode_G729_16s_u8(const int16_t *indices, int16_t *history, int16_t *lsf) {
    if (anyNull(indices, history, lsf)) return ryxStsNullPtr;
    if (!isMode(indices[0])) return ryxStsBadIndex;
    const Ten residual = residualOf(bits<7>(indices[1]), bits<5>(indices[2]), bits<5>(indices[3]));
    return rebuild(residual, History(history), predictors[indices[0]], lsf, history);
}

ryxStatus ryxsLSFDecode_G729B_16s_u8(const int16_t *indices, int16_t *history, int16_t *lsf) {
    if (anyNull(indices, history, lsf)) return ryxStsNullPtr;
    if (!isMode(indices[0])) return ryxStsBadIndex;
    const Ten residual = noiseResidualOf(bits<5>(indices[1]), bits<4>(indices[2]));
    return rebuild(residual, History(history), noisePredictors[indices[0]], lsf, history);
}

ryxStatus ryxsLSFDecodeErased_G729_16s_u8(int16_t mode, int16_t *history, const int16_t *lsf) {
    if (anyNull(history, lsf)) return ryxStsNullPtr;
    if (!isMode(mode)) return ryxStsBadIndex;
    const History past(history);
    pushHistory(past, removePrediction(loadTen(lsf), past, predictors[mode]), history);
    return ryxStsOk;
}
