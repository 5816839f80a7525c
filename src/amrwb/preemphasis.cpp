// SPDX-License-Identifier: BSD-2-Clause
// Pre-emphasis with the choice of the frame's scale, de-emphasis, scaling of vectors (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int16_t halfTilt = 11141; // 0.68, Q14
constexpr int lookAhead = 12;
constexpr int mostDoublings = 8;

// 2^14 x[n] - 0.68 * 2^14 x[n - 1] for four n: within 30 bits, 32768 * (16384 + 11141).
Vector emphasized(const int16_t *x) {
    const Vector factors = simd::dwords(static_cast<int32_t>(16384u << 16 | static_cast<uint16_t>(-halfTilt)));
    return _mm_madd_epi16(_mm_unpacklo_epi16(simd::load64(x - 1), simd::load64(x)), factors);
}

} // namespace

ryxStatus ryxsPreemphasizeAutoScale_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *memory, int16_t *scaling,
                                                 int16_t *change) {
    if (anyNull(src, dst, memory, scaling, change)) return ryxStsNullPtr;
    constexpr int len = frameLength + lookAhead;
    int16_t buffer[1 + len];
    buffer[0] = *memory;
    std::copy_n(src, len, buffer + 1);
    alignas(16) int32_t sums[len];
    Vector bits = _mm_setzero_si128(); // of all magnitudes: the highest is that of the largest one
    for (int i = 0; i < len; i += 4) {
        const Vector sum = emphasized(buffer + 1 + i);
        simd::store(sums + i, sum);
        bits = _mm_or_si128(bits, _mm_abs_epi32(sum));
    }
    bits = _mm_or_si128(bits, _mm_unpackhi_epi64(bits, bits));
    bits = _mm_or_si128(bits, _mm_shuffle_epi32(bits, _MM_SHUFFLE(1, 1, 1, 1)));
    const int16_t high = extract_h(2 * _mm_cvtsi128_si32(bits)); // of the doubled sums of the recommendation
    const int candidate = high == 0 ? mostDoublings : std::clamp(norm_s(high) - 1, 0, mostDoublings);
    // Scales of no frame count as the nearest that a frame has.
    const int q = std::clamp(std::min({candidate, int{scaling[1]}, int{scaling[2]}}), 0, mostDoublings);
    *change = wrap16(q - scaling[0]);
    scaling[0] = static_cast<int16_t>(q);
    scaling[2] = scaling[1];
    scaling[1] = static_cast<int16_t>(candidate);
    *memory = src[frameLength - 1];
    // The scale leaves two bits to all sums, or is 0: nothing saturates.
    const Vector down = _mm_cvtsi32_si128(15 - q), half = simd::dwords(1 << (14 - q));
    for (int i = 0; i < len; i += 4) {
        const Vector sum = _mm_sra_epi32(_mm_add_epi32(simd::loadAligned(sums + i), half), down);
        simd::store64(dst + i, simd::saturateDwords(sum));
    }
    return ryxStsOk;
}

ryxStatus ryxsDeemphasizeHalf_AMRWB_16s_I_u8(int16_t *srcDst, int len, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    deemphasizeHalved(srcDst, len, *memory);
    *memory = srcDst[len - 1];
    return ryxStsOk;
}

// The input has 16 bits in front of the binary point and 12 behind it, scaled down by 16.
ryxStatus ryxsDeemphasize_AMRWB_32s16s_u8(const int32_t *src, int16_t *dst, int len, int16_t *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int previous = *memory;
    for (int i = 0; i < len; i++) {
        const int32_t input = src[i] & ~15;
        // Four times the input and the product fit 31 bits together where eight times the input fit 32; and then the sum
        // saturates where the recommendation's steps do. Both exceptions are branches, so that nothing is waited for.
        int sum;
        if (input < 1 << 28 && input >= -(1 << 28)) [[likely]] {
            sum = (4 * input + 0x2000 + previous * halfTilt) >> 14;
            if (sum != wrap16(sum)) [[unlikely]]
                sum = sat16(sum);
        } else {
            sum = round(L_shl(L_mac(L_shl(input, 3), static_cast<int16_t>(previous), halfTilt), 1));
        }
        previous = sum;
        dst[i] = static_cast<int16_t>(sum);
    }
    *memory = static_cast<int16_t>(previous);
    return ryxStsOk;
}

ryxStatus ryxsScale_AMRWB_16s_I_u8(int16_t *srcDst, int len, int exponent) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    scaleWords(srcDst, len, std::clamp(exponent, -17, 17));
    return ryxStsOk;
}
