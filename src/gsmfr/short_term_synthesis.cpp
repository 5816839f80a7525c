// SPDX-License-Identifier: BSD-2-Clause
// Short-term synthesis lattice of GSM 06.10 (clause 4.3.4).
#include "common/checks.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

// Every value has a register of its own and uses lane 0: a rounded product and a saturating addition are one instruction
// each, and out-of-order execution overlaps the samples. The recursion leaves a chain of two products and three additions a
// sample: s of a stage, v behind it, s of that stage in the next sample, s of the next stage.
ryxStatus ryxsShortTermSynthesisFilter_GSMFR_16s_u8(const int16_t *reflection, const int16_t *src, int16_t *dst,
                                                    int len, int16_t *state) {
    if (anyNull(reflection, src, dst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    Vector r[stages], v[stages];
    for (int i = 0; i < stages; i++) {
        r[i] = simd::loadWord(reflection + i);
        v[i] = simd::loadWord(state + i);
    }
    for (int n = 0; n < len; n++) {
        Vector sr = simd::loadWord(src + n);
#pragma GCC unroll 8
        for (int i = stages - 1; i >= 0; i--) {
            sr = _mm_subs_epi16(sr, _mm_mulhrs_epi16(r[i], v[i]));
            if (i < stages - 1) v[i + 1] = _mm_adds_epi16(v[i], _mm_mulhrs_epi16(r[i], sr));
        }
        v[0] = sr;
        simd::storeWord(dst + n, sr);
    }
    for (int i = 0; i < stages; i++)
        simd::storeWord(state + i, v[i]);
    return ryxStsOk;
}
