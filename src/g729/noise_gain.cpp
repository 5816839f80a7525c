// SPDX-License-Identifier: BSD-2-Clause
// The comfort noise gain of ITU-T G.729 Annex B: quantiser, and what the decoder makes of SID and untransmitted frames.
#include "g729/noise_gain.h"

#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/log2.h"
#include "common/product_sums.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

NoiseGain ryxsc::g729::quantiseNoiseGain(const int16_t *energies, const int16_t *shifts, int count) {
    constexpr int16_t factors[3] = {410, 26, 13}; // 1 / frame length and number of frames
    constexpr int16_t margins[3] = {0, 0, 1};
    int32_t energy = 0;
    int16_t shift = 0;
    if (count == 0) {
        energy = L_shl(energies[0], shifts[0]);
    } else {
        shift = add(*std::min_element(shifts, shifts + count), static_cast<int16_t>(16 - margins[count]));
        for (int i = 0; i < count; i++)
            energy = L_add(energy, L_shl(energies[i], sub(shift, shifts[i])));
    }
    const Log2 level = log2(multiplyShort(energy, factors[count]));
    const int16_t x = add(shl(sub(static_cast<int16_t>(level.exponent), shift), 10),
                          mult_r(static_cast<int16_t>(level.fraction), 1024));
    if (x <= -2721) return {0, -12};
    if (x > 22111) return {31, 66};
    if (x <= 4762) {
        const int16_t index = std::max<int16_t>(mult(add(x, 3401), 24), 1);
        return {index, static_cast<int16_t>(4 * index - 8)};
    }
    const int16_t index = std::max<int16_t>(static_cast<int16_t>((mult(sub(x, 340), 193) >> 2) - 1), 6);
    return {index, static_cast<int16_t>(2 * index + 4)};
}

ryxStatus ryxsDecDTXEnergy_G729B_16s_u8(const int16_t *excitation, int16_t *energy, int16_t *shift) {
    constexpr int frame = 80;
    if (anyNull(excitation, energy, shift)) return ryxStsNullPtr;
    const int32_t sum = macEnergy(excitation, frame).value;
    const int up = norm_l(sum);
    *energy = round(L_shl(sum, up));
    *shift = static_cast<int16_t>(16 - up);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXGain_G729B_16s_u8(int16_t index, int16_t energy, int16_t shift, int afterSpeech, int16_t *gains) {
    if (anyNull(gains)) return ryxStsNullPtr;
    if (index < -1 || index >= static_cast<int16_t>(sidGains.size())) return ryxStsBadIndex;
    if (index >= 0)
        gains[0] = sidGains[static_cast<size_t>(index)];
    else if (afterSpeech != 0) // the descriptor of the pause was lost
        gains[0] = sidGains[static_cast<size_t>(quantiseNoiseGain(&energy, &shift, 0).index)];
    gains[1] = afterSpeech != 0 ? gains[0] : add(mult_r(gains[1], 28672), mult_r(gains[0], 4096));
    return ryxStsOk;
}
