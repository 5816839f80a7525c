// SPDX-License-Identifier: BSD-2-Clause
// Autocorrelation of GSM 06.10 with its scaling (clause 4.2.4).
#include "gsmfr/autocorrelation.h"

#include <algorithm>

#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "gsmfr/implementations.h"
#include "gsmfr/largest_magnitude.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int maxOrder = stages;
constexpr int wordsPerVector = 8;

int16_t largestMagnitudeOfAny(const int16_t *src, int len) {
    if (len >= wordsPerVector) return largestMagnitude(src, len);
    int16_t largest = 0;
    for (int i = 0; i < len; i++)
        largest = std::max(largest, abs_s(src[i]));
    return largest;
}

// 4 less the number of shifts that normalise the largest magnitude.
int scaleOf(int16_t largest) {
    return largest == 0 ? 0 : 4 - norm_s(largest);
}

// The samples scaled down, with zeros in front of them and behind.
struct Block {
    alignas(16) int16_t words[maxOrder + (largestBlock / wordsPerVector + 1) * wordsPerVector];

    Block(const int16_t *src, int len, int scale) {
        std::fill_n(words, maxOrder, int16_t{0});
        int16_t *const samples = words + maxOrder;
        const int16_t factor = static_cast<int16_t>(scale > 0 ? 16384 >> (scale - 1) : 0);
        if (scale > 0)
            mapWords(
                samples, len, [=](Vector x) { return _mm_mulhrs_epi16(x, simd::words(factor)); }, src);
        else
            std::copy_n(src, len, samples);
        std::fill_n(samples + len, wordsPerVector - len % wordsPerVector, int16_t{0});
    }
};

// Twice the sums of products. No sum leaves 32 bits: samples are 2048 at most.
template <int order> void correlate(const Block &block, int len, int32_t *acf) {
    constexpr int groups = order / 4 + 1;
    Vector sums[4 * groups] = {};
    for (int i = 0; i < len; i += wordsPerVector) {
        const int16_t *const at = block.words + maxOrder + i;
        const Vector samples = simd::loadAligned(at);
#pragma GCC unroll 9
        for (int lag = 0; lag <= order; lag++)
            sums[lag] = _mm_add_epi32(sums[lag], _mm_madd_epi16(samples, simd::load(at - lag)));
    }
    for (int k = 0; k < groups; k++) {
        const Vector four = simd::sumsOfDwords(sums + 4 * k);
        simd::store(acf + 4 * k, _mm_add_epi32(four, four));
    }
}

} // namespace

int gsmfr::scaledAutocorrelation(const int16_t *src, int len, int order, int32_t *acf) {
    const int scale = scaleOf(largestMagnitudeOfAny(src, len));
    const Block block(src, len, scale);
    int32_t all[12];
    if (order > 4)
        correlate<maxOrder>(block, len, all);
    else
        correlate<4>(block, len, all);
    std::copy_n(all, order + 1, acf);
    return scale;
}

ryxStatus ryxsAutoCorr_GSMFR_16s32s_I_u8(int16_t *srcDst, int len, int order, int32_t *acf, int16_t *scale) {
    if (anyNull(srcDst, acf, scale)) return ryxStsNullPtr;
    if (len < 1 || len > largestBlock || order < 1 || order > maxOrder) return ryxStsBadSize;
    *scale = static_cast<int16_t>(scaledAutocorrelation(srcDst, len, order, acf));
    if (*scale > 0) {
        const Vector factor = simd::words(static_cast<int16_t>(16384 >> (*scale - 1)));
        const Vector count = _mm_cvtsi32_si128(*scale);
        mapWords(
            srcDst, len, [=](Vector x) { return _mm_sll_epi16(_mm_mulhrs_epi16(x, factor), count); }, srcDst);
    }
    return ryxStsOk;
}
