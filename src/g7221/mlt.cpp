// SPDX-License-Identifier: BSD-2-Clause
// Modulated lapped transforms of ITU-T G.722.1: windows and overlap around the DCTs, and the common scale of a frame.
#include <algorithm>
#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/dct.h"
#include "g7221/implementations.h"
#include "g7221/transform_tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;
using simd::Vector;

namespace {

constexpr int lanes = 8;

// round(2 * (x * u + y * v)) of words; the sums must stay below 2^30.
Vector roundedSums(Vector x, Vector u, Vector y, Vector v) {
    const simd::Dwords sums = simd::sumsOfTwoProducts(x, u, y, v);
    const Vector half = simd::dwords(0x4000);
    return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(sums.front, half), 15),
                           _mm_srai_epi32(_mm_add_epi32(sums.back, half), 15));
}
Vector negated(Vector x) {
    return _mm_sub_epi16(_mm_setzero_si128(), x);
}

// Peak and sum of magnitudes of the windowed frame, for the choice of its scale.
struct Level {
    Vector peak = _mm_setzero_si128();
    Vector sum = _mm_setzero_si128(); // dwords

    void add(Vector x) {
        const Vector magnitude = _mm_abs_epi16(x);
        peak = _mm_max_epi16(peak, magnitude);
        sum = _mm_add_epi32(sum, _mm_madd_epi16(magnitude, simd::words(1)));
    }

    int magShift() const {
        const int highest = static_cast<uint16_t>(simd::largestWord(peak));
        int shift = 0;
        if (highest < 14000) {
            const int steps = (19174 * (highest < 438 ? highest + 1 : highest)) >> 20;
            shift = steps == 0 ? 9 : 8 - floorLog2(static_cast<uint32_t>(steps));
        }
        return highest < simd::sumOfDwords(sum) >> 7 ? shift - 1 : shift;
    }
};

// The previous frame folds to the first half of the transform's input, the new one to the second. The window's values at n
// and len - 1 - n add up to 25904 at most, so results stay within that and nothing saturates.
Level foldFrames(const int16_t *previous, const int16_t *current, const int16_t *window, int len, int16_t *folded) {
    const int half = len / 2;
    Level level;
    for (int n = 0; n < half; n += lanes) {
        const Vector early = simd::reverseWords(simd::load(window + half - lanes - n));
        const Vector late = simd::load(window + half + n);
        const Vector v = roundedSums(simd::reverseWords(simd::load(previous + half - lanes - n)), early,
                                     simd::load(previous + half + n), late);
        level.add(v);
        simd::store(folded + n, v);
    }
    for (int n = 0; n < half; n += lanes) {
        const Vector early = simd::load(window + n);
        const Vector late = simd::reverseWords(simd::load(window + len - lanes - n));
        const Vector v = roundedSums(simd::load(current + n), late,
                                     simd::reverseWords(simd::load(current + len - lanes - n)), negated(early));
        level.add(v);
        simd::store(folded + half + n, v);
    }
    return level;
}

// Multiplies by 2^shift; the caller has seen to it that nothing overflows.
void scaleUp(int16_t *x, int len, int shift) {
    const Vector left = _mm_cvtsi32_si128(std::max(shift, 0)), right = _mm_cvtsi32_si128(std::max(-shift, 0));
    for (int n = 0; n < len; n += lanes)
        simd::store(x + n, _mm_sra_epi16(_mm_sll_epi16(simd::load(x + n), left), right));
}

// Divides by 2^shift; -1 doubles, with saturation.
void scaleDownSaturated(int16_t *x, int len, int shift) {
    const Vector right = _mm_cvtsi32_si128(std::max(shift, 0));
    for (int n = 0; n < len; n += lanes) {
        const Vector v = simd::load(x + n);
        simd::store(x + n, shift < 0 ? _mm_adds_epi16(v, v) : _mm_sra_epi16(v, right));
    }
}

// sat16 of round(4 * sum of the two products 2 * x * u) with 32-bit saturation: (x * u + y * v + 2^12) >> 13 in 32 bits.
Vector overlapSums(Vector x, Vector u, Vector y, Vector v) {
    const simd::Dwords sums = simd::sumsOfTwoProducts(x, u, y, v);
    const Vector half = simd::dwords(0x1000);
    return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(sums.front, half), 13),
                           _mm_srai_epi32(_mm_add_epi32(sums.back, half), 13));
}

void overlapAdd(const int16_t *y, const int16_t *overlap, const int16_t *window, int len, int16_t *dst) {
    const int half = len / 2;
    for (int n = 0; n < half; n += lanes)
        simd::store(dst + n,
                    overlapSums(simd::reverseWords(simd::load(y + half - lanes - n)), simd::load(window + n),
                                simd::load(overlap + n), simd::reverseWords(simd::load(window + len - lanes - n))));
    for (int n = 0; n < half; n += lanes)
        simd::store(dst + half + n, overlapSums(simd::load(y + n), simd::load(window + half + n),
                                                simd::reverseWords(simd::load(overlap + half - lanes - n)),
                                                negated(simd::reverseWords(simd::load(window + half - lanes - n)))));
}

} // namespace

ryxStatus ryxsMLTFwd_G7221_16s_u8(const int16_t *src, int len, int16_t *dst, int *magShift, int16_t *history) {
    if (anyNull(src, dst, magShift, history)) return ryxStsNullPtr;
    if (!isFrameLength(len)) return ryxStsBadSize;
    const int16_t *window = len == shortFrame ? analysisWindow320.data() : analysisWindow640.data();
    int16_t folded[longFrame];
    const int shift = foldFrames(history, src, window, len, folded).magShift();
    std::memcpy(history, src, static_cast<size_t>(len) * sizeof *src);
    scaleUp(folded, len, shift);
    dctAnalysis(folded, dst, len);
    *magShift = shift;
    return ryxStsOk;
}

ryxStatus ryxsMLTInv_G7221_16s_u8(const int16_t *src, int len, int magShift, int16_t *dst, int16_t *overlap) {
    if (anyNull(src, dst, overlap)) return ryxStsNullPtr;
    if (!isFrameLength(len)) return ryxStsBadSize;
    if (magShift < -1 || magShift > 15) return ryxStsOutOfRange;
    const int16_t *window = len == shortFrame ? synthesisWindow320.data() : synthesisWindow640.data();
    int16_t y[longFrame];
    dctSynthesis(src, y, len);
    scaleDownSaturated(y, len, magShift);
    overlapAdd(y, overlap, window, len, dst);
    std::memcpy(overlap, y + len / 2, static_cast<size_t>(len / 2) * sizeof *y);
    return ryxStsOk;
}
