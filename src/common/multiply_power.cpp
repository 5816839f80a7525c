// SPDX-License-Identifier: BSD-2-Clause
// Weighting by successive powers of a constant, as for the bandwidth expansion of LP coefficients.
//
// Every power is rounded before the next one is made of it, so each waits for the one before: that chain of products is
// what the time goes into, and the outputs are computed in its shade.
#include <cstdlib>
#include <utility>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/implementations.h"
#include "common/simd.h"

using namespace ryxsc;
using simd::Vector;

namespace {

// With sf 15, powers and outputs are low16((a*b + 16384) >> 15), without saturation: exactly pmulhrsw, for every a and b.
// A smaller sf with |base| < 2^sf is the same after a shift of one factor to the left by 15 - sf, which changes nothing in
// (a*b + 2^(sf-1)) >> sf: no power exceeds the base, and so nothing wraps or saturates.
void weightQ15(const int16_t *src, int16_t base, int16_t *dst, int len, int sf) {
    const Vector toQ15 = _mm_cvtsi32_si128(15 - sf);
    Vector power = _mm_cvtsi32_si128(base);
    const Vector factor = _mm_sll_epi16(power, toQ15);
    const auto next = [&] { return std::exchange(power, _mm_mulhrs_epi16(power, factor)); };
    const auto two = [&] {
        const Vector first = next();
        return _mm_unpacklo_epi16(first, next());
    };
    const auto four = [&] {
        const Vector first = two();
        return _mm_unpacklo_epi32(first, two());
    };
    int i = 1;
    for (; i <= len - 8; i += 8) { // whole vectors, which filters load without waiting
        const Vector first = four(), powers = _mm_unpacklo_epi64(first, four());
        simd::store(dst + i, _mm_mulhrs_epi16(simd::load(src + i), _mm_sll_epi16(powers, toQ15)));
    }
    for (; i < len; i++)
        simd::storeWord(dst + i, _mm_mulhrs_epi16(simd::loadWord(src + i), _mm_sll_epi16(next(), toQ15)));
}

// Outputs saturate, powers keep their low 16 bits: they leave 16 bits only with |base| > 2^sf.
void weightScaled(const int16_t *src, int16_t base, int16_t *dst, int len, int sf) {
    int16_t power = base;
    for (int i = 1; i < len; i++) {
        dst[i] = sat16(scaleDown(src[i] * power, sf));
        power = wrap16(scaleDown(power * base, sf));
    }
}

} // namespace

// The scale factor is tested before the length, unlike in most functions.
ryxStatus ryxsMulPowerC_NR_16s_Sfs_u8(const int16_t *src, int16_t base, int16_t *dst, int len, int sf) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (sf < 0) return ryxStsBadScale;
    if (len < 1) return ryxStsBadSize;
    dst[0] = src[0];
    if (sf == 15 || (sf < 15 && std::abs(base) < 1 << sf))
        weightQ15(src, base, dst, len, sf);
    else
        weightScaled(src, base, dst, len, sf);
    return ryxStsOk;
}
