// SPDX-License-Identifier: BSD-2-Clause
// Parameters of a G.723.1 frame and their octets (ITU-T G.723.1 clause 4, RFC 3551).
#pragma once

#include <cstdint>

#include <ryxsc.h>

namespace ryxcodec::g723 {

constexpr int subframes = 4;
constexpr int subframeLength = 60;
constexpr int frameLength = 240;
constexpr int order = 10;
constexpr int historyLength = 145; // of excitation and weighted speech
constexpr int shortestLag = 18;
constexpr int shortLagLimit = 58; // below, 6.3 kbit/s has 85 gain vectors and pulse trains

struct Subframe {
    int16_t offset;    // to the lag of the half frame, plus 1
    int16_t pitchGain; // index of the gain vector
    int16_t gain;      // level of the fixed codebook
    int16_t grid;
    int16_t train; // 6.3 kbit/s only
    int16_t signs;
    int32_t positions;
};

struct Frame {
    int type; // ryxG723FrameSpeech and its kin
    int rate; // of a speech frame
    int32_t lsf;
    int sidGain;
    int16_t lag[2]; // of the half frames
    Subframe subframe[subframes];

    // The codebook indices of the LSFs as their decoder takes them.
    void lsfIndices(uint16_t *indices) const {
        for (int band = 0; band < 3; band++)
            indices[band] = static_cast<uint16_t>(lsf >> (16 - 8 * band) & 255);
    }
};

constexpr int largestFrame = 24;

// How many octets the frame takes whose first octet is this.
constexpr int octetsOf(unsigned first) {
    constexpr int octets[4] = {24, 20, 4, 1};
    return octets[first & 3];
}

int pack(const Frame &frame, uint8_t *octets);

// False where a speech frame holds codes that no encoder gives it: then it counts as erased. frame.rate is that of the
// last speech frame and stays in other ones.
bool unpack(const uint8_t *octets, Frame &frame);

} // namespace ryxcodec::g723
