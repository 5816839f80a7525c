// SPDX-License-Identifier: BSD-2-Clause
// Products by a constant, sat16((x*c + 2^(sf-1)) >> sf), which both processor variants compile. Everything here has
// internal linkage: a variant must not end up with the code of the other.
#pragma once

#include "common/checks.h"
#include "common/elementwise.h"

namespace ryxsc {

namespace {

// sf >= 17: the rounding constant leaves the lower half of the product alone, so the upper half is enough. It wraps as
// the whole does: 0x4000 + 0x4000 at sf = 31, and everything at sf = 32. Nothing is left to saturate.
class HighProduct {
public:
    explicit HighProduct(int sf)
        : rounding_(simd::words(extract_h(roundingConstant(sf)))), shift_(_mm_cvtsi32_si128(sf - 16)) {}

    // psraw takes every count above 15 for 15.
    simd::Vector operator()(simd::Vector x, simd::Vector y) const {
        return _mm_sra_epi16(_mm_add_epi16(_mm_mulhi_epi16(x, y), rounding_), shift_);
    }

private:
    simd::Vector rounding_, shift_;
};

// sf <= 16 and a constant factor: x * c + R is x * c + -1 * -R, a pair of products for pmaddwd, as -R fits 16 bits.
class ScaledByConstant {
public:
    ScaledByConstant(int16_t factor, int sf)
        : pair_(simd::wordPairs(factor, wrap16(-roundingConstant(sf)))), shift_(_mm_cvtsi32_si128(sf)) {}

    simd::Vector operator()(simd::Vector x) const {
        const simd::Vector minusOnes = simd::words(-1);
        return _mm_packs_epi32(scaled(_mm_unpacklo_epi16(x, minusOnes)), scaled(_mm_unpackhi_epi16(x, minusOnes)));
    }

private:
    simd::Vector scaled(simd::Vector pairs) const { return _mm_sra_epi32(_mm_madd_epi16(pairs, pair_), shift_); }

    simd::Vector pair_, shift_;
};

// With sf <= 15 and a constant that is below 1 in magnitude, or -1, the product is that of a constant in Q15: shifting
// both the product and the rounding constant to the left by 15 - sf changes nothing.
inline bool fitsQ15(int16_t factor, int sf) {
    return sf <= 15 && shl(factor, 15 - sf) == factor * (1 << (15 - sf));
}

// Only -1 needs the saturation of a product in Q15.
inline void multiplyQ15(const int16_t *src, int16_t factorQ15, int16_t *dst, int len) {
    const simd::Vector factors = simd::words(factorQ15);
    const auto product = [=](simd::Vector x) { return _mm_mulhrs_epi16(x, factors); };
    const auto saturated = [=](simd::Vector x) { return simd::roundedProductQ15(x, factors); };
    if (factorQ15 != min16)
        mapWords(dst, len, product, src);
    else
        mapWords(dst, len, saturated, src);
}

inline void multiplyByConstant(const int16_t *src, int16_t factor, int16_t *dst, int len, int sf) {
    if (fitsQ15(factor, sf)) return multiplyQ15(src, shl(factor, 15 - sf), dst, len);
    if (sf <= 16) return mapWords(dst, len, ScaledByConstant(factor, sf), src);
    const HighProduct highProduct(sf);
    const simd::Vector factors = simd::words(factor);
    const auto product = [=](simd::Vector x) { return highProduct(x, factors); };
    mapWords(dst, len, product, src);
}

inline ryxStatus multiplyByConstantChecked(const int16_t *src, int16_t factor, int16_t *dst, int len, int sf) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (sf < 0) return ryxStsBadScale;
    multiplyByConstant(src, factor, dst, len, sf);
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc
