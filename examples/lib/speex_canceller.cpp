// SPDX-License-Identifier: BSD-2-Clause
// Whole recordings through the canceller of speexdsp, where that library was found.
#include "echo_canceller.h"

#include "failure.h"

#ifdef RYXSC_HAVE_SPEEXDSP

#include <algorithm>
#include <cmath>

#include "speex_canceller.h"

namespace {

int16_t rounded(float x) {
    return static_cast<int16_t>(std::lround(std::clamp(x, -32768.0F, 32767.0F)));
}

// Behind the end of a recording there is silence.
std::vector<int16_t> frameOf(std::span<const float> samples, size_t start, size_t length) {
    std::vector<int16_t> frame(length);
    for (size_t i = 0; i < length && start + i < samples.size(); i++)
        frame[i] = rounded(samples[start + i]);
    return frame;
}

} // namespace

bool hasSpeexCanceller() {
    return true;
}

std::vector<float> cancelEchoBySpeex(const ryxEchoOptions &options, std::span<const float> far,
                                     std::span<const float> near) {
    const int rate = options.sampleRate;
    const auto frame = static_cast<size_t>(rate / 50);
    SpeexCanceller canceller(rate, static_cast<int>(frame), rate * options.tail / 1000, options.suppression);
    std::vector<float> output;
    output.reserve(near.size() + frame);
    for (size_t start = 0; start < near.size(); start += frame) {
        std::vector<int16_t> cleaned(frame);
        canceller.process(frameOf(far, start, frame).data(), frameOf(near, start, frame).data(), cleaned.data());
        output.insert(output.end(), cleaned.begin(), cleaned.end());
    }
    output.resize(near.size());
    return output;
}

#else

bool hasSpeexCanceller() {
    return false;
}

std::vector<float> cancelEchoBySpeex(const ryxEchoOptions &, std::span<const float>, std::span<const float>) {
    throw Failure("this program was built without speexdsp (Debian package: libspeexdsp-dev)");
}

#endif
