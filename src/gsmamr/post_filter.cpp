// SPDX-License-Identifier: BSD-2-Clause
// Adaptive post-filter of GSM-AMR (3GPP TS 26.090, clause 6.2.1): formants, tilt compensation, gain control.
#include "common/checks.h"
#include "common/gain_control.h"
#include "common/lp_lanes.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "gsmamr/energy.h"
#include "gsmamr/implementations.h"
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

constexpr int subframes = 4;
constexpr int frameLength = subframes * subframeLength;
constexpr int responseLength = 22;
constexpr int row = 16; // words for a set of coefficients

// Powers of the weights 0.55, 0.7, 0.75, each rounded as ryxsMulPowerC_NR_16s_Sfs() does.
struct Powers {
    alignas(16) int16_t at[row] = {};

    constexpr explicit Powers(int16_t base) {
        int32_t power = base;
        for (int k = 1; k <= lpOrder; k++, power = (power * base + 16384) >> 15)
            at[k] = static_cast<int16_t>(power);
    }
};
struct Weights {
    Powers numerator, denominator;
};
constexpr Weights highRates = {Powers(22938), Powers(24576)}, lowRates = {Powers(18022), Powers(22938)};

// The formant filter of every subframe: A(z / weight), zeros behind the last coefficient.
struct Filters {
    alignas(16) int16_t a[subframes][row];

    Filters(const int16_t *lpc, const Powers &powers) {
        for (int k = 0; k < subframes; k++, lpc += lpOrder + 1) {
            simd::store(a[k], _mm_mulhrs_epi16(simd::load(lpc), simd::loadAligned(powers.at)));
            const simd::Vector last = _mm_srli_si128(simd::load(lpc + 3), 10);
            simd::store(a[k] + 8, _mm_mulhrs_epi16(last, simd::loadAligned(powers.at + 8)));
            a[k][0] = lpc[0];
        }
    }
};

// residual = A(z / numerator) input; ten samples stand in front of the input.
void analyse(const Filters &numerators, const int16_t *input, int16_t *residual) {
    for (int k = 0; k < subframes; k++)
        LpFilter(numerators.a[k]).analyse(input + k * subframeLength, residual + k * subframeLength, subframeLength);
}

int16_t tiltOf(int32_t energy, int32_t neighbours) {
    const int16_t first = extract_h(energy), second = extract_h(neighbours);
    return second <= 0 ? int16_t{0} : div_s(mult(second, 26214), first);
}

// The tilt of a formant filter, from its truncated impulse response.
int16_t tiltOf(const int16_t *numerator, const int16_t *denominator) {
    int16_t taps[responseLength] = {}, signal[lpOrder + responseLength] = {};
    int16_t *const h = signal + lpOrder;
    std::copy_n(numerator, lpOrder + 1, taps);
    LpFilter(denominator).synthesise(taps, h, responseLength);
    return tiltOf(macEnergy(h, responseLength).value, macProducts(h, h + 1, responseLength - 1).value);
}

// The impulse responses of all subframes at once. False where a sum might saturate.
bool findTilts(const Filters &numerators, const Filters &denominators, int16_t (&tilts)[subframes]) {
    constexpr int16_t largest = 8191; // so that the energy fits 31 bits
    LaneSignals<responseLength + 2> taps, h;
    for (int from = 0; from < row; from += 8) {
        simd::Vector columns[4];
        transposeWords({simd::load(numerators.a[0] + from), simd::load(numerators.a[1] + from),
                        simd::load(numerators.a[2] + from), simd::load(numerators.a[3] + from)},
                       columns);
        for (int k = 0; k < 8; k += 2)
            simd::store(taps.at[from + k], columns[k / 2]);
    }
    for (int n = row; n < responseLength; n += 2)
        simd::store(taps.at[n], _mm_setzero_si128());
    if (!SynthesisLanes<lpOrder>(denominators.a[0], row).run(taps, h, responseLength)) return false;

    Range range;
    simd::Vector energies = _mm_setzero_si128(), neighbours = energies, before = energies;
    for (int n = 0; n < responseLength; n += 2) {
        const simd::Vector two = simd::load(h.at[n]), second = _mm_unpackhi_epi64(two, two);
        range.add(two);
        const simd::Vector pair = _mm_unpacklo_epi16(two, second);
        energies = _mm_add_epi32(energies, _mm_madd_epi16(pair, pair));
        neighbours = _mm_add_epi32(neighbours, _mm_madd_epi16(pair, _mm_unpacklo_epi16(before, two)));
        before = second;
    }
    alignas(16) int32_t sums[2][subframes];
    simd::store(sums[0], energies);
    simd::store(sums[1], neighbours);
    if (!range.isWithin(largest)) return false;
    for (int k = 0; k < subframes; k++) {
        if (sums[0][k] >= 1 << 30) return false;
        tilts[k] = tiltOf(2 * sums[0][k], 2 * sums[1][k]);
    }
    return true;
}

