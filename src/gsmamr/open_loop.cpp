// SPDX-License-Identifier: BSD-2-Clause
// Open-loop pitch search of GSM-AMR (3GPP TS 26.090, clause 5.3).
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/checks.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pitch_tables.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

struct OpenLoopPitchState_GSMAMR {
    int16_t lags[5]; // of voiced halves, 10.2 kbit/s, newest first
    int16_t lastLag; // their median, or the last lag
    int16_t decay;   // Q15: falls while nothing is voiced
    int16_t isWeighted;
    int16_t voiced[2]; // flags of both halves, 10.2 kbit/s
};

namespace {

using State = OpenLoopPitchState_GSMAMR;

constexpr int maxLag = 143;
constexpr int maxLength = 160;
constexpr int lagCount = 128; // of all correlations, from the longest lag down
constexpr int sections = 3;

// The weighted speech, scaled to make use of 32 bits, with its correlations.
class WeightedSpeech {
public:
    WeightedSpeech(const int16_t *weighted, int len, int minLag) : len_(len), minLag_(minLag) {
        const int total = maxLag + len;
        const auto whole = static_cast<int64_t>(energy(weighted - maxLag, total));
        shift_ = whole >= 1 << 30 ? 3 : 2 * whole < 1 << 20 ? -3 : 0;
        const Vector right = _mm_cvtsi32_si128(std::max(shift_, 0)), left = _mm_cvtsi32_si128(std::max(-shift_, 0));
        for (int n = 0; n < total; n += 8) {
            // Up to seven samples behind the last one are not the caller's.
            const int16_t *const from =
                n + 8 <= total ? weighted - maxLag + n : copyTail(weighted - maxLag + n, total - n);
            simd::store(samples_ + n, _mm_sll_epi16(_mm_sra_epi16(simd::load(from), right), left));
        }
        std::fill(samples_ + total, samples_ + maxLag + maxLength + 8, int16_t{0});
        // Full-scale speech overflows even after its scaling; else no sum of products does, whatever its order.
        const int64_t scaled = shift_ > 0   ? static_cast<int64_t>(energy(samples_, total))
                               : shift_ < 0 ? 64 * whole
                                            : whole;
        isBounded_ = scaled < 1 << 30;
        isQuiet_ = scaled < 1 << 28; // then no correlation exceeds 2^29
        // A few shorter lags more, so that their number is a multiple of 32.
        macCorrelations(current(), samples_, len, lagCount, correlations_, isBounded_);
    }

    int shift() const { return shift_; }
    int32_t correlationAt(int lag) const { return correlations_[maxLag - lag]; }
    const int32_t *allCorrelations() const { return correlations_; } // of the longest lag first
    int32_t energyAt(int lag) const {
        const int16_t *const x = current() - lag;
        return isBounded_ ? 2 * wrappedProducts(x, x, len_) : macEnergy(x, len_).value;
    }

    // The largest correlation of a range of lags; of equal ones the shortest lag.
    int bestLag(int from, int to) const { return to - lastLargest(correlations_ + (maxLag - to), to - from + 1).index; }

    // How far the correlation, high-pass filtered over the lag, stands out against the energy of the difference.
    int16_t highPassMaximum() const {
        const int32_t most = isQuiet_ ? largestPeak() : largestPeakSaturated();
        int32_t neighbours;
        macCorrelations(current(), current() - 1, len_, 1, &neighbours, isBounded_);
        const int32_t energy = L_abs(L_sub(L_shl(energyAt(0), 1), L_shl(neighbours, 1)));
        const int shift = norm_l(most) - 1, energyShift = norm_l(energy);
        const int16_t denominator = extract_h(L_shl(energy, energyShift));
        if (denominator == 0) return 0;
        return shl(div_s(extract_h(L_shl(most, shift)), denominator), energyShift - shift);
    }

private:
    // |2 c[k] - c[k - 1] - c[k + 1]| at most. Where the speech is quiet nothing saturates.
    int32_t largestPeak() const {
        const auto peaksFrom = [this](int k) {
            const Vector sides = _mm_add_epi32(simd::load(correlations_ + k), simd::load(correlations_ + k + 2));
            const Vector middle = simd::load(correlations_ + k + 1);
            return _mm_abs_epi32(_mm_sub_epi32(_mm_add_epi32(middle, middle), sides));
        };
        const int count = maxLag - minLag_ - 1;
        Vector most = peaksFrom(count - 4);
        for (int k = 0; k < count; k += 4) {
            const Vector peaks = peaksFrom(std::min(k, count - 4));
            most = simd::select(_mm_cmpgt_epi32(peaks, most), peaks, most);
        }
        alignas(16) int32_t four[4];
        simd::store(four, most);
        return largest(four, 4);
    }
    int32_t largestPeakSaturated() const {
        int32_t most = 0;
        for (int k = 1; k < maxLag - minLag_; k++) {
            const int32_t *const c = correlations_ + k;
            most = std::max(most, L_abs(L_sub(L_sub(L_shl(c[0], 1), c[-1]), c[1])));
        }
        return most;
    }

    const int16_t *copyTail(const int16_t *from, int count) {
        std::memset(tail_, 0, sizeof tail_);
        std::memcpy(tail_, from, static_cast<size_t>(count) * sizeof *from);
        return tail_;
    }

