// SPDX-License-Identifier: BSD-2-Clause
// What the decoder does to the excitation for the ear: phase dispersion, noise enhancer, pitch enhancer, and at low rates
// more of the pitch (3GPP TS 26.190, TS 26.173).
#include <cstring>

#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/gain_control.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int gainHistory = 6;

// The caller's 8 words.
struct DispersionMemory {
    int16_t level, codeGain;
    int16_t pitchGains[gainHistory]; // the newest first
};

// 0: strong, 1: weak, 2: none.
int dispersionLevel(DispersionMemory &memory, int16_t pitchGain, int16_t codeGain) {
    constexpr int16_t low = 9830, high = 14746;
    int level = pitchGain < low ? 0 : pitchGain < high ? 1 : 2;
    std::copy_backward(memory.pitchGains, memory.pitchGains + gainHistory - 1, memory.pitchGains + gainHistory);
    memory.pitchGains[0] = pitchGain;
    const bool isOnset = sub(sub(codeGain, memory.codeGain), shl(memory.codeGain, 1)) > 0;
    if (isOnset) {
        level = std::min(level + 1, 2);
    } else {
        int weak = 0;
        for (const int16_t gain : memory.pitchGains)
            weak += gain < low;
        if (weak > 2) level = 0;
        if (level - memory.level > 1) level--;
    }
    memory.codeGain = codeGain;
    memory.level = static_cast<int16_t>(level);
    return level;
}

void disperse(int16_t *code, const int16_t *response) {
    int16_t sum[2 * subframeLength] = {};
    for (int i = 0; i < subframeLength; i++) {
        if (code[i] == 0) continue;
        // No value of the response is -32768, where the rounded product would need saturation.
        const Vector pulse = simd::words(code[i]);
        for (int j = 0; j < subframeLength; j += 8) {
            const Vector product = _mm_mulhrs_epi16(pulse, simd::loadAligned(response + j));
            simd::store(sum + i + j, _mm_adds_epi16(simd::load(sum + i + j), product));
        }
    }
    for (int i = 0; i < subframeLength; i += 8)
        simd::store(code + i, _mm_adds_epi16(simd::load(sum + i), simd::load(sum + subframeLength + i)));
}

// Isqrt: 2^31 / sqrt(x), x > 0, or the largest value.
int32_t inverseRootOf(int32_t x) {
    const int n = norm_l(x);
    const Scaled root = inverseRoot({L_shl(x, n), 31 - n});
    return L_shl(root.mantissa, root.exponent);
}

// agc2: signal at the level of the reference, written over the latter.
void controlGain(const int16_t *signal, int16_t *reference) {
    const int32_t energy = energyOfQuarters<subframeLength>(signal);
    if (energy == 0) {
        std::copy_n(signal, subframeLength, reference);
        return;
    }
    const int32_t wanted = energyOfQuarters<subframeLength>(reference);
    const int16_t gain = wanted == 0 ? int16_t{0} : round(L_shl(inverseRootOf(energyRatio(energy, wanted)), 9)); // Q13
    // high(2^3 * signal * gain), saturated
    for (int i = 0; i < subframeLength; i += 8)
        simd::store(reference + i, simd::mulShiftSaturated<13>(simd::load(signal + i), simd::words(gain)));
}

} // namespace

ryxStatus ryxsPhaseDispersion_AMRWB_16s_I_u8(int16_t *srcDst, int pitchGain, int32_t codeGain, int mode,
                                             int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    DispersionMemory state = {memory[0], memory[1], {}};
    std::copy_n(memory + 2, gainHistory, state.pitchGains);
    int level = dispersionLevel(state, static_cast<int16_t>(pitchGain), extract_h(codeGain));
    memory[0] = state.level;
    memory[1] = state.codeGain;
    std::copy_n(state.pitchGains, gainHistory, memory + 2);
    level += mode == 5 ? 0 : mode == 9 ? 1 : 2;
    if (level < 2) disperse(srcDst, dispersionResponses[level]);
    return ryxStsOk;
}

