// SPDX-License-Identifier: BSD-2-Clause
// The decoder of ITU-T G.723.1 with Annex A.
#pragma once

#include "codec.h"
#include "g723/frame.h"

namespace ryxcodec::g723 {

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &received, int16_t *speech);

private:
    // excitation: 240 samples, as the synthesis takes it. lpc: the filters of the subframes.
    void decodeSpeech(const Frame &frame, int16_t *excitation, int16_t (*lpc)[order]);
    void conceal(int16_t *excitation, int16_t (*lpc)[order]);
    void makeNoise(const Frame &frame, int16_t *excitation, int16_t (*lpc)[order]);
    void synthesise(const int16_t *excitation, const int16_t (*lpc)[order], int16_t *speech);

    bool postFilter_;
    bool speechBefore_; // the last frame was speech, received or not
    int rate_;          // of the last speech frame

    int16_t lsf_[order]; // of the last frame
    int16_t excitation_[historyLength + frameLength];
    int16_t synthesisMemory_[order];
    int16_t postFilterMemory_[2 * order + 1];
    int16_t outputGain_;

    int erasures_; // in a row, up to 3
    int16_t period_, energy_, concealmentGain_, concealmentSeed_;
    int energyScale_;

    int16_t noiseSeed_, sidGain_, noiseGain_;
    int16_t noiseLsf_[order];
};

} // namespace ryxcodec::g723
