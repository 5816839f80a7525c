// SPDX-License-Identifier: BSD-2-Clause
// Frames of GSM-AMR: parameters in the order of the encoder, octets in the order of RFC 4867.
#pragma once

#include <ryxsc.h>

#include "codec.h"

namespace ryxcodec::gsmamr {

inline constexpr int modeCount = 8;
inline constexpr int sidMode = modeCount;
inline constexpr int mostParameters = 57;
inline constexpr int sidParameters = 5;
inline constexpr int largestFrame = 32;
inline constexpr int frameLength = 160;
inline constexpr int subframeLength = 40;
inline constexpr int subframes = 4;
inline constexpr int lpOrder = 10;
inline constexpr int lpCoefficients = lpOrder + 1;

// A mode of the encoder, or the silence descriptors as the ninth.
struct Mode {
    int rate; // in the enumeration of the primitives
    int bits;
    int parameters;
    int homingParameters; // up to the end of the first subframe
    const uint8_t *widths, *order;
    const int16_t *homing;

    bool isVectorQuantised() const { return rate != ryxGSMAMRRate7950 && rate != ryxGSMAMRRate12200; }
    int lsfIndices() const { return rate == ryxGSMAMRRate12200 ? 5 : 3; }
    int codeWords() const { return rate == ryxGSMAMRRate12200 ? 10 : rate == ryxGSMAMRRate10200 ? 7 : 2; }
};
extern const Mode modes[modeCount + 1];

// Octets of a frame with its header. Both return their number.
int packSpeech(const int16_t *parameters, int mode, uint8_t *frame);
int packSid(const int16_t *parameters, bool isUpdate, int mode, uint8_t *frame);

// What was received: one of the primitives' frame types, and the mode where the frame tells it, else -1.
struct Received {
    int type;
    int mode;
    int16_t parameters[mostParameters];
};
ryxStatus unpack(const ReceivedFrame &frame, Received &received);

// Whether the parameters are those of the mode's decoder homing frame, all of them or those up to the first subframe's end.
bool isHomingFrame(const int16_t *parameters, int mode, bool whole);

} // namespace ryxcodec::gsmamr
