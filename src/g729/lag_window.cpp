// SPDX-License-Identifier: BSD-2-Clause
// Lag window on the autocorrelation (ITU-T G.729, clause 3.2.1; Annex B for lags 11 and 12).
#include "common/checks.h"
#include "common/double_precision.h"
#include "g729/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

// The window stays below 1, so nothing saturates.
ryxStatus ryxsLagWindow_G729_32s_I_u8(int32_t *srcDst, int order) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (order < 1) return ryxStsBadSize;
    if (order > lp::maxLag) return ryxStsOutOfRange;
    int lag = 0;
    for (; lag + 4 <= order; lag += 4)
        simd::store(srcDst + lag,
                    lanes::multiply(simd::load(srcDst + lag), simd::load(&lp::lagWindow[static_cast<size_t>(lag)])));
    for (; lag < order; lag++)
        srcDst[lag] = multiply(srcDst[lag], lp::lagWindow[static_cast<size_t>(lag)]);
    return ryxStsOk;
}
