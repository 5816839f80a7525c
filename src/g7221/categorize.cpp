// SPDX-License-Identifier: BSD-2-Clause
// Categorisation of ITU-T G.722.1: which quantiser a region gets, from the power indices alone, so that encoder and
// decoder find the same without side information.
#include <algorithm>
#include <array>
#include <bit>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/implementations.h"
#include "g7221/tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;
using simd::Vector;

namespace {

constexpr int paddedRegions = 32;

// The bits that the categories are to take. Above a frame length's worth, only five eighths count.
constexpr int targetBits(int availableBits, int regions) {
    const int frameLength = regions == 14 ? 320 : 640;
    if (availableBits <= frameLength) return availableBits;
    return frameLength + ((5 * (availableBits - frameLength)) >> 3);
}

constexpr int expectedBits(int category) {
    return quantisers[static_cast<size_t>(category)].expectedBits;
}

// The same as octets, for a look-up by pshufb.
alignas(16) constexpr std::array<uint8_t, 16> bitsOfCategory = [] {
    std::array<uint8_t, 16> bits{};
    for (int category = 0; category < categoryCount; category++)
        bits[static_cast<size_t>(category)] = static_cast<uint8_t>(expectedBits(category));
    return bits;
}();

// Copies 8 words or more. The last ones may be copied twice.
void copyWords(const int16_t *from, int count, int16_t *to) {
    for (int i = 0; i < count - 8; i += 8)
        simd::store(to + i, simd::load(from + i));
    simd::store(to + count - 8, simd::load(from + count - 8));
}

// Power indices as octets, limited: nothing changes beyond 127, where a category is 0 or 7 at every offset.
class OctetIndices {
public:
    OctetIndices(const int16_t *powerIndex, int regions) {
        // A region that does not exist gets category 7, which takes no bits.
        alignas(16) int16_t padded[paddedRegions];
        for (int i = 8; i < paddedRegions; i += 8)
            simd::store(padded + i, simd::words(-127));
        copyWords(powerIndex, regions, padded);
        front_ = _mm_packs_epi16(simd::loadAligned(padded), simd::loadAligned(padded + 8));
        back_ = _mm_packs_epi16(simd::loadAligned(padded + 16), simd::loadAligned(padded + 24));
    }

    // Expected bits of all regions together when the category is (offset - index) / 2 within 0..7.
    int bitsAt(int offset) const {
        const Vector sum =
            _mm_add_epi64(sumOfBits(categoriesAt(offset, front_)), sumOfBits(categoriesAt(offset, back_)));
        return _mm_cvtsi128_si32(_mm_add_epi32(sum, _mm_unpackhi_epi64(sum, sum)));
    }

private:
    static Vector categoriesAt(int offset, Vector index) {
        const Vector distance = _mm_subs_epi8(_mm_set1_epi8(static_cast<char>(offset)), index);
        // Limited to 0..15: saturated above at 127, then below, as unsigned octets, at 0.
        const Vector top = _mm_xor_si128(_mm_adds_epi8(distance, _mm_set1_epi8(127 - 15)), _mm_set1_epi8(-128));
        const Vector limited = _mm_subs_epu8(top, _mm_set1_epi8(static_cast<char>(128 + 127 - 15)));
        return _mm_and_si128(_mm_srli_epi16(limited, 1), _mm_set1_epi8(7));
    }
    static Vector sumOfBits(Vector category) {
        return _mm_sad_epu8(_mm_shuffle_epi8(simd::loadAligned(bitsOfCategory.data()), category), _mm_setzero_si128());
    }

