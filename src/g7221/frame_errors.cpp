// SPDX-License-Identifier: BSD-2-Clause
// Damaged and lost frames of ITU-T G.722.1.
#include <algorithm>

#include "common/checks.h"
#include "g7221/bit_reader.h"
#include "g7221/implementations.h"
#include "g7221/tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace {

bool allOnes(const BitReader &reader, int position, int count) {
    for (; count > 32; position += 32, count -= 32)
        if (reader.peek(position, 32) != 0xffffffff) return false;
    return reader.peek(position, count) == 0xffffffff >> (32 - count);
}

} // namespace

ryxStatus ryxsFrameCheck_G7221_8u_u8(const uint8_t *src, int bits, int position, int bitsLeft, int control,
                                     const int16_t *powerIndex, int regions, int *errors) {
    if (anyNull(src, powerIndex, errors)) return ryxStsNullPtr;
    if (!isFrameSize(bits) || !isRegionCount(regions)) return ryxStsBadSize;
    if (position < 0 || position > bits || bitsLeft > bits - position) return ryxStsOutOfRange;
    if (control < 0 || control > balanceCount(regions)) return ryxStsOutOfRange;

    int found = 0;
    if (bitsLeft > 0 && !allOnes(BitReader(src, bits), position, bitsLeft)) found |= ryxG7221BadFill;
    if (bitsLeft < 0 && control < balanceCount(regions)) found |= ryxG7221TooShort;
    const auto isCoded = [](int index) { return index >= minPowerIndex && index <= maxPowerIndex; };
    if (!std::all_of(powerIndex, powerIndex + regions, isCoded)) found |= ryxG7221BadEnvelope;
    *errors = found;
    return ryxStsOk;
}

ryxStatus ryxsConcealFrame_G7221_16s_I_u8(int16_t *srcDst, int regions, int lost, int *magShift, int16_t *previous,
                                          int *previousShift) {
    if (anyNull(srcDst, magShift, previous, previousShift)) return ryxStsNullPtr;
    if (!isRegionCount(regions)) return ryxStsBadSize;
    if (lost < 0 || lost > 1) return ryxStsOutOfRange;

    const int count = regions * regionLength;
    if (lost == 0) {
        std::copy_n(srcDst, count, previous);
        *previousShift = *magShift;
    } else {
        std::copy_n(previous, count, srcDst);
        *magShift = *previousShift;
        std::fill_n(previous, count, int16_t{0});
        *previousShift = 0;
    }
    return ryxStsOk;
}
