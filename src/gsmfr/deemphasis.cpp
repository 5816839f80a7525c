// SPDX-License-Identifier: BSD-2-Clause
// De-emphasis of GSM 06.10 with doubling and truncation to 13 bits (clauses 4.3.5 to 4.3.7).
#include "gsmfr/deemphasis.h"
#include "common/checks.h"
#include "gsmfr/implementations.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

ryxStatus ryxsDeemphasize_GSMFR_16s_I_u8(int16_t *srcDst, int len, int16_t *state) {
    if (anyNull(srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    Vector filtered = simd::loadWord(state);
    int i = 0;
    for (; len - i >= 8; i += 8) {
        Vector samples = simd::load(srcDst + i), eight = samples;
#pragma GCC unroll 8
        for (int k = 0; k < 8; k++) {
            filtered = deemphasised(samples, filtered);
            samples = _mm_srli_si128(samples, 2);
            eight = _mm_alignr_epi8(filtered, eight, 2);
        }
        simd::store(srcDst + i, upscaled(eight));
    }
    for (; i < len; i++) {
        filtered = deemphasised(simd::loadWord(srcDst + i), filtered);
        simd::storeWord(srcDst + i, upscaled(filtered));
    }
    simd::storeWord(state, filtered);
    return ryxStsOk;
}
