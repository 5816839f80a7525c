// SPDX-License-Identifier: BSD-2-Clause
#include "recording.h"

#include <sndfile.hh>

#include <stdexcept>

#include "ryxsc.h"

namespace ryxsc::bench {

namespace {

std::vector<int16_t> readSpeech() {
    SndfileHandle file(RYXSC_SPEECH_FILE);
    if (file.error() || file.channels() != 1 || file.samplerate() != 16000)
        throw std::runtime_error("cannot read " RYXSC_SPEECH_FILE " as 16 kHz mono speech");
    std::vector<int16_t> samples(static_cast<size_t>(file.frames()));
    if (file.read(samples.data(), file.frames()) != file.frames())
        throw std::runtime_error(RYXSC_SPEECH_FILE " is shorter than its header says");
    return samples;
}

std::vector<int16_t> splitBands(std::vector<int16_t> samples) {
    int16_t delay[24] = {};
    if (ryxsQMFEncode_G722_16s(samples.data(), samples.data(), static_cast<int>(samples.size()), delay) != ryxStsOk)
        throw std::runtime_error("the bands of the speech cannot be split");
    return samples;
}

std::vector<int16_t> lowBand(const std::vector<int16_t> &bands) {
    std::vector<int16_t> low(bands.size() / 2);
    for (size_t j = 0; j < low.size(); j++)
        low[j] = bands[2 * j];
    return low;
}

} // namespace

const std::vector<int16_t> &speech16k() {
    static const std::vector<int16_t> speech = readSpeech();
    return speech;
}

const std::vector<int16_t> &speechBands() {
    static const std::vector<int16_t> bands = splitBands(speech16k());
    return bands;
}

const std::vector<int16_t> &speech8k() {
    static const std::vector<int16_t> speech = lowBand(speechBands());
    return speech;
}

} // namespace ryxsc::bench
