// SPDX-License-Identifier: BSD-2-Clause
#include "speech.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ryxsc::bench {

namespace {

// Five samples become four: a sinc of 16 zero crossings on either side, in a Hann window.
std::vector<int16_t> toFourFifths(const std::vector<int16_t> &samples) {
    constexpr int reach = 20;
    const auto length = static_cast<int>(samples.size());
    std::vector<int16_t> result(samples.size() / 5 * 4);
    for (size_t j = 0; j < result.size(); j++) {
        const double centre = static_cast<double>(j) * 1.25;
        const int first = static_cast<int>(centre) - reach + 1;
        double sum = 0;
        for (int n = std::max(first, 0); n < std::min(first + 2 * reach, length); n++) {
            const double distance = std::numbers::pi * (n - centre);
            const double sinc = distance == 0 ? 0.8 : std::sin(0.8 * distance) / distance;
            sum += samples[static_cast<size_t>(n)] * sinc * (0.5 + 0.5 * std::cos(distance / reach));
        }
        result[j] = static_cast<int16_t>(std::lround(std::clamp(sum, -32768.0, 32767.0)));
    }
    return result;
}

} // namespace

const std::vector<int16_t> &speech12k8() {
    static const std::vector<int16_t> speech = toFourFifths(speech16k());
    return speech;
}

const std::vector<celp::Subframe> &gsmAmrSubframes() {
    static const std::vector<celp::Subframe> subframes = celp::analyse(celp::gsmAmr, speech8k());
    return subframes;
}

const std::vector<celp::Subframe> &amrWbSubframes() {
    static const std::vector<celp::Subframe> subframes = celp::analyse(celp::amrWb, speech12k8());
    return subframes;
}

} // namespace ryxsc::bench
