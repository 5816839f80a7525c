// SPDX-License-Identifier: BSD-2-Clause
// Residual echo and noise are weakened in the spectrum of the error, between two transforms of half overlap.
#pragma once

#include "arena.h"
#include "plan.h"

namespace ryxecho {

class Suppressor {
public:
    Suppressor(const Plan &plan, Arena &arena);
    ryxStatus init(const Plan &plan);

    // What the main set of a canceller expects of the residual echo.
    struct Prediction {
        const float *residual;
        const ryx32fc *const *history;
        const ryx32fc *const *coefs;
        int taps;
    };

    // A block of the error; what comes out is one block late. `microphone` less `error` is the echo estimate.
    void process(const float *microphone, const float *error, const Prediction &prediction, float *output, void *work);

private:
    int block_;
    SubbandProcessState *errorBank_, *echoBank_, *outputBank_;
    NoiseFilterState_EC_32f *filter_;
    float *echo_;
    ryx32fc *errorSpectrum_, *echoSpectrum_;
};

// The noise filter of a plan.
ryxStatus initFilter(const Plan &plan, NoiseFilterState_EC_32f *filter);

} // namespace ryxecho
