// SPDX-License-Identifier: BSD-2-Clause
// Encoder of GSM full rate (GSM 06.10, clause 4.2), with the voice activity detector and discontinuous transmission.
#pragma once

#include <ryxsc.h>

#include "codec.h"
#include "gsmfr/frame.h"

namespace ryxcodec::gsmfr {

inline constexpr int frameLength = 160;
inline constexpr int historyLength = 120;  // the longest lag of the long-term predictor
inline constexpr int16_t homingSample = 8; // all samples of an encoder's homing frame

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus encode(const int16_t *speech, uint8_t *octets, int &count);

private:
    // What the stages of a frame hand to discontinuous transmission.
    struct Analysis {
        int16_t compensated[frameLength]; // behind the offset compensation
        int32_t acf[larCount + 1];
        int16_t acfScale;
        int16_t lar[larCount];    // before quantisation
        int16_t maxima[segments]; // of the RPE pulses
    };

    void reset();
    void shortTermAnalysis(const int16_t *speech, Analysis &analysis, Frame &frame, int16_t *residual);
    int16_t encodeSubSegment(const int16_t *residual, int16_t *reconstructed, SubSegment &segment);
    void discontinue(const Analysis &analysis, Frame &frame);

    int32_t offset_[2];
    int16_t emphasis_;
    int16_t lar_[larCount]; // decoded, of the previous frame
    int16_t lattice_[8];
    int16_t history_[historyLength]; // reconstructed short-term residual

    int dtx_; // ryxCodecOptions::dtx
    Block<VADState_GSMFR, 300> vad_;
    int16_t tone_;
    int16_t dtxHandler_[3];
    int16_t lars_[4][larCount], maxima_[4][segments]; // of the last frames without speech
    int oldest_;
    Frame sid_;
};

} // namespace ryxcodec::gsmfr
