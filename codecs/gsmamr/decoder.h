// SPDX-License-Identifier: BSD-2-Clause
// The GSM-AMR decoder (3GPP TS 26.090; TS 26.091 for lost frames, TS 26.092 and TS 26.093 for comfort noise).
#pragma once

#include "gsmamr/frame.h"

namespace ryxcodec::gsmamr {

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech);

private:
    static constexpr int pastExcitation = 154;

    // What is known of a frame.
    struct Frame {
        int16_t lpc[subframes][lpCoefficients];
        int16_t lsf[subframes][lpOrder]; // interpolated
        int quality;                     // sum of ryxGSMAMRBadFrame and its kin
        const int16_t *next;             // of the parameters
        const int16_t *jointIndex;       // of the gains of two subframes
    };
    struct Subframe {
        int16_t lag, fraction, pitchGain, codeGain, mixedGain, sharpening, emphasisGain;
        int16_t adaptive[subframeLength], code[subframeLength], dispersed[subframeLength];
        int16_t enhanced[subframeLength];
    };

    void reset();
    void clearSpeechState(bool afterNoise);
    void decodeFrame(Received &received, int16_t *speech);
    void decodeSpeech(Received &received, int16_t prevDtxState, int16_t *speech);
    void followLosses(const Frame &frame, int16_t prevDtxState);
    void decodeLsf(Frame &frame);
    void decodeSubframe(Frame &frame, int k, int16_t *speech);
    void decodeVectors(Frame &frame, int k, Subframe &sub);
    void decodeGains(Frame &frame, int k, Subframe &sub);
    void enhance(const Frame &frame, Subframe &sub);
    void synthesise(const Frame &frame, int k, Subframe &sub, int16_t *speech);
    void decodeNoise(const Received &received, int16_t *speech);

    const Mode &mode() const { return modes[mode_]; }
    int16_t *excitation() { return excitation_ + pastExcitation; }
    bool isBad(const Frame &frame) const { return (frame.quality & ryxGSMAMRBadFrame) != 0; }
    bool isPrevBad(const Frame &frame) const { return (frame.quality & ryxGSMAMRPrevBadFrame) != 0; }
    // The rates whose decoder treats background noise apart, in noise.
    bool isInNoise() const { return background_ != 0 && mode_ <= 2; }

    int mode_;
    bool noPostFilter_;
    bool isHomed_;

    int16_t excitation_[pastExcitation + subframeLength];
    int16_t synthesis_[lpOrder];
    int16_t prevLsp_[lpOrder], pastLsf_[lpOrder], lsfResidual_[lpOrder], averageLsf_[lpOrder];
    int16_t prevLag_, sharpening_;
    int16_t pastEnergies_[4], pastEnergies122_[4];

    int16_t lossState_;
    bool prevBad_, prevDegraded_;
    int16_t random_;
    int16_t background_, voicedHangover_;
    int16_t excitationLevels_[9], pitchGains_[9];

    int16_t newest_, lsfHistory_[8][lpOrder], logEnergyHistory_[8];

    Block<GainConcealState_GSMAMR, 32> gains_;
    Block<CodeGainAverageState_GSMAMR, 32> gainAverage_;
    Block<PhaseDispersionState_GSMAMR, 16> dispersion_;
    Block<BackgroundState_GSMAMR, 128> backgroundState_;
    Block<DecDTXState_GSMAMR, 256> dtx_;
    Block<PostFilterState_GSMAMR, 48> postFilter_;
    Block<HighPassFilterState_GSMAMR, 16> highPass_;
};

} // namespace ryxcodec::gsmamr
