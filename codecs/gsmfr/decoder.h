// SPDX-License-Identifier: BSD-2-Clause
// Decoder of GSM full rate (GSM 06.10, clause 4.3), with the receive handler of discontinuous transmission.
#pragma once

#include <ryxsc.h>

#include "codec.h"
#include "gsmfr/encoder.h"
#include "gsmfr/frame.h"

namespace ryxcodec::gsmfr {

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &received, int16_t *speech);

private:
    void reset();
    void synthesise(const Frame &frame, int16_t *speech);

    bool receiveHandler_; // ryxCodecOptions::receiveHandler
    bool home_;           // nothing but homing frames since the last reset
    Block<DecDTXState_GSMFR, 188> handler_;
    int16_t lag_;           // the last valid one
    int16_t lar_[larCount]; // decoded, of the previous frame
    int16_t lattice_[8];
    int16_t emphasis_;
    int16_t history_[historyLength]; // reconstructed short-term residual
};

} // namespace ryxcodec::gsmfr
