// SPDX-License-Identifier: BSD-2-Clause
// Noise in place of coefficients that ITU-T G.722.1 does not transmit.
#include <algorithm>
#include <array>
#include <bit>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/frame_checks.h"
#include "g7221/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g7221;
using simd::Vector;

namespace {

// The random generator: each word is the sum of the last one and the one three before it.
class Random {
public:
    explicit Random(const int16_t *seeds) : last_{seeds[0], seeds[1], seeds[2], seeds[3]} {}

    int next() {
        const int sum = wrap16(last_[0] + last_[3]);
        const int word = sum < 0 ? sum + 1 : sum;
        for (int i = 3; i > 0; i--)
            last_[i] = last_[i - 1];
        last_[0] = static_cast<int16_t>(word);
        return word;
    }
    void save(int16_t *seeds) const { std::copy_n(last_, 4, seeds); }

private:
    int16_t last_[4]; // the newest first
};

// Where the bits of a number go when only the chosen ones of five places are filled, from the lowest on.
constexpr int groupLength = 5;
constexpr size_t groupPatterns = size_t{1} << groupLength;
constexpr auto spreadBits = [] {
    std::array<std::array<uint8_t, groupPatterns>, groupPatterns> table{};
    for (size_t chosen = 0; chosen < groupPatterns; chosen++)
        for (size_t bits = 0; bits < groupPatterns; bits++)
            for (size_t place = 0, next = 0; place < groupLength; place++)
                if ((chosen >> place & 1) != 0)
                    table[chosen][bits] = static_cast<uint8_t>(table[chosen][bits] | (bits >> next++ & 1) << place);
    return table;
}();

constexpr auto bitCounts = [] {
    std::array<uint8_t, groupPatterns> counts{};
    for (size_t i = 0; i < groupPatterns; i++)
        counts[i] = static_cast<uint8_t>(std::popcount(i));
    return counts;
}();

// Half a region shares a random word, whose lowest bits are the signs of the coefficients that are filled.
constexpr int halfRegion = regionLength / 2;
uint32_t spreadSigns(uint32_t filled, int word) {
    const auto bits = static_cast<uint32_t>(word);
    const uint32_t low = filled % groupPatterns, high = filled / groupPatterns % groupPatterns;
    const int used = bitCounts[low];
    return spreadBits[low][bits % groupPatterns] |
           static_cast<uint32_t>(spreadBits[high][(bits >> used) % groupPatterns]) << groupLength;
}

// Lane i: -1 where bit i is set.
Vector laneMask(uint32_t bits) {
    const Vector places = _mm_setr_epi16(1, 2, 4, 8, 16, 32, 64, 128);
    return _mm_cmpeq_epi16(_mm_and_si128(simd::words(static_cast<int16_t>(bits & 0xff)), places), places);
}

// Amplitude or, where its sign bit is not set, minus the amplitude in place of zeros.
Vector fillZeros(Vector x, int16_t amplitude, uint32_t positive) {
    const Vector noise = simd::negateSaturatedWhere(laneMask(~positive), simd::words(amplitude));
    return _mm_or_si128(x, _mm_and_si128(noise, _mm_cmpeq_epi16(x, _mm_setzero_si128())));
}

void fillRegion(int16_t *region, int16_t amplitude, int firstWord, int secondWord) {
    const Vector zero = _mm_setzero_si128();
    const Vector a = simd::load(region), b = simd::load(region + 8), c = simd::load64(region + 16);
    const Vector front = _mm_packs_epi16(_mm_cmpeq_epi16(a, zero), _mm_cmpeq_epi16(b, zero));
    const Vector back = _mm_packs_epi16(_mm_cmpeq_epi16(c, zero), zero);
    const auto zeros = static_cast<uint32_t>(_mm_movemask_epi8(front) | _mm_movemask_epi8(back) << 16);
    const uint32_t positive = spreadSigns(zeros, firstWord) | spreadSigns(zeros >> halfRegion, secondWord)
                                                                  << halfRegion;
    simd::store(region, fillZeros(a, amplitude, positive));
    simd::store(region + 8, fillZeros(b, amplitude, positive >> 8));
    simd::store64(region + 16, fillZeros(c, amplitude, positive >> 16));
}

} // namespace

ryxStatus ryxsNoiseFill_G7221_16s_I_u8(int16_t *srcDst, const int16_t *categories, const int16_t *deviation,
                                       int regions, int16_t *seeds) {
    if (anyNull(srcDst, categories, deviation, seeds)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (!areCategories(categories, regions) || !areDeviations(deviation, regions)) return ryxStsOutOfRange;

    Random random(seeds);
    for (int r = 0; r < regions; r++) {
        const int factor = quantisers[static_cast<size_t>(categories[r])].noiseFactor;
        if (factor == 0) continue;
        const auto amplitude = static_cast<int16_t>((deviation[r] * factor) >> 15);
        int16_t *const region = srcDst + r * regionLength;
        if (categories[r] == codedCategories) std::fill_n(region, regionLength, int16_t{0});
        const int first = random.next(), second = random.next();
        fillRegion(region, amplitude, first, second);
    }
    random.save(seeds);
    return ryxStsOk;
}
