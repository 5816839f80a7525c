// SPDX-License-Identifier: BSD-2-Clause
#include "speech.h"

#include <algorithm>
#include <cmath>
#include <samplerate.h>

#include "lib/audio_file.h"
#include "lib/failure.h"
#include "lib/progress.h"
#include "lib/segmental_snr.h"

namespace {

namespace fs = std::filesystem;

constexpr double excerptSeconds = 4;

std::vector<fs::path> wavFiles(const fs::path &folder) {
    std::error_code error;
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::string extension = entry->path().extension();
        std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) { return c | 0x20; });
        if (extension == ".wav") files.push_back(entry->path());
    }
    const std::string remedy = "; install the Debian package pocketsphinx-testdata or name a folder with --speech";
    if (error) throw Failure("cannot read speech from " + folder.string() + ": " + error.message() + remedy);
    if (files.empty()) throw Failure("there is no WAV file in " + folder.string() + remedy);
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<int16_t> resample(const std::vector<int16_t> &samples, int sourceRate, int targetRate) {
    const double ratio = static_cast<double>(targetRate) / sourceRate;
    const int length = static_cast<int>(samples.size());
    std::vector<float> source(samples.size()), target(static_cast<size_t>(std::ceil(length * ratio)) + 1);
    src_short_to_float_array(samples.data(), source.data(), length);
    SRC_DATA data = {};
    data.data_in = source.data();
    data.input_frames = length;
    data.data_out = target.data();
    data.output_frames = static_cast<long>(target.size());
    data.src_ratio = ratio;
    if (const int error = src_simple(&data, SRC_SINC_BEST_QUALITY, 1))
        throw Failure("cannot resample speech to " + std::to_string(targetRate) + " Hz: " + src_strerror(error));
    std::vector<int16_t> result(static_cast<size_t>(data.output_frames_gen));
    src_float_to_short_array(target.data(), result.data(), static_cast<int>(result.size()));
    return result;
}

// The stretch with the fewest pauses, so that the pictures show speech.
Excerpt findExcerpt(const Recordings &recordings) {
    const auto wanted = static_cast<size_t>(excerptSeconds * segmentsPerSecond);
    Excerpt best = {0, 0, 0};
    size_t most = 0;
    for (size_t r = 0; r < recordings.list.size(); r++) {
        const std::vector<bool> isSpeech = speechSegments(recordings.list[r].samples, recordings.sampleRate);
        size_t active = 0;
        for (size_t end = 0; end < isSpeech.size(); end++) {
            active += isSpeech[end];
            if (end >= wanted) active -= isSpeech[end - wanted];
            if (active <= most) continue;
            most = active;
            const size_t start = end + 1 - std::min(wanted, end + 1);
            best = {r, static_cast<double>(start) / segmentsPerSecond, 0};
        }
    }
    if (most == 0) throw Failure("the recordings hold nothing but silence");
    const double rest = static_cast<double>(recordings.list[best.recording].samples.size()) / recordings.sampleRate;
    best.length = std::min(excerptSeconds, rest - best.start);
    return best;
}

} // namespace

std::vector<float> joined(const Recordings &recordings) {
    std::vector<float> samples;
    for (const Recording &recording : recordings.list)
        for (const int16_t sample : recording.samples)
            samples.push_back(static_cast<float>(sample) / 32768);
    return samples;
}

double Recordings::seconds() const {
    size_t samples = 0;
    for (const Recording &recording : list)
        samples += recording.samples.size();
    return static_cast<double>(samples) / sampleRate;
}

std::vector<double> snrTrack(std::span<const int16_t> original, std::span<const int16_t> decoded, int sampleRate) {
    const auto length = static_cast<size_t>(sampleRate / segmentsPerSecond);
    std::vector<double> ratios(original.size() / length);
    for (size_t i = 0; i < ratios.size(); i++)
        ratios[i] =
            segmentalSnr(original.subspan(i * length, length), decoded.subspan(i * length, length), sampleRate, 0);
    return ratios;
}

std::vector<bool> speechSegments(std::span<const int16_t> samples, int sampleRate) {
    std::vector<bool> isSpeech;
    // A segment compared with itself has a ratio, unless it is a pause.
    for (const double ratio : snrTrack(samples, samples, sampleRate))
        isSpeech.push_back(!std::isnan(ratio));
    return isSpeech;
}

Speech readSpeech(const fs::path &folder) {
    Speech speech = {{32000, {}}, {16000, {}}, {12800, {}}, {8000, {}}, {}};
    const std::vector<fs::path> files = wavFiles(folder);
    Progress progress("reading speech", files.size());
    for (const fs::path &file : files) {
        const std::string name = file.stem().string();
        const std::vector<int16_t> samples = readMono(file, speech.at16k.sampleRate).samples;
        speech.at16k.list.push_back({name, samples});
        for (Recordings *recordings : {&speech.at32k, &speech.at12k8, &speech.at8k})
            recordings->list.push_back({name, resample(samples, speech.at16k.sampleRate, recordings->sampleRate)});
        progress.update(speech.at16k.list.size());
    }
    speech.excerpt = findExcerpt(speech.at16k);
    return speech;
}
