// SPDX-License-Identifier: BSD-2-Clause
#include "subband_method.h"

#include <cmath>
#include <cstring>

namespace ryxecho {

namespace {

// The modified Bessel function of order 0.
double bessel0(double x) {
    double sum = 1, term = 1;
    for (int i = 1; i < 40; i++) {
        term *= x / (2 * i) * (x / (2 * i));
        sum += term;
    }
    return sum;
}

// A low-pass at 1.6 bands through a Kaiser window, scaled so that analysis and synthesis together have a gain of 1.
void makeWindow(float *window, int length, int points, int hop) {
    constexpr double pi = 3.14159265358979323846, width = 1.6, beta = 8;
    double energy = 0;
    for (int n = 0; n < length; n++) {
        const double u = n - (length - 1) / 2.0, edge = 2 * u / (length - 1), phase = pi * width * u / points;
        const double tap = std::sin(phase) / phase * bessel0(beta * std::sqrt(1 - edge * edge)) / bessel0(beta);
        window[n] = static_cast<float>(tap);
        energy += tap * tap;
    }
    const auto scale = static_cast<float>(std::sqrt(hop / energy));
    for (int n = 0; n < length; n++)
        window[n] *= scale;
}

// Spectra overlap N / hop times, so a frame is worth hop / N of a full step. With all of it the shadow fits the vowels of a
// near-end talker and takes over; with half of it that does not happen, and a path that has changed is found as soon.
constexpr double shadowShare = 0.5;

void subtract(ryx32fc *from, const ryx32fc *x, const ryx32fc *y, int bands) {
    for (int k = 0; k < bands; k++)
        from[k] = {x[k].re - y[k].re, x[k].im - y[k].im};
}

} // namespace

SubbandMethod::SubbandMethod(const Plan &plan, Arena &arena)
    : hop_(plan.hop), taps_(plan.taps), bands_(plan.bands()), suppresses_(plan.suppresses()), banks_(),
      work_(arena.take<std::byte>(plan.workBytes)), samples_(arena.take<float>(subbandWindowPeriods * plan.points())),
      microphone_(arena.take<ryx32fc>(bands_)), errors_(), output_(arena.take<ryx32fc>(bands_)),
      filter_(arena.takeState<NoiseFilterState_EC_32f>(plan.filterBytes)),
      sets_(plan, arena, shadowShare * hop_ / plan.points()), guard_(plan, arena) {
    for (SubbandProcessState *&bank : banks_)
        bank = arena.takeState<SubbandProcessState>(plan.shapedBankBytes);
    for (ryx32fc *&error : errors_)
        error = arena.take<ryx32fc>(bands_);
}

ryxStatus SubbandMethod::init(const Plan &plan) {
    const int length = subbandWindowPeriods * plan.points();
    makeWindow(samples_, length, plan.points(), hop_);
    for (SubbandProcessState *bank : banks_) {
        const ryxStatus status = ryxsSubbandProcessInit_32f(bank, plan.order, hop_, length, samples_, nullptr);
        if (status != ryxStsOk) return status;
    }
    const ryxStatus status = sets_.init(plan);
    return status == ryxStsOk && suppresses_ ? initFilter(plan, filter_) : status;
}

void SubbandMethod::synthesise(const ryx32fc *spectrum, BankNumber bank, float *samples) {
    ryxsSubbandSynthesis_EC_32fc32f(spectrum, samples, banks_[bank], work_);
}

// Compares what both sets leave as signals; returns the spectrum of the error that now belongs to the main set.
const ryx32fc *SubbandMethod::learn(bool hasBackup, Observations &seen) {
    float *const e1 = samples_, *const e2 = samples_ + hop_, *const e3 = samples_ + 2 * hop_;
    synthesise(errors_[1], shadowBank, e2);
    synthesise(hasBackup ? errors_[2] : errors_[0], backupBank, e3);
    const ryx32fc *main = errors_[0], *shadow = errors_[1];
    switch (sets_.compare(samples_ + 3 * hop_, e1, e2, e3, seen)) {
    case ryxEcTakenOver:
        main = shadow;
        break;
    case ryxEcShadowReset:
        shadow = main;
        break;
    case ryxEcAnew:
        main = shadow = microphone_;
        break;
    case ryxEcRestored:
        main = shadow = errors_[2];
        break;
    }
    sets_.adapt(main, shadow, seen);
    return main;
}

void SubbandMethod::process(const float *far, const float *microphone, float *linear, float *output, bool frozen,
                            Observations &seen) {
    ryxsSubbandAnalysis_32f32fc(far, sets_.push(), banks_[farBank], work_);
    ryxsSubbandAnalysis_32f32fc(microphone, microphone_, banks_[microphoneBank], work_);
    sets_.estimateBoth(errors_[0], errors_[1]);
    const bool hasBackup = sets_.estimateBackup(errors_[2]);
    for (int i = 0; i < (hasBackup ? 3 : 2); i++)
        subtract(errors_[i], microphone_, errors_[i], bands_);
    float *const reference = samples_ + 3 * hop_;
    synthesise(errors_[0], mainBank, linear);
    synthesise(microphone_, referenceBank, reference);
    std::memcpy(samples_, linear, static_cast<size_t>(hop_) * sizeof *linear);

    const ryx32fc *main = errors_[0];
    if (frozen)
        sets_.rest();
    else
        main = learn(hasBackup, seen);
    if (!guard_.judge(reference, linear, hop_).now) main = microphone_;
    ryx32fc *const echo = output_, *const cleaned = errors_[2];
    subtract(echo, microphone_, main, bands_);
    if (main != cleaned) std::memcpy(cleaned, main, static_cast<size_t>(bands_) * sizeof *main);
    if (suppresses_)
        ryxsNoiseFilter_EC_32fc_I(echo, sets_.residual(), sets_.history(), sets_.main(), taps_, cleaned, filter_);
    synthesise(cleaned, outputBank, output);
}

} // namespace ryxecho
