// SPDX-License-Identifier: BSD-2-Clause
// Speech through a codec: what comes out, how good it is and how long it takes.
#pragma once

#include <functional>
#include <ryxcodec.h>
#include <string>
#include <vector>

#include "speech.h"

/** A codec at one bit rate, with a share of its frames lost. */
struct CodecRun {
    const ryxCodec *codec;
    int rate;               /**< bits per second */
    double lostPercent = 0; /**< the same frames at every rate */
};

/** The rate as people write it: "12.2". */
std::string rateName(const CodecRun &run);

/** Speed as multiples of real time. */
struct Speed {
    double encoder, decoder, both;
};

/** Speed of coding so many seconds of speech, the best of several runs. */
Speed measureSpeed(double seconds, const std::function<void()> &encode, const std::function<void()> &decode);

/** What a codec made of the recordings. */
struct Decoded {
    CodecRun run;
    Recordings recordings;                      /**< without the delay, as long as the originals */
    std::vector<std::vector<double>> snrTracks; /**< per recording, as snrTrack() has them */
    double segmentalSnr;                        /**< mean over all segments in dB, NaN when all are pauses */
    Speed speed;
};

/** Runs all recordings through the codec, a few times for the speed unless frames are lost. */
Decoded runCodec(const CodecRun &run, const Recordings &originals);
