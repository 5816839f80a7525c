// SPDX-License-Identifier: BSD-2-Clause
// The GSM-AMR encoder (3GPP TS 26.090; TS 26.092 to 26.094 for silence).
#pragma once

#include "gsmamr/frame.h"

namespace ryxcodec::gsmamr {

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    void setRate(int bitsPerSecond);
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    static constexpr int pastExcitation = 154, pastWeighted = 143;

    // What the stages of a frame hand on.
    struct Frame {
        int16_t lpc[subframes][lpCoefficients], quantised[subframes][lpCoefficients];
        int16_t weighted1[subframes][lpCoefficients], weighted2[subframes][lpCoefficients];
        int16_t impulses[subframes][subframeLength];
        int16_t lsp[2][lpOrder]; // in the middle and at the end of the frame
        int16_t lags[2];
        int16_t resonance;
        int16_t newSid;
        bool isSilence;
    };
    // And those of a subframe.
    struct Subframe {
        int16_t residual[subframeLength], target[subframeLength];
        int16_t codebookResidual[subframeLength], codebookTarget[subframeLength];
        int16_t adaptive[subframeLength]; // filtered
        int16_t code[subframeLength], filteredCode[subframeLength];
        int16_t synthesis[subframeLength];
        const int16_t *excitation; // the adaptive vector
        int16_t lag, fraction, limit, pitchGain, codeGain;
        int16_t energies[4];
    };
    // The memories that the quantised excitation of a subframe changes.
    struct Memories {
        int16_t synthesis[lpOrder], error[lpOrder], weightedError[lpOrder];
    };
    // Where the parameters go.
    using Parameters = int16_t *;

    void reset();
    void preProcess(const int16_t *speech);
    void detectVoice(Frame &frame);
    void analyse(Frame &frame, Parameters &parameters);
    void analyseWindow(int window, int16_t *lpc);
    void encodeSilence(const Frame &frame);
    void searchOpenLoop(Frame &frame);
    void prepare(const Frame &frame, int k, Subframe &sub);
    void searchAdaptiveCodebook(const Frame &frame, int k, Subframe &sub, Parameters &parameters);
    void searchFixedCodebook(const Frame &frame, int k, Subframe &sub, Parameters &parameters);
    void quantiseGains(Subframe &sub, Parameters &parameters);
    void reconstruct(const Frame &frame, int k, Subframe &sub);
    void encodeSubframe(const Frame &frame, int k, Parameters &parameters);
    void encodePair(const Frame &frame, int k, Parameters &parameters);
    void remake(const Frame &frame, int k, Subframe &sub, const int16_t *gains);
    void keepGain(int16_t gain);
    int send(const Frame &frame, const int16_t *parameters, uint8_t *octets);

    const Mode &mode() const { return modes[mode_]; }
    const int16_t *speech() const { return speech_ + 120; } // of the frame that is coded
    int16_t *newSpeech() { return speech_ + frameLength; }
    int16_t *weighted() { return weighted_ + pastWeighted; }
    int16_t *excitation() { return excitation_ + pastExcitation; }

    int mode_;
    bool dtx_;

    int16_t speech_[2 * frameLength];
    int16_t weighted_[pastWeighted + frameLength];
    int16_t excitation_[pastExcitation + frameLength];

    int16_t stableLpc_[lpCoefficients];
    int16_t prevLsp_[lpOrder], prevQuantisedLsp_[lpOrder], lsfResidual_[lpOrder];
    int16_t prevLag_, sharpening_;
    int16_t resonanceCount_, pastGains_[7];
    int16_t pastEnergies_[4], pastEnergies122_[4];
    Memories memories_;

    int16_t hangover_, elapsed_;
    int16_t newest_, lspHistory_[8][lpOrder], logEnergyHistory_[8];
    int16_t sid_[sidParameters];
    int sidCountdown_;
    bool wasSilence_;

    Block<HighPassFilterState_GSMAMR, 16> highPass_;
    Block<OpenLoopPitchState_GSMAMR, 32> openLoop_;
    Block<GainAdaptState_GSMAMR, 16> gainAdapt_;
    Block<VADState_GSMAMR, 144> vad_;
};

} // namespace ryxcodec::gsmamr
