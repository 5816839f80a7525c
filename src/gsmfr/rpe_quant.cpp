// SPDX-License-Identifier: BSD-2-Clause
// RPE section of GSM 06.10: grid selection (clause 4.2.14), APCM quantiser and its scale (4.2.15, 4.2.16), grid positioning
// (4.2.17).
#include <algorithm>
#include <array>

#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "gsmfr/block_maximum.h"
#include "gsmfr/implementations.h"
#include "gsmfr/largest_magnitude.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr std::array<BlockScale, scaleCodes> blockScales = [] {
    std::array<BlockScale, scaleCodes> scales{};
    for (int code = 0; code < scaleCodes; code++)
        scales[static_cast<size_t>(code)] = decodeBlockMaximum(code);
    return scales;
}();

// The words l of a vector with l % 3 = k. Those of sub-sequence m in vector j have k = (m - 8 * j) % 3 = (m + j) % 3.
alignas(16) constexpr int16_t everyThird[gridSpacing][8] = {
    {-1, 0, 0, -1, 0, 0, -1, 0}, {0, -1, 0, 0, -1, 0, 0, -1}, {0, 0, -1, 0, 0, -1, 0, 0}};

int32_t squareOf(int16_t sample) {
    return (sample >> 2) * (sample >> 2);
}

// The sub-sequence with the largest energy, the first of equal ones. Energies are at most 14 * 8192^2, below 2^30.
int selectGrid(const int16_t *src) {
    Vector sums[4] = {};
#pragma GCC unroll 5
    for (int j = 0; j < subSegmentLength / 8; j++) {
        const Vector x = _mm_srai_epi16(simd::load(src + 8 * j), 2);
        for (int m = 0; m < gridSpacing; m++) {
            const Vector third = _mm_and_si128(x, simd::loadAligned(everyThird[(m + j) % gridSpacing]));
            sums[m] = _mm_add_epi32(sums[m], _mm_madd_epi16(third, third));
        }
    }
    int32_t energy[grids];
    simd::store(energy, simd::sumsOfDwords(sums));
    // The samples 0, 3, .. 39 make up two of the four: the first one without sample 39, the last one without sample 0.
    energy[3] = energy[0] - squareOf(src[0]);
    energy[0] -= squareOf(src[subSegmentLength - 1]);
    return static_cast<int>(std::max_element(energy, energy + grids) - energy);
}

} // namespace

ryxStatus ryxsRPEGridSelect_GSMFR_16s_u8(const int16_t *src, int16_t *pulses, int16_t *grid) {
    if (anyNull(src, pulses, grid)) return ryxStsNullPtr;
    const int best = selectGrid(src);
    for (int i = 0; i < pulsesPerGrid; i++)
        pulses[i] = src[best + gridSpacing * i];
    *grid = static_cast<int16_t>(best);
    return ryxStsOk;
}

ryxStatus ryxsRPEQuant_GSMFR_16s_u8(const int16_t *pulses, int16_t *codes, int16_t *maximum, int16_t *scaleCode) {
    if (anyNull(pulses, codes, maximum, scaleCode)) return ryxStsNullPtr;
    const int16_t largest = largestMagnitude(pulses, pulsesPerGrid);
    const int16_t code = blockMaximumCode(largest);
    const BlockScale scale = blockScales[static_cast<size_t>(code)];
    const simd::Q15Factor inverse(simd::words(inverseMantissa[scale.mantissa]));
    const Vector count = _mm_cvtsi32_si128(scale.shift);
    mapWords(
        codes, pulsesPerGrid,
        [&](Vector pulse) {
            // The shift drops nothing: a block maximum with a smaller exponent is smaller.
            return _mm_add_epi16(_mm_srai_epi16(inverse * _mm_sll_epi16(pulse, count), 12), simd::words(4));
        },
        pulses);
    *maximum = largest;
    *scaleCode = code;
    return ryxStsOk;
}

ryxStatus ryxsRPEScaleDecode_GSMFR_16s_u8(int16_t scaleCode, int16_t *multiplier, int16_t *shift) {
    if (anyNull(multiplier, shift)) return ryxStsNullPtr;
    if (scaleCode < 0 || scaleCode >= scaleCodes) return ryxStsBadIndex;
    const BlockScale scale = blockScales[static_cast<size_t>(scaleCode)];
    *multiplier = mantissaFactor[scale.mantissa];
    *shift = scale.shift;
    return ryxStsOk;
}

ryxStatus ryxsRPEGridPosition_GSMFR_16s_u8(const int16_t *pulses, int16_t grid, int16_t *dst) {
    if (anyNull(pulses, dst)) return ryxStsNullPtr;
    if (grid < 0 || grid >= grids) return ryxStsBadIndex;
    std::fill_n(dst, subSegmentLength, int16_t{0});
    for (int i = 0; i < pulsesPerGrid; i++)
        dst[grid + gridSpacing * i] = pulses[i];
    return ryxStsOk;
}
