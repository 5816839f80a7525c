// SPDX-License-Identifier: BSD-2-Clause
// Decoders of the fixed codebooks of ITU-T G.723.1: multipulse code (6.3 kbit/s) and algebraic code (5.3 kbit/s).
#include "common/checks.h"
#include "g723/fixed_codebook.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr bool isGainIndex(int index) {
    return index >= 0 && index < gainLevels;
}
constexpr bool isBit(int bit) {
    return bit == 0 || bit == 1;
}

// Enumerates the grid's positions from the number of their combination.
void placePulses(int32_t number, int pulses, int signs, int16_t amplitude, int16_t *grid) {
    int passed = 6 - pulses;
    for (int i = 0; i < gridPositions && passed < 6; i++) {
        const int32_t without = combinations.value[passed][i];
        if (number >= without) {
            number -= without;
            continue;
        }
        passed++;
        const bool negative = (signs >> (6 - passed) & 1) != 0;
        grid[2 * i] = negative ? static_cast<int16_t>(-amplitude) : amplitude;
    }
}

} // namespace

ryxStatus ryxsMPMLQFixedCodebookDecode_G723_16s_u8(int32_t positions, int signs, int gainIndex, int grid, int train,
                                                   int lag, int subframe, int16_t *vector) {
    if (anyNull(vector)) return ryxStsNullPtr;
    if (subframe < 0 || subframe >= subframes) return ryxStsOutOfRange;
    if (!isGainIndex(gainIndex) || !isBit(grid) || !isBit(train) || positions < 0 || lag < shortestLag ||
        lag > longestLag)
        return ryxStsBadIndex;
    int16_t pulses[subframeLength] = {};
    if (positions < positionLimits[subframe]) {
        placePulses(positions, pulseCounts[subframe], signs, fixedGains[gainIndex], pulses + grid);
        if (train != 0) {
            addPulseTrain(pulses, lag, vector);
            return ryxStsOk;
        }
    }
    std::copy_n(pulses, subframeLength, vector);
    return ryxStsOk;
}

ryxStatus ryxsACELPFixedCodebookDecode_G723_16s_u8(int positions, int signs, int gainIndex, int grid, int lag,
                                                   int pitchGainIndex, int16_t *vector) {
    if (anyNull(vector)) return ryxStsNullPtr;
    if (!isGainIndex(gainIndex) || !isBit(grid) || lag < shortestLag - 1 || lag > longestLag || pitchGainIndex < 0 ||
        pitchGainIndex >= 170)
        return ryxStsBadIndex;
    const int16_t gain = fixedGains[gainIndex];
    std::fill_n(vector, subframeLength, int16_t{0});
    for (int k = 0; k < 4; k++) {
        const int position = 8 * (positions >> 3 * k & 7) + grid + 2 * k;
        if (position >= subframeLength) continue;
        vector[position] = (signs >> k & 1) != 0 ? gain : static_cast<int16_t>(-gain);
    }
    PitchContribution(lag, pitchGainIndex).addTo(vector);
    return ryxStsOk;
}
