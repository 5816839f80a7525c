// SPDX-License-Identifier: BSD-2-Clause
// Far-end spectra and two sets of coefficients over them: what both sub-band methods adapt.
#pragma once

#include "arena.h"
#include "plan.h"

namespace ryxecho {

// What a method tells of itself.
struct Observations {
    int doubleTalk;
    unsigned takenOver, restored, anew;
};

class TwoSets {
public:
    // The shadow learns with so many full steps.
    TwoSets(const Plan &plan, Arena &arena, double shadowStep = 1);
    ryxStatus init(const Plan &plan);

    // Room for the next far-end spectrum, which becomes the newest one.
    ryx32fc *push();

    const ryx32fc *const *history() const { return history_; }
    ryx32fc *const *main() const { return main_; }
    ryx32fc *const *shadow() const { return shadow_; }
    const float *residual() const { return residual_; }

    void estimateMain(ryx32fc *echo) const { ryxsFIRSubband_EC_32fc(history_, main_, echo, taps_, bands_); }
    void estimateBoth(ryx32fc *echo1, ryx32fc *echo2) const {
        ryxsFIRSubbandPair_EC_32fc(history_, main_, shadow_, echo1, echo2, taps_, bands_);
    }
    // Whether there is a backup to be watched.
    bool estimateBackup(ryx32fc *echo) const;
    // The event of ryxsSubbandController_EC_32f().
    int compare(const float *microphone, const float *e1, const float *e2, const float *e3, Observations &seen);
    void adapt(const ryx32fc *error1, const ryx32fc *error2, Observations &seen);
    // Instead of comparing and adapting, while the canceller is frozen.
    void rest();

private:
    static constexpr int mostTaps = 255;

    int taps_, bands_;
    double shadowStep_;
    int32_t *newest_; // row of the newest spectrum
    ryx32fc *rows_;
    SubbandControllerState_EC_32f *controller_;
    float *residual_;
    double *steps_;
    const ryx32fc *history_[mostTaps];
    ryx32fc *main_[mostTaps], *shadow_[mostTaps];
};

} // namespace ryxecho
