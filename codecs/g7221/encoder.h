// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "codec.h"
#include "g7221/frame.h"

namespace ryxcodec::g7221 {

class Encoder {
public:
    ryxStatus init(const Format &format, const ryxCodecOptions &options);
    void setRate(int bitsPerSecond) { frameBits_ = bitsPerSecond / framesPerSecond; }
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    Format format_;
    int frameBits_;
    int16_t history_[maxFrameLength]; // the previous frame
};

} // namespace ryxcodec::g7221
