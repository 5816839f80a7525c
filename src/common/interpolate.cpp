// SPDX-License-Identifier: BSD-2-Clause
// Weighted sums of two vectors. Three forms differ in where they shift and round; all sums wrap at 32 bits before the
// result is saturated to 16.
#include "common/checks.h"
#include "common/elementwise.h"
#include "common/implementations.h"

using namespace ryxsc;
using simd::Dwords;
using simd::Vector;

namespace {

struct Source {
    const int16_t *words;
    int16_t weight;
};

// (x * gain) >> 16 for a gain of -32768 .. 65536: what the low word of the gain gives, and once more x where that word
// has lost 65536. The result fits 16 bits, so it does not matter that the parts may wrap.
class Gain {
public:
    explicit Gain(int32_t gain) : low_(simd::words(wrap16(gain))), carry_(simd::words(gain > max16 ? -1 : 0)) {}

    static bool fits(int16_t weight, int sf) {
        if (sf > 16) return false;
        const int64_t gain = weight * (int64_t{1} << (16 - sf));
        return gain >= min16 && gain <= 65536;
    }

    Vector operator()(Vector x) const { return _mm_add_epi16(_mm_mulhi_epi16(x, low_), _mm_and_si128(x, carry_)); }

private:
    Vector low_, carry_;
};

// Products of the even and of the odd elements by a weight.
class SplitProducts {
public:
    explicit SplitProducts(int16_t weight)
        : even_(simd::dwords(static_cast<uint16_t>(weight))), odd_(simd::dwords(weight * 65536)) {}

    Dwords operator()(Vector x) const { return {_mm_madd_epi16(x, even_), _mm_madd_epi16(x, odd_)}; }

private:
    Vector even_, odd_;
};

// Interleaves what SplitProducts has split, saturated.
Vector joinSaturated(Vector even, Vector odd) {
    const Vector order = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
    return _mm_shuffle_epi8(_mm_packs_epi32(even, odd), order);
}

// sat16(((x * u) >> sf) + ((y * v) >> sf))
void addTruncated(Source a, Source b, int16_t *dst, int len, int sf) {
    const SplitProducts productsA(a.weight), productsB(b.weight);
    const Vector shift = _mm_cvtsi32_si128(sf); // psrad takes every count above 31 for 31
    const auto sum = [=](Vector x, Vector y) {
        return _mm_add_epi32(_mm_sra_epi32(x, shift), _mm_sra_epi32(y, shift));
    };
    const auto kernel = [=](Vector x, Vector y) {
        const Dwords p = productsA(x), q = productsB(y);
        return joinSaturated(sum(p.front, q.front), sum(p.back, q.back));
    };
    mapWords(dst, len, kernel, a.words, b.words);
}

// The same where both products fit 16 bits after the shift.
void addTruncatedInWords(Source a, Source b, int16_t *dst, int len, int sf) {
    const Gain gainA(a.weight * (1 << (16 - sf))), gainB(b.weight * (1 << (16 - sf)));
    const auto kernel = [=](Vector x, Vector y) { return _mm_adds_epi16(gainA(x), gainB(y)); };
    mapWords(dst, len, kernel, a.words, b.words);
}

// sat16((x * u + y * v + 2^(sf-1)) >> sf)
void addRounded(Source a, Source b, int16_t *dst, int len, simd::ScaleDown scaleDown) {
    const Vector weightA = simd::words(a.weight), weightB = simd::words(b.weight);
    const auto kernel = [=](Vector x, Vector y) { return scaleDown(simd::sumsOfTwoProducts(x, weightA, y, weightB)); };
    mapWords(dst, len, kernel, a.words, b.words);
}

// The same with a weight of 32 bits for a; of the product by its upper word only the low word is left in the sum.
void addRoundedWide(const int16_t *a, int32_t wideWeight, Source b, int16_t *dst, int len, simd::ScaleDown scaleDown) {
    const int16_t low = wrap16(wideWeight);
    const Vector lowA = simd::words(low), highA = simd::words(extract_h(wrapSub32(wideWeight, low)));
    const Vector weightB = simd::words(b.weight);
    const auto kernel = [=](Vector x, Vector y) {
        const Dwords sums = simd::sumsOfTwoProducts(x, lowA, y, weightB);
        const Vector upper = _mm_mullo_epi16(x, highA);
        const Vector zero = _mm_setzero_si128();
        return scaleDown({_mm_add_epi32(sums.front, _mm_unpacklo_epi16(zero, upper)),
                          _mm_add_epi32(sums.back, _mm_unpackhi_epi16(zero, upper))});
    };
    mapWords(dst, len, kernel, a, b.words);
}

// a is the source with the larger scale. Its products are shifted to the other's scale, which its weight can take over
// while it fits.
void addScaled(Source a, int scaleA, Source b, int scaleB, int16_t *dst, int len) {
    // A scale above 16 asks for a shift to the left in the end; what it gives is the sign of the sum.
    const int sf = 16 - scaleB;
    const simd::ScaleDown scaleDown(roundingConstant(sf), sf < 0 ? 31 : sf);
    const int difference = scaleA - scaleB;
    const int32_t wideWeight =
        difference < 32 ? static_cast<int32_t>(static_cast<uint32_t>(a.weight) << difference) : 0;
    if (wideWeight == wrap16(wideWeight))
        addRounded({a.words, wrap16(wideWeight)}, b, dst, len, scaleDown);
    else
        addRoundedWide(a.words, wideWeight, b, dst, len, scaleDown);
}

} // namespace

