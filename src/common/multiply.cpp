// SPDX-License-Identifier: BSD-2-Clause
// Element-wise products of vectors, and of a vector by a constant, with rounding.
#include "common/multiply.inl"
#include "common/implementations.h"

using namespace ryxsc;
using simd::Vector;

namespace {

ryxStatus multiply(const int16_t *src1, const int16_t *src2, int16_t *dst, int len, int sf) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (sf < 0) return ryxStsBadScale;
    const auto productQ15 = [](Vector x, Vector y) { return simd::roundedProductQ15(x, y); };
    const simd::ScaleDown scaleDown(sf);
    const auto product = [=](Vector x, Vector y) { return scaleDown(simd::products(x, y)); };
    if (sf == 15)
        mapWords(dst, len, productQ15, src1, src2);
    else if (sf <= 16)
        mapWords(dst, len, product, src1, src2);
    else
        mapWords(dst, len, HighProduct(sf), src1, src2);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsMul_NR_16s_Sfs_u8(const int16_t *src1, const int16_t *src2, int16_t *dst, int len, int sf) {
    return multiply(src1, src2, dst, len, sf);
}

ryxStatus ryxsMul_NR_16s_ISfs_u8(const int16_t *src, int16_t *srcDst, int len, int sf) {
    return multiply(src, srcDst, srcDst, len, sf);
}

ryxStatus ryxsMulC_NR_16s_Sfs_u8(const int16_t *src, int16_t factor, int16_t *dst, int len, int sf) {
    return multiplyByConstantChecked(src, factor, dst, len, sf);
}

ryxStatus ryxsMulC_NR_16s_ISfs_u8(int16_t factor, int16_t *srcDst, int len, int sf) {
    return multiplyByConstantChecked(srcDst, factor, srcDst, len, sf);
}
