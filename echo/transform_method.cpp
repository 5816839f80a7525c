// SPDX-License-Identifier: BSD-2-Clause
#include "transform_method.h"

#include <cstring>

namespace ryxecho {

TransformMethod::TransformMethod(const Plan &plan, Arena &arena)
    : block_(plan.block), taps_(plan.taps), bands_(plan.bands()), suppresses_(plan.suppresses()),
      bank_(arena.takeState<SubbandProcessState>(plan.bankBytes)), work_(arena.take<std::byte>(plan.workBytes)),
      constrained_(arena.take<int32_t>(1)), farLine_(arena.take<float>(2 * block_)),
      frame_(arena.take<float>(2 * block_)), errors_(arena.take<float>(3 * block_)),
      spectra_(arena.take<ryx32fc>(2 * bands_)), sets_(plan, arena), guard_(plan, arena), suppressor_(plan, arena) {
}

ryxStatus TransformMethod::init(const Plan &plan) {
    for (int n = 0; n < 2 * block_; n++)
        frame_[n] = 1;
    ryxStatus status = ryxsSubbandProcessInit_32f(bank_, plan.order, block_, 2 * block_, frame_, nullptr);
    if (status == ryxStsOk) status = sets_.init(plan);
    if (status == ryxStsOk && suppresses_) status = suppressor_.init(plan);
    return status;
}

// Of the inverse transform only the second half is a linear convolution.
void TransformMethod::estimate(const ryx32fc *spectrum, const float *microphone, float *error) {
    ryxsSubbandInverse_EC_32fc32f(spectrum, frame_, bank_, work_);
    for (int n = 0; n < block_; n++)
        error[n] = microphone[n] - frame_[block_ + n];
}

void TransformMethod::transformError(const float *error, ryx32fc *spectrum) {
    const size_t octets = static_cast<size_t>(block_) * sizeof(float);
    std::memset(frame_, 0, octets);
    std::memcpy(frame_ + block_, error, octets);
    ryxsSubbandForward_EC_32f32fc(frame_, spectrum, bank_, work_);
}

void TransformMethod::learn(const float *microphone, const float *e1, const float *e2, const float *e3, float *linear,
                            Observations &seen) {
    const float *errorOfMain = e1, *errorOfShadow = e2;
    switch (sets_.compare(microphone, e1, e2, e3, seen)) {
    case ryxEcTakenOver:
        errorOfMain = e2;
        break;
    case ryxEcShadowReset:
        errorOfShadow = e1;
        break;
    case ryxEcAnew:
        errorOfMain = errorOfShadow = microphone;
        break;
    case ryxEcRestored:
        errorOfMain = errorOfShadow = e3;
        break;
    }
    std::memcpy(linear, errorOfMain, static_cast<size_t>(block_) * sizeof(float));
    ryx32fc *const spectrumOfMain = spectra_, *const spectrumOfShadow = spectra_ + bands_;
    transformError(errorOfMain, spectrumOfMain);
    if (errorOfShadow != errorOfMain) transformError(errorOfShadow, spectrumOfShadow);
    sets_.adapt(spectrumOfMain, errorOfShadow != errorOfMain ? spectrumOfShadow : spectrumOfMain, seen);

    // A tap's response has the length of a block. One tap after the other is held to that.
    ryxsSubbandConstrain_EC_32fc_I(sets_.main()[*constrained_], block_, bank_, work_);
    ryxsSubbandConstrain_EC_32fc_I(sets_.shadow()[*constrained_], block_, bank_, work_);
    if (++*constrained_ == taps_) *constrained_ = 0;
}

void TransformMethod::process(const float *far, const float *microphone, float *linear, float *output, bool frozen,
                              Observations &seen) {
    const size_t octets = static_cast<size_t>(block_) * sizeof(float);
    std::memcpy(farLine_, farLine_ + block_, octets);
    std::memcpy(farLine_ + block_, far, octets);
    ryxsSubbandForward_EC_32f32fc(farLine_, sets_.push(), bank_, work_);

    ryx32fc *const echo1 = spectra_, *const echo2 = spectra_ + bands_;
    float *const e1 = errors_, *const e2 = errors_ + block_, *const e3 = errors_ + 2 * block_;
    if (frozen) {
        sets_.rest();
        sets_.estimateMain(echo1);
        estimate(echo1, microphone, linear);
    } else {
        sets_.estimateBoth(echo1, echo2);
        estimate(echo1, microphone, e1);
        estimate(echo2, microphone, e2);
        if (sets_.estimateBackup(echo1)) estimate(echo1, microphone, e3);
        learn(microphone, e1, e2, e3, linear, seen);
    }
    guard_.apply(microphone, linear, block_);
    if (suppresses_)
        suppressor_.process(microphone, linear, {sets_.residual(), sets_.history(), sets_.main(), taps_}, output,
                            work_);
    else
        std::memcpy(output, linear, octets);
}

} // namespace ryxecho
