// SPDX-License-Identifier: BSD-2-Clause
// Long-term post-filter of ITU-T G.729 (clause 4.2.1) and its Annex E: adds the residual at the best delay near the pitch
// lag, in eighths of a sample, where that predicts the residual well.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/product_sums.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int history = 152;
constexpr int phases = 7, shortTaps = 4, longTaps = 16;
constexpr int16_t wholeWeight = 16384; // of the main body

// A sum shifted down to 15 bits or by a shift that serves several.
int shiftTo15Bits(int32_t sum) {
    return 16 - norm_l(sum);
}
int16_t shifted(int32_t sum, int shift) {
    return extract_l(sum >> shift);
}

// A prediction: correlation and energy, with the shifts that make them 16-bit words.
struct Match {
    int16_t correlation;
    int correlationShift;
    int16_t energy;
    int energyShift;
};

// y[n] = round(sum of f[i] * x[n + taps - 1 - i]), n = 0 .. count - 1. The taps of a phase sum to less than 1.7 and x has
// 13 bits, so nothing saturates.
template <int taps> void interpolate(const int16_t *filter, const int16_t *x, int16_t *y, int count) {
    for (int n = 0; n < count; n++) {
        int32_t sum = 0x4000;
        for (int i = 0; i < taps; i++)
            sum += filter[i] * x[n + taps - 1 - i];
        y[n] = static_cast<int16_t>(sum >> 15);
    }
}

class Search {
public:
    // residual[-152 .. 39]
    explicit Search(const int16_t *residual) {
        int16_t magnitudes = 0;
        for (int n = -history; n < subframe; n++)
            magnitudes = static_cast<int16_t>(magnitudes | abs_s(residual[n]));
        scale_ = 3 - norm_s(magnitudes);
        x_[0] = 0;
        for (int n = 0; n < history + subframe; n++)
            x_[1 + n] = shr(residual[n - history], scale_);
    }

    // Whether there is anything to predict from; then delay and match are set.
    bool run(int lag) {
        const int32_t own = macEnergy(x(), subframe).value;
        if (own == 0) return false;
        ownShift_ = std::max(shiftTo15Bits(own), 0);
        ownEnergy_ = shifted(own, ownShift_);
        return findLag(lag) && findFraction() && predictsWell();
    }

    int delay() const { return delay_; }

    // The delayed residual, at the longer filter where that predicts better.
    Match delayed(const int16_t *residual, int16_t *z) const {
        if (phase_ == 0) {
            std::copy_n(residual - delay_, subframe, z);
            return best_;
        }
        int16_t y[subframe];
        interpolate<longTaps>(longFractions[phase_ - 1], x() - delay_ + 8 - (longTaps - 1), y, subframe);
        const Match longer = matchOf(y);
        const bool takesLonger = betterThanBest(longer);
        const int16_t *const chosen = takesLonger ? y : fractions_[phase_ - 1] + offset_;
        for (int n = 0; n < subframe; n++)
            z[n] = shl(chosen[n], scale_);
        return takesLonger ? longer : best_;
    }

private:
    const int16_t *x() const { return x_ + 1 + history; }

    bool findLag(int lag) {
        int32_t largest = 0;
        for (int k = lag - 1; k <= lag + 1; k++) {
            const int32_t sum = macProducts(x(), x() - k, subframe).value;
            if (sum > largest) {
                largest = sum;
                lag_ = k;
            }
        }
        correlation_ = largest;
        if (largest == 0) return false;
        energy_ = macEnergy(x() - lag_, subframe).value;
        return energy_ != 0;
    }

    // Of the lag and seven eighths on either side the one with the largest correlation^2 / energy.
    bool findFraction() {
        int32_t energies[phases][2];
        int32_t largest = energy_;
        for (int p = 0; p < phases; p++) {
            int16_t *const y = fractions_[p];
            interpolate<shortTaps>(shortFractions[p], x() - lag_ + 1 - (shortTaps - 1), y, subframe + 1);
            const int32_t core = macEnergy(y + 1, subframe - 1).value;
            energies[p][0] = L_mac(core, y[0], y[0]);
            energies[p][1] = L_mac(core, y[subframe], y[subframe]);
            largest = std::max(largest, energies[p][abs_s(y[0]) > abs_s(y[subframe]) ? 0 : 1]);
        }
        const int energyShift = shiftTo15Bits(largest);
        if (energyShift <= 0) return false;
        const int shift = std::max(energyShift, ownShift_);
        best_ = {shifted(correlation_, shift), shift, shifted(energy_, energyShift), energyShift};
        square_ = clearBit0(L_mult(best_.correlation, best_.correlation));
        phase_ = 0;
        offset_ = 1;
        for (int p = 0; p < phases; p++)
            for (int offset = 0; offset < 2; offset++) {
                const int32_t sum = macProducts(x(), fractions_[p] + offset, subframe).value >> shift;
                const int16_t correlation = sum < 0 ? int16_t{0} : extract_l(sum);
                const int32_t square = clearBit0(L_mult(correlation, correlation));
                const int16_t energy = shifted(energies[p][offset], energyShift);
                if (L_sub(multiplyShort(square, best_.energy), multiplyShort(square_, energy)) > 0) {
                    best_.correlation = correlation;
                    best_.energy = energy;
                    square_ = square;
                    phase_ = p + 1;
                    offset_ = offset;
                }
            }
        delay_ = lag_ + 1 - offset_;
        return true;
    }

