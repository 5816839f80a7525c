// SPDX-License-Identifier: BSD-2-Clause
// Decoding of the vectors of ITU-T G.722.1.
#include <algorithm>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/bit_reader.h"
#include "g7221/decoding_tables.h"
#include "g7221/frame_checks.h"
#include "g7221/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace {

// What the bins of a region stand for: (deviation * centroid) >> 12.
struct Magnitudes {
    alignas(16) int16_t ofBin[1 << binBits];

    Magnitudes(size_t category, int16_t deviation) {
        const int16_t *relative = centroids[category].data();
        for (int bin = 0; bin < 1 << binBits; bin += 8)
            simd::store(ofBin + bin, simd::mulShift<12>(simd::load(relative + bin), simd::words(deviation)));
    }
};

class VectorReader {
public:
    VectorReader(const uint8_t *src, int bits, int position) : reader_(src, bits), position_(position), bits_(bits) {}

    int position() const { return position_; }
    int bitsLeft() const { return bits_ - position_; }

    // Decodes the vectors of a region. False when the bits run out.
    bool readRegion(size_t category, int16_t deviation, int16_t *region) {
        const Magnitudes magnitudes(category, deviation);
        const PrefixEntry *entries = vectorEntries.data();
        switch (quantisers[category].dimension) {
        case 2:
            return readVectors<2>(entries, vectorFirst[category], magnitudes, region);
        case 4:
            return readVectors<4>(entries, vectorFirst[category], magnitudes, region);
        default:
            return readVectors<5>(entries, vectorFirst[category], magnitudes, region);
        }
    }

private:
    template <int dimension>
    bool readVectors(const PrefixEntry *entries, size_t first, const Magnitudes &magnitudes, int16_t *region) {
        constexpr int vectors = regionLength / dimension;
        uint64_t window = 0;
#pragma GCC unroll 10
        for (int v = 0; v < vectors; v++) {
            // A code with its signs has at most 21 bits, so a window is enough for two.
            if (v % 2 == 0) window = reader_.window(position_);
            const PrefixEntry code = lookUp(entries, first, window);
            if (code.taken() > bitsLeft()) [[unlikely]]
                return runOut(code);
            position_ += code.taken();
            dequantise<dimension>(code, window, magnitudes, region + v * dimension);
            window <<= code.taken();
        }
        return true;
    }

    // The code was read as far as the bits went; its signs are only read when all of them are there.
    bool runOut(PrefixEntry code) {
        position_ = std::min(position_ + code.taken() - signCount(code.value()), bits_);
        return false;
    }

    // The signs follow the code, 1 for positive. A bin that stands for 0 at this deviation takes none, even if it has one.
    template <int dimension>
    static void dequantise(PrefixEntry code, uint64_t window, const Magnitudes &magnitudes, int16_t *vector) {
        auto signs = static_cast<int64_t>(window << (code.taken() - signCount(code.value())));
        uint32_t bins = code.value() >> signCountBits;
#pragma GCC unroll 5
        for (int i = 0; i < dimension; i++, bins >>= binBits) {
            const int magnitude = magnitudes.ofBin[bins & ((1 << binBits) - 1)];
            const int mask = static_cast<int>(~(signs >> 63));
            vector[i] = static_cast<int16_t>(negateWhere(mask, magnitude));
            signs = static_cast<int64_t>(static_cast<uint64_t>(signs) << (magnitude != 0 ? 1 : 0));
        }
    }

    BitReader reader_;
    int position_, bits_;
};

} // namespace

ryxStatus ryxsHuffmanDecode_G7221_8u16s_u8(const uint8_t *src, int bits, const int16_t *deviation, int regions,
                                           int16_t *dst, int16_t *categories, int *position, int *bitsLeft) {
    if (anyNull(src, deviation, dst, categories, position, bitsLeft)) return ryxStsNullPtr;
    if (!isFrameSize(bits) || !isRegionCount(regions)) return ryxStsBadSize;
    if (!areCategories(categories, regions) || !areDeviations(deviation, regions)) return ryxStsOutOfRange;
    if (*position < 0 || *position > bits) return ryxStsOutOfRange;

    VectorReader reader(src, bits, *position);
    bool complete = true;
    for (int r = 0; r < regions; r++) {
        int16_t *region = dst + r * regionLength;
        if (categories[r] < codedCategories && complete)
            complete = reader.readRegion(static_cast<size_t>(categories[r]), deviation[r], region);
        if (!complete) categories[r] = codedCategories;
        if (categories[r] == codedCategories) std::fill_n(region, regionLength, int16_t{0});
    }
    *position = reader.position();
    *bitsLeft = reader.bitsLeft() - (complete ? 0 : 1);
    return ryxStsOk;
}
