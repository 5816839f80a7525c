// SPDX-License-Identifier: BSD-2-Clause
// RPE section of GSM 06.10: weighting filter (clause 4.2.13) and inverse APCM quantisation (clause 4.2.16).
#include <algorithm>

#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int reach = weightingTaps / 2; // neighbours on either side
constexpr int outputsPerStep = 8;

// Outputs k, k + 2, k + 4 and k + 6, before the shift; e points to sample k - reach. Five pairs of taps cover all that
// are not 0. No sum leaves 32 bits, since the magnitudes of the taps add up to 24798.
Vector everySecondOutput(const int16_t *e) {
    const auto pair = [e](int tap) {
        const auto first = static_cast<uint16_t>(weightingFilter[tap]);
        const int32_t both = static_cast<int32_t>(weightingFilter[tap + 1] * 65536 + first);
        return _mm_madd_epi16(simd::load(e + tap), simd::dwords(both));
    };
    const Vector outer = _mm_add_epi32(pair(0), pair(9));
    const Vector inner = _mm_add_epi32(pair(3), _mm_add_epi32(pair(5), pair(7)));
    return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(outer, inner), simd::dwords(4096)), 13);
}

void weigh(const int16_t *e, int16_t *dst) {
    const Vector even = everySecondOutput(e);
    const Vector odd = everySecondOutput(e + 1);
    simd::store(dst, _mm_packs_epi32(_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd)));
}

} // namespace

ryxStatus ryxsWeightingFilter_GSMFR_16s_u8(const int16_t *src, int16_t *dst, int len) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const int16_t *const first = src - reach;
    if (len < outputsPerStep) {
        int16_t samples[outputsPerStep + 2 * reach] = {}, outputs[outputsPerStep];
        std::copy_n(first, len + 2 * reach, samples);
        weigh(samples, outputs);
        std::copy_n(outputs, len, dst);
        return ryxStsOk;
    }
    const int last = len - outputsPerStep;
    for (int i = 0; i < last; i += outputsPerStep)
        weigh(first + i, dst + i);
    weigh(first + last, dst + last);
    return ryxStsOk;
}

ryxStatus ryxsRPEQuantDecode_GSMFR_16s_u8(const int16_t *codes, int16_t multiplier, int16_t shift, int16_t *dst) {
    if (anyNull(codes, dst)) return ryxStsNullPtr;
    if (shift < 0) return ryxStsBadScale;
    constexpr int pulses = 13;
    const Vector factor = simd::words(multiplier);
    const Vector rounding = simd::words(shl(1, shift - 1)); // 32767 from 16 on, so that nothing but 0 is left
    const Vector count = _mm_cvtsi32_si128(shift);
    mapWords(
        dst, pulses,
        [=](Vector code) {
            const Vector level = _mm_sub_epi16(_mm_slli_epi16(code, 13), simd::words(7 << 12)); // (2 * code - 7) << 12
            return _mm_sra_epi16(_mm_adds_epi16(_mm_mulhrs_epi16(factor, level), rounding), count);
        },
        codes);
    return ryxStsOk;
}
