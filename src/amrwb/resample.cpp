// SPDX-License-Identifier: BSD-2-Clause
// Conversion between the 16 kHz of the speech and the 12.8 kHz of the coder, and the FIR filters of the high band (3GPP
// TS 26.173).
#include <cstring>

#include "amrwb/fir.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/lp_filters.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

// round(2^(1 + doublings) * (sum of products)), saturated after every term and after the shift.
int16_t saturatingFilter(const int16_t *x, const int16_t *taps, int count, int doublings) {
    return round(L_shl(macInOrder(x, taps, count).value, doublings));
}
// Four sums that do not saturate on their way, rounded like the above with one doubling.
Vector roundedAndDoubled(Vector sums) {
    return simd::saturateDwords(_mm_srai_epi32(_mm_add_epi32(sums, simd::dwords(1 << 13)), 14));
}

// The taps of a phase have magnitudes of at most 30851 in all: no sum reaches 2^30.
constexpr int decimationTapCount = 30, paddedTapCount = 32;
constexpr int decimated = frameLength, lookAhead = 12;

// Output i of four fifths of the rate lies i quarters of a sample and as many samples on: four outputs for five inputs.
// Reads two samples more than the taps take.
void decimate(const int16_t *src, int count, int16_t *dst) {
    const int16_t *const taps[4] = {decimationTaps[0], decimationTaps[1], decimationTaps[2], decimationTaps[3]};
    for (int j = 0; j < count; j += 4) {
        const int16_t *const first = src + 1 + 5 * (j / 4);
        const Vector sums = fourProductSums<paddedTapCount>({first, first + 1, first + 2, first + 3}, taps);
        simd::store64(dst + j, roundedAndDoubled(sums));
    }
}

constexpr int interpolationTapCount = 24;
constexpr int interpolationMagnitudes = 37140; // sum over the taps of a phase

// Five outputs for four inputs; the first of them is an input itself.
void interpolate(const int16_t *src, int16_t *dst) {
    const int16_t *const taps[4] = {interpolationTaps[4], interpolationTaps[3], interpolationTaps[2],
                                    interpolationTaps[1]};
    constexpr int delay = interpolationTapCount / 2;
    for (int i = 0; i < subframeLength; i += 4) {
        const int16_t *const first = src + 1 + i;
        const Vector sums = fourProductSums<interpolationTapCount>({first, first + 1, first + 2, first + 3}, taps);
        *dst++ = src[delay + i];
        simd::store64(dst, roundedAndDoubled(sums));
        dst += 4;
    }
}
void interpolateSaturating(const int16_t *src, int16_t *dst) {
    for (int j = 0; j < wideSubframeLength; j++) {
        const int position = 4 * j;
        dst[j] = saturatingFilter(src + position / 5 + 1, interpolationTaps[position % 5], interpolationTapCount, 1);
    }
}

constexpr int firTapCount = 31, firMemory = firTapCount - 1;

// In place, over a subframe at 16 kHz.
void filterFir(int16_t *srcDst, const int16_t *taps, int sumOfMagnitudes, int64_t sumOfSquares, int shift,
               int16_t *memory) {
    constexpr int ahead = 2, length = firMemory + wideSubframeLength; // samples at aligned places
    alignas(16) int16_t aligned[ahead + length + 8];
    int16_t *const buffer = aligned + ahead;
    Range range;
    const auto take = [&](int16_t *to, Vector words) {
        range.add(words);
        simd::store(to, words);
    };
    for (const int i : {0, 8, 16, firMemory - 8})
        take(buffer + i, simd::load(memory + i));
    const Vector count = _mm_cvtsi32_si128(shift);
    for (int i = 0; i < wideSubframeLength; i += 8)
        take(buffer + firMemory + i, _mm_sra_epi16(simd::load(srcDst + i), count));
    simd::store(buffer + length, _mm_setzero_si128());
    if (range.isWithin(largestSafeSample(sumOfMagnitudes)) ||
        fitsSums(energy(buffer, length), static_cast<uint64_t>(sumOfSquares))) {
        const FirTaps<firTapCount + 1> fir(taps);
        for (int i = 0; i < wideSubframeLength; i += 16)
            fir.filterSixteen<15>(buffer + i, srcDst + i);
    } else {
        for (int i = 0; i < wideSubframeLength; i++)
            srcDst[i] = saturatingFilter(buffer + i, taps, firTapCount, 0);
    }
    for (const int i : {0, 8, 16, firMemory - 8})
        simd::store(memory + i, simd::load(buffer + wideSubframeLength + i));
}

} // namespace

ryxStatus ryxsDownsampleFilter_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *history) {
    if (anyNull(src, dst, history)) return ryxStsNullPtr;
    constexpr int length = 320;
    int16_t buffer[decimationTapCount + length + 8];
    std::copy_n(history, decimationTapCount, buffer);
    std::copy_n(src, length, buffer + decimationTapCount);
    std::fill_n(buffer + decimationTapCount + length, 8, int16_t{0});
    decimate(buffer, decimated, dst);
    std::copy_n(buffer + length, decimationTapCount, history);
    std::copy_n(history, decimationTapCount, buffer);
    std::memset(buffer + decimationTapCount, 0, 24 * sizeof *buffer);
    decimate(buffer, lookAhead, dst + decimated);
    return ryxStsOk;
}

ryxStatus ryxsUpsampleFilter_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *history) {
    if (anyNull(src, dst, history)) return ryxStsNullPtr;
    constexpr int length = interpolationTapCount + subframeLength;
    int16_t buffer[length];
    std::copy_n(history, interpolationTapCount, buffer);
    std::copy_n(src, subframeLength, buffer + interpolationTapCount);
    if (largestMagnitude(buffer, length) <= largestSafeSample(interpolationMagnitudes))
        interpolate(buffer, dst);
    else
        interpolateSaturating(buffer, dst);
    std::copy_n(buffer + subframeLength, interpolationTapCount, history);
    return ryxStsOk;
}

ryxStatus ryxsBandPassFilter_AMRWB_16s_I_u8(int16_t *srcDst, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    filterFir(srcDst, bandPassTaps, 158870, 2022765112, 2, memory);
    return ryxStsOk;
}

ryxStatus ryxsLowPassFilter_AMRWB_16s_I_u8(int16_t *srcDst, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    filterFir(srcDst, lowPassTaps, 61098, 912316108, 0, memory);
    return ryxStsOk;
}
