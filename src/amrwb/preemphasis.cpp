// SPDX-License-Identifier: BSD-2-Clause
// Pre-emphasis with the choice of the frame's scale, de-emphasis, scaling of vectors (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "common/checks.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int16_t halfTilt = 11141; // 0.68, Q14
constexpr int lookAhead = 12;
constexpr int mostDoublings = 8;

// sat16() in a chain of dependent steps where saturation is rare: a predicted branch leaves nothing to wait for.
int16_t rarelySat16(int32_t x) {
    const int16_t word = wrap16(x);
    if (word != x) [[unlikely]]
        return x < 0 ? min16 : max16;
    return word;
}

// Within 31 bits: 2 * 32768 * (16384 + 11141).
int32_t emphasized(int16_t x, int16_t previous) {
    return 2 * (x * 16384 - previous * halfTilt);
}

} // namespace

ryxStatus ryxsPreemphasizeAutoScale_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *memory, int16_t *scaling,
                                                 int16_t *change) {
    if (anyNull(src, dst, memory, scaling, change)) return ryxStsNullPtr;
    constexpr int len = frameLength + lookAhead;
    int32_t sums[len];
    int32_t largest = 0, smallest = 0;
    for (int i = 0; i < len; i++) {
        sums[i] = emphasized(src[i], i == 0 ? *memory : src[i - 1]);
        largest = std::max(largest, sums[i]);
        smallest = std::min(smallest, sums[i]);
    }
    const int16_t high = extract_h(std::max(largest, -smallest));
    const int candidate = high == 0 ? mostDoublings : std::clamp(norm_s(high) - 1, 0, mostDoublings);
    const int q = std::min({candidate, int{scaling[1]}, int{scaling[2]}});
    *change = static_cast<int16_t>(q - scaling[0]);
    scaling[0] = static_cast<int16_t>(q);
    scaling[2] = scaling[1];
    scaling[1] = static_cast<int16_t>(candidate);
    for (int i = 0; i < len; i++)
        dst[i] = round(L_shl(sums[i], q));
    *memory = src[frameLength - 1];
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
    int16_t previous = *memory;
    for (int i = 0; i < len; i++) {
        const int32_t input = src[i] & ~15;
        // Four times the input and the product fit 31 bits together where eight times the input fit 32; and then the sum
        // saturates where the recommendation's steps do.
        if (input < 1 << 28 && input >= -(1 << 28)) [[likely]]
            previous = rarelySat16((4 * input + previous * halfTilt + 0x2000) >> 14);
        else
            previous = round(L_shl(L_mac(L_shl(input, 3), previous, halfTilt), 1));
        dst[i] = previous;
    }
    *memory = previous;
    return ryxStsOk;
}

ryxStatus ryxsScale_AMRWB_16s_I_u8(int16_t *srcDst, int len, int exponent) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    scaleWords(srcDst, len, std::clamp(exponent, -17, 17));
    return ryxStsOk;
}
