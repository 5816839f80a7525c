// SPDX-License-Identifier: BSD-2-Clause
#include "fullband_method.h"

#include <algorithm>
#include <cstring>

#include "samples.h"

namespace ryxecho {

struct FullbandMethod::Memory {
    float lastFar, lastMicrophone, lastError; // of the pre-emphases
    float scaledError, multiplier;
    int32_t probation; // milliseconds until the candidate has proved itself
    int32_t hasProven;
    float savedEnergy, provenEnergy; // of the errors on probation
};

namespace {

constexpr int workRows = 6;

// 4 (1 - 0.9 z^-1): the factor lifts speech over the energy floor of the controller again.
void emphasise(const float *x, int len, float &last, float *to) {
    for (int n = 0; n < len; n++) {
        to[n] = 4 * (x[n] - 0.9F * last);
        last = x[n];
    }
}

} // namespace

FullbandMethod::FullbandMethod(const Plan &plan, Arena &arena)
    : block_(plan.block), step_(plan.options.sampleRate / 1000), taps_(plan.taps), bands_(plan.bands()),
      suppresses_(plan.suppresses()), memory_(arena.take<Memory>(1)),
      controller_(arena.takeState<FullbandControllerState_EC_32f>(plan.controllerBytes)),
      far_(arena.take<float>(taps_ + block_)), emphasisedFar_(arena.take<float>(taps_ + block_)),
      adaptive_(arena.take<float>(taps_)), saved_(arena.take<float>(taps_)), proven_(arena.take<float>(taps_)),
      candidate_(arena.take<float>(taps_)), work_(arena.take<float>(workRows * step_)), guard_(plan, arena),
      suppressor_(plan, arena), nothing_(arena.take<ryx32fc>(bands_)), noResidual_(arena.take<float>(bands_)),
      bankWork_(arena.take<std::byte>(plan.workBytes)) {
}

ryxStatus FullbandMethod::init(const Plan &plan) {
    memory_->multiplier = 1;
    const ryxStatus status = ryxsFullbandControllerInit_EC_32f(controller_, step_, taps_, plan.options.sampleRate);
    return status == ryxStsOk && suppresses_ ? suppressor_.init(plan) : status;
}

// What the controller saves has fitted the last 50 ms, and in double talk that may have been a vowel of the near end. So a
// newly saved set makes the output only after it has left less than the proven one for 300 ms.
void FullbandMethod::follow(const float *savedError, const float *provenError, Observations &seen) {
    constexpr int probationLength = 300;
    const size_t octets = static_cast<size_t>(taps_) * sizeof(float);
    if (std::memcmp(saved_, candidate_, octets) != 0) {
        std::memcpy(candidate_, saved_, octets);
        memory_->probation = memory_->hasProven ? probationLength : 0;
        if (!memory_->hasProven) std::memcpy(proven_, saved_, octets);
        memory_->hasProven = 1;
        memory_->savedEnergy = memory_->provenEnergy = 0;
        return;
    }
    if (memory_->probation == 0) return;
    memory_->savedEnergy += energyOf(savedError, step_);
    memory_->provenEnergy += energyOf(provenError, step_);
    if (--memory_->probation > 0) return;
    const bool better = memory_->savedEnergy < memory_->provenEnergy;
    if (better)
        std::memcpy(proven_, saved_, octets);
    else {
        std::memcpy(saved_, proven_, octets);
        std::memcpy(candidate_, proven_, octets);
    }
    seen.takenOver += better;
    seen.restored += !better;
}

// The samples from far and emphasised far are in place behind their history.
void FullbandMethod::processMillisecond(const float *far, const float *microphone, float *output, bool frozen,
                                        Observations &seen) {
    float *const emphasisedMicrophone = work_, *const steps = work_ + step_, *const adaptiveError = work_ + 2 * step_;
    float *const savedError = work_ + 3 * step_, *const emphasisedError = work_ + 4 * step_;
    const float *const emphasised = emphasisedFar_ + (far - far_);
    emphasise(microphone, step_, memory_->lastMicrophone, emphasisedMicrophone);
    ryxsFIR_EC_32f(far, microphone, savedError, step_, saved_, taps_);
    if (memory_->probation > 0)
        ryxsFIR_EC_32f(far, microphone, output, step_, proven_, taps_);
    else
        std::copy_n(savedError, step_, output);
    emphasise(savedError, step_, memory_->lastError, emphasisedError);
    if (frozen) return;
    ryxsFullbandControllerUpdate_EC_32f(emphasised, emphasisedMicrophone, steps, controller_);
    for (int n = 0; n < step_; n++)
        steps[n] *= memory_->multiplier;
    ryxsNLMS_EC_32f(emphasised, emphasisedMicrophone, steps, adaptiveError, step_, adaptive_, taps_,
                    &memory_->scaledError);
    ryxsFullbandController_EC_32f(adaptiveError, emphasisedError, adaptive_, saved_, &memory_->multiplier, controller_);
    follow(savedError, output, seen);
}

void FullbandMethod::process(const float *far, const float *microphone, float *linear, float *output, bool frozen,
                             Observations &seen) {
    const size_t history = static_cast<size_t>(taps_) * sizeof(float);
    std::memmove(far_, far_ + block_, history);
    std::memmove(emphasisedFar_, emphasisedFar_ + block_, history);
    std::copy_n(far, block_, far_ + taps_);
    emphasise(far, block_, memory_->lastFar, emphasisedFar_ + taps_);
    for (int n = 0; n < block_; n += step_)
        processMillisecond(far_ + taps_ + n, microphone + n, linear + n, frozen, seen);
    guard_.apply(microphone, linear, block_);
    const ryx32fc *const rows[] = {nothing_};
    if (suppresses_)
        suppressor_.process(microphone, linear, {noResidual_, rows, rows, 1}, output, bankWork_);
    else
        std::copy_n(linear, block_, output);
}

} // namespace ryxecho
