// SPDX-License-Identifier: BSD-2-Clause
// Exact filters in the spectrum: with a window of ones, twice as long as the hop, the filter bank is an overlap-save
// transform. No delay beyond the block, and near speech passes as it is.
#pragma once

#include "loudness_guard.h"
#include "suppressor.h"
#include "two_sets.h"

namespace ryxecho {

class TransformMethod {
public:
    TransformMethod(const Plan &plan, Arena &arena);
    ryxStatus init(const Plan &plan);
    // A block; `linear` is the error of the filter, `output` what suppression leaves of it.
    void process(const float *far, const float *microphone, float *linear, float *output, bool frozen,
                 Observations &seen);

private:
    void estimate(const ryx32fc *spectrum, const float *microphone, float *error);
    void transformError(const float *error, ryx32fc *spectrum);
    void learn(const float *microphone, const float *e1, const float *e2, const float *e3, float *linear,
               Observations &seen);

    int block_, taps_, bands_;
    bool suppresses_;
    SubbandProcessState *bank_;
    void *work_;
    int32_t *constrained_; // the tap whose turn it is
    float *farLine_;       // the last two blocks of the far end
    float *frame_;         // two blocks
    float *errors_;        // of main, shadow and backup
    ryx32fc *spectra_;     // two
    TwoSets sets_;
    LoudnessGuard guard_;
    Suppressor suppressor_;
};

} // namespace ryxecho
