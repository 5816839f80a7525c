// SPDX-License-Identifier: BSD-2-Clause
// Gains of the comfort noise of ITU-T G.723.1 Annex A.
#include "g723/sid_gain.h"

#include "common/checks.h"
#include "g723/implementations.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

struct Segment {
    int16_t base;
    int bits; // half of its gains; the rounds of the search

    int step() const { return bits == 4 ? 3 : base == 0 ? 1 : 2; }
    int32_t energy(int number) const {
        const auto gain = static_cast<int16_t>(base + (number << step()));
        return L_mult(gain, gain);
    }
};
constexpr Segment segments[3] = {{0, 3}, {32, 3}, {96, 4}};
constexpr int32_t secondSegment = 2048, thirdSegment = 18432, loudestEnergy = 231233;

} // namespace

namespace ryxsc::g723 {

int sidGainIndex(int32_t energy) {
    if (energy >= loudestEnergy) return 63;
    const int number = energy >= thirdSegment ? 2 : energy >= secondSegment ? 1 : 0;
    const Segment &segment = segments[number];
    int gain = 1 << segment.bits;
    for (int step = gain >> 1; step > 0; step >>= 1)
        gain += energy >= segment.energy(gain) ? step : -step;
    // The neighbour on the other side of the energy may be closer; halfway up counts for the upper one.
    const int32_t above = L_sub(segment.energy(gain), energy);
    if (above <= 0) {
        const int32_t further = L_sub(energy, segment.energy(gain + 1));
        return 16 * number + (above > further ? gain : gain + 1);
    }
    const int32_t further = L_sub(energy, segment.energy(gain - 1));
    return 16 * number + (above < further ? gain : gain - 1);
}

int16_t sidGain(int index) {
    const int number = std::min(index >> 4, 2);
    return static_cast<int16_t>(32 * (segments[number].base + ((index - 16 * number) << segments[number].step())));
}

} // namespace ryxsc::g723

ryxStatus ryxsSIDGainDecode_G723_16s_u8(int index, int16_t *gain) {
    if (anyNull(gain)) return ryxStsNullPtr;
    if (index < 0 || index > 63) return ryxStsBadIndex;
    *gain = sidGain(index);
    return ryxStsOk;
}

ryxStatus ryxsSIDGainEstimate_G723_16s_u8(int16_t energy, int scale, int16_t *gain) {
    if (anyNull(gain)) return ryxStsNullPtr;
    if (scale < -16 || scale > 16) return ryxStsOutOfRange;
    *gain = sidGain(sidGainIndex(g723::scale(L_shl(energy, 16 - 2 * scale), energyFactors[0])));
    return ryxStsOk;
}

ryxStatus ryxsComfortNoiseGain_G723_16s_I_u8(int16_t sidGain, int afterSpeech, int16_t *gain) {
    if (anyNull(gain)) return ryxStsNullPtr;
    *gain = afterSpeech != 0 ? sidGain : extract_h(L_mac(L_mult(*gain, 28672), sidGain, 4096));
    return ryxStsOk;
}
