// SPDX-License-Identifier: BSD-2-Clause
// A telephone line with an echo path and a canceller, as the tests of ITU-T G.168 set them up.
#pragma once

#include <memory>

#include "signals.h"

namespace g168 {

/** Cancellers under test work in blocks of this length. */
inline constexpr size_t blockLength = 128;

class Canceller {
public:
    virtual ~Canceller() = default;

    virtual void process(const int16_t *far, const int16_t *near, int16_t *output) = 0;
    /** No further learning. Where a canceller has no such thing, it goes on. */
    virtual void freeze() = 0;
};

enum class Suppression {
    off,
    on,        /**< the "non-linear processor" of the recommendation */
    keepsNoise /**< with comfort noise */
};

/** A canceller for 64 ms. */
using MakeCanceller = std::function<std::unique_ptr<Canceller>(Suppression)>;

/** libryxecho, with inner blocks of so many samples. */
MakeCanceller ourCanceller(int innerBlock);

/** What the meters read over a stretch, peaks in dBm0. */
struct Reading {
    double output, microphone, near;
    double outputPower, nearPower; /**< means, of the samples as they are */
};

class Line {
public:
    Line(const Tables &tables, std::unique_ptr<Canceller> canceller);

    /** The path from now on; what is under way still comes over it. */
    void setPath(const std::vector<double> &path, double returnLoss, double delayMilliseconds = 0);
    void setOffset(double offset) { offset_ = offset; } /**< a constant on the microphone's side */
    void freeze() { canceller_->freeze(); }

    /** Lets the line run; the meters start `skip` seconds after the beginning. Times are rounded to blocks. */
    Reading run(double seconds, const Source &far, const Source &near, double skip = 0);

private:
    double echo() const;

    std::unique_ptr<Canceller> canceller_;
    std::vector<double> path_;
    std::vector<double> history_; // of the far end, a ring
    size_t now_ = 0;
    double offset_ = 0;
    Meter output_, microphone_, near_;
};

} // namespace g168
