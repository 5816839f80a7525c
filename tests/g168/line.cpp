// SPDX-License-Identifier: BSD-2-Clause
#include "line.h"

#include <array>
#include <cmath>
#include <ryxecho.h>
#include <stdexcept>

namespace g168 {

namespace {

void check(ryxStatus status) {
    if (status != ryxStsOk) throw std::runtime_error("ryxecho: status " + std::to_string(status));
}

class Ours : public Canceller {
public:
    Ours(int innerBlock, Suppression suppression) {
        ryxEchoOptions options;
        int size = 0;
        check(ryxechoDefaults(&options));
        options.blockLength = innerBlock;
        options.callLength = blockLength;
        options.suppression = suppression != Suppression::off;
        if (suppression == Suppression::keepsNoise) options.noiseBound = 0;
        check(ryxechoGetSize(&options, &size));
        memory_.resize(static_cast<size_t>(size));
        check(ryxechoInit(memory_.data(), &options));
    }

    void process(const int16_t *far, const int16_t *near, int16_t *output) override {
        check(ryxechoProcess(memory_.data(), far, near, output, blockLength));
    }
    void freeze() override { check(ryxechoFreeze(memory_.data(), 1)); }

private:
    std::vector<std::byte> memory_;
};

constexpr size_t longestPath = 1024;

size_t blocks(double seconds) {
    return static_cast<size_t>(std::lround(seconds * rate / blockLength));
}

} // namespace

MakeCanceller ourCanceller(int innerBlock) {
    return [=](Suppression suppression) { return std::make_unique<Ours>(innerBlock, suppression); };
}

Line::Line(const Tables &tables, std::unique_ptr<Canceller> canceller)
    : canceller_(std::move(canceller)), history_(2 * longestPath), output_(tables.levelFilter),
      microphone_(tables.levelFilter), near_(tables.levelFilter) {
}

void Line::setPath(const std::vector<double> &path, double returnLoss, double delayMilliseconds) {
    path_.assign(static_cast<size_t>(delayMilliseconds * rate / 1000), 0);
    for (const double tap : path)
        path_.push_back(std::pow(10, -returnLoss / 20) * tap);
}

// The far end stands twice in the ring, so that it can be read on from any place.
double Line::echo() const {
    double sum = 0;
    const double *const x = &history_[now_];
    for (size_t k = 0; k < path_.size(); k++)
        sum += path_[k] * x[k];
    return sum;
}

Reading Line::run(double seconds, const Source &farEnd, const Source &nearEnd, double skip) {
    const size_t count = blocks(seconds), first = blocks(skip);
    double outputEnergy = 0, nearEnergy = 0;
    for (size_t block = 0; block < count; block++) {
        std::array<int16_t, blockLength> far, near, microphone, output;
        for (size_t n = 0; n < blockLength; n++) {
            far[n] = coded(farEnd());
            now_ = (now_ + longestPath - 1) % longestPath;
            history_[now_] = history_[now_ + longestPath] = far[n];
            near[n] = coded(nearEnd());
            microphone[n] = coded(echo() + near[n] + offset_);
        }
        canceller_->process(far.data(), microphone.data(), output.data());
        if (block == first)
            for (Meter *const meter : {&output_, &microphone_, &near_})
                meter->restart();
        output_.add(output.data(), blockLength);
        microphone_.add(microphone.data(), blockLength);
        near_.add(near.data(), blockLength);
        for (size_t n = 0; n < blockLength && block >= first; n++) {
            outputEnergy += static_cast<double>(output[n]) * output[n];
            nearEnergy += static_cast<double>(near[n]) * near[n];
        }
    }
    const auto samples = static_cast<double>((count - first) * blockLength);
    return {output_.peak(), microphone_.peak(), near_.peak(), outputEnergy / samples, nearEnergy / samples};
}

} // namespace g168
