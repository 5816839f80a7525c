// SPDX-License-Identifier: BSD-2-Clause
// Post-filter of ITU-T G.729 Annex A (clause A.4.2): its stages, and all of them for a frame.
#include <algorithm>
#include <array>

#include "common/checks.h"
#include "common/inv_sqrt.h"
#include "common/lp_filters.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "g729/adaptive_vector.h"
#include "g729/gain_recursion.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int order = 10, subframes = 2, frame = subframes * subframe;
constexpr int history = 143;          // of the residual
constexpr int responseLength = 22;    // values of the impulse response that count
constexpr int responseRoom = 24;      // with zeros behind them
constexpr int16_t initialGain = 4096; // Q12

// The sum of the squares of n words, a multiple of 8 up to 48, of at most 14 bits.
uint32_t energyOf14Bits(const int16_t *x, int n) {
    Vector sum = _mm_setzero_si128();
    for (int i = 0; i < n; i += 8)
        sum = _mm_add_epi32(sum, _mm_madd_epi16(simd::load(x + i), simd::load(x + i)));
    return static_cast<uint32_t>(simd::sumOfDwords(sum));
}

// start + 2 * energy, saturating.
int32_t doubled(uint32_t energy, int start = 0) {
    return static_cast<int32_t>(std::min<uint64_t>(2 * uint64_t{energy} + static_cast<uint64_t>(start), max32));
}

// Adds the residual at the delay from lag - 3 to lag + 3 that predicts it best, if it predicts half of its energy.
void longTerm(int lag, const int16_t *residual, int16_t *dst) {
    constexpr int lags = 7;
    // Quarters of what the delays reach, the longest delay first. Behind the last one the sums have no use.
    const int from = lag + 3 > history ? history - 6 : lag - 3;
    alignas(16) int16_t current[subframe], past[subframe + 8];
    for (int n = 0; n < subframe; n += 8) {
        simd::store(current + n, _mm_srai_epi16(simd::load(residual + n), 2));
        simd::store(past + n, _mm_srai_epi16(simd::load(residual - from - 6 + n), 2));
    }
    // Six more; what lies behind them may not have been written yet.
    simd::store(past + subframe, _mm_srli_si128(_mm_srai_epi16(simd::load(residual - from - 8 + subframe), 2), 4));
    const uint32_t ownEnergy = energyOf14Bits(current, subframe);
    int32_t sums[8];
    if (fitsSums(ownEnergy, energyOf14Bits(past, subframe + 8))) [[likely]] {
        correlation::wide<8>(current, past, subframe, sums);
        for (int32_t &sum : sums)
            sum = wrapMul32(sum, 2);
    } else {
        macCorrelations(current, past, subframe, lags, sums, false);
    }
    const IndexedValue found = lastLargest(sums, lags);
    const int delay = from + 6 - found.index;
    const int32_t correlation = std::max(found.value, 0);
    const int32_t delayed = doubled(energyOf14Bits(past + found.index, subframe), 1), own = doubled(ownEnergy, 1);
    const int shift = norm_l(correlation | delayed | own);
    const auto mantissa = [shift](int32_t value) { return round(L_shl(value, shift)); };
    int16_t c = mantissa(correlation), e = mantissa(delayed);

    // Less than half of the energy (3 dB) predicted: nothing is added.
    if (L_sub(L_mult(c, c), L_mult(e, mantissa(own)) >> 1) < 0) {
        std::copy_n(residual, subframe, dst);
        return;
    }
    int16_t weight = 21845, delayedWeight = 10923; // 2/3, 1/3
    if (c <= e) {
        c = static_cast<int16_t>(mult(c, 16384) >> 1);
        e = static_cast<int16_t>(e >> 1);
        const int16_t sum = add(c, e);
        delayedWeight = sum > 0 ? div_s(c, sum) : int16_t{0};
        weight = static_cast<int16_t>(max16 - delayedWeight);
    }
    const simd::Q15Factor ownFactor(simd::words(weight)), factor(simd::words(delayedWeight)); // neither is negative
    for (int n = 0; n < subframe; n += 8)
        simd::store(dst + n,
                    _mm_adds_epi16(ownFactor * simd::load(residual + n), factor * simd::load(residual + n - delay)));
}

// The tilt of an impulse response, Q15; zeros follow its values.
int16_t tiltOf(const int16_t *response) {
    // No sum is larger than the energy.
    const uint64_t sum = energy(response, responseRoom);
    const bool fits = sum < 1 << 30;
    const int16_t r0 = extract_h(fits ? static_cast<int32_t>(2 * sum) : max32);
    const int16_t r1 = extract_h(fits ? 2 * wrappedProducts(response, response + 1, responseLength - 1)
                                      : macInOrder(response, response + 1, responseLength - 1).value);
    const int16_t product = mult(r1, 26214);
    return r1 <= 0 || r0 <= 0 ? int16_t{0} : div_s(std::min(product, r0), r0);
}

