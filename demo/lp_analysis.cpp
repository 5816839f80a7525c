// SPDX-License-Identifier: BSD-2-Clause
#include "lp_analysis.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>

#include "lib/library_call.h"

namespace {

constexpr size_t windowLength = 240;
constexpr size_t pastLength = 120; // of the window; its last 40 samples lie in the next frame
constexpr int order = 10;

using Window = std::array<int16_t, windowLength>;

// Half of a Hamming window and a quarter of a cosine, in Q15 (ITU-T G.729, clause 3.2.1).
Window makeWindow() {
    constexpr size_t rise = 200;
    Window window;
    for (size_t i = 0; i < windowLength; i++) {
        const double n = static_cast<double>(i);
        const double value = i < rise ? 0.54 - 0.46 * std::cos(2 * std::numbers::pi * n / 399)
                                      : std::cos(2 * std::numbers::pi * (n - rise) / 159);
        window[i] = static_cast<int16_t>(std::min(std::lround(32768 * value), 32767L));
    }
    return window;
}

Window windowedFrame(std::span<const int16_t> speech, size_t frame, const Window &window) {
    Window samples = {};
    for (size_t i = 0; i < windowLength; i++) {
        const size_t position = frame * lpFrameLength + i; // plus pastLength
        if (position >= pastLength && position - pastLength < speech.size())
            samples[i] = static_cast<int16_t>((speech[position - pastLength] * window[i] + 0x4000) >> 15);
    }
    return samples;
}

int64_t correlation(const Window &samples, size_t lag) {
    int64_t sum = 0;
    for (size_t i = lag; i < windowLength; i++)
        sum += 2 * samples[i] * samples[i - lag];
    return sum;
}

// Normalised to 32 bits. The 1 keeps silence from being zero; samples whose energy takes more than 32 bits lose two
// bits, as often as it takes.
std::array<int32_t, order + 1> autocorrelation(Window samples) {
    int64_t energy;
    while ((energy = 1 + correlation(samples, 0)) > std::numeric_limits<int32_t>::max())
        for (int16_t &sample : samples)
            sample = static_cast<int16_t>(sample >> 2);
    const int shift = std::countl_zero(static_cast<uint32_t>(energy)) - 1;
    std::array<int32_t, order + 1> result = {static_cast<int32_t>(energy << shift)};
    for (size_t lag = 1; lag <= order; lag++)
        result[lag] = static_cast<int32_t>(correlation(samples, lag) * (int64_t{1} << shift));
    return result;
}

} // namespace

LpAnalysis analyseFrames(std::span<const int16_t> speech) {
    static const Window window = makeWindow();
    LpAnalysis analysis = {std::vector<Lpc>(speech.size() / lpFrameLength), 0};
    Lpc filter = {4096};
    std::array<int16_t, order> reflection;
    int16_t energy;
    for (size_t frame = 0; frame < analysis.filters.size(); frame++) {
        auto correlations = autocorrelation(windowedFrame(speech, frame, window));
        check(ryxsLagWindow_G729_32s_I(&correlations[1], order));
        const ryxStatus status =
            ryxsLevinsonDurbin_G729_32s16s(correlations.data(), order, filter.data(), reflection.data(), &energy);
        check(status);
        if (status == ryxStsOverflow) analysis.unstable++; // nothing was written, so the filter is still the last one
        analysis.filters[frame] = filter;
    }
    return analysis;
}
