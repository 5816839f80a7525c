// SPDX-License-Identifier: BSD-2-Clause
// De-emphasis of GSM 06.10 with doubling and truncation to 13 bits (clauses 4.3.5 to 4.3.7).
#include "common/checks.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

// The filter is a chain in lane 0 of a vector, where a rounded product and a saturating addition are one instruction each.
Vector filter(Vector sample, Vector previous) {
    return _mm_adds_epi16(sample, _mm_mulhrs_epi16(previous, simd::words(emphasis)));
}

Vector upscaled(Vector filtered) {
    return _mm_andnot_si128(simd::words(7), _mm_adds_epi16(filtered, filtered));
}

} // namespace

ryxStatus ryxsDeemphasize_GSMFR_16s_I_u8(int16_t *srcDst, int len, int16_t *state) {
    if (anyNull(srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    Vector filtered = simd::loadWord(state);
    int i = 0;
    for (; len - i >= 8; i += 8) {
        Vector samples = simd::load(srcDst + i), eight = samples;
#pragma GCC unroll 8
        for (int k = 0; k < 8; k++) {
            filtered = filter(samples, filtered);
            samples = _mm_srli_si128(samples, 2);
            eight = _mm_alignr_epi8(filtered, eight, 2);
        }
        simd::store(srcDst + i, upscaled(eight));
    }
    for (; i < len; i++) {
        filtered = filter(simd::loadWord(srcDst + i), filtered);
        simd::storeWord(srcDst + i, upscaled(filtered));
    }
    simd::storeWord(state, filtered);
    return ryxStsOk;
}
