// SPDX-License-Identifier: BSD-2-Clause
// Pre-emphasis and pitch sharpening of a code vector, or of the response in their stead (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

// x[n] = round(x[n] - factor * x[n - 1]), x[-1] = 0, from the end to the front.
void preemphasize(int16_t *x, int16_t factor) {
    for (int i = subframeLength - 8; i > 0; i -= 8)
        simd::store(x + i, addProduct(simd::load(x + i), simd::load(x + i - 1), static_cast<int16_t>(-factor)));
    const Vector first = simd::load(x);
    simd::store(x, addProduct(first, _mm_slli_si128(first, 2), static_cast<int16_t>(-factor)));
}

// x[n] = round(x[n] + 0.85 * x[n - lag]) in rising order, so that a sample may build on one that is already sharpened.
void sharpen(int16_t *x, int lag) {
    constexpr int16_t factor = 27853;
    int i = lag;
    if (lag >= 8)
        for (; i + 8 <= subframeLength; i += 8)
            simd::store(x + i, addProduct(simd::load(x + i), simd::load(x + i - lag), factor));
    for (; i < subframeLength; i++)
        x[i] = round(L_mac(x[i] * 65536, x[i - lag], factor));
}

} // namespace

ryxStatus ryxsPitchSharpen_AMRWB_16s_I_u8(int16_t *srcDst, int tilt, int lag) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (tilt < -32767 || tilt > 32767 || lag < 1) return ryxStsOutOfRange;
    preemphasize(srcDst, static_cast<int16_t>(tilt));
    sharpen(srcDst, lag);
    return ryxStsOk;
}
