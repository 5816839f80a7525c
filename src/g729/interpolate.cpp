// SPDX-License-Identifier: BSD-2-Clause
// Mean of two LSP vectors (ITU-T G.729, clause 3.2.5).
#include "common/checks.h"
#include "common/simd.h"
#include "g729/implementations.h"

using namespace ryxsc;
using simd::Vector;

// Both vectors are halved first, so that the sum cannot leave 16 bits.
ryxStatus ryxsInterpolate_G729_16s_u8(const int16_t *src1, const int16_t *src2, int16_t *dst, int len) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int i = 0;
    for (; len - i >= 8; i += 8) {
        const Vector half1 = _mm_srai_epi16(simd::load(src1 + i), 1), half2 = _mm_srai_epi16(simd::load(src2 + i), 1);
        simd::store(dst + i, _mm_add_epi16(half1, half2));
    }
    for (; i < len; i++)
        dst[i] = static_cast<int16_t>((src1[i] >> 1) + (src2[i] >> 1));
    return ryxStsOk;
}
