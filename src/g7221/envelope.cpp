// SPDX-License-Identifier: BSD-2-Clause
// Spectral envelope of ITU-T G.722.1: power indices of the regions in steps of 3.01 dB, their code, and the scale that a
// decoder derives from them.
#include <algorithm>
#include <array>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/bit_reader.h"
#include "g7221/decoding_tables.h"
#include "g7221/implementations.h"
#include "g7221/tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;
using simd::Vector;

namespace {

// Sum of the squares of a region, limited to 31 bits. pmaddwd gives two squares as an unsigned dword.
uint32_t regionEnergy(const int16_t *region) {
    const Vector front = simd::load(region), middle = simd::load(region + 8), back = simd::load64(region + 16);
    const Vector sum = _mm_add_epi64(_mm_add_epi64(simd::sumsOfUnsignedDwords(_mm_madd_epi16(front, front)),
                                                   simd::sumsOfUnsignedDwords(_mm_madd_epi16(middle, middle))),
                                     simd::sumsOfUnsignedDwords(_mm_madd_epi16(back, back)));
    return static_cast<uint32_t>(std::min<int64_t>(simd::sumOfQwords(sum), max32));
}

// Index of the unscaled energy: its logarithm to base 2, rounded up from 28963 / 32768, that is sqrt(1/2) of the next.
int energyIndex(uint32_t energy) {
    if (energy == 0) return -16;
    const int exponent = floorLog2(energy) - 15;
    const uint32_t mantissa = exponent >= 0 ? energy >> exponent : energy << -exponent; // 32768..65535
    return exponent + (mantissa >= 2 * 28963 ? 1 : 0);
}

constexpr int steepestRise = 11; // of the index, from a region to the next
constexpr int firstRegionBits = 5;
constexpr int firstRegionOffset = 7;

bool withinCodingRange(const int16_t *powerIndex, int regions) {
    return std::all_of(powerIndex, powerIndex + regions, [](int index) { return index >= -32 && index <= 32; });
}

// What a decoder knows of the level of a frame before it chooses the scale.
struct Loudness {
    int16_t sum = 0; // of the standard deviations, limited
    int loudest = 0; // region, as index of the table

    void add(int index) {
        loudest = std::max(loudest, index);
        sum = ryxsc::add(sum, deviationAt(index));
    }

    // The largest scale at which coefficients keep clear of 16 bits.
    int magShift() const {
        int shift = 9, level = sum, top = loudest;
        while (shift >= 0 && (level >= 8 || top > 28)) {
            shift--;
            level >>= 1;
            top -= 2;
        }
        return shift;
    }

    // By index of the table; indices that only damaged frames have give 0.
    static int16_t deviationAt(int index) {
        return index >= 0 && index < 64 ? deviations[static_cast<size_t>(index)] : int16_t{0};
    }
};

} // namespace

ryxStatus ryxsRegionPower_G7221_16s_u8(const int16_t *src, int regions, int magShift, int16_t *powerIndex) {
    if (anyNull(src, powerIndex)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (magShift < -1 || magShift > 9) return ryxStsOutOfRange;
    constexpr int offset = 11; // of the index of a region of 20 coefficients
    for (int r = 0; r < regions; r++)
        powerIndex[r] = static_cast<int16_t>(energyIndex(regionEnergy(src + r * regionLength)) - 2 * magShift + offset);
    return ryxStsOk;
}

ryxStatus ryxsEnvelopeEncode_G7221_16s32u_u8(const int16_t *powerIndex, int regions, int16_t *coded, uint32_t *codes,
                                             uint8_t *codeBits) {
    if (anyNull(powerIndex, coded, codes, codeBits)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (!withinCodingRange(powerIndex, regions)) return ryxStsOutOfRange;

    // A region that rises too steeply above its predecessor raises the predecessor; one that falls too steeply is raised
    // itself.
    int index[maxRegions];
    index[regions - 1] = powerIndex[regions - 1];
    for (int r = regions - 2; r >= 0; r--)
        index[r] = std::max<int>(powerIndex[r], index[r + 1] - steepestRise);
    index[0] = std::clamp(index[0], 1 - firstRegionOffset, maxPowerIndex);
    for (int r = 1; r < regions; r++)
        index[r] = std::max(std::clamp(index[r], minPowerIndex, maxPowerIndex), index[r - 1] + smallestDifference);

    codes[0] = static_cast<uint32_t>(index[0] + firstRegionOffset);
    codeBits[0] = firstRegionBits;
    for (int r = 1; r < regions; r++) {
        const auto column = static_cast<size_t>(index[r] - index[r - 1] - smallestDifference);
        const EnvelopeCode &code = envelopeCodes[static_cast<size_t>(envelopeRow(r))][column];
        codes[r] = code.word;
        codeBits[r] = code.length;
    }
    std::copy_n(index, regions, coded);
    return ryxStsOk;
}

ryxStatus ryxsEnvelopeDecode_G7221_8u16s_u8(const uint8_t *src, int bits, int regions, int16_t *powerIndex,
                                            int16_t *deviation, int *magShift, int *position) {
    if (anyNull(src, powerIndex, deviation, magShift, position)) return ryxStsNullPtr;
    if (!isFrameSize(bits) || !isRegionCount(regions)) return ryxStsBadSize;

    const BitReader reader(src, bits);
    int index = static_cast<int>(reader.peek(0, firstRegionBits)) - firstRegionOffset;
    int at = firstRegionBits;
    Loudness loudness;
    loudness.add(index + powerTableOffset);
    powerIndex[0] = static_cast<int16_t>(index);
    for (int r = 1; r < regions; r++) {
        const auto row = static_cast<size_t>(envelopeRow(r));
        const PrefixEntry code = lookUp(envelopeEntries.data(), envelopeFirst[row], reader.window(at));
        at += code.taken();
        index += static_cast<int>(code.value()) + smallestDifference;
        loudness.add(index + powerTableOffset);
        powerIndex[r] = static_cast<int16_t>(index);
    }
    const int shift = loudness.magShift();
    for (int r = 0; r < regions; r++)
        deviation[r] = Loudness::deviationAt(powerIndex[r] + powerTableOffset + 2 * shift);
    *magShift = shift;
    *position = at;
    return ryxStsOk;
}
