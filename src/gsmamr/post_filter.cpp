// SPDX-License-Identifier: BSD-2-Clause
// Adaptive post-filter of GSM-AMR (3GPP TS 26.090, clause 6.2.1): formants, tilt compensation, gain control.
#include "common/checks.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "frame/implementations.h"
#include "gsmamr/gain_control.h"
#include "gsmamr/lp_filter.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

struct PostFilterState_GSMAMR {
    int16_t speech[lpOrder]; // before the filter, oldest first
    int16_t output[lpOrder]; // before the gain control
    int16_t residual;        // last one, before the tilt compensation
    int16_t gain;            // Q12
};

namespace {

using State = PostFilterState_GSMAMR;

constexpr int frameLength = 160;
constexpr int responseLength = 22;

struct Weights {
    int16_t numerator, denominator;
};
constexpr Weights weightsOf(Rate rate) {
    return rate >= Rate::r1020 ? Weights{22938, 24576} : Weights{18022, 22938};
}

// The tilt of the formant filter, from its truncated impulse response.
int16_t tiltOf(const int16_t *numerator, const LpFilter &denominator) {
    int16_t taps[responseLength] = {}, signal[lpOrder + responseLength] = {};
    int16_t *const h = signal + lpOrder;
    std::copy_n(numerator, lpOrder + 1, taps);
    denominator.synthesise(taps, h, responseLength);
    const int32_t energy = macEnergy(h, responseLength).value;
    const int32_t neighbours = macProducts(h, h + 1, responseLength - 1).value;
    const int16_t first = extract_h(energy), second = extract_h(neighbours);
    return second <= 0 ? int16_t{0} : div_s(mult(second, 26214), first);
}

// residual[n] -= tilt * residual[n - 1]; one sample stands in front. The tilt is not negative.
void compensateTilt(int16_t *residual, int16_t tilt) {
    const simd::Vector factor = simd::words(tilt);
    for (int n = subframeLength - 8; n >= 0; n -= 8) {
        const simd::Vector part = simd::mulShift<15>(simd::load(residual + n - 1), factor);
        simd::store(residual + n, _mm_subs_epi16(simd::load(residual + n), part));
    }
}

// Brings the output to the level of the input, from sample to sample more. With gains of 0..32767 and steps of 0..3275
// nothing saturates in the recursion: 29490 + 3275 < 32768.
void controlGain(const int16_t *input, int16_t *output, int16_t &gain) {
    const int32_t energy = levelEnergy(output);
    if (energy == 0) {
        gain = 0;
        return;
    }
    const int step = mult(levelRatio(energy, levelEnergy(input)), 3276);
    int16_t gains[subframeLength];
    int now = gain;
    for (int16_t &each : gains) {
        now = ((now * 29491) >> 15) + step;
        each = static_cast<int16_t>(now);
    }
    gain = gains[subframeLength - 1];
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(output + n, simd::mulShiftSaturated<12>(simd::load(output + n), simd::load(gains + n)));
}

} // namespace

ryxStatus ryxsPostFilterGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsPostFilterInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    State start = {};
    start.gain = 4096;
    saveBlock(state, start);
    return ryxStsOk;
}

ryxStatus ryxsPostFilter_GSMAMR_16s_I_u8(int16_t *speech, const int16_t *lpc, int rate, State *state) {
    if (anyNull(speech, lpc, state)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    State memory = loadBlock<State>(state);
    const Weights weights = weightsOf(of);
    int16_t input[lpOrder + frameLength], output[lpOrder + frameLength];
    std::copy_n(memory.speech, lpOrder, input);
    std::copy_n(speech, frameLength, input + lpOrder);
    std::copy_n(memory.output, lpOrder, output);
    for (int start = 0; start < frameLength; start += subframeLength, lpc += lpOrder + 1) {
        int16_t numerator[lpOrder + 1], denominator[lpOrder + 1], signal[8 + subframeLength];
        ryxsMulPowerC_NR_16s_Sfs_u8(lpc, weights.numerator, numerator, lpOrder + 1, 15);
        ryxsMulPowerC_NR_16s_Sfs_u8(lpc, weights.denominator, denominator, lpOrder + 1, 15);
        const LpFilter filter(denominator);
        const int16_t *const subframe = input + lpOrder + start;
        int16_t *const residual = signal + 8;
        LpFilter(numerator).analyse(subframe, residual, subframeLength);
        residual[-1] = memory.residual;
        memory.residual = residual[subframeLength - 1];
        compensateTilt(residual, tiltOf(numerator, filter));
        int16_t *const filtered = output + lpOrder + start;
        filter.synthesise(residual, filtered, subframeLength);
        std::copy_n(filtered, subframeLength, speech + start);
        controlGain(subframe, speech + start, memory.gain);
    }
    std::copy_n(input + frameLength, lpOrder, memory.speech);
    std::copy_n(output + frameLength, lpOrder, memory.output);
    saveBlock(state, memory);
    return ryxStsOk;
}
