// SPDX-License-Identifier: BSD-2-Clause
// Excitation of the comfort noise of ITU-T G.723.1 Annex A: a pitch predictor and pulses, both random, with the pulses'
// gain chosen so that half a frame has the energy asked for.
#include <cstdlib>

#include "common/checks.h"
#include "g723/adaptive_codebook.h"
#include "g723/codebook_tables.h"
#include "g723/fixed_codebook.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int half = frameLength / 2;
constexpr int pulsesOfHalf = 11;
constexpr int16_t perPulse = 2979; // 1 / 11
constexpr int16_t largestGain = 10000;
constexpr int offsets[subframes] = {1, 0, 1, 3};

struct Pulses {
    int16_t position[2][pulsesOfHalf]; // within the half
    int16_t sign[2][pulsesOfHalf];     // +-1 in Q14

    explicit Pulses(int16_t &seed) {
        int grids[subframes];
        for (int b = 0; b < 2; b++) {
            int bits = random(seed, 8192);
            grids[2 * b] = bits & 1;
            grids[2 * b + 1] = subframeLength + (bits >> 1 & 1);
            bits >>= 1;
            for (int16_t &s : sign[b]) {
                s = static_cast<int16_t>(((bits & 2) - 1) * 16384);
                bits >>= 1;
            }
        }
        for (int k = 0; k < subframes; k++)
            drawPositions(seed, grids[k], pulseCounts[k], position[k / 2] + (isOdd(k) ? pulseCounts[0] : 0));
    }

private:
    static void drawPositions(int16_t &seed, int grid, int count, int16_t *drawn) {
        int16_t free[gridPositions];
        for (int16_t i = 0; i < gridPositions; i++)
            free[i] = i;
        for (int k = 0; k < count; k++) {
            const int left = gridPositions - k;
            const int choice = random(seed, left);
            drawn[k] = static_cast<int16_t>(2 * free[choice] + grid);
            free[choice] = free[left - 1];
        }
    }
};

// The amplitude a of the pulses for which |x + a * pulses|^2 is gain^2 per sample; the smaller of the two solutions, or
// the one that comes closest.
int16_t pulseAmplitude(const int16_t *x, const int16_t *position, const int16_t *sign, int16_t gain) {
    int16_t largest = 0;
    for (int i = 0; i < half; i++)
        largest = std::max(largest, abs_s(x[i]));
    const int shift = largest == 0 ? 0 : std::max(4 - norm_s(largest), -2);
    int32_t energy = 0, correlation = 0;
    for (int i = 0; i < half; i++) {
        const int16_t scaled = shl(x[i], -shift);
        energy = L_mac(energy, scaled, scaled);
    }
    for (int k = 0; k < pulsesOfHalf; k++)
        correlation = L_mac(correlation, shl(x[position[k]], -shift), sign[k]);

    const int16_t wanted = extract_l(L_mult(gain, 60) >> 6);
    const int32_t excess = scale(L_sub(energy, L_shl(L_mult(wanted, gain), -(2 * shift + 4))), perPulse);
    const int16_t mean = mult_r(extract_h(L_shl(correlation, 1)), perPulse);
    const int32_t discriminant = L_negate(L_sub(excess, L_mult(mean, mean)));
    int16_t amplitude = negate(mean);
    if (discriminant > 0) {
        const int16_t root = squareRoot(discriminant);
        const int16_t low = sub(root, mean), high = add(mean, root);
        amplitude = abs_s(high) < abs_s(low) ? negate(high) : low;
    }
    return std::clamp<int16_t>(shl(amplitude, shift + 1), -largestGain, largestGain);
}

} // namespace

ryxStatus ryxsComfortNoiseExcitation_G723_16s_u8(int16_t gain, int16_t *seed, int16_t *excitation, int16_t *lags,
                                                 int16_t *offset, int16_t *gainIndices) {
    if (anyNull(seed, excitation, lags, offset, gainIndices)) return ryxStsNullPtr;
    lags[0] = static_cast<int16_t>(123 + random(*seed, 21));
    lags[1] = static_cast<int16_t>(123 + random(*seed, 19));
    for (int k = 0; k < subframes; k++) {
        gainIndices[k] = static_cast<int16_t>(1 + random(*seed, 50));
        offset[k] = static_cast<int16_t>(offsets[k]);
    }
    const Pulses pulses(*seed);
    for (int b = 0; b < 2; b++) {
        int16_t *x = excitation + b * half;
        // Lags are longer than half a frame, so the second subframe needs nothing of the first.
        for (int k = 2 * b; k < 2 * b + 2; k++) {
            int16_t *subframe = excitation + k * subframeLength;
            predict(DelayedExcitation(subframe, lags[b] - 1 + offsets[k]), pitchGains170.gains[gainIndices[k]],
                    subframe);
        }
        const int16_t amplitude = pulseAmplitude(x, pulses.position[b], pulses.sign[b], gain);
        for (int k = 0; k < pulsesOfHalf; k++) {
            int16_t &sample = x[pulses.position[b][k]];
            sample = add(sample, mult(amplitude, pulses.sign[b][k]));
        }
    }
    return ryxStsOk;
}