// dst[n] = residual[n] - tilt * residual[n - 1]; one sample stands in front. The tilts are not negative.
void compensateTilt(const int16_t *residual, const int16_t (&tilts)[subframes], int16_t *dst) {
    for (int k = 0; k < subframes; k++) {
        const simd::Vector factor = simd::words(tilts[k]);
        for (int n = k * subframeLength; n < (k + 1) * subframeLength; n += 8) {
            const simd::Vector part = simd::mulShift<15>(simd::load(residual + n - 1), factor);
            simd::store(dst + n, _mm_subs_epi16(simd::load(residual + n), part));
        }
    }
}

// The residual through the denominators, with the gain control of each subframe beside the next one's filter. Ten samples
// stand in front of `filtered`.
void synthesise(const Filters &denominators, const int16_t *residual, const int16_t *input, int16_t *filtered,
                int16_t *dst, int16_t &gain) {
    const auto filter = [&](int k, auto beside) {
        const int start = k * subframeLength;
        synthesisInPlaceOfHistory<lpOrder>(denominators.a[k], denominators.a[k][0], residual + start, filtered + start,
                                           subframeLength, 3, beside);
    };
    const auto controlOf = [&](int k) {
        const int start = k * subframeLength;
        return GainControl<>(levelEnergy(filtered + start), levelEnergy(input + start), gain);
    };
    const auto level = [&](GainControl<> &control, int n) {
        simd::store(dst + n, control.apply(control.eightGains(), simd::load(filtered + n)));
    };
    filter(0, NothingBeside());
    for (int k = 1; k < subframes; k++) {
        GainControl<> control = controlOf(k - 1);
        filter(k, [&](int n, int pair) {
            if (pair == 0) level(control, (k - 1) * subframeLength + n);
        });
        gain = control.gain();
    }
    GainControl<> control = controlOf(subframes - 1);
    for (int n = frameLength - subframeLength; n < frameLength; n += 8)
        level(control, n);
    gain = control.gain();
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
    const Weights &weights = of >= Rate::r1020 ? highRates : lowRates;
    const Filters numerators(lpc, weights.numerator), denominators(lpc, weights.denominator);
    int16_t input[lpOrder + frameLength], output[lpOrder + frameLength], signal[8 + frameLength], tilted[frameLength];
    int16_t *const residual = signal + 8;
    std::copy_n(memory.speech, lpOrder, input);
    std::copy_n(speech, frameLength, input + lpOrder);
    std::copy_n(memory.output, lpOrder, output);
    analyse(numerators, input + lpOrder, residual);
    residual[-1] = memory.residual;
    memory.residual = residual[frameLength - 1];
    int16_t tilts[subframes];
    if (!findTilts(numerators, denominators, tilts)) [[unlikely]]
        for (int k = 0; k < subframes; k++)
            tilts[k] = tiltOf(numerators.a[k], denominators.a[k]);
    compensateTilt(residual, tilts, tilted);
    synthesise(denominators, tilted, input + lpOrder, output + lpOrder, speech, memory.gain);
    std::copy_n(input + frameLength, lpOrder, memory.speech);
    std::copy_n(output + frameLength, lpOrder, memory.output);
    saveBlock(state, memory);
    return ryxStsOk;
}
