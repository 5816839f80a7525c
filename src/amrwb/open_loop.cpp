// SPDX-License-Identifier: BSD-2-Clause
// Open-loop pitch search on weighted speech at 6.4 kHz, with its memory of median lags (3GPP TS 26.173).
#include <cstdlib>
#include <cstring>

#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/state_block.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int shortestLag = 18, longestLag = 115;
constexpr int decimatedLength = frameLength / 2;
constexpr int oldLags = 5;
constexpr int16_t startLag = 40;

struct State {
    int16_t past[longestLag]; // weighted speech
    int16_t pastHighPassed[longestLag];
    int32_t outputs[3]; // of the high-pass filter, the newest first
    int16_t inputs[3];
    int16_t lags[oldLags]; // of voiced searches, the newest first
    int16_t medianLag;
    int16_t weight; // how much the median lag is worth, Q15
    int16_t followsMedian;
};

constexpr int16_t outputFactors[3] = {21663, -19258, 5734}, inputFactors[4] = {-3432, 10280, -10280, 3432};

// Third order; the outputs in double precision.
void highPassSaturating(State &state, const int16_t *src, int16_t *dst, int len) {
    for (int i = 0; i < len; i++) {
        int32_t sum = 0x4000;
        for (int k = 0; k < 3; k++)
            sum = rarelySaturatingAdd(sum, 2 * lowPart(state.outputs[k]) * outputFactors[k]);
        sum >>= 15;
        for (int k = 0; k < 3; k++)
            sum = rarelySaturatingAdd(sum, 2 * highPart(state.outputs[k]) * outputFactors[k]);
        sum = rarelySaturatingAdd(sum, 2 * src[i] * inputFactors[0]);
        for (int k = 0; k < 3; k++)
            sum = rarelySaturatingAdd(sum, 2 * state.inputs[k] * inputFactors[k + 1]);
        sum = L_shl(sum, 2);
        state.outputs[2] = state.outputs[1];
        state.outputs[1] = state.outputs[0];
        state.outputs[0] = clearBit0(sum);
        state.inputs[2] = state.inputs[1];
        state.inputs[1] = state.inputs[0];
        state.inputs[0] = src[i];
        dst[i] = round(L_shl(sum, 1));
    }
}

// The same with the outputs in one piece, a quarter t of each: t[n] = ((2^12 + sum of a t[n - k]) >> 13) + inputs. False when
// something may saturate; then nothing counts.
bool highPassBounded(State &state, const int16_t *src, int16_t *dst, int len) {
    // Outputs below 2^28 and inputs below 2^13 in magnitude keep all sums within 31 bits:
    // 2^28 * (21663 + 19258 + 5734) / 2^15 and 2^14 * 27424.
    constexpr int64_t limit = 1 << 26;
    constexpr int largestInput = 1 << 13;
    const auto isBeyond = [](int64_t t) { return static_cast<uint64_t>(t + limit) > uint64_t{2 * limit}; };
    int64_t t1 = state.outputs[0] >> 2, t2 = state.outputs[1] >> 2, t3 = state.outputs[2] >> 2;
    int x1 = state.inputs[0], x2 = state.inputs[1], x3 = state.inputs[2];
    bool mayFail = ((state.outputs[0] | state.outputs[1] | state.outputs[2]) & 3) != 0 || isBeyond(t1) ||
                   isBeyond(t2) || isBeyond(t3) ||
                   std::max({std::abs(x1), std::abs(x2), std::abs(x3)}) > largestInput ||
                   largestMagnitude(src, len) > largestInput;
    for (int i = 0; i < len; i++) {
        const int x0 = src[i];
        const int64_t inputs = 2 * (3432 * (x3 - x0) + 10280 * (x1 - x2));
        const int64_t known = inputs * (1 << 13) + (1 << 12) + t3 * outputFactors[2] + t2 * outputFactors[1];
        const int64_t t = (known + t1 * outputFactors[0]) >> 13;
        mayFail |= isBeyond(t);
        dst[i] = static_cast<int16_t>((t + (1 << 12)) >> 13);
        t3 = t2;
        t2 = t1;
        t1 = t;
        x3 = x2;
        x2 = x1;
        x1 = x0;
    }
    if (mayFail) return false;
    state.outputs[0] = static_cast<int32_t>(4 * t1);
    state.outputs[1] = static_cast<int32_t>(4 * t2);
    state.outputs[2] = static_cast<int32_t>(4 * t3);
    state.inputs[0] = static_cast<int16_t>(x1);
    state.inputs[1] = static_cast<int16_t>(x2);
    state.inputs[2] = static_cast<int16_t>(x3);
    return true;
}

// Four correlations, which are even, by weights: multiplyShort() / 2.
Vector weighted(Vector correlations, const int16_t *weights) {
    const Vector words = simd::load64(weights), zero = _mm_setzero_si128();
    return lanes::halfProduct(correlations, {_mm_unpacklo_epi16(zero, words), _mm_unpacklo_epi16(words, zero)});
}

// The lag of the largest weighted correlation, of equal ones the smallest.
int bestLag(const State &state, const int16_t *speech, int len) {
    constexpr int lags = longestLag - shortestLag + 1, padded = (lags + 3) / 4 * 4;
    alignas(16) int32_t correlations[padded] = {}; // the longest lag first
    macCorrelations(speech, speech - longestLag, len, lags, correlations);
    const int16_t *const aroundMedian = fallingLagWeights + state.medianLag - 15;
    for (int k = 0; k < lags; k += 4) {
        Vector r = simd::loadAligned(correlations + k);
        r = weighted(r, fallingLagWeights + k);
        r = _mm_add_epi32(r, r);
        if (state.followsMedian != 0) {
            r = weighted(r, aroundMedian + k);
            r = _mm_add_epi32(r, r);
        }
        simd::store(correlations + k, r);
    }
    return longestLag - lastLargest(correlations, lags).index;
}

