// SPDX-License-Identifier: BSD-2-Clause
// Watches both directions for the tone that disables echo cancellers.
#pragma once

#include "arena.h"
#include "plan.h"

namespace ryxecho {

class ToneWatch {
public:
    ToneWatch(const Plan &plan, Arena &arena)
        : rate_(plan.options.sampleRate), silence_(arena.take<int32_t>(1)),
          far_(arena.takeState<ToneDetectState_EC_32f>(plan.toneBytes)),
          microphone_(arena.takeState<ToneDetectState_EC_32f>(plan.toneBytes)) {}

    ryxStatus init() {
        const ryxStatus status = ryxsToneDetectInit_EC_32f(far_, rate_);
        return status == ryxStsOk ? ryxsToneDetectInit_EC_32f(microphone_, rate_) : status;
    }

    // Whether the canceller is to stand aside after this block; `disabled` says whether it did before.
    bool follow(const float *far, const float *microphone, int len, bool disabled) {
        int inFar = 0, inMicrophone = 0;
        ryxsToneDetect_EC_32f(far, len, &inFar, far_);
        ryxsToneDetect_EC_32f(microphone, len, &inMicrophone, microphone_);
        const bool silent = isSilent(far, len) && isSilent(microphone, len);
        *silence_ = silent ? *silence_ + len : 0;
        if (inFar || inMicrophone) return true;
        return disabled && *silence_ < rate_ / 4;
    }

private:
    // Below -36 dBm0.
    static bool isSilent(const float *x, int len) {
        constexpr float rms = 255.5F;
        float sum = 0;
        for (int n = 0; n < len; n++)
            sum += x[n] * x[n];
        return sum < rms * rms * static_cast<float>(len);
    }

    int rate_;
    int32_t *silence_; // samples for which both directions were silent
    ToneDetectState_EC_32f *far_, *microphone_;
};

} // namespace ryxecho
