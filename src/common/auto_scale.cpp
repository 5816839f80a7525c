// SPDX-License-Identifier: BSD-2-Clause
// Scaling of a vector to a wanted headroom.
#include <algorithm>
#include <cstring>

#include "common/checks.h"
#include "common/elementwise.h"
#include "common/implementations.h"

using namespace ryxsc;
using simd::Vector;

namespace {

Vector orMagnitudes(Vector acc, Vector x) {
    return _mm_or_si128(acc, _mm_abs_epi16(x));
}

// All magnitudes or'ed together: as many bits as the largest of them. -32768 has bit 15 to itself.
int magnitudeBits(const int16_t *src, int len) {
    Vector acc = _mm_setzero_si128(), acc2 = acc;
    int i = 0;
    for (; i <= len - 16; i += 16) {
        acc = orMagnitudes(acc, simd::load(src + i));
        acc2 = orMagnitudes(acc2, simd::load(src + i + 8));
    }
    acc = _mm_or_si128(acc, acc2);
    for (; i <= len - 4; i += 4)
        acc = orMagnitudes(acc, simd::load64(src + i));
    for (; i < len; i++)
        acc = orMagnitudes(acc, simd::loadWord(src + i));
    return static_cast<uint16_t>(simd::bitsOfWords(acc));
}

void shiftLeft(const int16_t *src, int16_t *dst, int len, int count) {
    const Vector counts = _mm_cvtsi32_si128(count);
    const auto shift = [=](Vector x) { return _mm_sll_epi16(x, counts); };
    mapWords(dst, len, shift, src);
}

// psraw takes every count above 15 for 15.
void shiftRight(const int16_t *src, int16_t *dst, int len, int count) {
    const Vector counts = _mm_cvtsi32_si128(count);
    const auto shift = [=](Vector x) { return _mm_sra_epi16(x, counts); };
    mapWords(dst, len, shift, src);
}

ryxStatus autoScale(const int16_t *src, int16_t *dst, int len, int *scale) {
    if (anyNull(src, dst, scale)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (*scale < 0) return ryxStsBadScale;
    const int headroom = *scale;
    const int bits = magnitudeBits(src, len);
    if (bits == 0) {
        std::memset(dst, 0, static_cast<size_t>(len) * sizeof *dst);
        *scale = 16 - headroom;
        return ryxStsOk;
    }
    const int normalisation = norm_s(static_cast<int16_t>(std::min<int>(bits, max16)));
    if (headroom < normalisation)
        shiftLeft(src, dst, len, normalisation - headroom);
    else
        shiftRight(src, dst, len, headroom - normalisation);
    *scale = normalisation - headroom;
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsAutoScale_16s_u8(const int16_t *src, int16_t *dst, int len, int *scale) {
    return autoScale(src, dst, len, scale);
}

ryxStatus ryxsAutoScale_16s_I_u8(int16_t *srcDst, int len, int *scale) {
    return autoScale(srcDst, srcDst, len, scale);
}
