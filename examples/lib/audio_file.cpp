// SPDX-License-Identifier: BSD-2-Clause
#include "audio_file.h"

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

// The whole file, channels interleaved. The length in the header is not trusted: some formats state none, and a
// damaged one may state anything.
template <class Sample>
std::vector<Sample> readFrames(SNDFILE *file, size_t channels, sf_count_t (*read)(SNDFILE *, Sample *, sf_count_t)) {
    const sf_count_t blockFrames = 65536;
    std::vector<Sample> samples;
    sf_count_t frames = 0, count = 0;
    do {
        samples.resize(static_cast<size_t>(frames + blockFrames) * channels);
        count = read(file, samples.data() + static_cast<size_t>(frames) * channels, blockFrames);
        frames += count;
    } while (count > 0);
    samples.resize(static_cast<size_t>(frames) * channels);
    return samples;
}

std::vector<float> mixDown(const std::vector<float> &interleaved, size_t channels) {
    std::vector<float> mixed(interleaved.size() / channels);
    for (size_t i = 0; i < mixed.size(); i++) {
        float sum = 0;
        for (size_t c = 0; c < channels; c++)
            sum += interleaved[i * channels + c];
        mixed[i] = sum / static_cast<float>(channels);
    }
    return mixed;
}

std::vector<float> resample(const std::vector<float> &samples, int from, int to) {
    const double ratio = static_cast<double>(to) / from;
    std::vector<float> result(static_cast<size_t>(static_cast<double>(samples.size()) * ratio) + 1);
    SRC_DATA data = {};
    data.data_in = samples.data();
    data.input_frames = static_cast<long>(samples.size());
    data.data_out = result.data();
    data.output_frames = static_cast<long>(result.size());
    data.src_ratio = ratio;
    if (const int error = src_simple(&data, SRC_SINC_BEST_QUALITY, 1))
        throw Failure("cannot resample " + std::to_string(from) + " Hz to " + std::to_string(to) +
                      " Hz: " + src_strerror(error));
    result.resize(static_cast<size_t>(data.output_frames_gen));
    return result;
}

std::vector<int16_t> convert(const std::vector<float> &interleaved, const SF_INFO &info, int sampleRate) {
    std::vector<float> samples = mixDown(interleaved, static_cast<size_t>(info.channels));
    if (info.samplerate != sampleRate) samples = resample(samples, info.samplerate, sampleRate);
    if (samples.size() > std::numeric_limits<int>::max()) throw Failure("the recording is too long to be converted");
    std::vector<int16_t> result(samples.size());
    src_float_to_short_array(samples.data(), result.data(), static_cast<int>(samples.size()));
    return result;
}

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

Audio readMono(const fs::path &path, int sampleRate) {
    SF_INFO info = {};
    const SoundFile file = openForReading(path, info);
    Audio audio;
    audio.sampleRate = sampleRate;
    size_t count = 0;
    if (isSpeechAlready(info, sampleRate)) {
        audio.samples = readFrames<int16_t>(file.get(), 1, sf_readf_short);
        count = audio.samples.size();
    } else {
        const auto channels = static_cast<size_t>(info.channels);
        const std::vector<float> interleaved = readFrames<float>(file.get(), channels, sf_readf_float);
        count = interleaved.size() / channels;
        if (count > 0) audio.samples = convert(interleaved, info, sampleRate);
    }
    const bool endIsMissing = static_cast<sf_count_t>(count) < info.frames;
    if (endIsMissing || announcesMoreThanThereIs(file.get())) throw Failure(path.string() + " is truncated");
    if (audio.samples.empty()) throw Failure(path.string() + " holds no samples");
    if (!isSpeechAlready(info, sampleRate)) sayWhatIsConverted(path, info, sampleRate);
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
