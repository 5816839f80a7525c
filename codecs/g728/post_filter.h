// SPDX-License-Identifier: BSD-2-Clause
// Post-filter of the decoder with its pitch analysis, on which the concealment relies as well.
#pragma once

#include "g728/predictors.h"

namespace ryxcodec::g728 {

class PostFilter {
public:
    ryxStatus init();
    int16_t lag() const { return lags_[1]; }
    int16_t tap() const { return tap_; }

    void beginCycle();
    int16_t *speech() { return speechQ2_.values() + predictorOrder; } // the cycle's, for analyse()
    void analyse();
    void filter(int16_t *pcm);
    void adapt(const Recursion &tenth); // for the next cycle

private:
    static constexpr int pastResidual = 225,
                         pastSpeech = 230; // before the cycle: 240 up to the vector k = 2, k = 1
    static constexpr int decimatedLength = 60;

    void findPitch();

    History<predictorOrder + frameLength, frameLength> speechQ2_;
    History<pastSpeech + frameLength, frameLength> speech_; // Q0
    History<pastResidual + frameLength, frameLength> residual_;
    History<decimatedLength, frameLength / 4> decimated_;
    int16_t lowPass_[3];

    int16_t inverse_[predictorOrder], zeros_[predictorOrder], poles_[predictorOrder], tilt_;
    int16_t lags_[2], gains_[2], pitchGains_[2]; // of the cycle's halves
    int16_t tap_;
    int16_t scale_;
    Block<PostFilterState_G728, 48> filter_;
};

} // namespace ryxcodec::g728
