// SPDX-License-Identifier: BSD-2-Clause
// LP residual and synthesis in 16 bits (3GPP TS 26.173).
#include "amrwb/lp_filters.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int maxOrder = 20;
constexpr int maxLength = 256;

} // namespace

ryxStatus ryxsResidualFilter_AMRWB_16s_u8(const int16_t *lpc, const int16_t *src, int16_t *dst, int len) {
    if (anyNull(lpc, src, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    residualFilter<lpOrder>(lpc, src, dst, len, 4);
    return ryxStsOk;
}

ryxStatus ryxsSynthesisFilter_AMRWB_16s_u8(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                           int16_t *memory) {
    if (anyNull(lpc, src, dst, memory)) return ryxStsNullPtr;
    if (len < maxOrder || len > maxLength) return ryxStsBadSize;
    if (order != lpOrder && order != maxOrder) return ryxStsOutOfRange;
    const auto gain = static_cast<int16_t>(lpc[0] >> 1);
    const int up = 3 + norm_s(lpc[0]) - 2;
    if (order == lpOrder)
        synthesisFilter<lpOrder>(lpc, gain, src, dst, len, memory, Memory::update, up);
    else
        synthesisFilter<maxOrder>(lpc, gain, src, dst, len, memory, Memory::update, up);
    return ryxStsOk;
}
