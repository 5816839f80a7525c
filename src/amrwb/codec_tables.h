// SPDX-License-Identifier: BSD-2-Clause
// Constants of the AMR-WB encoder and decoder outside the codebooks of ISFs and pulses (3GPP TS 26.190, TS 26.173).
#pragma once

#include <cstdint>

namespace ryxsc::amrwb {

// Low-pass of the decimation from 16 to 12.8 kHz, Q14, 4/5 in amplitude: a row for each quarter of a sample, 30 taps and
// two zeros.
extern const int16_t decimationTaps[4][32];

// Low-pass of the interpolation from 12.8 to 16 kHz, Q14: a row for each fifth of a sample.
extern const int16_t interpolationTaps[5][24];

// Interpolation of the past excitation, Q14: a row for each quarter of a sample.
extern const int16_t excitationTaps[4][32];

// Interpolation of the normalised correlation, Q14: a row for each quarter of a sample.
extern const int16_t correlationTaps[4][8];

// Window of the LP analysis, Q15: 256 values of half a Hamming window, 128 of a quarter of a cosine.
extern const int16_t lpWindow[384];

// Lag window of the autocorrelation, lags 1 to 16, in the double-precision format, Q31.
extern const int32_t lagWindow[16];

// Weight of the open-loop correlation, Q15, for falling lags: entry 115 - lag favours short lags, entry 100 + median - lag
// the neighbourhood of the median lag. Five zeros behind.
extern const int16_t fallingLagWeights[204];

// 2^(k/32), Q14.
extern const int16_t pow2Table[33];

// Gain codebooks: 6 bits up to 8.85 kbit/s, 7 bits above.
struct GainPair {
    int16_t pitch; // Q14
    int16_t code;  // correction of the predicted code gain, Q11
};
extern const GainPair gains6[64], gains7[128];

// Quantised high-band gain of 23.85 kbit/s, Q14.
extern const int16_t highBandGains[16];

// What the logarithmic energy of background noise loses, by speech mode, Q7.
extern const int16_t noiseEnergyAdjustments[9];

// Attenuation of concealed gains by bad-frame state, Q15: pitch and code gain of lost frames, then of bad ones.
extern const int16_t concealmentAttenuations[4][7];

// Impulse responses of the strong and the weak phase dispersion, Q15.
extern const int16_t dispersionResponses[2][64];

// Band-pass from 6 to 7 kHz with a gain of 4: 31 taps and a zero.
extern const int16_t bandPassTaps[32];

// Low-pass of 7 kHz: 31 taps and a zero.
extern const int16_t lowPassTaps[32];

// ISFs before the first frame.
extern const int16_t startIsf[16];

} // namespace ryxsc::amrwb
