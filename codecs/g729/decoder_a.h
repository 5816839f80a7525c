// SPDX-License-Identifier: BSD-2-Clause
// Decoder of ITU-T G.729 Annex A, with Annex B for pauses.
#pragma once

#include "codec.h"
#include "g729/common.h"

namespace ryxcodec::g729 {

class AnnexADecoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech);

private:
    void decodeNoise(FrameType type, const Parameters &p, ShortFilters &filters, int16_t *lags);
    void decodeSpeech(bool bad, const Parameters &p, ShortFilters &filters, int16_t *lags);
    void decodeLsp(bool bad, const Parameters &p, int16_t *lsp);
    void decodeSubframe(int s, bool bad, const Parameters &p, const int16_t *lpc, int16_t *lags);
    void decodeDelay(int s, bool bad, const Parameters &p, int16_t firstLag, int16_t *delay);
    bool synthesise(int s, const int16_t *lpc);
    void resynthesise(int s, const int16_t *lpc);
    void postProcess(const ShortFilters &filters, const int16_t *lags, int16_t *speech);

    int16_t *excitation(int s) { return excitation_ + excitationHistory + subframeLength * s; }
    int16_t *synthesis(int s) { return synthesis_ + order + subframeLength * s; }

    bool postFilters_;
    FrameType pastType_;
    int16_t excitation_[excitationHistory + frameLength];
    int16_t synthesis_[order + frameLength];
    int16_t oldLsp_[order], sidLsp_[order], lsfHistory_[4 * order], goodLsf_[order], goodMode_;
    int16_t sharpening_, oldLag_, gains_[2], energies_[4];
    int16_t concealmentSeed_, noiseSeed_;
    int16_t noiseEnergy_, noiseShift_, noiseGains_[2];
    Block<PostProcessState_G729A, 512> postProcess_;
    Block<HighPassFilterState_G729, 32> highPass_; // without post-filter
};

} // namespace ryxcodec::g729