    const int16_t *current() const { return samples_ + maxLag; }

    int16_t samples_[maxLag + maxLength + 9];
    int16_t tail_[8];
    int32_t correlations_[lagCount + 2];
    int len_, minLag_, shift_;
    bool isBounded_, isQuiet_;
};

// What the voice activity detector wants of the sections' maxima.
struct Tones {
    int32_t correlation[sections] = {}, energy[sections] = {};
};

int searchSections(const WeightedSpeech &x, int minLag, bool is122, Tones &tones) {
    const int bounds[sections + 1] = {maxLag + 1, 4 * minLag, 2 * minLag, minLag};
    int lag = 0;
    int16_t maximum = 0;
    for (int section = 0; section < sections; section++) {
        const int best = x.bestLag(bounds[section + 1], bounds[section] - 1);
        const int32_t correlation = x.correlationAt(best), energy = x.energyAt(best);
        tones.correlation[section] = correlation;
        tones.energy[section] = energy;
        int32_t norm = inverseSqrt(energy);
        if (is122) norm = L_shl(norm, 1);
        const int32_t normalised = multiply(correlation, norm);
        const int16_t value = is122 ? extract_h(L_shl(L_shr(normalised, x.shift()), 15)) : extract_l(normalised);
        if (section == 0 || mult(maximum, 27853) < value) {
            lag = best;
            maximum = value;
        }
    }
    return lag;
}

// multiplyShort() of even values and weights, which are positive.
Vector weighted(Vector values, const int16_t *weights) {
    const Vector zero = _mm_setzero_si128(), words = simd::load64(weights);
    const Vector half = lanes::halfProduct(values, {_mm_unpacklo_epi16(zero, words), _mm_unpacklo_epi16(words, zero)});
    return _mm_add_epi32(half, half);
}

// 10.2 kbit/s: low lags and the neighbours of the lag of the last voiced halves are preferred.
int searchWeighted(const WeightedSpeech &x, int half, State &state, Tones &tones) {
    constexpr int minLag = 20, count = maxLag + 1 - minLag;
    static_assert(count % 4 == 0);
    int32_t values[count];
    const int16_t *const ofDistance = openLoopWeights.data() + (state.lastLag - 16);
    for (int k = 0; k < count; k += 4) {
        const Vector correlation = lanes::clearBit0(simd::load(x.allCorrelations() + k));
        Vector value = weighted(correlation, openLoopWeights.data() + k);
        if (state.isWeighted != 0) value = weighted(value, ofDistance + k);
        simd::store(values + k, value);
    }
    const int lag = maxLag - lastLargest(values, count).index; // of equal ones the shortest
    tones.correlation[0] = x.correlationAt(lag);
    tones.energy[0] = x.energyAt(lag);
    const int16_t flag = round(L_msu(tones.correlation[0], round(tones.energy[0]), 13107));
    state.voiced[half] = flag > 0;
    if (flag > 0) {
        pushFront<5>(state.lags, static_cast<int16_t>(lag));
        state.lastLag = median<5>(state.lags);
        state.decay = max16;
    } else {
        state.lastLag = static_cast<int16_t>(lag);
        state.decay = mult(state.decay, 29491);
    }
    state.isWeighted = state.decay >= 9830;
    return lag;
}

} // namespace

ryxStatus ryxsOpenLoopPitchGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsOpenLoopPitchInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, State{{40, 40, 40, 40, 40}, 40, 0, 0, {}});
    return ryxStsOk;
}

ryxStatus ryxsOpenLoopPitchSearch_GSMAMR_16s_u8(const int16_t *weighted, int half, int rate, int16_t *lag,
                                                int32_t *correlations, int32_t *energies, int16_t *highPass,
                                                State *state) {
    if (anyNull(weighted, lag, correlations, energies, highPass, state)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (half < 0 || half > 1 || of == Rate::none) return ryxStsOutOfRange;
    State memory = loadBlock<State>(state);
    const bool is122 = of == Rate::r1220;
    const int minLag = is122 ? 18 : 20;
    const WeightedSpeech x(weighted, of <= Rate::r515 ? 160 : 80, minLag);
    Tones tones;
    if (of == Rate::r1020) {
        *lag = static_cast<int16_t>(searchWeighted(x, half, memory, tones));
    } else {
        *lag = static_cast<int16_t>(searchSections(x, minLag, is122, tones));
        memory.voiced[0] = memory.voiced[1] = 0;
    }
    std::copy_n(tones.correlation, sections, correlations);
    std::copy_n(tones.energy, sections, energies);
    *highPass = x.highPassMaximum();
    saveBlock(state, memory);
    return ryxStsOk;
}

ryxStatus ryxsOpenLoopPitchUpdate_GSMAMR_16s_u8(int16_t lag, int subframe, State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    if (subframe < 0 || subframe > 3) return ryxStsOutOfRange;
    State memory = loadBlock<State>(state);
    if (subframe == 0 && memory.voiced[0] != 0) memory.lags[1] = lag;
    if (subframe == 3 && memory.voiced[1] != 0) memory.lags[0] = lag;
    saveBlock(state, memory);
    return ryxStsOk;
}
