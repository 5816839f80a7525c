// SPDX-License-Identifier: BSD-2-Clause
// Decoding of the vectors of ITU-T G.722.1.
#include <algorithm>
#include <array>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "frame/implementations.h"
#include "g7221/bit_reader.h"
#include "g7221/decoding_tables.h"
#include "g7221/frame_checks.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace {

// What the bins of a region stand for.
struct Magnitudes {
    std::array<int16_t, 1 << binBits> ofBin;

    Magnitudes(size_t category, int deviation) {
        for (size_t bin = 0; bin < ofBin.size(); bin++)
            ofBin[bin] =
                bin < maxBins ? static_cast<int16_t>((deviation * centroids[category][bin]) >> 12) : int16_t{0};
    }
};

class VectorReader {
public:
    VectorReader(const uint8_t *src, int bits, int position) : reader_(src, bits), position_(position), bits_(bits) {}

    int position() const { return position_; }
    int bitsLeft() const { return bits_ - position_; }

    // Decodes the vectors of a region. False when the bits run out.
    bool readRegion(size_t category, int deviation, int16_t *region) {
        const Magnitudes magnitudes(category, deviation);
        const int dimension = quantisers[category].dimension;
        for (int done = 0; done < regionLength; done += dimension) {
            const uint64_t window = reader_.window(position_);
            const PrefixEntry code = lookUp(vectorEntries.data(), vectorFirst[category], window);
            // A code that goes beyond the end was read up to there; signs are only read when all of them are there.
            position_ = std::min(position_ + code.length(), bits_ + 1);
            if (position_ > bits_) {
                position_ = bits_;
                return false;
            }
            const int signs = signCount(code.value());
            if (signs > bitsLeft()) return false;
            position_ += signs;
            dequantise(code.value() >> signCountBits, window << code.length(), magnitudes, dimension, region + done);
        }
        return true;
    }

private:
    // The signs are at the top of the word, 1 for positive. A bin that stands for 0 at this deviation takes none, even if
    // it has one.
    static void dequantise(uint32_t bins, uint64_t signs, const Magnitudes &magnitudes, int dimension,
                           int16_t *vector) {
        for (int i = 0; i < dimension; i++, bins >>= binBits) {
            const int magnitude = magnitudes.ofBin[bins & ((1 << binBits) - 1)];
            const int mask = static_cast<int>(static_cast<int64_t>(~signs) >> 63);
            vector[i] = static_cast<int16_t>(negateWhere(mask, magnitude));
            signs <<= magnitude != 0 ? 1 : 0;
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
