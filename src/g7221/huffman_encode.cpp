// SPDX-License-Identifier: BSD-2-Clause
// Codes of the quantised vectors of ITU-T G.722.1.
#include <array>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/frame_checks.h"
#include "g7221/implementations.h"

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
                        static_cast<uint8_t>(size_t{table[nonZero][positive]} << 1 | (positive >> i & 1));
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

// Whether all indices of a region are below the number of vectors. As unsigned words: negative ones are large.
bool areVectors(const int16_t *vectors, size_t category) {
    const Vector largest = simd::words(static_cast<int16_t>(firstVector[category + 1] - firstVector[category] - 1));
    const Vector excess =
        _mm_or_si128(_mm_subs_epu16(simd::load(vectors), largest), _mm_subs_epu16(simd::load32(vectors + 8), largest));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(excess, _mm_setzero_si128())) == 0xffff;
}

bool areCodable(const int16_t *vectors, const int16_t *categories, int regions) {
    if (!areCategories(categories, regions)) return false;
    bool codable = true;
    for (int r = 0; r < regions; r++)
        if (categories[r] < codedCategories)
            codable &= areVectors(vectors + r * vectorsPerRegion, static_cast<size_t>(categories[r]));
    return codable;
}

// Appends the codes of a region and returns how many these are.
template <int dimension>
int encodeRegion(const int16_t *vectors, size_t category, uint32_t positive, uint32_t *codes, uint8_t *codeBits) {
    const auto first = static_cast<size_t>(firstVector[category]);
#pragma GCC unroll 10
    for (int v = 0; v < regionLength / dimension; v++, positive >>= dimension) {
        const size_t at = first + static_cast<size_t>(vectors[v]);
        const VectorCode &code = vectorCodes[at];
        const size_t signs = signBits[code.nonZero][positive & ((1 << dimension) - 1)];
        codes[v] = static_cast<uint32_t>(uint32_t{code.word} << (vectorBits[at] - code.length) | signs);
        codeBits[v] = vectorBits[at];
    }
    return regionLength / dimension;
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
        const int16_t *own = vectors + r * vectorsPerRegion;
        const uint32_t positive = positives(src + r * regionLength);
        switch (quantisers[category].dimension) {
        case 2:
            n += encodeRegion<2>(own, category, positive, codes + n, codeBits + n);
            break;
        case 4:
            n += encodeRegion<4>(own, category, positive, codes + n, codeBits + n);
            break;
        default:
            n += encodeRegion<5>(own, category, positive, codes + n, codeBits + n);
        }
    }
    *count = n;
    return ryxStsOk;
}
