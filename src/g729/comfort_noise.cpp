// SPDX-License-Identifier: BSD-2-Clause
// Comfort noise excitation of ITU-T G.729 Annex B, the same in encoder and decoder (clause B.4.4): a random pitch
// contribution, Gaussian noise, and four pulses that bring the energy to its target.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/inv_sqrt.h"
#include "common/product_sums.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int pulses = 4;

int16_t nextRandom(int16_t &seed) {
    return seed = wrap16(seed * 31821 + 13849);
}

// What a subframe draws at random.
struct Draw {
    int16_t lag, fraction;
    int position[pulses];
    bool plus[pulses];
    int16_t pitchGain; // Q14, up to 0.5
};
Draw drawParameters(int16_t &seed) {
    Draw d{};
    unsigned r = static_cast<uint16_t>(nextRandom(seed));
    d.fraction = static_cast<int16_t>((r & 3) == 3 ? 0 : static_cast<int>(r & 3) - 1);
    d.lag = static_cast<int16_t>((r >> 2 & 63) + 40);
    d.position[0] = static_cast<int>(5 * (r >> 8 & 7));
    d.plus[0] = (r >> 11 & 1) != 0;
    d.position[1] = static_cast<int>(5 * (r >> 12 & 7) + 1);
    d.plus[1] = (r >> 15 & 1) != 0;
    r = static_cast<uint16_t>(nextRandom(seed));
    d.position[2] = static_cast<int>(5 * (r & 7) + 2);
    d.plus[2] = (r >> 3 & 1) != 0;
    d.position[3] = static_cast<int>(5 * (r >> 5 & 7) + 3 + (r >> 4 & 1));
    d.plus[3] = (r >> 8 & 1) != 0;
    d.pitchGain = static_cast<int16_t>(nextRandom(seed) & 0x1fff);
    return d;
}

// Noise with an energy of about 1.58 * gain^2 a sample.
void drawNoise(int16_t gain, int16_t *noise, int16_t &seed) {
    for (int n = 0; n < subframe; n++) {
        int32_t sum = 0;
        for (int i = 0; i < 12; i++)
            sum += nextRandom(seed);
        noise[n] = wrap16(sum >> 7);
    }
    const int32_t norm = inverseSqrt(macEnergy(noise, subframe).value >> 1);
    const int32_t scale = multiplyShort(norm, add(gain, mult_r(gain, 19043)));
    const int shift = norm_l(scale);
    const int16_t mantissa = extract_h(L_shl(scale, shift));
    for (int n = 0; n < subframe; n++)
        noise[n] = shr_r(mult_r(noise[n], mantissa), shift - 14);
}

// The sum of the samples at the pulses, with their signs.
int16_t atPulses(const Draw &d, const int16_t *x, int shift) {
    int16_t sum = 0;
    for (int k = 0; k < pulses; k++) {
        const auto value = static_cast<int16_t>(x[d.position[k]] >> shift);
        sum = d.plus[k] ? add(sum, value) : sub(sum, value);
    }
    return sum;
}

// The largest even q up to 32766 with 2 * q * q <= x.
int16_t evenRoot(int32_t x) {
    int16_t root = 0;
    for (int16_t bit = 0x4000; bit >= 2; bit = static_cast<int16_t>(bit >> 1)) {
        const auto larger = static_cast<int16_t>(root + bit);
        if (L_mult(larger, larger) <= x) root = larger;
    }
    return root;
}

// A subframe in place. Returns the pulses' gain; the pitch gain in d becomes 0 where the pitch contribution is dropped.
int16_t fill(int16_t gain, Draw &d, int16_t *excitation, int16_t &seed) {
    int16_t noise[subframe];
    drawNoise(gain, noise, seed);
    buildAdaptiveVector(excitation, d.lag, d.fraction);
    int16_t largest = 0;
    for (int n = 0; n < subframe; n++) {
        excitation[n] = ryxsc::add(mult_r(excitation[n], shl(d.pitchGain, 1)), noise[n]);
        largest = std::max(largest, abs_s(excitation[n]));
    }

    // The pulses' gain solves a quadratic equation: 4 g^2 + 2 g I + energy = 40 * gain^2.
    int shift = largest == 0 ? 0 : std::max(3 - norm_s(largest), 0);
    int16_t reduced[subframe];
    for (int n = 0; n < subframe; n++)
        reduced[n] = static_cast<int16_t>(excitation[n] >> shift);
    const int32_t target = L_mult(gain, extract_l(L_mult(gain, subframe) >> 6));
    auto linear = static_cast<int16_t>(atPulses(d, reduced, 0));
    int32_t discriminant = L_sub(target >> (1 + 2 * shift), macEnergy(reduced, subframe).value);
    linear = static_cast<int16_t>(linear >> 1);
    discriminant = L_mac(discriminant, linear, linear);
    shift++;
    if (discriminant < 0) { // too much energy already: the noise alone
        std::copy_n(noise, subframe, excitation);
        int magnitudes = 0;
        for (const int position : d.position)
            magnitudes |= abs_s(noise[position]);
        shift = (magnitudes & 0x4000) != 0 ? 2 : 1;
        linear = atPulses(d, noise, shift);
        discriminant = L_mac(multiplyShort(target, 24576) >> (2 * shift - 1), linear, linear);
        d.pitchGain = 0;
    }
    const int16_t root = evenRoot(discriminant);
    int16_t solution = sub(root, linear);
    const int16_t other = negate(ryxsc::add(linear, root));
    if (abs_s(other) < abs_s(solution)) solution = other;
    constexpr int16_t limit = 5000;
    const int16_t pulseGain = std::clamp<int16_t>(shr_r(solution, 2 - shift), -limit, limit);
    for (int k = 0; k < pulses; k++) {
        int16_t &sample = excitation[d.position[k]];
        sample = d.plus[k] ? ryxsc::add(sample, pulseGain) : sub(sample, pulseGain);
    }
    return pulseGain;
}

} // namespace

ryxStatus ryxsComfortNoise_G729B_16s_I_u8(int16_t gain, int16_t *excitation, int16_t *lags, int16_t *gains,
                                          int16_t *seed) {
    constexpr int subframes = 2;
    if (anyNull(excitation, lags, gains, seed)) return ryxStsNullPtr;
    if (gain == 0) {
        std::fill_n(excitation, subframes * subframe, int16_t{0});
        std::fill_n(lags, subframes, static_cast<int16_t>(subframe + 1));
        std::fill_n(gains, 2 * subframes, int16_t{0});
        return ryxStsOk;
    }
    for (int i = 0; i < subframes; i++) {
        Draw draw = drawParameters(*seed);
        gains[2 * i + 1] = abs_s(fill(gain, draw, excitation + i * subframe, *seed));
        gains[2 * i] = draw.pitchGain;
        lags[i] = draw.lag;
    }
    return ryxStsOk;
}
