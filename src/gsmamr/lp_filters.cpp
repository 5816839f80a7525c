// SPDX-License-Identifier: BSD-2-Clause
// Filters with LP coefficients of GSM-AMR (3GPP TS 26.090, clauses 5.3, 5.5, 6.1).
#include "common/checks.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lp_filter.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int longest = 160;

constexpr bool isLength(int len) {
    return len >= 8 && len <= longest && len % 8 == 0;
}

} // namespace

ryxStatus ryxsResidualFilter_GSMAMR_16s_u8(const int16_t *lpc, const int16_t *src, int16_t *dst, int len) {
    if (anyNull(lpc, src, dst)) return ryxStsNullPtr;
    if (!isLength(len)) return ryxStsBadSize;
    LpFilter(lpc).analyse(src, dst, len);
    return ryxStsOk;
}

ryxStatus ryxsSynthesisFilter_GSMAMR_16s_u8(const int16_t *lpc, const int16_t *src, int16_t *dst, int len,
                                            const int16_t *memory) {
    if (anyNull(lpc, src, dst, memory)) return ryxStsNullPtr;
    if (!isLength(len)) return ryxStsBadSize;
    int16_t signal[lpOrder + longest];
    std::copy_n(memory, lpOrder, signal);
    const bool saturated = LpFilter(lpc).synthesise(src, signal + lpOrder, len);
    std::copy_n(signal + lpOrder, len, dst);
    return saturated ? ryxStsOverflow : ryxStsOk;
}

ryxStatus ryxsWeightingFilter_GSMAMR_16s_u8(const int16_t *src, const int16_t *weightedLpc1,
                                            const int16_t *weightedLpc2, int16_t *dst) {
    if (anyNull(src, weightedLpc1, weightedLpc2, dst)) return ryxStsNullPtr;
    constexpr int len = 40;
    int16_t residual[len], signal[lpOrder + len];
    LpFilter(weightedLpc1).analyse(src, residual, len);
    std::copy_n(dst - lpOrder, lpOrder, signal);
    LpFilter(weightedLpc2).synthesise(residual, signal + lpOrder, len);
    std::copy_n(signal + lpOrder, len, dst);
    return ryxStsOk;
}
