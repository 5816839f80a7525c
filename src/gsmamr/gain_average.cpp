// SPDX-License-Identifier: BSD-2-Clause
// Smoothing of the code gain where the spectrum is steady (3GPP TS 26.090, clause 6.1, TS 26.073).
#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lsf_tables.h"
#include "gsmamr/quality.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

struct CodeGainAverageState_GSMAMR {
    int16_t gains[7]; // oldest first
    int16_t unsteady; // frames in a row
    int16_t steady;   // frames since the last long unsteady passage
};

namespace {

using State = CodeGainAverageState_GSMAMR;

constexpr int16_t unsteadiest = 5325; // 0.65, Q13

// floor(8192 * |x - y| / y) of four words 0 < y, as far as it is below 8192; more is more. The recommendation normalises
// both words, d = |x - y| times 2^s and y times 2^t, divides, and shifts the quotient by t - s - 2. To the right that rounds
// down twice, which is the same as once; to the left it is where d is twice y at least. Words of 15 bits lose their lowest
// bit in the normalisation. A quotient of floats is at most one too large, and not too small: it does not fall below an
// integer that the exact one reaches.
simd::Vector relativeDistances(simd::Vector x, simd::Vector y) {
    const simd::Vector difference = _mm_sub_epi32(x, y), sign = _mm_srai_epi32(difference, 31);
    const simd::Vector magnitude = _mm_sub_epi32(_mm_xor_si128(difference, sign), sign);
    const simd::Vector scaled = _mm_slli_epi32(_mm_andnot_si128(_mm_srli_epi32(magnitude, 14), magnitude), 13);
    const simd::Vector quotient = _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(scaled), _mm_cvtepi32_ps(y)));
    return _mm_add_epi32(quotient, _mm_cmpgt_epi32(_mm_madd_epi16(quotient, y), scaled));
}

// The sum of the relative distances of the LSFs from their average, Q13. From 8192 on one is as good as the other.
int16_t distanceOf(const int16_t *lsf, const int16_t *average) {
    simd::Vector sum = _mm_setzero_si128(), most = sum;
    for (const int from : {0, 4, 6}) { // 6 and 7 count once
        const simd::Vector x = simd::load64(lsf + from), y = simd::load64(average + from);
        simd::Vector distances = relativeDistances(simd::frontDwords(x), simd::frontDwords(y));
        if (from == 6) distances = _mm_unpackhi_epi64(_mm_setzero_si128(), distances);
        most = _mm_or_si128(most, _mm_cmpgt_epi32(distances, simd::dwords(8191)));
        sum = _mm_add_epi32(sum, distances);
    }
    return _mm_movemask_epi8(most) != 0 ? max16 : sat16(simd::sumOfDwords(sum));
}

// Share of the gain itself, Q13; the rest is that of the average.
int16_t shareOf(int16_t distance, bool noisy, const State &state) {
    if (state.steady < 40 || distance > unsteadiest) return 8192;
    const int16_t excess = std::max<int16_t>(sub(distance, noisy ? 4506 : 3277), 0);
    return excess > 2048 ? 8192 : shl(excess, 2);
}

int16_t meanOf(const int16_t *gains, int count, int16_t weight) {
    int32_t sum = 0;
    for (int k = 7 - count; k < 7; k++)
        sum = L_mac(sum, gains[k], weight);
    return round(sum);
}

constexpr bool isSmoothed(Rate rate) {
    return rate <= Rate::r670 || rate == Rate::r1020;
}

} // namespace

ryxStatus ryxsCodeGainAverageGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsCodeGainAverageInit_GSMAMR_16s_u8(int afterNoise, State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    State start = {};
    if (afterNoise != 0) start.unsteady = 20;
    saveBlock(state, start);
    return ryxStsOk;
}

ryxStatus ryxsCodeGainAverage_GSMAMR_16s_u8(int16_t gain, const int16_t *lsf, const int16_t *averageLsf, int quality,
                                            int background, int voicedHangover, int16_t *mixedGain, int rate,
                                            State *state) {
    if (anyNull(lsf, averageLsf, mixedGain, state)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || std::any_of(averageLsf, averageLsf + lsfOrder, [](int16_t x) { return x <= 0; }))
        return ryxStsOutOfRange;
    State memory = loadBlock<State>(state);
    const bool lowNoise = background != 0 && isLow(of);
    pushBack<7>(memory.gains, gain);
    const int16_t distance = distanceOf(lsf, averageLsf);
    memory.unsteady = distance > unsteadiest ? add(memory.unsteady, 1) : int16_t{0};
    if (memory.unsteady > 10) memory.steady = 0;
    int16_t mixed = gain;
    if (isSmoothed(of)) {
        const int16_t share = shareOf(distance, isUnsure(quality) && voicedHangover > 1 && lowNoise, memory);
        const int16_t mean =
            isLost(quality) && lowNoise ? meanOf(memory.gains, 7, 4681) : meanOf(memory.gains, 5, 6554);
        mixed = round(L_shl(L_msu(L_mac(L_mult(share, gain), 8192, mean), share, mean), 2));
    }
    memory.steady = add(memory.steady, 1);
    *mixedGain = mixed;
    saveBlock(state, memory);
    return ryxStsOk;
}
