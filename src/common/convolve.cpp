// SPDX-License-Identifier: BSD-2-Clause
// Convolution and correlation of two vectors of one length: a subframe filtered by an impulse response, forwards and
// backwards.
#include "common/checks.h"
#include "common/convolution.h"
#include "common/implementations.h"

using namespace ryxsc;

namespace {

constexpr int longest = 1024;

// sums[n] = sum over i = 0 .. n of x[i] * h[n - i], modulo 2^32, for lengths that the kernels do not have: the correlations
// of the reversed response with x behind zeros, 32 at a time.
void convolveBlocks(const int16_t *x, const int16_t *h, int len, int32_t *sums) {
    constexpr int block = 32;
    int16_t reversed[longest], padded[block + longest];
    std::reverse_copy(h, h + len, reversed);
    std::fill_n(padded, block, int16_t{0});
    std::copy_n(x, len, padded + block);
    for (int n = 0; n < len; n += block) {
        const int count = std::min(block, len - n), taps = n + count;
        wrappedCorrelations(reversed + len - taps, padded + block - count + 1, taps, count, sums + n);
    }
}

// y[n] = sat16((S[n] + rounding) >> down), with the sums S of undoubled products. False, and nothing done, where the sums
// of doubled ones might saturate.
template <bool backwards>
bool convolveFitting(const int16_t *x, const int16_t *h, int16_t *y, int len, int32_t rounding, int down) {
    const simd::Vector half = simd::dwords(rounding);
    const __m128i count = _mm_cvtsi32_si128(down);
    const auto scaled = [=](simd::Vector sum) { return _mm_sra_epi32(_mm_add_epi32(sum, half), count); };
    const auto all = [=]<int length>() {
        if (!productsFit(x, h, length)) return false;
        convolveScaled<length, backwards>(x, h, y, scaled);
        return true;
    };
    switch (len) {
    case 40:
        return all.template operator()<40>();
    case 60:
        return all.template operator()<60>();
    case 64:
        return all.template operator()<64>();
    case 80:
        return all.template operator()<80>();
    }
    if (!productsFit(x, h, len)) return false;
    int32_t sums[longest];
    int16_t reversed[longest];
    if (backwards) std::reverse_copy(x, x + len, reversed);
    convolveBlocks(backwards ? reversed : x, h, len, sums);
    if (backwards) std::reverse(sums, sums + len);
    for (int n = 0; n < len; n++)
        y[n] = sat16((sums[n] + rounding) >> down);
    return true;
}

} // namespace

ryxStatus ryxsConvPartial_16s_Sfs_u8(const int16_t *src1, const int16_t *src2, int16_t *dst, int len, int sf) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (sf < 0) return ryxStsBadArg;
    if (len < 1 || len > longest) return ryxStsBadSize;
    if (convolveFitting<false>(src1, src2, dst, len, 0, std::min(sf, 31))) return ryxStsOk;
    int32_t sums[longest];
    for (int n = 0; n < len; n++) {
        sums[n] = 0;
        for (int i = 0; i <= n; i++)
            sums[n] = L_mac(sums[n], src1[i], src2[n - i]);
    }
    for (int n = 0; n < len; n++)
        dst[n] = sat16(sums[n] >> (std::min(sf, 30) + 1));
    return ryxStsOk;
}

ryxStatus ryxsCrossCorr_NR_16s_u8(const int16_t *src1, const int16_t *src2, int16_t *dst, int len) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1 || len > longest) return ryxStsBadSize;
    if (convolveFitting<true>(src1, src2, dst, len, 1 << 14, 15)) return ryxStsOk;
    int16_t rounded[longest];
    for (int n = 0; n < len; n++)
        rounded[n] = round(macInOrder(src1 + n, src2, len - n).value);
    std::copy_n(rounded, len, dst);
    return ryxStsOk;
}
