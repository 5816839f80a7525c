// SPDX-License-Identifier: BSD-2-Clause
// Log-area ratios of GSM 06.10: from and to reflection coefficients, quantiser, decoder, interpolation (clauses 4.2.6 to
// 4.2.9).
#include "common/checks.h"
#include "common/elementwise.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

// Applies a curve for magnitudes 0 .. 32767 with the sign of x.
template <class Curve> Vector oddly(Vector x, Curve curve) {
    const Vector sign = simd::signMask(x);
    return simd::negateSaturatedWhere(sign, curve(simd::negateSaturatedWhere(sign, x)));
}

Vector below(Vector x, int16_t limit) {
    return _mm_cmpgt_epi16(simd::words(limit), x);
}

Vector toLar(Vector magnitude) {
    const Vector low = _mm_srli_epi16(magnitude, 1);
    const Vector middle = _mm_sub_epi16(magnitude, simd::words(11059));
    const Vector high = _mm_slli_epi16(_mm_sub_epi16(magnitude, simd::words(26112)), 2);
    return simd::select(below(magnitude, 22118), low, simd::select(below(magnitude, 31130), middle, high));
}

Vector toReflection(Vector magnitude) {
    const Vector low = _mm_slli_epi16(magnitude, 1);
    const Vector middle = _mm_add_epi16(magnitude, simd::words(11059));
    const Vector high = _mm_adds_epi16(_mm_srli_epi16(magnitude, 2), simd::words(26112));
    return simd::select(below(magnitude, 11059), low, simd::select(below(magnitude, 20070), middle, high));
}

} // namespace

ryxStatus ryxsReflectionToLAR_GSMFR_16s_u8(const int16_t *reflection, int16_t *lar, int len) {
    if (anyNull(reflection, lar)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    mapWords(
        lar, len, [](Vector r) { return oddly(r, toLar); }, reflection);
    return ryxStsOk;
}

ryxStatus ryxsLARToReflection_GSMFR_16s_u8(const int16_t *lar, int16_t *reflection, int len) {
    if (anyNull(lar, reflection)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    mapWords(
        reflection, len, [](Vector l) { return oddly(l, toReflection); }, lar);
    return ryxStsOk;
}

ryxStatus ryxsLARQuant_GSMFR_16s_u8(const int16_t *lar, int16_t *codes) {
    if (anyNull(lar, codes)) return ryxStsNullPtr;
    const Vector lowest = simd::loadAligned(larLowest), highest = simd::loadAligned(larHighest);
    Vector level = simd::Q15Factor(simd::loadAligned(larSlope)) * simd::load(lar);
    level = _mm_adds_epi16(_mm_adds_epi16(level, simd::loadAligned(larOffset)), simd::words(256));
    level = simd::clampWords(_mm_srai_epi16(level, 9), lowest, highest);
    simd::store(codes, _mm_sub_epi16(level, lowest));
    return ryxStsOk;
}

ryxStatus ryxsLARDecode_GSMFR_16s_u8(const int16_t *codes, int16_t *lar) {
    if (anyNull(codes, lar)) return ryxStsNullPtr;
    const Vector code = simd::load(codes);
    const Vector lowest = simd::loadAligned(larLowest), highest = simd::loadAligned(larHighest);
    const Vector outside = _mm_or_si128(simd::signMask(code), _mm_cmpgt_epi16(code, _mm_sub_epi16(highest, lowest)));
    if (_mm_movemask_epi8(outside) != 0) return ryxStsBadIndex;
    const Vector offset = simd::loadAligned(larOffset);
    const Vector level = _mm_slli_epi16(_mm_add_epi16(code, lowest), 10);
    const Vector half =
        _mm_mulhrs_epi16(simd::loadAligned(larInverseSlope), _mm_subs_epi16(level, _mm_add_epi16(offset, offset)));
    simd::store(lar, _mm_adds_epi16(half, half));
    return ryxStsOk;
}

ryxStatus ryxsLARInterpolate_GSMFR_16s_u8(const int16_t *previous, const int16_t *current, int16_t *dst) {
    if (anyNull(previous, current, dst)) return ryxStsNullPtr;
    const Vector old = simd::load(previous), next = simd::load(current);
    const Vector quarters = _mm_adds_epi16(_mm_srai_epi16(old, 2), _mm_srai_epi16(next, 2));
    const Vector oldHalf = _mm_srai_epi16(old, 1), nextHalf = _mm_srai_epi16(next, 1);
    simd::store(dst, _mm_adds_epi16(quarters, oldHalf));
    simd::store(dst + stages, _mm_adds_epi16(oldHalf, nextHalf));
    simd::store(dst + 2 * stages, _mm_adds_epi16(quarters, nextHalf));
    simd::store(dst + 3 * stages, next);
    return ryxStsOk;
}
