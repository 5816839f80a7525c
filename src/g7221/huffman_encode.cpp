// SPDX-License-Identifier: BSD-2-Clause
// Codes of the quantised vectors of ITU-T G.722.1.
#include <array>
#include <bit>

#include "common/checks.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g7221/tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;
using simd::Vector;

namespace {

constexpr int maxDimension = 5;

// Sign bits of a vector by its non-zero bins and its positive coefficients, the first coefficient's bit in bit 0 of
// either: those of the non-zero ones without gaps, the first one highest.
constexpr auto signBits = [] {
    std::array<std::array<uint8_t, 1 << maxDimension>, 1 << maxDimension> table{};
    for (size_t nonZero = 0; nonZero < table.size(); nonZero++)
        for (size_t positive = 0; positive < table.size(); positive++)
            for (size_t i = 0; i < maxDimension; i++)
                if ((nonZero >> i & 1) != 0)
                    table[nonZero][positive] =
                        static_cast<uint8_t>(table[nonZero][positive] << 1 | (positive >> i & 1));
    return table;
}();

// Which of the 20 coefficients are positive, the first one in bit 0.
uint32_t positives(const int16_t *region) {
    const Vector zero = _mm_setzero_si128();
    const Vector front =
        _mm_packs_epi16(_mm_cmpgt_epi16(simd::load(region), zero), _mm_cmpgt_epi16(simd::load(region + 8), zero));
    const Vector back = _mm_packs_epi16(_mm_cmpgt_epi16(simd::load64(region + 16), zero), zero);
    return static_cast<uint32_t>(_mm_movemask_epi8(front) | _mm_movemask_epi8(back) << 16);
}

bool areVectors(const int16_t *vectors, int category) {
    const auto c = static_cast<size_t>(category);
    const int count = firstVector[c + 1] - firstVector[c];
    bool inside = true;
    for (int v = 0; v < quantisers[c].vectors(); v++)
        inside &= vectors[v] >= 0 && vectors[v] < count;
    return inside;
}

bool areCodable(const int16_t *vectors, const int16_t *categories, int regions) {
    for (int r = 0; r < regions; r++) {
        if (categories[r] < 0 || categories[r] > codedCategories) return false;
        if (categories[r] < codedCategories && !areVectors(vectors + r * vectorsPerRegion, categories[r])) return false;
    }
    return true;
}

} // namespace

ryxStatus ryxsHuffmanEncode_G7221_16s32u_u8(const int16_t *src, const int16_t *vectors, const int16_t *categories,
                                            int regions, uint32_t *codes, uint8_t *codeBits, int *count) {
    if (anyNull(src, vectors, categories, codes, codeBits, count)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (!areCodable(vectors, categories, regions)) return ryxStsOutOfRange;

    int n = 0;
    for (int r = 0; r < regions; r++) {
        if (categories[r] == codedCategories) continue;
        const auto category = static_cast<size_t>(categories[r]);
        const int dimension = quantisers[category].dimension;
        const auto bins = (uint32_t{1} << dimension) - 1;
        uint32_t positive = positives(src + r * regionLength);
        for (int v = 0; v < quantisers[category].vectors(); v++, positive >>= dimension) {
            const auto at = static_cast<size_t>(firstVector[category] + vectors[r * vectorsPerRegion + v]);
            const VectorCode &code = vectorCodes[at];
            codes[n] = uint32_t{code.word} << (vectorBits[at] - code.length) | signBits[code.nonZero][positive & bins];
            codeBits[n++] = vectorBits[at];
        }
    }
    *count = n;
    return ryxStsOk;
}
