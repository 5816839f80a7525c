// SPDX-License-Identifier: BSD-2-Clause
// Background noise in the GSM-AMR decoder (3GPP TS 26.073): its detection, and the control of the excitation in it.
#include <algorithm>

#include "common/checks.h"
#include "common/state_block.h"
#include "common/sum_of_squares.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/energy.h"
#include "gsmamr/implementations.h"
#include "gsmamr/quality.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

struct BackgroundState_GSMAMR {
    int16_t energies[60]; // of frames, oldest first
    int16_t hangover;
};

namespace {

using State = BackgroundState_GSMAMR;

constexpr int frameLength = 160;
constexpr int kept = 60;

int16_t frameEnergy(const int16_t *speech) {
    return extract_h(L_shl(accumulatedEnergy<frameLength>(speech), 2));
}

// Of words, eight at a time.
class Extremes {
public:
    explicit Extremes(const int16_t *x) : low_(simd::load(x)), high_(low_) {}

    void add(const int16_t *x) {
        low_ = _mm_min_epi16(low_, simd::load(x));
        high_ = _mm_max_epi16(high_, simd::load(x));
    }
    int16_t lowest() const {
        return extremeOf(low_, [](simd::Vector x, simd::Vector y) { return _mm_min_epi16(x, y); });
    }
    int16_t highest() const {
        return extremeOf(high_, [](simd::Vector x, simd::Vector y) { return _mm_max_epi16(x, y); });
    }

private:
    template <class Extreme> static int16_t extremeOf(simd::Vector x, Extreme extreme) {
        x = extreme(x, _mm_unpackhi_epi64(x, x));
        x = extreme(x, _mm_shuffle_epi32(x, _MM_SHUFFLE(2, 3, 0, 1)));
        x = extreme(x, _mm_shufflelo_epi16(x, _MM_SHUFFLE(2, 3, 0, 1)));
        return extract_l(_mm_cvtsi128_si32(x));
    }

    simd::Vector low_, high_;
};

bool isNoise(int16_t energy, const State &state) {
    constexpr int16_t least = 20, loudest = 17578, quiet = 1953;
    // 0..39, 40..55, 56..59
    Extremes early(state.energies), late(state.energies + 40);
    for (int k = 8; k < 40; k += 8)
        early.add(state.energies + k);
    late.add(state.energies + 48);
    const int16_t highest = std::max(early.highest(), late.highest());
    late.add(state.energies + kept - 8);
    const int16_t floor = shl(std::min(early.lowest(), late.lowest()), 4), highestOfLate = late.highest();
    return highest > least && energy > least && energy < loudest && (energy < floor || highestOfLate < quiet);
}

// Whether the last pitch gains are those of voiced speech; the longer the noise, the harder.
bool wasVoiced(const int16_t *pitchGains, int16_t hangover) {
    const int16_t limit = hangover > 15 ? 16383 : hangover > 8 ? 15565 : 13926;
    return (hangover > 20 ? median<9>(pitchGains) : median<5>(pitchGains + 4)) > limit;
}

int16_t excitationEnergy(const int16_t *excitation) {
    const Root root = squareRoot(saturatedEnergy(0, excitation) >> 1);
    return extract_l(L_shr(root.mantissa, (root.exponent >> 1) + 15) >> 2);
}

// Draws the excitation of lost or doubtful frames towards the energy of those before.
void raise(int16_t *excitation, int16_t energy, const int16_t *history, int voicedHangover, bool prevBad,
           bool careful) {
    int16_t target = median<9>(history);
    if (energy <= 5 || energy >= target) return;
    const auto mean = static_cast<int16_t>((history[7] + history[8]) >> 1);
    const int16_t recent = std::min(mean, history[8]);
    int16_t limit = shl(recent, 2);
    if (voicedHangover < 7 || prevBad) limit = sub(limit, recent);
    target = std::min(target, limit);
    const int shift = norm_s(energy);
    const int32_t ratio = L_shr(L_mult(target, div_s(16383, shl(energy, shift))), 20 - shift);
    auto scale = static_cast<int16_t>(std::min<int32_t>(ratio, max16));
    if (careful && scale > 3072) scale = 3072;
    for (int n = 0; n < subframeLength; n++)
        excitation[n] = extract_l(L_shr(L_mult(scale, excitation[n]), 11));
}

} // namespace

ryxStatus ryxsBackgroundDetectGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsBackgroundDetectInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, State{});
    return ryxStsOk;
}

ryxStatus ryxsBackgroundDetect_GSMAMR_16s_u8(const int16_t *speech, const int16_t *pitchGains, int16_t *voicedHangover,
                                             int16_t *background, State *state) {
    if (anyNull(speech, pitchGains, voicedHangover, background, state)) return ryxStsNullPtr;
    State memory = loadBlock<State>(state);
    const int16_t energy = frameEnergy(speech);
    memory.hangover = isNoise(energy, memory) ? std::min(add(memory.hangover, 1), int16_t{30}) : int16_t{0};
    pushBack<kept>(memory.energies, energy);
    *voicedHangover =
        wasVoiced(pitchGains, memory.hangover) ? int16_t{0} : std::min(add(*voicedHangover, 1), int16_t{10});
    *background = memory.hangover > 1;
    saveBlock(state, memory);
    return ryxStsOk;
}

ryxStatus ryxsExcitationControl_GSMAMR_16s_I_u8(int16_t *excitation, int quality, int background, int voicedHangover,
                                                int lossState, int16_t *energies, int rate) {
    if (anyNull(excitation, energies)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    const int16_t energy = excitationEnergy(excitation);
    const bool bad = (quality & ryxGSMAMRBadFrame) != 0, noise = background != 0;
    if (isLow(of) && voicedHangover > 5 && noise && lossState < 4 && isUnsure(quality))
        raise(excitation, energy, energies, voicedHangover, (quality & ryxGSMAMRPrevBadFrame) != 0,
              (quality & ryxGSMAMRDegradedFrame) != 0 && !bad);
    if (!(noise && isLost(quality) && lossState < 4)) pushBack<9>(energies, energy);
    return ryxStsOk;
}