    Vector front_, back_;
};

// The largest offset, by halving steps, at which the categories still take about the target.
int findOffset(const OctetIndices &indices, int target) {
    int offset = -32;
    for (int step = 32; step > 0; step /= 2)
        if (indices.bitsAt(offset + step) >= target - 32) offset += step;
    return offset;
}

// The regions whose category can still move in one direction, by urgency. A move makes a region less urgent by 2, so the
// most urgent one is found by looking on from the last, and a set of regions fits a word.
// From `levels` on no region is chosen; only the indices of damaged frames lead there.
template <int levels> class Queue {
public:
    Queue() {
        Vector zero = _mm_setzero_si128();
        simd::finish(zero); // a compiler that knows it takes an instruction for long fills, which is slow to start
        for (int level = 0; level < allSets; level += 4)
            simd::store(sets_ + level, zero);
    }

    void insert(int level, uint32_t region) {
        if (level < levels) sets_[level] |= region;
    }
    // The set of the most urgent regions, empty when there is none.
    uint32_t &front() {
        while (level_ < levels && sets_[level_] == 0)
            level_++;
        return sets_[level_];
    }
    int level() const { return level_; }

private:
    static constexpr int allSets = (levels + 4) / 4 * 4; // the one behind the last level stays empty

    uint32_t sets_[allSets];
    int level_ = 0;
};

// The same regions with two categories each: the finest categorisation and the coarsest one, from which the balances
// follow.
class Spread {
public:
    Spread(const int16_t *powerIndex, int regions, int offset) {
        for (int r = 0; r < regions; r++) {
            const int distance = offset - powerIndex[r];
            const int category = std::clamp(distance >> 1, 0, categoryCount - 1);
            fine_[r] = coarse_[r] = static_cast<int16_t>(category);
            fineBits_ += expectedBits(category);
            if (category > 0) refinable_.insert(distance - 2 * category, uint32_t{1} << r); // 0 and more
            // At most 1 below category 7.
            if (category < categoryCount - 1) coarsenable_.insert(1 - (distance - 2 * category), uint32_t{1} << r);
        }
        coarseBits_ = fineBits_;
    }

    int totalBits() const { return fineBits_ + coarseBits_; }
    const int16_t *fine() const { return fine_; }

    // Lowers the finer category of the region that lies lowest below its distance, the first of several. -1: there is none.
    int refine() {
        uint32_t &set = refinable_.front();
        if (set == 0) return -1;
        const int r = std::countr_zero(set);
        set &= set - 1;
        fineBits_ += expectedBits(fine_[r] - 1) - expectedBits(fine_[r]);
        if (--fine_[r] > 0) refinable_.insert(refinable_.level() + 2, uint32_t{1} << r);
        return r;
    }

    // Raises the coarser category of the region that lies highest above its distance, the last of several. Very uneven
    // spectra may leave none below category 7; the last region is then named again, and its category stays.
    int coarsen() {
        uint32_t &set = coarsenable_.front();
        if (set == 0) return coarsenedLast_;
        const int r = floorLog2(set);
        coarsenedLast_ = r;
        set ^= uint32_t{1} << r;
        coarseBits_ += expectedBits(coarse_[r] + 1) - expectedBits(coarse_[r]);
        if (++coarse_[r] < categoryCount - 1) coarsenable_.insert(coarsenable_.level() + 2, uint32_t{1} << r);
        return r;
    }

private:
    int16_t fine_[maxRegions], coarse_[maxRegions];
    int fineBits_ = 0, coarseBits_ = 0;
    int coarsenedLast_ = -1;
    Queue<99> refinable_;
    Queue<100> coarsenable_;
};

} // namespace

ryxStatus ryxsCategorize_G7221_16s_u8(const int16_t *powerIndex, int regions, int availableBits, int16_t *categories,
                                      int16_t *balances) {
    if (anyNull(powerIndex, categories, balances)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (availableBits < 0 || availableBits > 960) return ryxStsOutOfRange;

    const int target = targetBits(availableBits, regions);
    Spread spread(powerIndex, regions, findOffset(OctetIndices(powerIndex, regions), target));
    int16_t order[2 * maxBalances];
    int first = maxBalances, last = maxBalances;
    for (int i = 0; i < balanceCount(regions); i++) {
        const bool below = spread.totalBits() <= 2 * target;
        const int region = below ? spread.refine() : spread.coarsen();
        if (region < 0) return ryxStsBadIndex;
        order[below ? --first : last++] = static_cast<int16_t>(region);
    }
    copyWords(spread.fine(), regions, categories);
    copyWords(order + first, balanceCount(regions), balances);
    return ryxStsOk;
}
