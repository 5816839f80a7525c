// SPDX-License-Identifier: BSD-2-Clause
// LP residual in 16-bit precision: every product is reduced to 16 bits, and the sums saturate to 16 bits.
#include "common/checks.h"
#include "common/elementwise.h"
#include "common/implementations.h"

using namespace ryxsc;
using simd::Vector;

namespace {

constexpr int highestOrder = 20;

// sat16((a * x) >> sf) for eight x; psrad takes every count above 31 for 31.
class Scaled {
public:
    Scaled(int16_t a, __m128i sf) : a_(simd::words(a)), sf_(sf) {}

    Vector operator()(Vector x) const {
        const simd::Dwords product = simd::products(x, a_);
        return _mm_packs_epi32(_mm_sra_epi32(product.front, sf_), _mm_sra_epi32(product.back, sf_));
    }

private:
    Vector a_;
    __m128i sf_;
};

} // namespace

ryxStatus ryxsResidualFilter_Low_16s_Sfs_u8(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                            int sf) {
    if (anyNull(lpc, src, dst)) return ryxStsNullPtr;
    if (len < 1 || order < 1) return ryxStsBadSize;
    if (order > highestOrder) return ryxStsOutOfRange;
    if (sf < 0) return ryxStsBadScale;
    const __m128i shift = _mm_cvtsi32_si128(sf);
    const auto filtered = [=](const int16_t *x) {
        Vector sum = Scaled(lpc[0], shift)(simd::load(x));
        for (int k = 1; k <= order; k++)
            sum = _mm_adds_epi16(sum, Scaled(lpc[k], shift)(simd::load(x - k)));
        return sum;
    };
    int n = 0;
    for (; n <= len - 8; n += 8)
        simd::store(dst + n, filtered(src + n));
    for (; n < len; n++) {
        int16_t sum = sat16((lpc[0] * src[n]) >> std::min(sf, 31));
        for (int k = 1; k <= order; k++)
            sum = add(sum, sat16((lpc[k] * src[n - k]) >> std::min(sf, 31)));
        dst[n] = sum;
    }
    return ryxStsOk;
}
