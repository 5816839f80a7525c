// SPDX-License-Identifier: BSD-2-Clause
#include "two_sets.h"

#include <algorithm>

namespace ryxecho {

TwoSets::TwoSets(const Plan &plan, Arena &arena, double shadowStep)
    : taps_(plan.taps), bands_(plan.bands()), shadowStep_(shadowStep) {
    newest_ = arena.take<int32_t>(1);
    rows_ = arena.take<ryx32fc>(taps_ * bands_);
    auto *const main = arena.take<ryx32fc>(taps_ * bands_), *const shadow = arena.take<ryx32fc>(taps_ * bands_);
    controller_ = arena.takeState<SubbandControllerState_EC_32f>(plan.controllerBytes);
    residual_ = arena.take<float>(bands_);
    steps_ = arena.take<double>(2 * bands_);
    for (int t = 0; t < taps_; t++) {
        main_[t] = main + t * bands_;
        shadow_[t] = shadow + t * bands_;
    }
}

// In zeroed memory.
ryxStatus TwoSets::init(const Plan &plan) {
    return ryxsSubbandControllerInit_EC_32f(controller_, bands_, taps_, plan.hop, plan.options.sampleRate);
}

ryx32fc *TwoSets::push() {
    *newest_ = (*newest_ == 0 ? taps_ : *newest_) - 1;
    for (int t = 0, row = *newest_; t < taps_; t++) {
        history_[t] = rows_ + row * bands_;
        if (++row == taps_) row = 0;
    }
    return rows_ + *newest_ * bands_;
}

bool TwoSets::estimateBackup(ryx32fc *echo) const {
    int onProbation = 0;
    ryxsSubbandControllerBackup_EC_32f(history_, echo, &onProbation, controller_);
    return onProbation != 0;
}

int TwoSets::compare(const float *microphone, const float *e1, const float *e2, const float *e3, Observations &seen) {
    int event = ryxEcNone;
    ryxsSubbandController_EC_32f(microphone, e1, e2, e3, main_, shadow_, &event, controller_);
    seen.takenOver += event == ryxEcTakenOver;
    seen.anew += event == ryxEcAnew;
    seen.restored += event == ryxEcRestored;
    return event;
}

void TwoSets::adapt(const ryx32fc *error1, const ryx32fc *error2, Observations &seen) {
    double *const step1 = steps_, *const step2 = steps_ + bands_;
    ryxsSubbandControllerUpdate_EC_32f(history_, main_, error1, step1, step2, residual_, controller_);
    for (int k = 0; k < bands_ && shadowStep_ != 1; k++)
        step2[k] *= shadowStep_;
    ryxsFIRSubbandCoeffUpdatePair_EC_32fc_I(step1, step2, history_, error1, error2, main_, shadow_, taps_, bands_);
    ryxsSubbandControllerDT_EC_32f(&seen.doubleTalk, controller_);
}

// The residual that the last update foresaw belongs to its own block; suppression measures what is left by itself.
void TwoSets::rest() {
    std::fill_n(residual_, bands_, 0.0F);
}

} // namespace ryxecho
