// SPDX-License-Identifier: BSD-2-Clause
// Backward adaptation, the same in encoder and decoder: predictors that follow from what was decoded. Every step belongs to
// a vector of the cycle, k = 0..3, and takes place after it.
#pragma once

#include <cstring>

#include <ryxsc.h>

#include "codec.h"
#include "g728/frame.h"

namespace ryxcodec::g728 {

constexpr int predictorOrder = 10;
constexpr int synthesisOrder = 50;

// Samples or values of the current cycle behind those of the past. They lie in more room than they need and move back to its
// start rarely.
template <int length, int step> class History {
public:
    int16_t *values() { return room_ + start_; }
    const int16_t *values() const { return room_ + start_; }

    void advance() {
        start_ += step;
        if (start_ + length <= size) return;
        std::memcpy(room_, values(), (length - step) * sizeof *room_);
        start_ = 0;
    }

private:
    static constexpr int size = length + (length + 8 * step) / step * step;

    int16_t room_[size];
    int start_;
};

// A predictor on its way through the recursion. One that does not succeed stays at the order that it had.
using Recursion = LevinsonDurbin_G728;

// Predictors whose recursions go side by side.
class Recursions {
public:
    void add(Recursion &recursion, int order) {
        recursions_[count_] = &recursion;
        orders_[count_++] = order;
    }
    // The first one, which leaves what it is at an order on its way; `passed` has order 0 if it does not get there.
    void add(Recursion &recursion, int order, int via, Recursion &passed) {
        add(recursion, order);
        via_ = via;
        passed_ = &passed;
    }
    void run() const {
        if (passed_ != nullptr)
            ryxsLevinsonDurbinJointVia_G728_16s(recursions_, orders_, count_, via_, passed_);
        else if (count_ > 0)
            ryxsLevinsonDurbinJoint_G728_16s(recursions_, orders_, count_);
    }

private:
    Recursion *recursions_[3];
    int orders_[3];
    int count_ = 0, via_ = 0;
    Recursion *passed_ = nullptr;
};

// Predictor of order 50 over the quantised speech.
class SynthesisPredictor {
public:
    ryxStatus init();
    const int16_t *coefficients() const { return current_; }
    const SynthesisTaps_G728 *taps() { return taps_; }

    void beginCycle();
    void append(int k, const int16_t *speech, int16_t exponent);

    void analyse();                                            // k = 3
    void extend(Recursions &all);                              // k = 0
    void extend(Recursions &all, int order, Recursion &tenth); // or so, before others: also the predictor of order 10
    void expand();                                             // then
    void adopt();                                              // k = 1
    void attenuate(bool first); // k = 1 in erasures: a wider bandwidth, of the new coefficients in the first part

private:
    static constexpr int pastVectors = 21;

    int16_t current_[synthesisOrder], next_[synthesisOrder];
    Block<SynthesisTaps_G728, 752> taps_; // of the current ones
    History<pastVectors * vectorLength, frameLength> speech_;
    History<pastVectors, vectors> exponents_;
    Recursion recursion_;
    bool valid_;
    Block<HybridWindowState_G728, 112> window_;
};

// Predictor of order 10 over the log-gains.
class LogGainPredictor {
public:
    ryxStatus init();

    void beginCycle() { logGains_.advance(); }
    void append(int k, int16_t logGain) { logGains_.values()[past + k] = logGain; }
    void predict(int k, int16_t limit, int16_t *prediction, int16_t *gain, int16_t *exponent) const;
    void analyse();               // k = 0
    void extend(Recursions &all); // then
    void adopt();                 // then

private:
    static constexpr int past = 33;

    int16_t coefficients_[predictorOrder];
    Recursion recursion_;
    bool valid_;
    History<past + vectors, vectors> logGains_;
    Block<HybridWindowState_G728, 112> window_;
};

} // namespace ryxcodec::g728
