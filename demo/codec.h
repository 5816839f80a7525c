// SPDX-License-Identifier: BSD-2-Clause
// Speech through a codec: what comes out, how good it is and how long it takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "speech.h"

/** A complete codec at one bit rate. Encoder and decoder start from their reset state at every call. */
struct Codec {
    std::string name; /**< as the recommendation is called */
    int kilobits;     /**< bit rate in kbit/s */
    size_t delay;     /**< of encoder and decoder together, in samples */

    /** Whole 20 ms frames of speech to a packed stream. */
    std::function<std::vector<uint8_t>(std::span<const int16_t>)> encode;
    /** The stream to as many samples as were encoded. */
    std::function<std::vector<int16_t>(std::span<const uint8_t>)> decode;
};

/** Speed as multiples of real time. */
struct Speed {
    double encoder, decoder, both;
};

/** Speed of coding so many seconds of speech, the best of several runs. */
Speed measureSpeed(double seconds, const std::function<void()> &encode, const std::function<void()> &decode);

/** What a codec made of the recordings. */
struct Decoded {
    Codec codec;
    Recordings recordings;                      /**< without the delay, as long as the originals */
    std::vector<std::vector<double>> snrTracks; /**< per recording, as snrTrack() has them */
    double segmentalSnr;                        /**< mean over all segments in dB, NaN when all are pauses */
    Speed speed;
};

/** Runs all recordings through the codec, a few times for the speed. */
Decoded runCodec(const Codec &codec, const Recordings &originals);
