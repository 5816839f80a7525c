// SPDX-License-Identifier: BSD-2-Clause
// Every repetition runs each library once from its initial state over the whole speech, the order rotating. The speech is
// timed in pieces of a quarter of a second, and a library's time is the sum over the pieces of the shortest: what disturbs
// one run does not disturb the same piece of all of them. The clock is that of the thread.
#include "measure.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

#include "recording.h"

namespace ryxsc::compare {

namespace {

double now() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Twice the rate: a sample between two, from a sinc of 16 zero crossings on either side in a Hann window.
std::vector<int16_t> doubleRate(const std::vector<int16_t> &samples) {
    constexpr int reach = 16;
    const auto length = static_cast<int>(samples.size());
    std::vector<int16_t> result;
    for (int n = 0; n < length; n++) {
        double sum = 0;
        for (int k = std::max(n - reach + 1, 0); k < std::min(n + reach + 1, length); k++) {
            const double distance = std::numbers::pi * (n + 0.5 - k);
            sum += samples[static_cast<size_t>(k)] * std::sin(distance) / distance *
                   (0.5 + 0.5 * std::cos(distance / reach));
        }
        result.push_back(samples[static_cast<size_t>(n)]);
        result.push_back(static_cast<int16_t>(std::lround(std::clamp(sum, -32768.0, 32767.0))));
    }
    return result;
}

const std::vector<int16_t> &speechAt(int rate) {
    static const std::vector<int16_t> speech32k = doubleRate(bench::speech16k());
    switch (rate) {
    case 8000:
        return bench::speech8k();
    case 16000:
        return bench::speech16k();
    case 32000:
        return speech32k;
    default:
        throw std::runtime_error("no speech at " + std::to_string(rate) + " Hz");
    }
}

// The speech of a job in whole frames, and the frames that time one piece.
struct Speech {
    Speech(const Job &job, double seconds) {
        const std::vector<int16_t> &whole = speechAt(job.codec.sampleRate);
        const auto wanted = static_cast<size_t>(seconds * job.codec.sampleRate);
        frameLength = static_cast<size_t>(job.codec.frameLength);
        frames = std::max<size_t>(std::min(wanted, whole.size()) / frameLength, 1);
        samples = whole.data();
        framesPerPiece = std::max<size_t>(static_cast<size_t>(job.codec.sampleRate) / 4 / frameLength, 1);
        duration = static_cast<double>(frames * frameLength) / job.codec.sampleRate;
    }

    const int16_t *frame(size_t index) const { return samples + index * frameLength; }
    int level() const {
        double sum = 0;
        for (size_t i = 0; i < frames * frameLength; i++)
            sum += samples[i] * samples[i];
        return static_cast<int>(std::lround(std::sqrt(sum / static_cast<double>(frames * frameLength))));
    }

    const int16_t *samples;
    size_t frameLength, frames, framesPerPiece;
    double duration;
};

// The shortest time of every piece so far.
class Pieces {
public:
    explicit Pieces(const Speech &speech)
        : speech_(speech), shortest_((speech.frames - 1) / speech.framesPerPiece + 1, 1e9) {}

    // work(frame) for all frames.
    template <class Work> void run(Work work) {
        for (size_t piece = 0; piece < shortest_.size(); piece++) {
            const size_t first = piece * speech_.framesPerPiece;
            const size_t end = std::min(first + speech_.framesPerPiece, speech_.frames);
            const double start = now();
            for (size_t frame = first; frame < end; frame++)
                work(frame);
            shortest_[piece] = std::min(shortest_[piece], now() - start);
        }
    }

    double timesRealTime() const {
        double sum = 0;
        for (const double time : shortest_)
            sum += time;
        return speech_.duration / sum;
    }

private:
    const Speech &speech_;
    std::vector<double> shortest_;
};

struct Stream {
    std::vector<uint8_t> octets;
    std::vector<size_t> ends; // of the frames

    const uint8_t *frame(size_t index) const { return octets.data() + (index == 0 ? 0 : ends[index - 1]); }
    int length(size_t index) const { return static_cast<int>(ends[index] - (index == 0 ? 0 : ends[index - 1])); }
};

// Libraries may write whole frames of their own ahead of ours.
constexpr size_t slack = 8192;

class EncoderRun {
public:
    EncoderRun(const Job &job, const Library &library, const Speech &speech)
        : job_(job), library_(library), speech_(speech), pieces_(speech) {
        stream_.octets.resize(speech.frames * static_cast<size_t>(job.codec.largestFrame) + slack);
        stream_.ends.resize(speech.frames);
    }

    bool run() {
        const std::unique_ptr<Encoder> encoder = library_.encoder == nullptr ? nullptr : library_.encoder(job_);
        if (encoder == nullptr) return false;
        uint8_t *end = stream_.octets.data();
        pieces_.run([&](size_t frame) {
            end = encoder->encode(speech_.frame(frame), end);
            stream_.ends[frame] = static_cast<size_t>(end - stream_.octets.data());
        });
        return true;
    }

