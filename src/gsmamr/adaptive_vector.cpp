// SPDX-License-Identifier: BSD-2-Clause
// The adaptive codebook's vector: the past excitation at a fractional lag (3GPP TS 26.090, clause 5.6.1).
#include <array>
#include <cstdlib>

#include "common/checks.h"
#include "common/simd.h"
#include "gsmamr/codebook.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pitch_lag.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

namespace {

constexpr int half = 10;
constexpr int taps = 2 * half;

// Right half of the symmetric interpolation filter, with a resolution of a sixth of a sample, Q15.
// clang-format off
constexpr std::array<int16_t, 61> excitationInterpolation = {
    29443, 28346, 25207, 20449, 14701,  8693,  3143, -1352, -4402, -5865, -5850, -4673, -2783,  -672,  1211,  2536,
     3130,  2991,  2259,  1170,     0, -1001, -1652, -1868, -1666, -1147,  -464,   218,   756,  1060,  1099,   904,
      550,   135,  -245,  -514,  -634,  -602,  -451,  -231,     0,   191,   308,   340,   296,   198,    78,   -36,
     -120,  -163,  -165,  -132,   -79,   -19,    34,    73,    91,    89,    70,    38,     0};
// clang-format on

// The interpolation filter at each sixth, for samples start - 9 .. start + 10.
struct Phase {
    int16_t coefficients[taps];
    int magnitude; // of all together
};
constexpr Phase phaseOf(int sixths) {
    Phase phase = {};
    for (int i = 0; i < half; i++) {
        phase.coefficients[half - 1 - i] = excitationInterpolation[static_cast<size_t>(sixths + 6 * i)];
        phase.coefficients[half + i] = excitationInterpolation[static_cast<size_t>(6 - sixths + 6 * i)];
    }
    for (const int16_t coefficient : phase.coefficients)
        phase.magnitude += coefficient < 0 ? -coefficient : coefficient;
    return phase;
}
constexpr Phase phases[6] = {phaseOf(0), phaseOf(1), phaseOf(2), phaseOf(3), phaseOf(4), phaseOf(5)};

// In the recommendation's order, in which full-scale signals saturate; newly made samples are read where the lag is short.
void interpolatePlainly(const Phase &phase, const int16_t *past, int16_t *u) {
    for (int n = 0; n < subframeLength; n++) {
        int32_t sum = 0;
        for (int i = 0; i < half; i++) {
            sum = L_mac(sum, past[n - i], phase.coefficients[half - 1 - i]);
            sum = L_mac(sum, past[n + 1 + i], phase.coefficients[half + i]);
        }
        u[n] = round(sum);
    }
}

// Returns whether all samples were small enough for it. The taps come two by two, for the samples of even and of odd index
// apart, so that the words need no rearrangement.
bool interpolateEight(const Phase &phase, const int16_t *past, int16_t *u) {
    const Vector largest = simd::words(static_cast<int16_t>(std::min((1 << 30) / phase.magnitude, 32767)));
    Vector coefficients[half], highest = _mm_setzero_si128(), lowest = highest;
    for (int k = 0; k < taps; k += 2)
        coefficients[k / 2] = _mm_shuffle_epi32(simd::load32(phase.coefficients + k), 0);
    const Vector rounding = simd::dwords(1 << 14);
    for (int n = 0; n < subframeLength; n += 8) {
        const int16_t *const x = past + n - (half - 1);
        Vector even = rounding, odd = rounding;
#pragma GCC unroll 10
        for (int k = 0; k < taps; k += 2) {
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(x + k), coefficients[k / 2]));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(x + k + 1), coefficients[k / 2]));
        }
        even = _mm_srai_epi32(even, 15);
        odd = _mm_srai_epi32(odd, 15);
        simd::store(u + n, _mm_packs_epi32(_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd)));
    }
    for (int n = -half + 1; n < subframeLength + half; n += 8) {
        highest = _mm_max_epi16(highest, simd::load(past + n));
        lowest = _mm_min_epi16(lowest, simd::load(past + n));
    }
    const Vector loud = _mm_or_si128(_mm_cmpgt_epi16(highest, largest),
                                     _mm_cmpgt_epi16(_mm_sub_epi16(_mm_setzero_si128(), largest), lowest));
    return _mm_movemask_epi8(loud) == 0;
}

} // namespace

ryxStatus ryxsDecodeAdaptiveVector_GSMAMR_16s_I_u8(int16_t *excitation, int16_t lag, int16_t fraction, int rate) {
    if (anyNull(excitation)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || lag < 17 || lag > maxPitchLag + 1) return ryxStsOutOfRange;
    const bool thirds = of != Rate::r1220;
    if (std::abs(fraction) > (thirds ? 1 : 3)) return ryxStsOutOfRange;
    int sixths = thirds ? -2 * fraction : -fraction, start = -lag;
    if (sixths < 0) {
        sixths += 6;
        start--;
    }
    const Phase &phase = phases[sixths];
    // Eight samples at a time read nothing that they write from a distance of 18 on.
    if (start > -18 || !interpolateEight(phase, excitation + start, excitation))
        interpolatePlainly(phase, excitation + start, excitation);
    return ryxStsOk;
}
