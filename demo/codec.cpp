// SPDX-License-Identifier: BSD-2-Clause
#include "codec.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

Decoded runCodec(const Codec &codec, const Recordings &originals) {
    Decoded result = {codec, {originals.sampleRate, {}}, {}, 0, {0, 0, 0}};
    std::vector<std::vector<int16_t>> padded;
    double seconds = 0;
    for (const Recording &original : originals.list) {
        padded.push_back(padToFrames(original.samples, codec.delay, static_cast<size_t>(originals.sampleRate / 50)));
        seconds += static_cast<double>(padded.back().size()) / originals.sampleRate;
    }

    std::vector<std::vector<uint8_t>> streams(padded.size());
    std::vector<std::vector<int16_t>> decoded(padded.size());
    const auto encodeAll = [&] { std::transform(padded.begin(), padded.end(), streams.begin(), codec.encode); };
    const auto decodeAll = [&] { std::transform(streams.begin(), streams.end(), decoded.begin(), codec.decode); };
    result.speed = measureSpeed(seconds, encodeAll, decodeAll);

    for (size_t i = 0; i < padded.size(); i++) {
        const Recording &original = originals.list[i];
        Recording recording = {original.name, removeDelay(decoded[i], codec.delay, original.samples.size())};
        result.snrTracks.push_back(snrTrack(original.samples, recording.samples, originals.sampleRate));
        result.recordings.list.push_back(std::move(recording));
    }
    result.segmentalSnr = meanOfSpeech(result.snrTracks);
    return result;
}
