// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis with outputs in double precision (3GPP TS 26.173: Syn_filt_32). Compiled by both processor variants.
#pragma once

#include "amrwb/arithmetic.h"
#include "common/checks.h"

namespace ryxsc::amrwb {

namespace {

// An output is high * 2^16 + low * 2^4, low in 0..4095.
inline ryxStatus synthesise(const int16_t *lpc, const int16_t *src, int32_t *srcDst, int len, int q) {
    if (anyNull(lpc, src, srcDst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (q < 0 || q > 11) return ryxStsOutOfRange;
    const int shift = 3 + norm_s(lpc[0]) - 2;
    const auto gain = static_cast<int16_t>(lpc[0] >> (4 + q));
    for (int n = 0; n < len; n++) {
        int32_t low = 0;
        for (int j = 1; j <= lpOrder; j++)
            low = L_msu(low, static_cast<int16_t>((srcDst[n - j] >> 4) & 4095), lpc[j]);
        int32_t sum = L_mac(low >> 12, src[n], gain);
        for (int j = 1; j <= lpOrder; j++)
            sum = L_msu(sum, extract_h(srcDst[n - j]), lpc[j]);
        srcDst[n] = L_shl(sum, shift) & ~15;
    }
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc::amrwb