// Of the high-passed speech against itself a lag earlier, Q15.
int16_t normalisedCorrelation(const int16_t *speech, int lag, int len) {
    const Scaled product = normalised(macProducts(speech, speech - lag, len).value);
    const Scaled past = dotSquare(speech - lag, len), present = dotSquare(speech, len);
    const int32_t energies = L_mult(round(past.mantissa), round(present.mantissa));
    const int n = norm_l(energies);
    const Scaled root = inverseRoot({L_shl(energies, n), 2 + past.exponent + present.exponent - n});
    const int32_t ratio = L_mult(round(product.mantissa), round(root.mantissa));
    return round(L_shl(ratio, 1 + product.exponent + root.exponent));
}

void rememberLag(State &state, int lag) {
    std::copy_backward(state.lags, state.lags + oldLags - 1, state.lags + oldLags);
    state.lags[0] = static_cast<int16_t>(lag);
    int16_t sorted[oldLags];
    std::copy_n(state.lags, oldLags, sorted);
    std::nth_element(sorted, sorted + oldLags / 2, sorted + oldLags);
    state.medianLag = sorted[oldLags / 2];
}

// speech[-115..len-1] and highPassed[-115..-1] are known.
int search(State &state, const int16_t *speech, int16_t *highPassed, int len, int16_t &toneFlag) {
    constexpr int16_t voicedGain = 19661, toneGain = 21298;
    const int lag = bestLag(state, speech, len);
    if (!highPassBounded(state, speech, highPassed, len)) highPassSaturating(state, speech, highPassed, len);
    const int16_t gain = normalisedCorrelation(highPassed, lag, len);
    if (gain > voicedGain) {
        rememberLag(state, lag);
        state.weight = max16;
    } else {
        state.weight = mult(state.weight, 29491);
    }
    state.followsMedian = state.weight >= 26214;
    toneFlag = static_cast<int16_t>(toneFlag >> 1);
    if (gain > toneGain) toneFlag = static_cast<int16_t>(toneFlag | 0x4000);
    return lag;
}

// The history follows the scale of the new frame.
void rescale(State &state, int exponent) {
    scaleWords(state.past, longestLag, exponent);
    scaleWords(state.pastHighPassed, longestLag, exponent);
    scaleWords(state.inputs, 3, exponent);
    for (int32_t &output : state.outputs)
        output = clearBit0(L_shl(output, exponent));
}

} // namespace

ryxStatus ryxsOpenLoopDownsample_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *memory, int16_t *scaling,
                                              int change, int16_t *historyExponent) {
    if (anyNull(src, dst, memory, scaling, historyExponent)) return ryxStsNullPtr;
    constexpr int16_t taps[5] = {4260, 7536, 9175, 7536, 4260}; // 32767 in all: nothing saturates
    const auto largest = static_cast<int16_t>(std::min(largestMagnitude(src, frameLength), int{max16}));
    const int shift = std::min(norm_s(std::max(largest, scaling[0])) - 3, 0);
    int16_t buffer[3 + frameLength];
    std::copy_n(memory, 3, buffer);
    std::copy_n(src, frameLength, buffer + 3);
    for (int j = 0; j < decimatedLength; j++) {
        int32_t sum = 0x4000;
        for (int k = 0; k < 5; k++)
            sum += buffer[2 * j + k] * taps[k];
        dst[j] = scaled(static_cast<int16_t>(sum >> 15), shift);
    }
    std::copy_n(src + frameLength - 3, 3, memory);
    *historyExponent = static_cast<int16_t>(change + shift - scaling[1]);
    scaling[0] = largest;
    scaling[1] = static_cast<int16_t>(shift);
    return ryxStsOk;
}

ryxStatus ryxsOpenLoopPitchSearchGetStateSize_AMRWB_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsOpenLoopPitchSearchInit_AMRWB_16s_u8(OpenLoopPitchState_AMRWB *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state = {};
    std::fill_n(state.lags, oldLags, startLag);
    state.medianLag = startLag;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsOpenLoopPitchSearch_AMRWB_16s_u8(const int16_t *src, int searches, int historyExponent, int16_t *lags,
                                               int16_t *toneFlag, OpenLoopPitchState_AMRWB *block) {
    if (anyNull(src, lags, toneFlag, block)) return ryxStsNullPtr;
    if (searches != 1 && searches != 2) return ryxStsOutOfRange;
    State state = loadBlock<State>(block);
    rescale(state, std::clamp(historyExponent, -31, 31));
    int16_t speech[longestLag + decimatedLength], highPassed[longestLag + decimatedLength];
    std::copy_n(state.past, longestLag, speech);
    std::copy_n(src, decimatedLength, speech + longestLag);
    std::copy_n(state.pastHighPassed, longestLag, highPassed);
    const int len = decimatedLength / searches;
    for (int k = 0; k < searches; k++) {
        const int start = longestLag + k * len;
        lags[k] = static_cast<int16_t>(2 * search(state, speech + start, highPassed + start, len, *toneFlag));
    }
    std::copy_n(speech + decimatedLength, longestLag, state.past);
    std::copy_n(highPassed + decimatedLength, longestLag, state.pastHighPassed);
    saveBlock(block, state);
    return ryxStsOk;
}
