// SPDX-License-Identifier: BSD-2-Clause
// Encoder of ITU-T G.729 Annex A (8 kbit/s, reduced complexity), with Annex B for pauses.
#pragma once

#include "codec.h"
#include "g729/common.h"

namespace ryxcodec::g729 {

class AnnexAEncoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    static constexpr int lookBack = 120, window = 240, pitchHistory = 143;

    bool detectVoice();
    FrameType encodeNoise(Parameters &p);
    void encodeSpeech(Parameters &p);
    void weightSpeech(int s, const int16_t *lpc, int16_t *weightedLpc, int16_t *residual);
    void encodeSubframe(int s, const int16_t *weightedLpc, const int16_t *response, int16_t lag, Parameters &p);

    int16_t *current(int s) { return speech_ + lookBack + subframeLength * s; }
    int16_t *weighted(int s) { return weighted_ + pitchHistory + subframeLength * s; }
    int16_t *excitation(int s) { return excitation_ + excitationHistory + subframeLength * s; }

    bool dtx_;
    int16_t speech_[window]; // 120 past samples, the frame, 40 of look-ahead
    int16_t weighted_[pitchHistory + frameLength];
    int16_t excitation_[excitationHistory + frameLength];
    int16_t lsp_[order], oldLsp_[order], oldQuantisedLsp_[order]; // of this frame, and of the last one
    int16_t lsfHistory_[4 * order];
    int16_t stableLpc_[order + 1], stableReflection_[2];
    int16_t targetMemory_[order];
    int16_t sharpening_, firstLag_;
    int32_t errors_[4];   // of the taming
    int16_t energies_[4]; // of the gain predictor
    int16_t seed_;
    int pastVad_, ppastVad_;
    Block<HighPassFilterState_G729, 32> highPass_;
    Block<VADState_G729B, 128> vad_;
    Block<EncDTXState_G729B, 256> dtxState_;
};

} // namespace ryxcodec::g729