// v[n] = x[n] - tilt * x[n - 1], with x[-1] in front.
void compensateTilt(const int16_t *x, int16_t tilt, int16_t *v) {
    const simd::Q15Factor factor(simd::words(tilt)); // not negative
    for (int n = 0; n < subframe; n += 8)
        simd::store(v + n, _mm_subs_epi16(simd::load(x + n), factor * simd::load(x + n - 1)));
}

// 2 * sum of (x[n] >> 2)^2, saturating.
int32_t energyOfQuarter(const int16_t *x) {
    alignas(16) int16_t quarter[subframe];
    for (int n = 0; n < subframe; n += 8)
        simd::store(quarter + n, _mm_srai_epi16(simd::load(x + n), 2));
    return doubled(energyOf14Bits(quarter, subframe));
}

// Brings 40 samples to the level of the reference, eight at a time.
class GainControl {
    // (g * 29491 >> 15) + step; 29491 / 2^15 is 1 - 6554 / 2^16. With a step of 3276 at most no gain leaves 16 bits.
    struct Next {
        Vector steps;
        Vector operator()(Vector g) const {
            return _mm_add_epi16(_mm_mulhi_epi16(g, simd::words(-6554)), _mm_add_epi16(g, steps));
        }
    };

public:
    // A silent signal stays as it is and clears the gain.
    GainControl(const int16_t *reference, const int16_t *src, int16_t gain)
        : GainControl(reference, energyOfQuarter(src), gain) {}

    void apply(const int16_t *src, int16_t *dst) { // hi(L_shl(2 * g * x, 3)) = sat16(g * x >> 12)
        const Vector words = simd::load(src), gains = recursion_.eight();
        simd::store(dst, silent_ ? words : simd::mulShiftSaturated<12>(gains, words));
    }
    int16_t gain() const { return silent_ ? int16_t{0} : recursion_.latest(); }

private:
    GainControl(const int16_t *reference, int32_t energy, int16_t gain)
        : silent_(energy == 0), recursion_(gain, Next{simd::words(silent_ ? int16_t{0} : stepTo(reference, energy))}) {}

    // The root of the ratio of the energies, times 1 - 0.9.
    static int16_t stepTo(const int16_t *reference, int32_t energy) {
        const int32_t in = energyOfQuarter(reference);
        if (in == 0) return 0;
        const int up = norm_l(energy) - 1, upIn = norm_l(in);
        const int16_t quotient = div_s(round(L_shl(energy, up)), round(L_shl(in, upIn)));
        const int32_t ratio = L_shl(L_shl(quotient, 7), upIn - up);
        return mult(round(L_shl(inverseSqrt(ratio), 9)), 3276);
    }

    bool silent_;
    GainRecursion<Next> recursion_;
};

// Powers of a weighting factor as ryxsMulPowerC_NR_16s_Sfs() forms them, the first one's place left out.
constexpr std::array<int16_t, 16> powersOf(int16_t factor) {
    std::array<int16_t, 16> powers{};
    int power = factor;
    for (size_t k = 1; k <= order; k++) {
        powers[k] = static_cast<int16_t>(power);
        power = (power * factor + 0x4000) >> 15;
    }
    return powers;
}
alignas(16) constexpr std::array<int16_t, 16> numeratorPowers = powersOf(18022), denominatorPowers = powersOf(22938);

// lpc[k] * factor^k
void weigh(const int16_t *lpc, const std::array<int16_t, 16> &powers, int16_t *weighted) {
    simd::store(weighted, _mm_mulhrs_epi16(simd::load(lpc), simd::loadAligned(powers.data())));
    simd::store(weighted + 3, _mm_mulhrs_epi16(simd::load(lpc + 3), simd::load(powers.data() + 3)));
    weighted[0] = lpc[0];
}

struct State {
    int16_t residual[history + frame]; // of the frame, behind the past
    int16_t memory[order];             // of the synthesis
    int16_t lastInput;                 // of the tilt compensation
    int16_t gain;
};

