// SPDX-License-Identifier: BSD-2-Clause
// The AMR-WB encoder (3GPP TS 26.190; TS 26.193 for silence).
#pragma once

#include <ryxsc.h>

#include "codec.h"
#include "frame.h"
#include "low_band.h"

namespace ryxcodec::amrwb {

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    void setRate(int bitsPerSecond);
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    static constexpr int pastExcitation = 248, lookAhead = 64;
    static constexpr int pastSpeech = 116; // of the buffer, when a frame comes in
    static constexpr int lpCoefficients = lpOrder + 1;
    static constexpr int samples = subframes * subframeLength;

    // What the stages of a frame hand on.
    struct Frame {
        int16_t input[frameLength]; // 14 bits
        int16_t isp[lpOrder], isf[lpOrder];
        int16_t lpc[subframes * lpCoefficients], weighted[subframes * lpCoefficients];
        int16_t quantised[subframes * lpCoefficients];
        int16_t openLoopLags[2];
        int16_t stability;
        int16_t q, shift;
        int16_t vad, hangover;
        bool isSilence;
    };
    // And those of a subframe.
    struct Subframe {
        int16_t target[subframeLength], residualTarget[subframeLength], codebookTarget[subframeLength];
        int16_t response[subframeLength], codebookResponse[subframeLength];
        int16_t adaptive[subframeLength], filtered[subframeLength], lowPassed[subframeLength];
        int16_t code[subframeLength], filteredCode[subframeLength];
        int16_t lag, fraction, clip, pitchGain, codeGain, voicing;
        int32_t unscaledCodeGain;
    };

    void reset();
    void clearAfterSilence();
    void preprocess(Frame &frame);
    void detectVoice(Frame &frame);
    void analyse(Frame &frame);
    void searchOpenLoop(Frame &frame, int16_t change);
    void quantiseIsf(Frame &frame, BitWriter &bits);
    void encodeSubframe(Frame &frame, int k, BitWriter &bits);
    void searchAdaptiveCodebook(const Frame &frame, int k, Subframe &sub, BitWriter &bits, int16_t *correlations);
    void searchFixedCodebook(Subframe &sub, BitWriter &bits);
    void updateMemories(const Frame &frame, int k, Subframe &sub);
    int16_t encodeHighBand(const Frame &frame, int k, const int16_t *lpc, const int16_t *excitation, int q);
    int16_t highBandGain(const Frame &frame, int k, const Subframe &sub);
    void encodeSilence(const Frame &frame, BitWriter &bits);
    FrameType typeOnAir(bool isSilence);

    const Mode &mode() const { return modes[mode_]; }
    // Bit-rate code of the stages in front of the decision between speech and silence, which has none of the low rates.
    int analysisCode(const Frame &frame) const { return frame.isSilence ? modes[2].code : mode().code; }
    int16_t *excitation() { return excitation_ + pastExcitation; }
    const int16_t *speech() const { return speech_ + lookAhead; } // of the frame that is coded

    int16_t mode_;
    bool dtx_;

    // Speech at 12.8 kHz: 64 samples of the past, the frame, 64 samples to come; and the excitation of the frame.
    int16_t speech_[lookAhead + samples + lookAhead];
    int16_t excitation_[pastExcitation + samples + 8];

    int16_t downsampleHistory_[30], highPass50_[6], preemphasis_;
    int16_t scaling_[3];
    int16_t stableLpc_[lpOrder], prevIsp_[lpOrder];
    int16_t prevQuantisedIsp_[lpOrder], prevQuantisedIsf_[lpOrder], isfResidual_[lpOrder];
    bool isFirst_;
    int16_t weightedDeemphasis_, weightedDecimation_[3], openLoopScaling_[2];
    int16_t weightingMemory_, synthesis_[lpOrder], tilt_;
    int16_t clipping_[2], gainPredictor_[4], lagRange_[2];
    int16_t toneFlag_, noiseFrames_;
    int32_t noiseThreshold_;
    LowBand lowBand_;
    int16_t highBandSynthesis_[lpOrder], noiseBandPass_[30], originalBandPass_[30], highBandWeight_;

    int16_t sidCountdown_;
    bool wasSilence_;
    Block<VADState_AMRWB, 192> vad_;
    Block<OpenLoopPitchState_AMRWB, 512> openLoop_;
    Block<EncDTXState_AMRWB, 512> dtxState_;
};

} // namespace ryxcodec::amrwb
