// SPDX-License-Identifier: BSD-2-Clause
// Quantisation and rate control of ITU-T G.722.1.
#include <algorithm>

#include "common/checks.h"
#include "frame/implementations.h"
#include "g7221/region_quantiser.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace {

constexpr bool isTableIndex(int index) {
    return index >= 0 && index < 64;
}

// Whether all categorisations stay within 0..7.
bool isCategorisation(const int16_t *categories, const int16_t *balances, int regions) {
    int coarsest[maxRegions];
    for (int r = 0; r < regions; r++) {
        if (categories[r] < 0) return false;
        coarsest[r] = categories[r];
    }
    for (int i = 0; i < balanceCount(regions); i++) {
        if (balances[i] < 0 || balances[i] >= regions) return false;
        coarsest[balances[i]]++;
    }
    return std::all_of(coarsest, coarsest + regions, [](int category) { return category <= codedCategories; });
}

// A frame while its regions are quantised anew, one at a time.
class Quantisation {
public:
    Quantisation(const int16_t *src, const int16_t *scaledIndex, int16_t *categories, int16_t *vectors)
        : src_(src), scaledIndex_(scaledIndex), categories_(categories), vectors_(vectors) {}

    int totalBits() const { return total_; }

    void quantise(int region) {
        const int bits = quantiseRegion(src_ + region * regionLength, categories_[region], scaledIndex_[region],
                                        vectors_ + region * vectorsPerRegion);
        total_ += bits - bits_[region];
        bits_[region] = bits;
    }
    void moveCategory(int region, int by) {
        categories_[region] = static_cast<int16_t>(categories_[region] + by);
        quantise(region);
    }

private:
    const int16_t *src_, *scaledIndex_;
    int16_t *categories_, *vectors_;
    int bits_[maxRegions] = {};
    int total_ = 0;
};

} // namespace

ryxStatus ryxsScaleRegions_G7221_16s_I_u8(int16_t *srcDst, const int16_t *powerIndex, int regions, int magShift,
                                          int16_t *scaledIndex) {
    if (anyNull(srcDst, powerIndex, scaledIndex)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (magShift < -1 || magShift > 9) return ryxStsOutOfRange;
    const auto isCoded = [](int index) { return index >= minPowerIndex && index <= maxPowerIndex; };
    if (!std::all_of(powerIndex, powerIndex + regions, isCoded)) return ryxStsOutOfRange;

    constexpr int loudest = 39; // the step sizes of louder regions would have too few bits
    for (int r = 0; r < regions; r++) {
        const int index = powerIndex[r] + 2 * magShift + powerTableOffset;
        const int shift = std::max((index - loudest) >> 1, 0);
        scaledIndex[r] = static_cast<int16_t>(index - 2 * shift);
        if (shift == 0) continue;
        int16_t *region = srcDst + r * regionLength;
        for (int i = 0; i < regionLength; i++)
            region[i] = static_cast<int16_t>(region[i] >> shift);
    }
    return ryxStsOk;
}

ryxStatus ryxsQuantRegion_G7221_16s_u8(const int16_t *src, int category, int scaledIndex, int16_t *vectors, int *bits) {
    if (anyNull(src, vectors, bits)) return ryxStsNullPtr;
    if (category < 0 || category >= codedCategories || !isTableIndex(scaledIndex)) return ryxStsOutOfRange;
    *bits = quantiseRegion(src, category, scaledIndex, vectors);
    return ryxStsOk;
}

ryxStatus ryxsRateControl_G7221_16s_u8(const int16_t *src, const int16_t *scaledIndex, const int16_t *balances,
                                       int regions, int availableBits, int16_t *categories, int16_t *vectors,
                                       int *control) {
    if (anyNull(src, scaledIndex, balances, categories, vectors, control)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (!std::all_of(scaledIndex, scaledIndex + regions, isTableIndex)) return ryxStsOutOfRange;
    if (!isCategorisation(categories, balances, regions)) return ryxStsBadIndex;

    const int last = balanceCount(regions);
    int chosen = last / 2;
    for (int i = 0; i < chosen; i++)
        categories[balances[i]]++;
    Quantisation frame(src, scaledIndex, categories, vectors);
    for (int r = 0; r < regions; r++)
        frame.quantise(r);
    // Finer while bits are left, then coarser until they suffice: the second loop may take back the first one's last step.
    while (frame.totalBits() < availableBits && chosen > 0)
        frame.moveCategory(balances[--chosen], -1);
    while (frame.totalBits() > availableBits && chosen < last)
        frame.moveCategory(balances[chosen++], 1);
    *control = chosen;
    return ryxStsOk;
}
