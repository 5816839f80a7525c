// SPDX-License-Identifier: BSD-2-Clause
#include "post_filter.h"

#include <cstring>

namespace ryxcodec::g728 {

ryxStatus PostFilter::init() {
    lag_ = 50;
    gain_ = 16384;
    scale_ = 16384;
    const ryxStatus status = filter_.fits(ryxsPostFilterGetStateSize_G728_16s);
    return status != ryxStsOk ? status : ryxsPostFilterInit_G728_16s(filter_);
}

void PostFilter::beginCycle() {
    speechQ2_.advance();
    speech_.advance();
    residual_.advance();
}

void PostFilter::analyse(int k, const int16_t *speech) {
    int16_t *const current = speechQ2_.values() + predictorOrder + k * vectorLength;
    std::memcpy(current, speech, vectorLength * sizeof *speech);
    ryxsResidualFilter_G728_16s(inverse_, current, residual_.values() + pastResidual + k * vectorLength);
    if (k == 2) findPitch();
    for (int n = 0; n < vectorLength; n++)
        speech_.values()[pastSpeech + k * vectorLength + n] = static_cast<int16_t>(speech[n] >> 2);
}

// The tap is that of the speech before the current vector, the lag that of the residual with it.
void PostFilter::findPitch() {
    decimated_.advance();
    ryxsDecimationFilter_G728_16s(residual_.values() + pastResidual + 3 * vectorLength - frameLength,
                                  decimated_.values() + decimatedLength - frameLength / 4, lowPass_);
    ryxsPitchSearch_G728_16s(residual_.values(), decimated_.values(), lag_, &lag_);
    ryxsPitchTap_G728_16s(speech_.values(), lag_, &tap_, &gain_, &pitchGain_);
}

void PostFilter::filter(int k, int16_t *pcm) {
    const int16_t *const current = speechQ2_.values() + predictorOrder + k * vectorLength;
    int16_t filtered[vectorLength];
    ryxsPostFilter_G728_16s(current, speech_.values() + pastSpeech + k * vectorLength, lag_, gain_, pitchGain_, zeros_,
                            poles_, tilt_, filtered, filter_);
    ryxsGainControl_G728_16s(current, filtered, pcm, &scale_);
}

void PostFilter::adapt(const Recursion &tenth) {
    ryxsPostFilterCoefficients_G728_16s(tenth.coefficients, tenth.fraction, tenth.reflection, inverse_, zeros_, poles_,
                                        &tilt_);
}

} // namespace ryxcodec::g728
