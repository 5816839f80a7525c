// SPDX-License-Identifier: BSD-2-Clause
#include "suppressor.h"

#include <cmath>

namespace ryxecho {

ryxStatus initFilter(const Plan &plan, NoiseFilterState_EC_32f *filter) {
    const auto gain = [](float decibels) { return static_cast<float>(std::pow(10.0, -decibels / 20.0)); };
    return ryxsNoiseFilterInit_EC_32f(filter, plan.bands(), plan.hop, plan.options.sampleRate, ryxEcFilterBoth,
                                      gain(plan.options.echoBound), gain(plan.options.noiseBound));
}

Suppressor::Suppressor(const Plan &plan, Arena &arena) : block_(plan.hop) {
    errorBank_ = arena.takeState<SubbandProcessState>(plan.shapedBankBytes);
    echoBank_ = arena.takeState<SubbandProcessState>(plan.shapedBankBytes);
    outputBank_ = arena.takeState<SubbandProcessState>(plan.shapedBankBytes);
    filter_ = arena.takeState<NoiseFilterState_EC_32f>(plan.filterBytes);
    echo_ = arena.take<float>(2 * block_);
    errorSpectrum_ = arena.take<ryx32fc>(plan.bands());
    echoSpectrum_ = arena.take<ryx32fc>(plan.bands());
}

// The root of a Hann window on both sides: their product adds up to 1.
ryxStatus Suppressor::init(const Plan &plan) {
    const int points = plan.points();
    constexpr double pi = 3.14159265358979323846;
    float *const window = echo_;
    for (int n = 0; n < points; n++)
        window[n] = static_cast<float>(std::sqrt(0.5 - 0.5 * std::cos(2 * pi * (n + 0.5) / points)));
    SubbandProcessState *const banks[] = {errorBank_, echoBank_, outputBank_};
    for (SubbandProcessState *bank : banks) {
        const ryxStatus status = ryxsSubbandProcessInit_32f(bank, plan.order, block_, points, window, nullptr);
        if (status != ryxStsOk) return status;
    }
    return initFilter(plan, filter_);
}

void Suppressor::process(const float *microphone, const float *error, const Prediction &prediction, float *output,
                         void *work) {
    for (int n = 0; n < block_; n++)
        echo_[n] = microphone[n] - error[n];
    ryxsSubbandAnalysis_32f32fc(error, errorSpectrum_, errorBank_, work);
    ryxsSubbandAnalysis_32f32fc(echo_, echoSpectrum_, echoBank_, work);
    ryxsNoiseFilter_EC_32fc_I(echoSpectrum_, prediction.residual, prediction.history, prediction.coefs, prediction.taps,
                              errorSpectrum_, filter_);
    ryxsSubbandSynthesis_EC_32fc32f(errorSpectrum_, output, outputBank_, work);
}

} // namespace ryxecho
