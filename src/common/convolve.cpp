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

void convolveWrapped(const int16_t *x, const int16_t *h, int len, int32_t *sums) {
    switch (len) {
    case 40:
        return wrappedConvolution<40>(x, h, sums);
    case 60:
        return wrappedConvolution<60>(x, h, sums);
    case 64:
        return wrappedConvolution<64>(x, h, sums);
    case 80:
        return wrappedConvolution<80>(x, h, sums);
    default:
        return convolveBlocks(x, h, len, sums);
    }
}

int32_t doubled(int32_t sum) {
    return static_cast<int32_t>(static_cast<uint32_t>(sum) << 1);
}

} // namespace

ryxStatus ryxsConvPartial_16s_Sfs_u8(const int16_t *src1, const int16_t *src2, int16_t *dst, int len, int sf) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (sf < 0) return ryxStsBadArg;
    if (len < 1 || len > longest) return ryxStsBadSize;
    alignas(16) int32_t sums[longest];
    if (fitsSums(energy(src1, len), energy(src2, len))) {
        convolveWrapped(src1, src2, len, sums);
        for (int n = 0; n < len; n++)
            sums[n] = doubled(sums[n]);
    } else {
        for (int n = 0; n < len; n++) {
            sums[n] = 0;
            for (int i = 0; i <= n; i++)
                sums[n] = L_mac(sums[n], src1[i], src2[n - i]);
        }
    }
    const int down = std::min(sf, 30) + 1;
    for (int n = 0; n < len; n++)
        dst[n] = sat16(sums[n] >> down);
    return ryxStsOk;
}

ryxStatus ryxsCrossCorr_NR_16s_u8(const int16_t *src1, const int16_t *src2, int16_t *dst, int len) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1 || len > longest) return ryxStsBadSize;
    alignas(16) int32_t sums[longest];
    if (fitsSums(energy(src1, len), energy(src2, len))) { // backwards it is a convolution
        int16_t reversed[longest];
        std::reverse_copy(src1, src1 + len, reversed);
        convolveWrapped(reversed, src2, len, sums);
        std::reverse(sums, sums + len);
        for (int n = 0; n < len; n++)
            sums[n] = doubled(sums[n]);
    } else {
        for (int n = 0; n < len; n++)
            sums[n] = macInOrder(src1 + n, src2, len - n).value;
    }
    for (int n = 0; n < len; n++)
        dst[n] = round(sums[n]);
    return ryxStsOk;
}
