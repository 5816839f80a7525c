// SPDX-License-Identifier: BSD-2-Clause
#include "echo_canceller.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "library_call.h"

namespace {

class Canceller {
public:
    explicit Canceller(const ryxEchoOptions &options) : block_(ryxechoGetSize, &options) {
        check(ryxechoInit(block_, &options));
    }

    size_t delay() {
        ryxEchoInfo info;
        check(ryxechoGetInfo(block_, &info));
        return static_cast<size_t>(info.delay);
    }
    void process(const float *far, const float *near, float *output, size_t length) {
        check(ryxechoProcessFloat(block_, far, near, output, static_cast<int>(length)));
    }

private:
    StateBlock<void> block_;
};

// Behind the end of a recording there is silence.
void take(std::span<const float> from, size_t start, std::vector<float> &to) {
    const std::span<const float> rest = from.subspan(std::min(start, from.size()));
    const size_t count = std::min(rest.size(), to.size());
    std::fill(std::copy_n(rest.begin(), count, to.begin()), to.end(), 0.0F);
}

} // namespace

ryxEchoOptions echoOptions(int sampleRate, int tail, int method, bool suppression) {
    ryxEchoOptions options;
    check(ryxechoDefaults(&options));
    options.sampleRate = sampleRate;
    options.tail = tail;
    options.method = method;
    options.suppression = suppression ? 1 : 0;
    options.callLength = sampleRate / 125; // of 8 ms, like the inner blocks
    return options;
}

std::vector<float> cancelEcho(const ryxEchoOptions &options, std::span<const float> far, std::span<const float> near,
                              const std::function<void(size_t)> &progress) {
    Canceller canceller(options);
    const auto call = static_cast<size_t>(options.callLength);
    const size_t delay = canceller.delay(), total = near.size() + delay;
    std::vector<float> output(total + call), farCall(call), nearCall(call);
    for (size_t start = 0; start < total; start += call) {
        take(far, start, farCall);
        take(near, start, nearCall);
        canceller.process(farCall.data(), nearCall.data(), &output[start], call);
        if (progress) progress(std::min(start + call, near.size()));
    }
    output.erase(output.begin(), output.begin() + static_cast<std::ptrdiff_t>(delay));
    output.resize(near.size());
    return output;
}

std::vector<double> echoReduction(std::span<const float> before, std::span<const float> after, size_t window) {
    const auto power = [window](std::span<const float> samples, size_t start) {
        double sum = 0;
        for (size_t i = start; i < start + window; i++)
            sum += static_cast<double>(samples[i]) * samples[i];
        return sum / static_cast<double>(window);
    };
    std::vector<double> reductions;
    for (size_t start = 0; start + window <= std::min(before.size(), after.size()); start += window) {
        const double ratio = power(before, start) / std::max(power(after, start), 1.0);
        reductions.push_back(power(before, start) > 1 ? 10 * std::log10(ratio)
                                                      : std::numeric_limits<double>::quiet_NaN());
    }
    return reductions;
}
