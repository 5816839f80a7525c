// SPDX-License-Identifier: BSD-2-Clause
// The AMR-WB decoder (3GPP TS 26.190; TS 26.191 for lost frames, TS 26.192 and TS 26.193 for comfort noise).
#pragma once

#include <ryxsc.h>

#include "codec.h"
#include "frame.h"
#include "low_band.h"

namespace ryxcodec::amrwb {

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech);

private:
    static constexpr int pastExcitation = 248;
    static constexpr int lpCoefficients = lpOrder + 1;
    static constexpr int samples = subframes * subframeLength;
    static constexpr int longOrder = 20;

    enum Reception : int16_t { receivesSpeech, receivesSilence, isMuting };

    // What is known of the frame.
    struct Frame {
        FrameType type;
        bool isBad, isLost; // isLost: nothing of its bits is of any use
        int16_t isf[lpOrder], prevIsf[lpOrder];
        int16_t lpc[subframes * lpCoefficients];
        int16_t stability;
    };
    struct Subframe {
        int16_t lag, fraction, voicing, pitchGain, scaledGain, q;
        int32_t codeGain;
        int16_t code[subframeLength], adaptive[subframeLength], reduced[subframeLength];
        int highBandIndex;
    };

    void reset();
    void clearAfterSilence();
    void decodeFrame(FrameType type, int16_t *speech);
    void decodeSpeech(Frame &frame, int16_t *speech);
    void decodeIsf(Frame &frame, BitReader &bits);
    void decodeSubframe(const Frame &frame, int k, BitReader &bits, int16_t *speech);
    void decodeAdaptiveVector(const Frame &frame, int k, BitReader &bits, Subframe &sub);
    void decodeCode(const Frame &frame, BitReader &bits, Subframe &sub);
    void decodeGains(const Frame &frame, BitReader &bits, Subframe &sub);
    void excite(const Frame &frame, int k, Subframe &sub);
    void enhance(const Frame &frame, Subframe &sub, int16_t *enhanced);
    void decodeSilence(const Frame &frame, const int16_t *isf, const int16_t *noise, int16_t *speech);
    // One subframe of output. No index: -1.
    void synthesise(const int16_t *lpc, const int16_t *excitation, int q, int highBandIndex, const int16_t *longLpc,
                    int16_t *speech);

    const Mode &mode() const { return modes[mode_]; }
    int16_t *excitation() { return excitation_ + pastExcitation; }

    ParameterBits bits_; // of the last frame that had some; a silence descriptor overwrites the first ones
    int16_t mode_;       // of the last speech frame
    bool isHomed_;

    int16_t excitation_[pastExcitation + samples + 8];
    int16_t prevIsp_[lpOrder], prevIsf_[lpOrder], isfHistory_[3 * lpOrder], isfResidual_[lpOrder];
    bool isFirst_;
    int16_t lagRange_[2], lastLag_, lagHistory_[5];
    int16_t tilt_, dispersion_[8], scale_, scaleCandidates_[4], gains_[22];
    int32_t noiseThreshold_;
    int16_t codeSeed_, lagSeed_;
    int16_t badFrames_;
    bool wasBad_;
    int16_t noiseFrames_, noiseFramesOfDtx_; // in a row; the latter counts bad frames in noise, too
    int16_t reception_;
    int16_t upsampleHistory_[24];
    LowBand lowBand_;
    int16_t highBandSynthesis_[longOrder], bandPass_[30], lowPass_[30];
    Block<DecDTXState_AMRWB, 512> dtxState_;
};

} // namespace ryxcodec::amrwb
