// SPDX-License-Identifier: BSD-2-Clause
#include "audio_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <samplerate.h>
#include <sndfile.h>
#include <sstream>
#include <string>

#include "failure.h"
#include "input_file.h"
#include "output_file.h"

namespace {

namespace fs = std::filesystem;

using SoundFile = std::unique_ptr<SNDFILE, decltype(&sf_close)>;

std::string lastError(SNDFILE *file) {
    std::string text = sf_strerror(file);
    while (text.ends_with('.'))
        text.pop_back();
    return text;
}

SoundFile openForReading(const fs::path &path, SF_INFO &info) {
    requireInputFile(path);
    if (fs::file_size(path) == 0) throw Failure(path.string() + " is empty");
    SoundFile file(sf_open(path.c_str(), SFM_READ, &info), sf_close);
    if (!file) throw Failure(path.string() + " cannot be read as an audio file: " + lastError(nullptr));
    return file;
}

// libsndfile reads as much of a shortened WAV, AIFF or AU file as there is and mentions only in its log that the header
// announces more: "data : 256000 (should be 19957)". Programs that write into a pipe cannot know the size and announce
// one of a few impossible ones.
bool announcesMoreThanThereIs(SNDFILE *file) {
    std::array<char, 16384> log = {};
    sf_command(file, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
    std::istringstream lines(log.data());
    for (std::string line; std::getline(lines, line);) {
        std::array<char, 16> name = {};
        unsigned long long announced = 0, present = 0;
        const int found =
            std::sscanf(line.c_str(), " %15[^:]: %llu (should be %llu)", name.data(), &announced, &present);
        const std::string chunk = name.data();
        const bool unknown = announced == 0xFFFFFFFF || announced == 0x7FFFFFFF || announced == 0x7FFFF000;
        const bool samples = chunk == "data " || chunk == "SSND " || chunk == "Data Size   ";
        if (found == 3 && samples && !unknown && announced > present) return true;
    }
    return false;
}

bool isSpeechAlready(const SF_INFO &info, int sampleRate) {
    return (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16 && info.channels == 1 && info.samplerate == sampleRate;
}

constexpr size_t blockSamples = 65536; // of all channels together
constexpr int leastRate = 1000, largestRate = 768000;

void sayWhatIsConverted(const fs::path &path, const SF_INFO &info, int sampleRate) {
    std::string steps;
    const auto add = [&](const std::string &step) { steps += (steps.empty() ? "" : ", ") + step; };
    if (info.channels != 1) add("mixed " + std::to_string(info.channels) + " channels down to one");
    if ((info.format & SF_FORMAT_SUBMASK) != SF_FORMAT_PCM_16) {
        SF_FORMAT_INFO subtype = {info.format & SF_FORMAT_SUBMASK, nullptr, nullptr};
        const bool named = sf_command(nullptr, SFC_GET_FORMAT_INFO, &subtype, sizeof subtype) == 0;
        add((named ? std::string(subtype.name) : "the samples") + " converted to 16 bits");
    }
    if (info.samplerate != sampleRate)
        add("resampled from " + std::to_string(info.samplerate) + " Hz to " + std::to_string(sampleRate) + " Hz");
    note(path.string() + ": " + steps);
}

// Lets `write` fill a mono WAV file through libsndfile; it returns whether everything was taken.
template <class Write>
void writeWav(OutputFile &output, int sampleRate, int subtype, size_t octets, const Write &write) {
    const size_t headerRoom = 4096;
    if (octets > std::numeric_limits<uint32_t>::max() - headerRoom)
        throw Failure("cannot write " + output.target().string() + ": longer than a WAV file can be");
    SF_INFO info = {};
    info.samplerate = sampleRate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | subtype;
    errno = 0;
    SoundFile file(sf_open_fd(output.descriptor(), SFM_WRITE, &info, 0), sf_close);
    const bool complete = file && write(file.get());
    const int error = errno; // closing may change it
    if (const bool closed = sf_close(file.release()) == 0; complete && closed) return;
    throw Failure("cannot write " + output.target().string() + ": " + strerror(error ? error : EIO));
}

} // namespace

// The length in the header is not trusted: some formats state none, and a damaged one may state anything.
struct AudioReader::Source {
    fs::path path;
    int sampleRate;
    SF_INFO info = {};
    SoundFile file;
    std::unique_ptr<SRC_STATE, decltype(&src_delete)> resampler = {nullptr, src_delete};
    sf_count_t frames = 0; // read
    bool ended = false;
    std::vector<int16_t> ready; // from `start` on not yet given away
    size_t start = 0;

    Source(const fs::path &name, int rate) : path(name), sampleRate(rate), file(openForReading(name, info)) {
        if (info.samplerate < leastRate || info.samplerate > largestRate)
            throw Failure(path.string() + " has a sampling rate of " + std::to_string(info.samplerate) +
                          " Hz, which no recording of speech has");
        if (announcesMoreThanThereIs(file.get())) throw Failure(path.string() + " is truncated");
        int error = 0;
        if (info.samplerate != rate) resampler.reset(src_new(SRC_SINC_BEST_QUALITY, 1, &error));
        if (error != 0) refuseRate(error);
    }

    size_t blockFrames() const { return std::max<size_t>(blockSamples / static_cast<size_t>(info.channels), 1); }

    // Makes at least one sample ready, unless the file has ended.
    void fill() {
        ready.clear();
        start = 0;
        while (ready.empty() && !ended) {
            const sf_count_t count = isSpeechAlready(info, sampleRate) ? takeSamples() : convertSamples();
            frames += count;
            ended = count == 0;
        }
        if (!ended) return;
        if (frames < info.frames) throw Failure(path.string() + " is truncated");
        if (frames == 0) throw Failure(path.string() + " holds no samples");
        if (!isSpeechAlready(info, sampleRate)) sayWhatIsConverted(path, info, sampleRate);
    }

private:
    [[noreturn]] void refuseRate(int error) const {
        throw Failure("cannot resample " + std::to_string(info.samplerate) + " Hz to " + std::to_string(sampleRate) +
                      " Hz: " + src_strerror(error));
    }

    sf_count_t takeSamples() {
        ready.resize(blockFrames());
        const sf_count_t count = sf_readf_short(file.get(), ready.data(), static_cast<sf_count_t>(ready.size()));
        ready.resize(static_cast<size_t>(count));
        return count;
    }

    sf_count_t convertSamples() {
        const auto channels = static_cast<size_t>(info.channels);
        std::vector<float> interleaved(blockFrames() * channels);
        const sf_count_t count = sf_readf_float(file.get(), interleaved.data(), static_cast<sf_count_t>(blockFrames()));
        std::vector<float> mixed(static_cast<size_t>(count));
        for (size_t i = 0; i < mixed.size(); i++) {
            float sum = 0;
            for (size_t c = 0; c < channels; c++)
                sum += interleaved[i * channels + c];
            mixed[i] = sum / static_cast<float>(channels);
        }
        if (resampler)
            resample(mixed);
        else
            append(mixed);
        return count;
    }

    // An empty block ends the signal.
    void resample(const std::vector<float> &input) {
        std::vector<float> output(blockSamples);
        constexpr float nothing = 0;
        SRC_DATA data = {};
        data.data_in = input.empty() ? &nothing : input.data();
        data.input_frames = static_cast<long>(input.size());
        data.end_of_input = input.empty();
        data.src_ratio = static_cast<double>(sampleRate) / info.samplerate;
        do {
            data.data_out = output.data();
            data.output_frames = static_cast<long>(output.size());
            if (const int error = src_process(resampler.get(), &data)) refuseRate(error);
            append(std::span(output).first(static_cast<size_t>(data.output_frames_gen)));
            data.data_in += data.input_frames_used;
            data.input_frames -= data.input_frames_used;
        } while (data.input_frames > 0 || data.output_frames_gen == data.output_frames);
    }

    void append(std::span<const float> samples) {
        const size_t present = ready.size();
        ready.resize(present + samples.size());
        src_float_to_short_array(samples.data(), ready.data() + present, static_cast<int>(samples.size()));
    }
};

AudioReader::AudioReader(const fs::path &path, int sampleRate) : source_(new Source(path, sampleRate)) {
    source_->fill();
}

AudioReader::~AudioReader() = default;

size_t AudioReader::read(std::span<int16_t> samples) {
    size_t done = 0;
    while (done < samples.size()) {
        if (source_->start == source_->ready.size()) {
            if (source_->ended) break;
            source_->fill();
        }
        const size_t now = std::min(samples.size() - done, source_->ready.size() - source_->start);
        std::copy_n(source_->ready.begin() + static_cast<std::ptrdiff_t>(source_->start), now, &samples[done]);
        source_->start += now;
        done += now;
    }
    return done;
}

size_t AudioReader::total() const {
    const SF_INFO &info = source_->info;
    if (info.frames <= 0 || info.frames == SF_COUNT_MAX) return 0;
    return static_cast<size_t>(static_cast<double>(info.frames) * source_->sampleRate / info.samplerate);
}

Audio readMono(const fs::path &path, int sampleRate) {
    AudioReader reader(path, sampleRate);
    Audio audio = {sampleRate, {}};
    for (size_t count = blockSamples; count == blockSamples;) {
        const size_t present = audio.samples.size();
        audio.samples.resize(present + blockSamples);
        count = reader.read(std::span(audio.samples).subspan(present));
        audio.samples.resize(present + count);
    }
    return audio;
}

void writeMono(OutputFile &file, const Audio &audio) {
    const auto count = static_cast<sf_count_t>(audio.samples.size());
    writeWav(file, audio.sampleRate, SF_FORMAT_PCM_16, audio.samples.size() * 2,
             [&](SNDFILE *wav) { return sf_writef_short(wav, audio.samples.data(), count) == count; });
}

void writeMono(const fs::path &path, const Audio &audio) {
    OutputFile file(path);
    writeMono(file, audio);
    file.commit();
}

void writeCompandedMono(OutputFile &file, int sampleRate, CompandingLaw law, std::span<const uint8_t> octets) {
    const auto count = static_cast<sf_count_t>(octets.size());
    writeWav(file, sampleRate, law == CompandingLaw::aLaw ? SF_FORMAT_ALAW : SF_FORMAT_ULAW, octets.size(),
             [&](SNDFILE *wav) { return sf_write_raw(wav, octets.data(), count) == count; });
}
