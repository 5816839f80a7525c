// SPDX-License-Identifier: BSD-2-Clause
// Decoding of the LSP frequencies of ITU-T G.723.1: split vector codebooks, first-order prediction from the previous
// vector, and passes that keep neighbours apart.
#include "g723/tables.h"

#include "common/checks.h"
#include "common/fixed_point.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int order = 10;
constexpr int16_t lowest = 384;
constexpr int16_t highest = 32256;
constexpr int tolerance = 4; // units that a pair may stay below its spacing; an odd shortfall leaves one
constexpr int passes = 10;

struct Mode {
    int prediction; // factor of the previous deviation from the mean, Q15
    int spacing;
};
constexpr Mode goodFrame = {12288, 256};
constexpr Mode erasedFrame = {23552, 512};

constexpr size_t octet(uint16_t index) {
    return index & 255U;
}

void addCodebooks(const uint16_t *indices, int (&lsf)[order]) {
    const int16_t *low = lowBand[octet(indices[0])];
    const int16_t *middle = middleBand[octet(indices[1])];
    const int16_t *high = highBand[octet(indices[2])];
    for (int i = 0; i < 3; i++) {
        lsf[i] += low[i];
        lsf[3 + i] += middle[i];
    }
    for (int i = 0; i < 4; i++)
        lsf[6 + i] += high[i];
}

// One pass over the pairs, from the lowest. The shortfall is a 16-bit quantity and so is what is stored: both wrap for
// neighbours more than 32767 apart, which no coder produces.
void spread(int16_t *lsf, int spacing) {
    lsf[0] = std::max(lsf[0], lowest);
    lsf[order - 1] = std::min(lsf[order - 1], highest);
    for (int j = 0; j < order - 1; j++) {
        const int16_t shortfall = wrap16(lsf[j] - lsf[j + 1] + spacing);
        if (shortfall <= 0) continue;
        lsf[j] = wrap16(lsf[j] - (shortfall >> 1));
        lsf[j + 1] = wrap16(lsf[j + 1] + (shortfall >> 1));
    }
}

bool isSpread(const int16_t *lsf, int spacing) {
    bool wide = true;
    for (int j = 0; j < order - 1; j++)
        wide &= lsf[j + 1] - lsf[j] >= spacing - tolerance;
    return wide;
}

ryxStatus stabilise(int16_t *lsf, int spacing) {
    for (int pass = 0; pass < passes; pass++) {
        spread(lsf, spacing);
        if (isSpread(lsf, spacing)) return ryxStsOk;
    }
    return ryxStsLsfLowClamped;
}

} // namespace

ryxStatus ryxsLSFDecode_G723_16s_u8(const uint16_t *indices, const int16_t *previous, int erased, int16_t *lsf) {
    if (anyNull(indices, previous, lsf)) return ryxStsNullPtr;
    const Mode &mode = erased ? erasedFrame : goodFrame;

    // The largest product is (32768 + 27718) * 23552, below 2^31. The sums lie in -22671..31762 with these tables.
    int sums[order];
    for (int i = 0; i < order; i++)
        sums[i] = (((previous[i] - lsfMean[i]) * mode.prediction + 0x4000) >> 15) + lsfMean[i];
    if (!erased) addCodebooks(indices, sums);
    for (int i = 0; i < order; i++)
        lsf[i] = static_cast<int16_t>(sums[i]);
    return stabilise(lsf, mode.spacing);
}
