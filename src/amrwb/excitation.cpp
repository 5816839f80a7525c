// SPDX-License-Identifier: BSD-2-Clause
// The excitation: its scale, the voicing of a subframe, the sum of both codebooks, and the memory of the weighting filter
// (3GPP TS 26.173).
#include <cstdlib>

#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int scaleCandidates = 4;
constexpr int mostDoublings = 8;

// x * y^2, y normalised.
void multiplyBySquare(Scaled &x, int16_t square) {
    x.mantissa = mult(x.high(), square) * 65536;
}

} // namespace

ryxStatus ryxsVoicingFactor_AMRWB_16s_u8(const int16_t *vector, int q, int pitchGain, const int16_t *code, int codeGain,
                                         int16_t *voicing, int16_t *tilt) {
    if (anyNull(vector, code, voicing, tilt)) return ryxStsNullPtr;
    const auto gain = static_cast<int16_t>(codeGain), pitch = static_cast<int16_t>(pitchGain);
    Scaled pitchPower = dotSquare(vector, subframeLength);
    const int32_t pitchSquare = L_mult(pitch, pitch);
    const int n = norm_l(pitchSquare);
    multiplyBySquare(pitchPower, extract_h(L_shl(pitchSquare, n)));
    pitchPower.exponent -= 2 * static_cast<int16_t>(q) + n + 10;

    Scaled codePower = dotSquare(code, subframeLength);
    const int m = norm_s(gain);
    const int16_t mantissa = shl(gain, m);
    multiplyBySquare(codePower, mult(mantissa, mantissa));
    codePower.exponent -= 2 * m;

    const int lead = pitchPower.exponent - codePower.exponent;
    int16_t x = pitchPower.high(), y = codePower.high();
    if (lead >= 0) {
        x = shr(x, 1);
        y = shr(y, lead + 1);
    } else {
        x = shr(x, 1 - lead);
        y = shr(y, 1);
    }
    const int16_t difference = sub(x, y), sum = add(add(x, y), 1);
    *voicing = difference >= 0 ? div_s(difference, sum) : negate(div_s(negate(difference), sum));
    *tilt = add(shr(*voicing, 2), 8192);
    return ryxStsOk;
}

ryxStatus ryxsExcitation_AMRWB_16s_u8(const int16_t *vector, int pitchGain, const int16_t *code, int codeGain,
                                      int16_t *dst) {
    if (anyNull(vector, code, dst)) return ryxStsNullPtr;
    const auto gain = static_cast<int16_t>(codeGain), pitch = static_cast<int16_t>(pitchGain);
    // With 2^5 times the product of code and gain within 2^30, half of the sum stays within 31 bits, and it saturates
    // where the recommendation's steps do.
    if (largestMagnitude(code, subframeLength) * std::abs(int{gain}) < 1 << 25) {
        const Vector gains = simd::wordPairs(gain, 0);
        const Vector pitches = simd::wordPairs(pitch, 0x2000);
        const Vector one = simd::words(1);
        for (int i = 0; i < subframeLength; i += 8) {
            const Vector c = simd::load(code + i), v = simd::load(vector + i);
            const auto sum = [=](Vector codes, Vector vectors) {
                const Vector product = _mm_slli_epi32(_mm_madd_epi16(codes, gains), 5);
                return _mm_srai_epi32(_mm_add_epi32(product, _mm_madd_epi16(vectors, pitches)), 14);
            };
            const Vector front = sum(_mm_unpacklo_epi16(c, one), _mm_unpacklo_epi16(v, one));
            const Vector back = sum(_mm_unpackhi_epi16(c, one), _mm_unpackhi_epi16(v, one));
            simd::store(dst + i, _mm_packs_epi32(front, back));
        }
        return ryxStsOk;
    }
    for (int i = 0; i < subframeLength; i++)
        dst[i] = round(L_shl(L_mac(L_shl(L_mult(code[i], gain), 5), vector[i], pitch), 1));
    return ryxStsOk;
}

ryxStatus ryxsWeightingMemory_AMRWB_16s_u8(const int16_t *target, const int16_t *filtered, int pitchGain,
                                           const int16_t *filteredCode, int codeGain, int shift, int16_t *memory) {
    if (anyNull(target, filtered, filteredCode, memory)) return ryxStsNullPtr;
    constexpr int last = subframeLength - 1;
    int32_t error = L_mult(static_cast<int16_t>(codeGain), filteredCode[last]);
    error = L_negate(L_shl(error, 5 + shift));
    error = L_mac(error, target[last], 16384);
    error = L_msu(error, filtered[last], static_cast<int16_t>(pitchGain));
    *memory = round(L_shl(error, 1 - shift));
    return ryxStsOk;
}

ryxStatus ryxsExcitationScale_AMRWB_16s_u8(const int16_t *candidates, int32_t codeGain, int16_t *q,
                                           int16_t *scaledGain) {
    if (anyNull(candidates, q, scaledGain)) return ryxStsNullPtr;
    const int most = std::min<int>(*std::min_element(candidates, candidates + scaleCandidates), mostDoublings);
    int doublings = 0;
    while (codeGain < 1 << 27 && doublings < most) {
        codeGain = L_shl(codeGain, 1);
        doublings++;
    }
    *scaledGain = round(codeGain);
    *q = static_cast<int16_t>(doublings);
    return ryxStsOk;
}

ryxStatus ryxsExcitationScaleUpdate_AMRWB_16s_u8(const int16_t *excitation, int q, int16_t *candidates) {
    if (anyNull(excitation, candidates)) return ryxStsNullPtr;
    const int largest = std::clamp(largestMagnitude(excitation, subframeLength), 1, int{max16});
    std::copy_backward(candidates, candidates + scaleCandidates - 1, candidates + scaleCandidates);
    candidates[0] = static_cast<int16_t>(norm_s(static_cast<int16_t>(largest)) + q - 1);
    return ryxStsOk;
}

ryxStatus ryxsScaleGain_AMRWB_32s16s_u8(int32_t codeGain, int q, int16_t *gain) {
    if (anyNull(gain)) return ryxStsNullPtr;
    *gain = round(L_shl(codeGain, q));
    return ryxStsOk;
}

ryxStatus ryxsCodeConceal_AMRWB_16s_u8(int16_t *code, int16_t *seed) {
    if (anyNull(code, seed)) return ryxStsNullPtr;
    fillWithNoise(code, subframeLength, 3, *seed);
    return ryxStsOk;
}
