// SPDX-License-Identifier: BSD-2-Clause
// Decoder of ITU-T G.729: the main body with Annexes B, D and E, joined as Annex I.
#pragma once

#include "codec.h"
#include "g729/backward.h"
#include "g729/concealment.h"

namespace ryxcodec::g729 {

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech);

private:
    static constexpr int residualHistory = 152;

    // A frame on its way through the decoder.
    struct Frame {
        FrameType type;
        bool bad;
        int mode;        // 1 backward LP
        int16_t voicing; // of the last frame, for bad ones
        Parameters p;
        Filters filters;
        int16_t firstLag;
    };

    bool receive(const ReceivedFrame &received, Frame &f);
    void analyseBackward(Frame &f);
    void decodeNoise(Frame &f);
    void decodeSpeech(Frame &f);
    void decodeFilters(Frame &f);
    void decodeSubframe(int s, Frame &f);
    void decodeDelay(int s, const Frame &f, int16_t *delay);
    void trackPitch(const Frame &f);
    void decodeCode(int s, const Frame &f, int16_t lag, int16_t *code);
    void decodeGains(int s, const Frame &f, const int16_t *code);
    void synthesise(int s, const Filters &filters, const int16_t *code);
    void finishFrame(const Frame &f);
    void adaptPostFilter(const Frame &f);
    void postFilter(const Frame &f, int16_t *speech);

    int16_t *excitation(int s) { return excitation_ + excitationHistory + subframeLength * s; }
    int16_t *residual(int s) { return residual_ + residualHistory + subframeLength * s; }

    bool postFilters_;
    FrameType pastType_;
    bool pastBad_;
    FrameTypes met_; // kinds of frames so far
    int16_t excitation_[excitationHistory + frameLength];
    int16_t residual_[residualHistory + frameLength]; // of the post-filter
    int16_t oldLsp_[order], sidLsp_[order], lsfHistory_[4 * order], goodLsf_[order], goodMode_;
    int16_t sharpening_, oldDelay_[2], tracking_[4], gains_[2], energies_[4];
    int16_t concealmentSeed_, noiseSeed_;
    int16_t noiseEnergy_, noiseShift_, noiseGains_[2];
    int16_t voicing_, voicingUsed_;
    int16_t muting_;
    int badSubframes_, backwardSubframes_;
    int previousMode_, dominant_;
    int16_t badFilterWeight_, badFilter_[longOrder + 1]; // of the last bad frame, which fades
    int16_t denominatorFactor_, numeratorFactor_, longTermWeight_;
    int16_t postMemory_[longOrder], postGain_;
    BackwardAnalysis backward_;
    Block<LPModeState_G729E, 96> modeState_;
    Block<PhaseDispersionState_G729D, 32> dispersion_;
    Block<HighPassFilterState_G729, 32> highPass_;
};

} // namespace ryxcodec::g729
