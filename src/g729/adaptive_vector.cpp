// SPDX-License-Identifier: BSD-2-Clause
// Adaptive codebook vector of ITU-T G.729: the past excitation at a delay in thirds of a sample (clause 3.7.1), in 16
// bits and in single precision (Annex C).
#include "g729/adaptive_vector.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "common/checks.h"
#include "common/lp_filters.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int reach = 10; // taps on either side
constexpr int taps = 2 * reach;

// The taps in the order of the samples that they weigh, for the positions 0, 1/3 and 2/3 after a sample.
struct Phase {
    int16_t tap[taps] = {};
    alignas(16) int16_t pairs[taps / 2][8] = {}; // taps 2 k and 2 k + 1, four times
    int magnitudes = 0;                          // their sum
};
constexpr Phase phaseOf(int third) {
    Phase phase;
    for (int i = 0; i < reach; i++) {
        phase.tap[reach - 1 - i] = excitationFilter[static_cast<size_t>(third + 3 * i)];
        phase.tap[reach + i] = excitationFilter[static_cast<size_t>(3 - third + 3 * i)];
    }
    for (int k = 0; k < taps / 2; k++)
        for (int i = 0; i < 8; i++)
            phase.pairs[k][i] = phase.tap[2 * k + i % 2];
    for (const int16_t tap : phase.tap)
        phase.magnitudes += tap < 0 ? -tap : tap;
    return phase;
}
constexpr Phase phases[3] = {phaseOf(0), phaseOf(1), phaseOf(2)};
// With samples up to 2^14 no sum saturates.
static_assert(std::max({phases[0].magnitudes, phases[1].magnitudes, phases[2].magnitudes}) < 1 << 16);

// Where the window of the first output begins, and the phase.
struct Position {
    int start;
    int third;
};
Position positionOf(int lag, int fraction) {
    return fraction > 0 ? Position{-lag - 1 - (reach - 1), 3 - fraction} : Position{-lag - (reach - 1), -fraction};
}

// Term by term, in the recommendation's order: outwards, the past side first.
void buildInOrder(int16_t *excitation, const Position &at) {
    const int16_t *const tap = phases[at.third].tap;
    for (int n = 0; n < subframe; n++) {
        const int16_t *const x = excitation + n + at.start;
        int32_t sum = 0;
        for (int i = 0; i < reach; i++) {
            sum = L_mac(sum, x[reach - 1 - i], tap[reach - 1 - i]);
            sum = L_mac(sum, x[reach + i], tap[reach + i]);
        }
        excitation[n] = round(sum);
    }
}

} // namespace

void ryxsc::g729::buildAdaptiveVector(int16_t *excitation, int lag, int fraction) {
    const Position at = positionOf(lag, fraction);
    const Phase &phase = phases[at.third];
    // The outputs of eight depend on none of the eight: the shortest lag is 18 and the filter reaches 10 samples ahead.
    for (int n = 0; n < subframe; n += 8) {
        const int16_t *const x = excitation + n + at.start;
        // Pairs of taps on pairs of samples: the outputs of even index, and one sample on those of odd index.
        simd::Vector even = simd::dwords(0x4000), odd = even;
#pragma GCC unroll 10
        for (int k = 0; k < taps / 2; k++) {
            const simd::Vector pair = simd::loadAligned(phase.pairs[k]);
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(x + 2 * k), pair));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(x + 2 * k + 1), pair));
        }
        even = _mm_srai_epi32(even, 15);
        odd = _mm_srai_epi32(odd, 15);
        simd::store(excitation + n, _mm_packs_epi32(_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd)));
    }
    // Up to the first sample that was too large everything is right.
    Range range;
    range.add(excitation + at.start, subframe + taps - 1);
    if (!range.isWithin(0x4000)) [[unlikely]]
        buildInOrder(excitation, at);
}

ryxStatus ryxsDecodeAdaptiveVector_G729_16s_I_u8(const int16_t *delay, int16_t *srcDst) {
    if (anyNull(delay, srcDst)) return ryxStsNullPtr;
    if (!isDelay(delay[0], delay[1])) return ryxStsBadIndex;
    buildAdaptiveVector(srcDst, delay[0], delay[1]);
    return ryxStsOk;
}

ryxStatus ryxsDecodeAdaptiveVector_G729_16s_u8(const int16_t *delay, const int16_t *past, int16_t *dst) {
    if (anyNull(delay, past, dst)) return ryxStsNullPtr;
    if (!isDelay(delay[0], delay[1])) return ryxStsBadIndex;
    int16_t excitation[excitationHistory + subframe + 8];
    std::copy_n(past - excitationHistory, excitationHistory, excitation);
    buildAdaptiveVector(excitation + excitationHistory, delay[0], delay[1]);
    std::copy_n(excitation + excitationHistory, subframe, dst);
    return ryxStsOk;
}

ryxStatus ryxsDecodeAdaptiveVector_G729_32f_I_u8(const int16_t *delay, float *srcDst) {
    if (anyNull(delay, srcDst)) return ryxStsNullPtr;
    if (!isDelay(delay[0], delay[1])) return ryxStsBadIndex;
    constexpr float toUnit = 1.0f / 32768;
    const Position at = positionOf(delay[0], delay[1]);
    const int16_t *const tap = phases[at.third].tap;
    for (int n = 0; n < subframe; n++) {
        const float *const x = srcDst + n + at.start;
        float sum = 0;
        for (int i = 0; i < reach; i++) {
            sum += x[reach - 1 - i] * static_cast<float>(tap[reach - 1 - i]) * toUnit;
            sum += x[reach + i] * static_cast<float>(tap[reach + i]) * toUnit;
        }
        srcDst[n] = sum;
    }
    return ryxStsOk;
}
