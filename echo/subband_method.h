// SPDX-License-Identifier: BSD-2-Clause
// Filters in the bands of an oversampled filter bank. Its aliasing lies 43 dB down, and it is late by its window. Frames
// overlap, so that a full step would follow the near end too: the shadow takes hop / N of one.
#pragma once

#include "loudness_guard.h"
#include "suppressor.h"
#include "two_sets.h"

namespace ryxecho {

class SubbandMethod {
public:
    SubbandMethod(const Plan &plan, Arena &arena);
    ryxStatus init(const Plan &plan);
    void process(const float *far, const float *microphone, float *linear, float *output, bool frozen,
                 Observations &seen);

private:
    enum BankNumber { farBank, microphoneBank, mainBank, shadowBank, backupBank, referenceBank, outputBank, bankCount };

    void synthesise(const ryx32fc *spectrum, BankNumber bank, float *samples);
    const ryx32fc *learn(bool hasBackup, Observations &seen);

    int hop_, taps_, bands_;
    bool suppresses_;
    SubbandProcessState *banks_[bankCount];
    void *work_;
    float *samples_; // four hops
    ryx32fc *microphone_, *errors_[3], *output_;
    NoiseFilterState_EC_32f *filter_;
    TwoSets sets_;
    LoudnessGuard guard_;
};

} // namespace ryxecho