ryxStatus ryxsNoiseEnhancer_AMRWB_32s16s_u8(int32_t codeGain, int voicing, int stability, int q, int32_t *threshold,
                                            int16_t *enhanced) {
    if (anyNull(threshold, enhanced)) return ryxStsNullPtr;
    const int16_t unvoiced = sub(16384, shr(static_cast<int16_t>(voicing), 1));
    const int16_t factor = mult(static_cast<int16_t>(stability), unvoiced);
    // 1.5 dB towards the threshold.
    int32_t smoothed = codeGain;
    if (smoothed < *threshold)
        smoothed = std::min(L_add(smoothed, multiplyShort(codeGain, 6226)), *threshold);
    else
        smoothed = std::max(multiplyShort(codeGain, 27536), *threshold);
    *threshold = smoothed;
    const int32_t gain = L_add(multiplyShort(codeGain, sub(max16, factor)), multiplyShort(smoothed, factor));
    *enhanced = round(L_shl(gain, q));
    return ryxStsOk;
}

ryxStatus ryxsPitchEnhancer_AMRWB_16s_u8(const int16_t *code, int voicing, int16_t *dst) {
    if (anyNull(code, dst)) return ryxStsNullPtr;
    constexpr int last = subframeLength - 1;
    const int16_t factor = add(shr(static_cast<int16_t>(voicing), 3), 4096); // at most 8191
    if (largestMagnitude(code, subframeLength) < 1 << 14) {
        // Twice the factor times the sum of two samples: all within 31 bits.
        int16_t padded[subframeLength + 16] = {};
        std::copy_n(code, subframeLength, padded + 8);
        const Vector factors = simd::words(static_cast<int16_t>(-2 * factor)), half = simd::dwords(0x8000);
        const Vector zero = _mm_setzero_si128();
        for (int i = 0; i < subframeLength; i += 8) {
            const Vector before = simd::load(padded + 7 + i), now = simd::load(code + i),
                         after = simd::load(padded + 9 + i);
            const Vector front = _mm_add_epi32(_mm_unpacklo_epi16(zero, now),
                                               _mm_madd_epi16(_mm_unpacklo_epi16(before, after), factors));
            const Vector back = _mm_add_epi32(_mm_unpackhi_epi16(zero, now),
                                              _mm_madd_epi16(_mm_unpackhi_epi16(before, after), factors));
            simd::store(dst + i, _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(front, half), 16),
                                                 _mm_srai_epi32(_mm_add_epi32(back, half), 16)));
        }
        return ryxStsOk;
    }
    dst[0] = round(L_msu(code[0] * 65536, code[1], factor));
    for (int i = 1; i < last; i++)
        dst[i] = round(L_msu(L_msu(code[i] * 65536, code[i + 1], factor), code[i - 1], factor));
    dst[last] = round(L_msu(code[last] * 65536, code[last - 1], factor));
    return ryxStsOk;
}

ryxStatus ryxsPitchEmphasis_AMRWB_16s_I_u8(int16_t *srcDst, const int16_t *vector, int pitchGain) {
    if (anyNull(srcDst, vector)) return ryxStsNullPtr;
    const auto gain = static_cast<int16_t>(pitchGain);
    const int16_t strength = shl(gain, 1);
    if (strength <= 16384) return ryxStsOk;
    int16_t emphasized[subframeLength];
    const simd::Q15Factor strengths(simd::words(strength));
    for (int i = 0; i < subframeLength; i += 8) {
        // round(x * gain): the product fits 31 bits with its rounding.
        const simd::Dwords products = simd::products(strengths * simd::load(vector + i), simd::words(gain));
        const Vector half = simd::dwords(0x8000);
        const Vector pitch = _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(products.front, half), 16),
                                             _mm_srai_epi32(_mm_add_epi32(products.back, half), 16));
        simd::store(emphasized + i, _mm_adds_epi16(pitch, simd::load(srcDst + i)));
    }
    controlGain(emphasized, srcDst);
    return ryxStsOk;
}