    const Stream &stream() const { return stream_; }
    Outcome outcome(const EncoderRun &own) const {
        // One that holds samples back may owe us the end.
        const size_t octets = std::min(stream_.ends.back(), own.stream_.ends.back());
        const bool equal =
            octets > 0 && std::equal(stream_.octets.begin(), stream_.octets.begin() + static_cast<long>(octets),
                                     own.stream_.octets.begin());
        return {&library_, true, pieces_.timesRealTime(), equal, 0};
    }

private:
    const Job &job_;
    const Library &library_;
    const Speech &speech_;
    Pieces pieces_;
    Stream stream_;
};

class DecoderRun {
public:
    DecoderRun(const Job &job, const Library &library, const Speech &speech, const Stream &stream)
        : job_(job), library_(library), speech_(speech), stream_(stream), pieces_(speech),
          decoded_(speech.frames * speech.frameLength + slack) {}

    bool run() {
        const std::unique_ptr<Decoder> decoder = library_.decoder == nullptr ? nullptr : library_.decoder(job_);
        if (decoder == nullptr) return false;
        int16_t *end = decoded_.data();
        pieces_.run([&](size_t frame) { end = decoder->decode(stream_.frame(frame), stream_.length(frame), end); });
        return true;
    }

    Outcome outcome(const DecoderRun &own) const {
        double signal = 0, difference = 0;
        for (size_t i = 0; i < speech_.frames * speech_.frameLength; i++) {
            const double sample = own.decoded_[i], other = decoded_[i];
            signal += sample * sample;
            difference += (sample - other) * (sample - other);
        }
        return {&library_, true, pieces_.timesRealTime(), difference == 0, 10 * std::log10(signal / difference)};
    }

private:
    const Job &job_;
    const Library &library_;
    const Speech &speech_;
    const Stream &stream_;
    Pieces pieces_;
    std::vector<int16_t> decoded_;
};

// A measure of the machine for codecs that nobody else has: libgsm's encoder of GSM full rate.
class Yardstick {
public:
    explicit Yardstick(double seconds) : speech_(job_, seconds), encoder_(job_, gsm, speech_) { run(); }

    void run() { encoder_.run(); }
    double timesRealTime() const { return encoder_.outcome(encoder_).timesRealTime; }

private:
    const ryxCodec &codec_ = *ryxcodecFind("gsm-fr");
    const Job job_ = {codec_, codec_.rates[0], false};
    const Speech speech_;
    EncoderRun encoder_;
};

bool isCovered(const Job &job) {
    return std::any_of(std::begin(others), std::end(others), [&](const Library *library) {
        return library->covers(job, Direction::encode) || library->covers(job, Direction::decode);
    });
}

// makeRun(library) makes the run of a library. Fills the comparison and returns the run of ryxcodec.
template <class Run, class MakeRun> Run compare(Comparison &comparison, const Job &job, const Effort &effort,
                                                std::optional<Yardstick> &yardstick, MakeRun makeRun) {
    std::vector<Run> runs = {makeRun(own)};
    runs[0].run();
    for (const Library *library : others) {
        if (!effort.others || !library->covers(job, comparison.direction)) continue;
        Run run = makeRun(*library);
        if (!library->present() || !run.run()) {
            comparison.others.push_back({.library = library});
            continue;
        }
        comparison.others.push_back({.library = library, .available = true});
        runs.push_back(std::move(run));
    }
    for (int repetition = 1; repetition < effort.repetitions; repetition++) {
        for (size_t i = 0; i < runs.size(); i++)
            runs[(i + static_cast<size_t>(repetition)) % runs.size()].run();
        if (yardstick) yardstick->run();
    }
    comparison.own = runs[0].outcome(runs[0]);
    size_t next = 1;
    for (Outcome &outcome : comparison.others)
        if (outcome.available) outcome = runs[next++].outcome(runs[0]);
    return std::move(runs[0]);
}

} // namespace

const Outcome *Comparison::fastest() const {
    const Outcome *best = nullptr;
    for (const Outcome &other : others)
        if (other.available && (best == nullptr || other.timesRealTime > best->timesRealTime)) best = &other;
    return best;
}

Result measure(const Job &job, const Effort &effort) {
    const Speech speech(job, effort.seconds);
    Result result = {job, speech.level(), {Direction::encode, {}, {}}, {Direction::decode, {}, {}}};
    std::optional<Yardstick> yardstick;
    if (effort.others && gsm.present() && !isCovered(job)) yardstick.emplace(effort.seconds);
    const EncoderRun encoded = compare<EncoderRun>(result.encode, job, effort, yardstick, [&](const Library &library) {
        return EncoderRun(job, library, speech);
    });
    compare<DecoderRun>(result.decode, job, effort, yardstick,
                        [&](const Library &library) { return DecoderRun(job, library, speech, encoded.stream()); });
    if (yardstick) result.yardstick = yardstick->timesRealTime();
    return result;
}

} // namespace ryxsc::compare
