// SPDX-License-Identifier: BSD-2-Clause
// Quantisation and rate control of ITU-T G.722.1.
#include <algorithm>

#include "common/checks.h"
#include "g7221/frame_checks.h"
#include "g7221/implementations.h"
#include "g7221/region_quantiser.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace {

// Above, step sizes are so large that the 16 bits of the rounding offset overflow before a bin exceeds its largest.
constexpr bool isScaledIndex(int index) {
    return index >= 0 && index <= 40;
}

bool isCategorisation(const int16_t *categories, const int16_t *balances, int regions) {
    const auto isRegion = [regions](int region) { return region >= 0 && region < regions; };
    return areCategories(categories, regions) && std::all_of(balances, balances + balanceCount(regions), isRegion);
}

// A frame while its regions are quantised anew, one at a time.
class Quantisation {
public:
    Quantisation(const int16_t *src, const int16_t *scaledIndex, int16_t *vectors)
        : src_(src), scaledIndex_(scaledIndex), vectors_(vectors) {}

    int totalBits() const { return total_; }

    void quantise(int region, int category) {
        const int bits = quantiseRegion(src_ + region * regionLength, category, scaledIndex_[region],
                                        vectors_ + region * vectorsPerRegion);
        total_ += bits - bits_[region];
        bits_[region] = bits;
    }

private:
    const int16_t *src_, *scaledIndex_;
    int16_t *vectors_;
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
    if (category < 0 || category >= codedCategories || !isScaledIndex(scaledIndex)) return ryxStsOutOfRange;
    *bits = quantiseRegion(src, category, scaledIndex, vectors);
    return ryxStsOk;
}

ryxStatus ryxsRateControl_G7221_16s_u8(const int16_t *src, const int16_t *scaledIndex, const int16_t *balances,
                                       int regions, int availableBits, int16_t *categories, int16_t *vectors,
                                       int *control) {
    if (anyNull(src, scaledIndex, balances, categories, vectors, control)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (!std::all_of(scaledIndex, scaledIndex + regions, isScaledIndex)) return ryxStsOutOfRange;
    if (!isCategorisation(categories, balances, regions)) return ryxStsBadIndex;

    const int last = balanceCount(regions);
    int chosen = last / 2;
    int raised[maxRegions]; // may exceed 7, which changes nothing
    std::copy_n(categories, regions, raised);
    for (int i = 0; i < chosen; i++)
        raised[balances[i]]++;
    Quantisation frame(src, scaledIndex, vectors);
    const auto quantise = [&](int region) { frame.quantise(region, std::min(raised[region], codedCategories)); };
    for (int r = 0; r < regions; r++)
        quantise(r);
    // Finer while bits are left, then coarser until they suffice: the second loop may take back the first one's last step.
    while (frame.totalBits() < availableBits && chosen > 0) {
        const int region = balances[--chosen];
        raised[region]--;
        quantise(region);
    }
    while (frame.totalBits() > availableBits && chosen < last) {
        const int region = balances[chosen++];
        raised[region]++;
        quantise(region);
    }
    for (int r = 0; r < regions; r++)
        categories[r] = static_cast<int16_t>(std::min(raised[r], codedCategories));
    *control = chosen;
    return ryxStsOk;
}
