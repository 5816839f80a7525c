// SPDX-License-Identifier: BSD-2-Clause
// Noise in place of coefficients that ITU-T G.722.1 does not transmit.
#include "common/checks.h"
#include "common/fixed_point.h"
#include "frame/implementations.h"
#include "g7221/frame_checks.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

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

// Half a region shares a random word, whose lowest bits are the signs.
constexpr int halfRegion = regionLength / 2;

void fillAll(int16_t *half, int amplitude, int signs) {
    for (int i = 0; i < halfRegion; i++, signs >>= 1)
        half[i] = static_cast<int16_t>((signs & 1) != 0 ? amplitude : -amplitude);
}

void fillZeros(int16_t *half, int amplitude, int signs) {
    for (int i = 0; i < halfRegion; i++) {
        const bool zero = half[i] == 0;
        const int noise = (signs & 1) != 0 ? amplitude : -amplitude;
        half[i] = static_cast<int16_t>(zero ? noise : half[i]);
        signs >>= zero ? 1 : 0;
    }
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
        const int amplitude = (deviation[r] * factor) >> 15;
        int16_t *const region = srcDst + r * regionLength;
        const auto fill = categories[r] == codedCategories ? fillAll : fillZeros;
        const int first = random.next(), second = random.next();
        fill(region, amplitude, first);
        fill(region + halfRegion, amplitude, second);
    }
    random.save(seeds);
    return ryxStsOk;
}
