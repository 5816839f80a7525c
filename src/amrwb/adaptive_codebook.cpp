// SPDX-License-Identifier: BSD-2-Clause
// The adaptive codebook: interpolation of the past excitation, its low-pass and the choice of it, the gain of the vector and
// what it leaves to the fixed codebook (3GPP TS 26.173).
#include "amrwb/fir.h"
#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/convolution.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int taps = 32, centre = 15;
constexpr int sumOfMagnitudes = 35692; // of the taps of a phase, at most
constexpr int vectorLength = subframeLength + 1;

// Sixteen samples at a time: the shortest lag is longer than what one of them sees of the samples behind it and sixteen.
void interpolate(const int16_t *past, const int16_t *phase, int16_t *vector) {
    const FirTaps<taps> fir(phase);
    for (int j = 0; j < subframeLength; j += 16)
        fir.filterSixteen<14>(past + j, vector + j);
    constexpr int last = subframeLength;
    const int32_t sum = wrappedProducts(past + last, phase, taps);
    vector[last] = sat16(wrapAdd32(sum, 1 << 13) >> 14);
}

// The weights make 32768: no sum leaves 32 bits, and the upper limit only rounds to itself.
void lowPass(const int16_t *vector, int16_t *filtered) {
    const Vector sides = simd::words(5898), middle = simd::dwords(16384 << 16 | 20972), one = simd::words(1);
    for (int i = 0; i < subframeLength; i += 8) {
        const Vector before = simd::load(vector + i - 1), now = simd::load(vector + i),
                     after = simd::load(vector + i + 1);
        const Vector front = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(before, after), sides),
                                           _mm_madd_epi16(_mm_unpacklo_epi16(now, one), middle));
        const Vector back = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(before, after), sides),
                                          _mm_madd_epi16(_mm_unpackhi_epi16(now, one), middle));
        simd::store(filtered + i, _mm_packs_epi32(_mm_srai_epi32(front, 15), _mm_srai_epi32(back, 15)));
    }
}

// A vector through the response, its gain, and the target without it.
struct Candidate {
    alignas(16) int16_t filtered[subframeLength];
    alignas(16) int16_t rest[subframeLength];
    int16_t correlations[4]; // energy and its exponent, correlation with the target and its exponent
    int16_t gain;            // Q14

    void measure(const int16_t *target, bool clip) {
        constexpr int16_t largest = 19661, clipped = 15565;
        const Scaled power = dotSquare(filtered, subframeLength);
        const Scaled correlation = dotProduct(target, filtered, subframeLength);
        correlations[0] = power.high();
        correlations[1] = static_cast<int16_t>(power.exponent);
        correlations[2] = correlation.high();
        correlations[3] = static_cast<int16_t>(correlation.exponent);
        gain = 0;
        if (correlations[2] >= 0) {
            const int16_t ratio = div_s(static_cast<int16_t>(correlations[2] >> 1), correlations[0]);
            gain = std::min(shl(ratio, correlation.exponent - power.exponent), largest);
        }
        if (clip) gain = std::min(gain, clipped);
    }
};

// high(2 * (x / 2 - gain * y)), truncated. The gain is at most 19661: half the sum fits 31 bits, and it saturates where the
// recommendation's steps do.
void removeContribution(const int16_t *x, const int16_t *y, int16_t gain, int16_t *rest) {
    const Vector factors = simd::wordPairs(16384, static_cast<int16_t>(-gain));
    for (int i = 0; i < subframeLength; i += 8) {
        const Vector a = simd::load(x + i), b = simd::load(y + i);
        const Vector front = _mm_madd_epi16(_mm_unpacklo_epi16(a, b), factors);
        const Vector back = _mm_madd_epi16(_mm_unpackhi_epi16(a, b), factors);
        simd::store(rest + i, _mm_packs_epi32(_mm_srai_epi32(front, 14), _mm_srai_epi32(back, 14)));
    }
}

// Whether the first vector has more energy than the second one, taken off it term by term.
bool isLonger(const int16_t *x, const int16_t *y) {
    const WatchedSum first = macEnergy(x, subframeLength);
    const uint64_t second = energy(y, subframeLength);
    if (2 * second <= max32) return static_cast<uint64_t>(first.value) > 2 * second;
    int32_t difference = first.value;
    for (int i = 0; i < subframeLength; i++)
        difference = L_msu(difference, y[i], y[i]);
    return difference > 0;
}

} // namespace

ryxStatus ryxsDecodeAdaptiveVector_AMRWB_16s_I_u8(int lag, int fraction, int16_t *srcDst) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (lag < 34 || lag > 231 || fraction < 0 || fraction > 3) return ryxStsBadIndex;
    const int16_t *const past = srcDst - lag - (fraction > 0) - centre;
    const int16_t *const phase = excitationTaps[-fraction & 3];
    interpolate(past, phase, srcDst);
    // Everything that was read, new samples included.
    if (largestMagnitude(past, vectorLength + taps - 1) > largestSafeSample(sumOfMagnitudes)) [[unlikely]]
        for (int j = 0; j < vectorLength; j++)
            srcDst[j] = round(L_shl(macInOrder(past + j, phase, taps).value, 1));
    return ryxStsOk;
}

ryxStatus ryxsAdaptiveLowPass_AMRWB_16s_u8(const int16_t *src, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    lowPass(src, dst);
    return ryxStsOk;
}

ryxStatus ryxsAdaptiveCodebookSelect_AMRWB_16s_u8(const int16_t *target, const int16_t *response, int clip, int mode,
                                                  int shift, int16_t *srcDstVector, int16_t *residual,
                                                  int16_t *codebookTarget, int16_t *filtered, int16_t *lowPassed,
                                                  int16_t *correlations, int16_t *gain, int16_t *select) {
    if (anyNull(target, response, srcDstVector, residual, codebookTarget, filtered, lowPassed, correlations, gain,
                select))
        return ryxStsNullPtr;
    if (speechModeIndex(mode) < 0) return ryxStsBadSize;
    if (shift < -15 || shift > 15) return ryxStsOutOfRange;
    Candidate plain, soft;
    int16_t softVector[subframeLength];
    lowPass(srcDstVector, softVector);
    convolve<subframeLength>(softVector, response, soft.filtered, 0, Rounding::nearest);
    soft.measure(target, clip != 0);
    removeContribution(target, soft.filtered, soft.gain, soft.rest);
    bool isPlain = false;
    if (!isLowRate(mode)) {
        convolve<subframeLength>(srcDstVector, response, plain.filtered, 0, Rounding::nearest);
        plain.measure(target, clip != 0);
        removeContribution(target, plain.filtered, plain.gain, plain.rest);
        isPlain = !isLonger(plain.rest, soft.rest);
    }
    const Candidate &chosen = isPlain ? plain : soft;
    if (!isPlain) std::copy_n(softVector, subframeLength, srcDstVector);
    std::copy_n(chosen.rest, subframeLength, codebookTarget);
    std::copy_n(chosen.filtered, subframeLength, filtered);
    std::copy_n(soft.filtered, subframeLength, lowPassed);
    std::copy_n(chosen.correlations, 4, correlations);
    *gain = chosen.gain;
    *select = isPlain;
    removeContribution(residual, srcDstVector, chosen.gain, residual);
    scaleWords(residual, subframeLength, shift);
    return ryxStsOk;
}