    // At least half of the energy (3 dB).
    bool predictsWell() const {
        if (best_.correlation == 0 || best_.energy <= 1) return false;
        int32_t needed = L_mult(best_.energy, ownEnergy_), gained = square_;
        const int shift = 2 * best_.correlationShift - best_.energyShift - ownShift_ + 1;
        if (shift < 0)
            gained = L_shr(gained, -shift);
        else
            needed = L_shr(needed, shift);
        return gained >= needed;
    }

    Match matchOf(const int16_t *y) const {
        Match match{};
        const int32_t correlation = macProducts(y, x(), subframe).value;
        if (correlation >= 0) {
            match.correlationShift = std::max(shiftTo15Bits(correlation), 0);
            match.correlation = shifted(correlation, match.correlationShift);
        }
        const int32_t energy = macEnergy(y, subframe).value;
        match.energyShift = std::max(shiftTo15Bits(energy), 0);
        match.energy = shifted(energy, match.energyShift);
        return match;
    }

    bool betterThanBest(const Match &other) const {
        if (other.energy == 0) return false;
        const auto cross = [](const Match &a, const Match &b) {
            return multiplyShort(L_mult(a.correlation, a.correlation), b.energy);
        };
        int32_t own = cross(best_, other), others = cross(other, best_);
        const int ownShift = 2 * best_.correlationShift + other.energyShift;
        const int othersShift = 2 * other.correlationShift + best_.energyShift;
        if (othersShift > ownShift)
            own = L_shr(own, othersShift - ownShift);
        else
            others = L_shr(others, ownShift - othersShift);
        return others > own;
    }

    int scale_;
    int16_t x_[1 + history + subframe]; // the first one, zero, only meets a lag of 144, which takes a bit error
    int ownShift_;
    int16_t ownEnergy_;
    int lag_ = 0;
    int32_t correlation_, energy_;
    int16_t fractions_[phases][subframe + 1];
    Match best_;
    int32_t square_; // of its correlation
    int phase_, offset_, delay_;
};

// The weight of the undelayed residual, Q15.
int16_t ownGain(Match match, int16_t weight) {
    if (match.correlationShift >= match.energyShift)
        match.energy = shr(match.energy, match.correlationShift - match.energyShift);
    else
        match.correlation = shr(match.correlation, match.energyShift - match.correlationShift);
    int16_t correlation = match.correlation;
    if (weight == wholeWeight) {
        if (correlation >= match.energy) return 21845;
        correlation = static_cast<int16_t>(correlation >> 2);
    } else {
        correlation = static_cast<int16_t>(mult_r(std::min(correlation, match.energy), weight) >> 1);
    }
    const auto half = static_cast<int16_t>(match.energy >> 1);
    const int16_t sum = add(half, correlation);
    return sum > 0 ? div_s(half, sum) : max16;
}

} // namespace

ryxStatus ryxsLongTermPostFilter_G729_16s_u8(int16_t lag, const int16_t *residual, int16_t weight, int16_t *dst,
                                             int16_t *delay) {
    if (anyNull(residual, dst, delay)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag || weight < 0) return ryxStsOutOfRange;
    Search search(residual);
    if (!search.run(lag)) {
        std::copy_n(residual, subframe, dst);
        *delay = 0;
        return ryxStsOk;
    }
    int16_t z[subframe];
    const int16_t gain = ownGain(search.delayed(residual, z), weight);
    const auto rest = static_cast<int16_t>(max16 - gain + 1);
    const Vector weights =
        _mm_set1_epi32(static_cast<uint16_t>(gain) | rest << 16); // they add up to 1: nothing saturates
    const auto weighted = [weights](Vector pairs) {
        return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, weights), simd::dwords(0x4000)), 15);
    };
    for (int n = 0; n < subframe; n += 8) {
        const Vector own = simd::load(residual + n), delayed = simd::load(z + n);
        simd::store(dst + n, _mm_packs_epi32(weighted(_mm_unpacklo_epi16(own, delayed)),
                                             weighted(_mm_unpackhi_epi16(own, delayed))));
    }
    *delay = static_cast<int16_t>(search.delay());
    return ryxStsOk;
}
