// SPDX-License-Identifier: BSD-2-Clause
// Decisions of the detectors and controllers as their recommendations and descriptions put them: one value after the
// other, in the states that the library keeps.
#pragma once

#include <cstdint>

#include "reference/vad_filter_bank.h"
#include "ryxsc.h"

namespace reference {

// The block of the AMR-WB voice activity detector, in the recommendation's names.
struct AmrWbVad {
    int16_t bckr_est[12], ave_level[12], old_level[12], sub_level[12];
    int16_t filters[16];
    int16_t burst_count, hang_count, stat_count;
    uint16_t vadreg;
    int16_t sp_est_cnt, sp_max, sp_max_cnt, speech_level;
    int32_t prev_pow_sum;
    int16_t level[12], unused[2];

    // Everything but the filter bank, whose levels are given.
    int decide(const int16_t *frame, const int16_t *levels, int16_t &toneFlag);

private:
    bool speaks() const { return (vadreg & 0x4000) != 0; }
    int threshold();
    void followNoise(int16_t toneFlag);
    void estimateSpeech();
};
static_assert(sizeof(AmrWbVad) == 176);

// The block of the GSM-AMR voice activity detector, option 1, in the recommendation's names.
struct GsmAmrVad {
    GsmAmrFilterBank filters = {};
    int16_t bckr_est[9], old_level[9], ave_level[9];
    uint16_t vadreg = 0, pitch = 0, tone = 0, complex_high = 0, complex_low = 0;
    int16_t complex_hang_timer = 0, best_corr_hp = 13106, corr_hp_fast = 13106, stat_count = 0, burst_count = 0;
    int16_t hang_count = 0, complex_hang_count = 0, oldlag = 0, oldlag_count = 0, complex_warning = 0;

    GsmAmrVad(); // as it starts
    int decide(const int16_t *frame);
    void takeTones(const int32_t *correlations, const int32_t *energies, bool oneLag);
    void takeLags(const int16_t *lags, int16_t highPass);

    int excess(const int16_t (&level)[9]) const; // over the threshold
    int change(const int16_t (&level)[9]) const; // of the levels; stationary up to 1000

private:
    bool speaks() const { return (vadreg & 0x4000) != 0; }
    int noise() const;
    void followCorrelation(bool low);
    void followNoise(const int16_t (&level)[9]);
    int addHangover(int noiseLevel, bool low);
};
static_assert(sizeof(GsmAmrVad) == 124);

// The block of the tone detector, for float and for 16-bit samples.
template <class Sample, class Power> struct alignas(8) ToneDetector {
    int32_t sampleRate, unused;
    Power outputPower, inputPower;
    Sample x1, x2, y1, y2, smoothing;
    int32_t toneCount, minCount, maxCount, gapCount, gapLimit, count;

    bool take(Sample x);
};
using FloatToneDetector = ToneDetector<float, float>;
using FixedToneDetector = ToneDetector<int16_t, int32_t>;

// The block of the full-band controller in floating point.
struct FullbandController {
    float reserved, adaptiveResidual, savedResidual, coefficients, reference, alpha50, alpha20, alpha10;
    int32_t blockLength, filterLength;
    float multiplier, divergence, energyFloor, inverseFloor;

    void decide(const float *e1, const float *e2, float *adaptive, float *saved);
};

// Eight samples of the level control; returns nothing but what it leaves in the state.
void controlLevel(ALCState_G169 &s, const int16_t *x);

} // namespace reference