ryxStatus ryxsInterpolateC_G729_16s_Sfs_u8(const int16_t *src1, int16_t weight1, const int16_t *src2, int16_t weight2,
                                           int16_t *dst, int len, int sf) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (sf < 0) return ryxStsBadScale;
    if (len < 1) return ryxStsBadSize;
    if (Gain::fits(weight1, sf) && Gain::fits(weight2, sf))
        addTruncatedInWords({src1, weight1}, {src2, weight2}, dst, len, sf);
    else
        addTruncated({src1, weight1}, {src2, weight2}, dst, len, sf);
    return ryxStsOk;
}

ryxStatus ryxsInterpolateC_NR_G729_16s_Sfs_u8(const int16_t *src1, int16_t weight1, const int16_t *src2,
                                              int16_t weight2, int16_t *dst, int len, int sf) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (sf < 0) return ryxStsBadScale;
    if (len < 1) return ryxStsBadSize;
    addRounded({src1, weight1}, {src2, weight2}, dst, len, simd::ScaleDown(sf));
    return ryxStsOk;
}

ryxStatus ryxsInterpolateC_NR_16s_u8(const int16_t *src1, int16_t weight1, int scale1, const int16_t *src2,
                                     int16_t weight2, int scale2, int16_t *dst, int len) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (scale1 < 0 || scale2 < 0) return ryxStsBadScale;
    if (scale1 > scale2)
        addScaled({src1, weight1}, scale1, {src2, weight2}, scale2, dst, len);
    else
        addScaled({src2, weight2}, scale2, {src1, weight1}, scale1, dst, len);
    return ryxStsOk;
}

// Four at a time; as with the words, the last step is computed first, so the destination may be either source.
ryxStatus ryxsInterpolateC_G729_32f_u8(const float *src1, float weight1, const float *src2, float weight2, float *dst,
                                       int len) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const __m128 weights1 = _mm_set1_ps(weight1), weights2 = _mm_set1_ps(weight2);
    const auto sum = [=](int i) {
        return _mm_add_ps(_mm_mul_ps(weights1, _mm_loadu_ps(src1 + i)), _mm_mul_ps(weights2, _mm_loadu_ps(src2 + i)));
    };
    const int last = len - 4;
    if (last < 0) {
        for (int i = 0; i < len; i++)
            dst[i] = weight1 * src1[i] + weight2 * src2[i];
        return ryxStsOk;
    }
    const __m128 ending = sum(last);
#pragma GCC unroll 2
    for (int i = 0; i < last; i += 4)
        _mm_storeu_ps(dst + i, sum(i));
    _mm_storeu_ps(dst + last, ending);
    return ryxStsOk;
}
