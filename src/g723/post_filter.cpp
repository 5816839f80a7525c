// SPDX-License-Identifier: BSD-2-Clause
// Post-filters of the decoder of ITU-T G.723.1: pitch, formants and tilt, and the level.
#include "common/checks.h"
#include "frame/implementations.h"
#include "g723/adaptive_codebook.h"
#include "g723/combined_filter.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int headroom = 3;

struct PitchFilter {
    int lag = 0; // negative: back in time
    int16_t gain = 0, scale = max16;
};

// The lag, of seven, with the largest positive correlation; 0 for none. Reach: samples that lie ahead.
int bestLag(const int16_t *src, int centre, int direction, int reach) {
    int32_t largest = 0;
    int best = 0;
    for (int i = centre - 3; i <= centre + 3; i++) {
        if (direction > 0 && i > reach) continue;
        const int32_t correlation = dotProduct(src, src + direction * i, subframeLength);
        if (correlation <= largest) continue;
        largest = correlation;
        best = direction * i;
    }
    return best;
}

// Gain and the factor that keeps the energy, from the energies of the subframe and of the delayed one.
PitchFilter designPitchFilter(int lag, int16_t own, int16_t correlation, int16_t delayed, int16_t weight) {
    PitchFilter filter;
    filter.lag = lag;
    if (L_mult(correlation, correlation) <= L_mult(own, delayed) >> 2) return filter;
    const int16_t gain = correlation >= delayed ? weight : mult(div_s(correlation, delayed), weight);
    const int32_t halved = L_deposit_h(own) >> 1;
    const int32_t sum = L_add(L_mac(halved, correlation, gain), L_mult(delayed, mult(gain, gain)) >> 1);
    const int16_t filtered = round(sum);
    filter.scale = squareRoot(L_deposit_h(quotient(halved, filtered)));
    filter.gain = mult(gain, filter.scale);
    return filter;
}

PitchFilter choosePitchFilter(const int16_t *src, int lag, int reach, int rate) {
    const int backward = bestLag(src, lag, -1, 0), forward = bestLag(src, lag, 1, reach);
    if (backward == 0 && forward == 0) return {};
    int32_t sums[5] = {};
    sums[0] = dotProduct(src, src, subframeLength);
    if (backward != 0) {
        sums[1] = dotProduct(src, src + backward, subframeLength);
        sums[2] = dotProduct(src + backward, src + backward, subframeLength);
    }
    if (forward != 0) {
        sums[3] = dotProduct(src, src + forward, subframeLength);
        sums[4] = dotProduct(src + forward, src + forward, subframeLength);
    }
    const int shift = norm_l(*std::max_element(sums, sums + 5));
    int16_t scaled[5];
    for (int i = 0; i < 5; i++)
        scaled[i] = extract_h(L_shl(sums[i], shift));
    const int16_t weight = rate == ryxG723Rate63 ? 6144 : 8192;
    const int32_t backwardGain = L_mult(mult_r(scaled[1], scaled[1]), scaled[4]);
    const int32_t forwardGain = L_mult(mult_r(scaled[3], scaled[3]), scaled[2]);
    if (forward == 0 || (backward != 0 && backwardGain > forwardGain))
        return designPitchFilter(backward, scaled[0], scaled[1], scaled[2], weight);
    return designPitchFilter(forward, scaled[0], scaled[3], scaled[4], weight);
}

// State of the formant post-filter: two lines of ten words, then the smoothed reflection coefficient of the tilt.
constexpr int tiltPlace = 2 * order;

} // namespace

ryxStatus ryxsLongTermPostFilter_G723_16s_u8(const int16_t *src, const int16_t *normalised, int lag, int subframe,
                                             int rate, int16_t *dst) {
    if (anyNull(src, normalised, dst)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag - 1 || subframe < 0 || subframe >= subframes || !isRate(rate))
        return ryxStsOutOfRange;
    const int reach = frameLength - subframeLength * (subframe + 1);
    const PitchFilter filter = choosePitchFilter(normalised, lag, reach, rate);
    for (int i = 0; i < subframeLength; i++)
        dst[i] = round(L_mac(L_mult(src[i], filter.scale), src[i + filter.lag], filter.gain));
    return ryxStsOk;
}

ryxStatus ryxsShortTermPostFilter_G723_16s_u8(const int16_t *src, const int16_t *lpc, int16_t *dst, int32_t *energy,
                                              int16_t *memory) {
    if (anyNull(src, lpc, dst, energy, memory)) return ryxStsNullPtr;
    int16_t zeros[order], poles[order], scaled[subframeLength];
    for (int i = 0; i < order; i++) {
        zeros[i] = mult_r(lpc[i], postFilterZeros[i]);
        poles[i] = mult_r(lpc[i], postFilterPoles[i]);
    }
    int scale = headroom;
    ryxsAutoScale_16s_u8(src, scaled, subframeLength, &scale);
    const int32_t squares = dotProduct(scaled, scaled, subframeLength);
    const int32_t neighbours = dotProduct(scaled + 1, scaled, subframeLength - 1);
    const int16_t loudness = extract_h(squares);
    int16_t reflection = 0;
    if (loudness != 0) {
        const int16_t ratio = quotient(L_abs(neighbours >> 1), loudness);
        reflection = neighbours < 0 ? negate(ratio) : ratio;
    }
    int16_t &smoothed = memory[tiltPlace];
    smoothed = round(L_mac(L_msu(L_deposit_h(smoothed), smoothed, 8192), reflection, 8192));
    const auto tilt = static_cast<int16_t>(mult(smoothed, -16384) & ~3);

    FilterLine inputs(memory), outputs(memory + order);
    int16_t previous = memory[order];
    for (int i = 0; i < subframeLength; i++) {
        int32_t acc = inputs.subtract(src[i] * 16384, zeros);
        inputs.push(src[i]);
        acc = L_shl(outputs.add(acc, poles), 2);
        const int16_t output = outputs.push(round(acc));
        dst[i] = round(L_mac(acc, previous, tilt));
        previous = output;
    }
    inputs.save(memory);
    outputs.save(memory + order);
    *energy = L_shl(squares, -(2 * scale + 4));
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G723_16s_I_u8(int16_t *srcDst, int32_t energy, int16_t *gain) {
    if (anyNull(srcDst, gain)) return ryxStsNullPtr;
    if (energy < 0) return ryxStsOutOfRange;
    int32_t filtered = 0;
    for (int i = 0; i < subframeLength; i++) {
        const auto quarter = static_cast<int16_t>(srcDst[i] >> 2);
        filtered = L_mac(filtered, quarter, quarter);
    }
    int16_t wanted = 4096;
    if (filtered != 0 && energy != 0) {
        const int filteredShift = norm_l(filtered), energyShift = norm_l(energy);
        const int16_t ratio = quotient(L_shl(energy, energyShift) >> 1, extract_h(L_shl(filtered, filteredShift)));
        const int excess = std::max(0, 6 - (filteredShift - energyShift + 1));
        wanted = squareRoot(L_shr(L_deposit_h(ratio), excess));
    }
    for (int i = 0; i < subframeLength; i++) {
        *gain = round(L_mac(L_msu(L_deposit_h(*gain), *gain, 2048), wanted, 2048));
        srcDst[i] = round(L_shl(L_mult(srcDst[i], add(*gain, *gain >> 4)), 4));
    }
    return ryxStsOk;
}
