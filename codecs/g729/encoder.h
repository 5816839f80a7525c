// SPDX-License-Identifier: BSD-2-Clause
// Encoder of ITU-T G.729: the main body (8 kbit/s) with Annexes B (pauses), D (6.4 kbit/s) and E (11.8 kbit/s), joined as
// Annex I.
#pragma once

#include "codec.h"
#include "g729/backward.h"

namespace ryxcodec::g729 {

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    void setRate(int bitsPerSecond);
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    static constexpr int lookBack = 120, window = 240, pitchHistory = 143;
    static constexpr int past = 5; // lags and gains that the music detector looks at

    // What the LP analysis of a frame finds.
    struct Spectrum {
        int32_t autoCorr[13];
        int16_t exponent;
        int16_t beforeWindow[order + 1]; // upper halves before the lag window
        int16_t lpc[order + 1], reflection[order], lsp[order];
        int16_t lsf[order], lsfInterpolated[order]; // normalised
        ShortFilters filters;                       // unquantised
    };
    // The perceptual weighting filter of both subframes.
    struct Weighting {
        int order;
        int16_t numerator[subframes][longOrder + 1], denominator[subframes][longOrder + 1];
    };

    void analyse(Spectrum &x);
    bool detectVoice(const Spectrum &x);
    void interpolate(Spectrum &x) const;
    Filters quantise(const Spectrum &x, Parameters &p);
    Weighting weightingFrom(const Filters &filters, const int16_t *gamma1, const int16_t *gamma2) const;
    void weightSpeech(const Weighting &w);
    FrameType encodeNoise(const Weighting &w, Parameters &p);
    void encodeSpeech(const Weighting &w, const Filters &filters, Parameters &p);
    void noteLag(int16_t lag);
    void encodeSubframe(int s, const Weighting &w, const Filters &filters, int16_t lag, Parameters &p);
    void prepareSubframe(int s, const Weighting &w, const Filters &filters, int16_t *response, int16_t *target);
    void searchAdaptive(int s, int16_t lag, const int16_t *target, const int16_t *response, int16_t *delay,
                        Parameters &p);

    int16_t *current(int s) { return speech_ + lookBack + subframeLength * s; }
    int16_t *weighted(int s) { return weighted_ + pitchHistory + subframeLength * s; }
    int16_t *excitation(int s) { return excitation_ + excitationHistory + subframeLength * s; }

    FrameType rate_;
    bool dtx_;
    int16_t speech_[window]; // 120 past samples, the frame, 40 of look-ahead
    int16_t weighted_[pitchHistory + frameLength];
    int16_t excitation_[excitationHistory + frameLength];
    int16_t oldLsp_[order], oldQuantisedLsp_[order];
    int16_t lsfHistory_[4 * order];
    int16_t stableLpc_[order + 1], stableReflection_[order];
    int16_t errorMemory_[longOrder], targetMemory_[longOrder]; // speech less synthesis, and the same weighted
    int16_t weightingMemory_[3];
    int16_t sharpening_, firstLag_, extraTime_;
    int32_t errors_[4];   // of the taming
    int16_t energies_[4]; // of the gain predictor
    int16_t lags_[past], gains_[past];
    int16_t seed_;
    int pastVad_, ppastVad_;
    int mode_, previousMode_, dominant_; // of the LP analysis
    BackwardAnalysis backward_;
    Block<LPModeState_G729E, 96> modeState_;
    Block<HighPassFilterState_G729, 32> highPass_;
    Block<VADState_G729B, 128> vad_;
    Block<MusicDetectState_G729I, 64> music_;
    Block<EncDTXState_G729B, 256> dtxState_;
};

} // namespace ryxcodec::g729
