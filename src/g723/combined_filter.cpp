// SPDX-License-Identifier: BSD-2-Clause
// The combined filter of the encoder of ITU-T G.723.1: its impulse response, what it still rings with, and its run over
// the excitation that was chosen.
#include "g723/combined_filter.h"

#include "common/checks.h"
#include "g723/implementations.h"
#include "g723/line_filters.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

// Synthesis and formant weighting. The weighting's zeros take the rounded output of the synthesis from their line but its
// full sum as their input, so that with the taps of both in one,
//     S = input + sum of (lpc[j] - zeros[j]) * synthesised[n - 1 - j].
class WeightedSynthesis {
public:
    Line synthesised, weighted;

    WeightedSynthesis(const int16_t *lpc, const int16_t *weights)
        : lpc_(lpc), zeros_(weights), poles_(weights + order) {}
    WeightedSynthesis(const int16_t *lpc, const int16_t *weights, const int16_t *memory)
        : synthesised(memory), weighted(memory + order), lpc_(lpc), zeros_(weights), poles_(weights + order) {}

    // src: excitation, of which `scale` bits make the input; doubling: the sums between zeros and poles are doubled once.
    void run(const Line &src, int scale, int doubling) {
        if (runOnVectors(src.begin(), scale, doubling)) {
            const int64_t zeros = int64_t{synthesised.peak()} * (sumOfMagnitudes(lpc_) + sumOfMagnitudes(zeros_)) +
                                  (int64_t{src.peak()} << scale);
            const int64_t most = (zeros << doubling) + int64_t{weighted.peak()} * sumOfMagnitudes(poles_);
            if (most < 1 << 30) [[likely]]
                return;
        }
        runInOrder(src.begin(), scale, doubling);
    }

private:
    bool runOnVectors(const int16_t *x, int scale, int doubling) {
        int16_t both[order];
        if (!hasNegative(lpc_) || !hasNegative(poles_)) return false;
        for (int j = 0; j < order; j++) {
            both[j] = sub(lpc_[j], zeros_[j]);
            if (both[j] != lpc_[j] - zeros_[j]) return false;
        }
        const auto input = [=](int n) { return scaled(x + n, scale); };
        recurse(lpc_, synthesised, input);
        const Taps taps(both);
        const auto zeros = [&](int n) {
            const simd::Dwords sums = input(n) + taps(synthesised.begin() + n);
            return doubling != 0 ? sums + sums : sums;
        };
        recurse(poles_, weighted, zeros);
        return true;
    }

    void runInOrder(const int16_t *x, int scale, int doubling) {
        int16_t *s = synthesised.begin(), *w = weighted.begin();
        for (int n = 0; n < subframeLength; n++) {
            int32_t acc = addTaps(x[n] * (2 << scale), lpc_, s + n);
            s[n] = filterOutput(acc);
            acc = L_shl(subtractTaps(acc, zeros_, s + n), doubling);
            w[n] = filterOutput(addTaps(acc, poles_, w + n));
        }
    }

    const int16_t *lpc_, *zeros_, *poles_;
};

constexpr int excitationScale = 12; // half the scale of the coefficients

} // namespace

ryxStatus ryxsImpulseResponse_G723_16s_u8(const int16_t *lpc, const int16_t *weights, int lag, int16_t gain,
                                          int16_t *impulse) {
    if (anyNull(lpc, weights, impulse)) return ryxStsNullPtr;
    if (!isHarmonicLag(lag)) return ryxStsOutOfRange;
    WeightedSynthesis filter(lpc, weights);
    Line pulse;
    *pulse.begin() = 8192;
    filter.run(pulse, excitationScale, 1);
    int16_t line[historyLength + subframeLength] = {};
    int16_t *response = line + historyLength;
    std::copy_n(filter.weighted.begin(), subframeLength, response);
    if (gain == min16)
        shapeHarmonicsInOrder(response, response - lag, gain, impulse);
    else
        shapeHarmonics(response, response - lag, gain, impulse);
    return ryxStsOk;
}

ryxStatus ryxsTarget_G723_16s_I_u8(int16_t *srcDst, const int16_t *lpc, const int16_t *weights, int lag, int16_t gain,
                                   const int16_t *memory, const int16_t *history) {
    if (anyNull(srcDst, lpc, weights, memory, history)) return ryxStsNullPtr;
    if (!isHarmonicLag(lag)) return ryxStsOutOfRange;
    WeightedSynthesis filter(lpc, weights, memory);
    filter.run(Line(), excitationScale, 0);
    int16_t line[historyLength + subframeLength];
    std::copy_n(history, historyLength, line);
    int16_t *ringing = line + historyLength;
    std::copy_n(filter.weighted.begin(), subframeLength, ringing);
    const int16_t *delayed = ringing - lag;
    if (gain == min16) {
        for (int n = 0; n < subframeLength; n++)
            srcDst[n] = round(L_mac(L_deposit_h(sub(srcDst[n], ringing[n])), gain, delayed[n]));
        return ryxStsOk;
    }
    // As in shapeHarmonics().
    const simd::Vector factor = simd::words(gain);
    const auto remove = [=](simd::Vector target, simd::Vector now, simd::Vector then) {
        return _mm_adds_epi16(_mm_subs_epi16(target, now), _mm_mulhrs_epi16(factor, then));
    };
    mapWords(srcDst, subframeLength, remove, srcDst, ringing, delayed);
    return ryxStsOk;
}

ryxStatus ryxsWeightedSynthesisFilter_G723_16s_u8(const int16_t *src, const int16_t *lpc, const int16_t *weights,
                                                  int16_t *dst, int16_t *memory) {
    if (anyNull(src, lpc, weights, dst, memory)) return ryxStsNullPtr;
    WeightedSynthesis filter(lpc, weights, memory);
    Line excitation;
    std::copy_n(src, subframeLength, excitation.begin());
    filter.run(excitation, excitationScale, 0);
    std::copy_n(filter.weighted.begin(), subframeLength, dst);
    filter.synthesised.save(memory);
    filter.weighted.save(memory + order);
    return ryxStsOk;
}