// A lag of 0 leaves the long-term post-filter out.
void filterFrame(const int16_t *lpc, const int16_t *lags, const int16_t *synthesis, int16_t *dst, State &state) {
    int16_t numerator[subframes][order + 1], denominator[subframes][order + 1];
    int16_t impulses[subframes][responseRoom] = {}, responses[subframes][responseRoom];
    int16_t *const residual = state.residual + history;
    for (int s = 0; s < subframes; s++) {
        weigh(lpc + (order + 1) * s, numeratorPowers, numerator[s]);
        weigh(lpc + (order + 1) * s, denominatorPowers, denominator[s]);
        std::copy_n(numerator[s], order + 1, impulses[s]);
        residualFilter<order>(numerator[s], synthesis + subframe * s, residual + subframe * s, subframe);
    }
    zeroStateResponses<order>(denominator[0], denominator[1], impulses[0], impulses[1], responses[0], responses[1],
                              responseLength);

    int16_t filtered[1 + frame], sharpened[frame], out[order + frame];
    filtered[0] = state.lastInput;
    std::copy_n(state.memory, order, out);
    for (int s = 0; s < subframes; s++) {
        const int at = subframe * s;
        if (lags[s] != 0)
            longTerm(lags[s], residual + at, filtered + 1 + at);
        else
            std::copy_n(residual + at, subframe, filtered + 1 + at);
        std::fill_n(responses[s] + responseLength, responseRoom - responseLength, int16_t{0});
        compensateTilt(filtered + 1 + at, tiltOf(responses[s]), sharpened + at);
    }
    // The gains of the first subframe are a second chain beside the synthesis of the second one.
    int16_t *const y = out + order;
    const auto synthesise = [&](int s, auto beside) {
        synthesisInPlaceOfHistory<order>(denominator[s], denominator[s][0], sharpened + subframe * s, y + subframe * s,
                                         subframe, 3, beside);
    };
    synthesise(0, NothingBeside());
    GainControl first(synthesis, y, state.gain);
    synthesise(1, [&](int n) { first.apply(y + n, dst + n); });
    GainControl second(synthesis + subframe, y + subframe, first.gain());
    for (int n = subframe; n < frame; n += 8)
        second.apply(y + n, dst + n);
    state.gain = second.gain();
    state.lastInput = filtered[frame];
    std::copy_n(out + frame, order, state.memory);
    std::copy(state.residual + frame, state.residual + history + frame, state.residual);
}

bool isLag(int16_t lag) {
    return lag >= 18 && lag <= 145;
}

} // namespace

ryxStatus ryxsLongTermPostFilter_G729A_16s_u8(int16_t lag, const int16_t *residual, int16_t *dst) {
    if (anyNull(residual, dst)) return ryxStsNullPtr;
    if (!isLag(lag)) return ryxStsOutOfRange;
    longTerm(lag, residual, dst);
    return ryxStsOk;
}

ryxStatus ryxsShortTermPostFilter_G729A_16s_u8(const int16_t *numerator, const int16_t *denominator, const int16_t *src,
                                               int16_t *dst, int16_t *memory) {
    if (anyNull(numerator, denominator, src, dst, memory)) return ryxStsNullPtr;
    int16_t impulse[responseRoom] = {}, response[responseRoom] = {};
    std::copy_n(numerator, order + 1, impulse);
    zeroStateResponse<order>(denominator, impulse, response, responseLength);
    int16_t x[1 + subframe], v[subframe]; // the last sample in front
    x[0] = memory[order];
    std::copy_n(src, subframe, x + 1);
    compensateTilt(x + 1, tiltOf(response), v);
    memory[order] = x[subframe];
    synthesisFilter<order>(denominator, v, dst, subframe, memory, Memory::update);
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G729A_16s_I_u8(const int16_t *reference, int16_t *srcDst, int16_t *gain) {
    if (anyNull(reference, srcDst, gain)) return ryxStsNullPtr;
    GainControl control(reference, srcDst, *gain);
    for (int n = 0; n < subframe; n += 8)
        control.apply(srcDst + n, srcDst + n);
    *gain = control.gain();
    return ryxStsOk;
}

ryxStatus ryxsPostFilterGetStateSize_G729A_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = alignedBlockBytes<State>;
    return ryxStsOk;
}

ryxStatus ryxsPostFilterInit_G729A_16s_u8(PostFilterState_G729A *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    state = State{};
    state.gain = initialGain;
    return ryxStsOk;
}

ryxStatus ryxsPostFilter_G729A_16s_u8(const int16_t *lpc, const int16_t *lags, const int16_t *synthesis, int16_t *dst,
                                      PostFilterState_G729A *block) {
    if (anyNull(lpc, lags, synthesis, dst, block)) return ryxStsNullPtr;
    for (int s = 0; s < subframes; s++)
        if (lags[s] != 0 && !isLag(lags[s])) return ryxStsOutOfRange;
    filterFrame(lpc, lags, synthesis, dst, alignedBlock<State>(block));
    return ryxStsOk;
}
