// SPDX-License-Identifier: BSD-2-Clause
// Adapts sample by sample. The adaptive path sees both signals through a pre-emphasis, which makes speech learn the high
// bands as fast as the low ones; the output comes from saved taps over the plain signals.
#pragma once

#include "loudness_guard.h"
#include "suppressor.h"
#include "two_sets.h"

namespace ryxecho {

class FullbandMethod {
public:
    FullbandMethod(const Plan &plan, Arena &arena);
    ryxStatus init(const Plan &plan);
    void process(const float *far, const float *microphone, float *linear, float *output, bool frozen,
                 Observations &seen);

private:
    struct Memory;

    void processMillisecond(const float *far, const float *microphone, float *output, bool frozen, Observations &seen);
    void follow(const float *savedError, const float *provenError, Observations &seen);

    int block_, step_, taps_, bands_;
    bool suppresses_;
    Memory *memory_;
    FullbandControllerState_EC_32f *controller_;
    float *far_, *emphasisedFar_;                     // the history of the filter in front of the newest samples
    float *adaptive_, *saved_, *proven_, *candidate_; // taps
    float *work_;
    LoudnessGuard guard_;
    Suppressor suppressor_;
    ryx32fc *nothing_; // a spectrum
    float *noResidual_;
    void *bankWork_;
};

} // namespace ryxecho
