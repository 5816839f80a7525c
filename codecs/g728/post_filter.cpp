// SPDX-License-Identifier: BSD-2-Clause
#include "post_filter.h"

namespace ryxcodec::g728 {

ryxStatus PostFilter::init() {
    lags_[1] = 50;
    gains_[1] = 16384;
    scale_ = 16384;
    const ryxStatus status = filter_.fits(ryxsPostFilterGetStateSize_G728_16s);
    return status != ryxStsOk ? status : ryxsPostFilterInit_G728_16s(filter_);
}

void PostFilter::beginCycle() {
    speechQ2_.advance();
    speech_.advance();
    residual_.advance();
}

void PostFilter::analyse() {
    const int16_t *const current = speech();
    ryxsResidualFilterCycle_G728_16s(inverse_, current, residual_.values() + pastResidual);
    for (int n = 0; n < frameLength; n++)
        speech_.values()[pastSpeech + n] = static_cast<int16_t>(current[n] >> 2);
    findPitch();
}

// With the vector k = 2: the lag is that of the residual with it, the tap that of the speech before it.
void PostFilter::findPitch() {
    decimated_.advance();
    ryxsDecimationFilter_G728_16s(residual_.values() + pastResidual + 3 * vectorLength - frameLength,
                                  decimated_.values() + decimatedLength - frameLength / 4, lowPass_);
    lags_[0] = lags_[1];
    gains_[0] = gains_[1];
    pitchGains_[0] = pitchGains_[1];
    ryxsPitchSearch_G728_16s(residual_.values(), decimated_.values(), lags_[0], &lags_[1]);
    ryxsPitchTap_G728_16s(speech_.values(), lags_[1], &tap_, &gains_[1], &pitchGains_[1]);
}

void PostFilter::filter(int16_t *pcm) {
    ryxsPostProcess_G728_16s(speech(), speech_.values() + pastSpeech, lags_, gains_, pitchGains_, zeros_, poles_, tilt_,
                             pcm, &scale_, filter_);
}

void PostFilter::adapt(const Recursion &tenth) {
    ryxsPostFilterCoefficients_G728_16s(tenth.coefficients, tenth.fraction, tenth.reflection, inverse_, zeros_, poles_,
                                        &tilt_);
}

} // namespace ryxcodec::g728
