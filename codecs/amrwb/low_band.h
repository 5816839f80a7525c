// SPDX-License-Identifier: BSD-2-Clause
// Synthesis of the low band and what the high band takes from it, which the encoder at 23.85 kbit/s does like the decoder.
#pragma once

#include <ryxsc.h>

#include "tables.h"

namespace ryxcodec::amrwb {

inline constexpr int wideSubframeLength = 80; // samples at 16 kHz

inline constexpr int16_t highBandFactor = 19661; // 0.6: bandwidth expansion of its filter

class LowBand {
public:
    void reset() {
        *this = {};
        seed_ = 21845;
    }

    // From an excitation scaled by 2^q to speech at 12.8 kHz, noise for the high band and an estimate of its gain.
    void synthesise(const int16_t *lpc, const int16_t *excitation, int q, int noiseFrames, int16_t *speech,
                    int16_t *noise, int16_t *gainEstimate) {
        int32_t buffer[lpOrder + subframeLength];
        int16_t upper[subframeLength];
        copy(synthesis_, synthesis_ + lpOrder, buffer);
        ryxsSynthesisFilter_AMRWB_16s32s_I(lpc, excitation, buffer + lpOrder, subframeLength, q);
        copy(buffer + subframeLength, buffer + subframeLength + lpOrder, synthesis_);
        ryxsDeemphasizeHighPass_AMRWB_32s16s(buffer + lpOrder, speech, upper, &deemphasis_, highPass50_, highPass400_);
        ryxsHighBandNoise_AMRWB_16s(excitation, q, noise, &seed_);
        ryxsHighBandGainEstimate_AMRWB_16s(upper, noiseFrames, gainEstimate);
    }

private:
    static void copy(const int32_t *from, const int32_t *end, int32_t *to) {
        while (from != end)
            *to++ = *from++;
    }

    int32_t synthesis_[lpOrder];
    int16_t deemphasis_;
    int16_t highPass50_[6], highPass400_[6];
    int16_t seed_;
};

} // namespace ryxcodec::amrwb
