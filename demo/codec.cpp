// SPDX-License-Identifier: BSD-2-Clause
#include "codec.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "lib/codec_call.h"
#include "lib/round_trip.h"

namespace {

// The fastest run counts: whatever else the machine does only makes a run slower.
constexpr int fewestRuns = 5;
constexpr double secondsOfRuns = 0.3;

// Zeros behind the recording push the delayed end out of the codec and fill the last frame.
std::vector<int16_t> padToFrames(const std::vector<int16_t> &samples, size_t delay, size_t frameLength) {
    const size_t frames = (samples.size() + delay + frameLength - 1) / frameLength;
    std::vector<int16_t> padded = samples;
    padded.resize(frames * frameLength);
    return padded;
}

std::vector<int16_t> removeDelay(const std::vector<int16_t> &decoded, size_t delay, size_t length) {
    const auto first = decoded.begin() + static_cast<std::ptrdiff_t>(delay);
    return {first, first + static_cast<std::ptrdiff_t>(length)};
}

double meanOfSpeech(const std::vector<std::vector<double>> &tracks) {
    double sum = 0;
    size_t count = 0;
    for (const std::vector<double> &track : tracks)
        for (const double ratio : track) {
            if (std::isnan(ratio)) continue;
            sum += ratio;
            count++;
        }
    return count ? sum / static_cast<double>(count) : std::numeric_limits<double>::quiet_NaN();
}

} // namespace

Speed measureSpeed(double seconds, const std::function<void()> &encode, const std::function<void()> &decode) {
    Speed speed = {0, 0, 0};
    double spent = 0;
    for (int run = 0; run < fewestRuns || spent < secondsOfRuns; run++) {
        Stopwatch stopwatch;
        encode();
        const double encoding = stopwatch.lap();
        decode();
        const double decoding = stopwatch.lap();
        spent += encoding + decoding;
        speed = {std::max(speed.encoder, seconds / encoding), std::max(speed.decoder, seconds / decoding),
                 std::max(speed.both, seconds / (encoding + decoding))};
    }
    return speed;
}

std::string rateName(const CodecRun &run) {
    return rateName(*run.codec, run.rate);
}

Decoded runCodec(const CodecRun &run, const Recordings &originals) {
    const ryxCodec &codec = *run.codec;
    const auto frameLength = static_cast<size_t>(codec.frameLength), delay = static_cast<size_t>(codec.delay);
    ryxCodecOptions options = {};
    options.rate = run.rate;
    options.receiveHandler = 1; // of gsm-fr, which else leaves lost frames to its caller
    Decoded result = {run, {originals.sampleRate, {}}, {}, 0, {0, 0, 0}};
    std::vector<std::vector<int16_t>> padded;
    std::vector<std::vector<ryxCodecFrame>> streams;
    double seconds = 0;
    for (const Recording &original : originals.list) {
        padded.push_back(padToFrames(original.samples, delay, frameLength));
        streams.emplace_back(padded.back().size() / frameLength);
        seconds += static_cast<double>(padded.back().size()) / originals.sampleRate;
    }
    std::vector<std::vector<int16_t>> decoded = padded;

    const auto encodeAll = [&] {
        for (size_t i = 0; i < padded.size(); i++) {
            CodecEncoder encoder(codec, options);
            for (size_t k = 0; k < streams[i].size(); k++)
                streams[i][k] = encoder.encode(&padded[i][k * frameLength]);
        }
    };
    const auto decodeAll = [&] {
        for (size_t i = 0; i < padded.size(); i++) {
            CodecDecoder decoder(codec, options);
            for (size_t k = 0; k < streams[i].size(); k++)
                decoder.decode(streams[i][k], &decoded[i][k * frameLength]);
        }
    };
    if (run.lostPercent == 0) {
        result.speed = measureSpeed(seconds, encodeAll, decodeAll);
    } else {
        encodeAll();
        std::mt19937 random(1);
        for (std::vector<ryxCodecFrame> &stream : streams)
            for (ryxCodecFrame &frame : stream)
                frame.lost = static_cast<double>(random() % 100000) < 1000 * run.lostPercent ? 1 : 0;
        decodeAll();
    }

    for (size_t i = 0; i < padded.size(); i++) {
        const Recording &original = originals.list[i];
        Recording recording = {original.name, removeDelay(decoded[i], delay, original.samples.size())};
        result.snrTracks.push_back(snrTrack(original.samples, recording.samples, originals.sampleRate));
        result.recordings.list.push_back(std::move(recording));
    }
    result.segmentalSnr = meanOfSpeech(result.snrTracks);
    return result;
}
