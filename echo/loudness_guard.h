// SPDX-License-Identifier: BSD-2-Clause
// Whatever the filter makes of signals that have nothing to do with each other: while it makes the microphone louder, its
// estimate is left out.
#pragma once

#include "arena.h"
#include "plan.h"
#include "samples.h"

namespace ryxecho {

class LoudnessGuard {
public:
    LoudnessGuard(const Plan &plan, Arena &arena)
        : smoothing_(static_cast<float>(plan.energySmoothing)), memory_(arena.take<Memory>(1)) {}

    // Whether the estimate counts in this block and counted in the one before.
    struct Verdict {
        bool now, before;
    };
    Verdict judge(const float *microphone, const float *error, int len) {
        memory_->microphone = smoothed(memory_->microphone, energyOf(microphone, len));
        memory_->error = smoothed(memory_->error, energyOf(error, len));
        const Verdict verdict = {memory_->error <= 1.05F * memory_->microphone + static_cast<float>(len),
                                 memory_->without == 0};
        memory_->without = !verdict.now;
        return verdict;
    }

    // Fades the estimate in or out over a block.
    void apply(const float *microphone, float *error, int len) {
        const auto [now, before] = judge(microphone, error, len);
        if (now && before) return;
        const float step = (static_cast<float>(now) - static_cast<float>(before)) / static_cast<float>(len);
        float share = before;
        for (int n = 0; n < len; n++) {
            share += step;
            error[n] = microphone[n] - share * (microphone[n] - error[n]);
        }
    }

private:
    struct Memory {
        float microphone, error; // smoothed energies
        int32_t without;
    };

    float smoothed(float old, float value) const { return smoothing_ * old + (1 - smoothing_) * value; }

    float smoothing_;
    Memory *memory_;
};

} // namespace ryxecho
