// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "codec.h"
#include "g7221/frame.h"

namespace ryxcodec::g7221 {

class Decoder {
public:
    ryxStatus init(const Format &format, const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech);

private:
    // Spectrum of a frame. False when the frame is damaged.
    bool decodeSpectrum(const ReceivedFrame &frame, int16_t *coefficients, int &magShift);

    Format format_;
    int16_t previous_[maxCodedLength]; // the last good spectrum
    int previousShift_;
    int16_t overlap_[maxFrameLength / 2];
    int16_t noiseSeeds_[4];
};

} // namespace ryxcodec::g7221
