// SPDX-License-Identifier: BSD-2-Clause
// The encoder of ITU-T G.723.1 with Annex A.
#pragma once

#include "codec.h"
#include "g723/frame.h"

namespace ryxcodec::g723 {

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    void setRate(int bitsPerSecond) { rate_ = bitsPerSecond == 5300 ? ryxG723Rate53 : ryxG723Rate63; }
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    // What the analysis of a frame leaves for its coding.
    struct Analysis {
        int16_t autoCorr[subframes][order + 1];
        int shift[subframes];
        int16_t lpc[subframes][order];
        int16_t weights[subframes][2 * order];
        int16_t harmonicLag[subframes], harmonicGain[subframes];
        int sine;
    };

    void highPass(const int16_t *speech);
    void analyse(Analysis &analysis);
    int frameType(const Analysis &analysis);
    void weight(Analysis &analysis);

    void encodeSpeech(Analysis &analysis, Frame &frame);
    void encodeSubframe(int k, Analysis &analysis, const int16_t *lpc, Frame &frame);
    void encodeNoise(const Analysis &analysis, Frame &frame);
    void finishSubframe(int k, const Analysis &analysis, const int16_t *lpc, const Frame &frame);

    int rate_;
    bool dtx_, highPass_;
    bool speechBefore_; // the last frame was speech

    int32_t highPassMemory_[2];
    int16_t input_[120 + frameLength]; // past and new samples; those coded are 60 .. 299
    int16_t sineHistory_;
    int16_t lsf_[order]; // quantised, of the last frame
    int16_t weightingMemory_[2 * order];
    int16_t weighted_[historyLength + frameLength];
    int16_t lag_[2]; // open-loop lags of the last frame
    int16_t filterMemory_[2 * order];
    int16_t synthesis_[historyLength + subframeLength]; // weighted
    int16_t excitation_[historyLength + frameLength];
    int32_t tamingErrors_[5];
    int searchBudget_; // of the algebraic code

    int16_t seed_, sidGain_, noiseGain_;
    int16_t noiseLsf_[order];
    Block<VADState_G723, 64> vad_;
    Block<EncDTXState_G723, 256> transmission_;
};

} // namespace ryxcodec::g723
