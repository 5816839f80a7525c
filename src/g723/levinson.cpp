// SPDX-License-Identifier: BSD-2-Clause
// The Levinson-Durbin recursion of ITU-T G.723.1 in 16 bits, and the detector of sine waves that follows the second
// reflection coefficient.
#include <bit>

#include "common/checks.h"
#include "g723/implementations.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int16_t resonant = 31130; // a second reflection coefficient above 0.95
constexpr int sineBlocks = 14;      // of the last 15

} // namespace

ryxStatus ryxsLevinsonDurbin_G723_16s_u8(const int16_t *autoCorr, int16_t *lpc, int16_t *secondReflection,
                                         int16_t *residualEnergy) {
    if (anyNull(autoCorr, lpc, secondReflection, residualEnergy)) return ryxStsNullPtr;
    int16_t a[order] = {}, energy = autoCorr[0], second = 0;
    for (int i = 0; i < order; i++) {
        int32_t acc = autoCorr[i + 1] * 16384;
        for (int j = 0; j < i; j++)
            acc = L_msu(acc, a[j], autoCorr[i - j]);
        const int32_t numerator = L_shl(acc, 2);
        const int32_t magnitude = L_abs(numerator);
        if (magnitude >= L_deposit_h(energy)) {
            second = max16;
            break;
        }
        const int16_t ratio = quotient(magnitude, energy);
        const int16_t reflection = numerator >= 0 ? static_cast<int16_t>(-ratio) : ratio;
        if (i == 1) second = reflection;

        int16_t previous[order];
        std::copy(a, a + i, previous);
        for (int j = 0; j < i; j++)
            a[j] = round(L_mac(L_deposit_h(previous[j]), reflection, previous[i - 1 - j]));
        a[i] = static_cast<int16_t>((2 - reflection) >> 2);
        energy = round(L_add(scale(numerator, reflection), L_deposit_h(energy)));
    }
    std::copy(a, a + order, lpc);
    *secondReflection = second;
    *residualEnergy = energy;
    return ryxStsOk;
}

ryxStatus ryxsSineDetect_G723_16s_u8(const int16_t *secondReflections, int16_t *history, int *sine) {
    if (anyNull(secondReflections, history, sine)) return ryxStsNullPtr;
    auto marks = static_cast<uint16_t>(*history);
    for (int k = 0; k < subframes; k++)
        marks = static_cast<uint16_t>(marks << 1 | (secondReflections[k] > resonant ? 1 : 0));
    marks &= 0x7fff;
    *sine = std::popcount(marks) >= sineBlocks ? 1 : 0;
    *history = static_cast<int16_t>(*sine != 0 ? marks | 0x8000 : marks);
    return ryxStsOk;
}
