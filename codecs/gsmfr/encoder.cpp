// SPDX-License-Identifier: BSD-2-Clause
#include "encoder.h"

#include <algorithm>

namespace ryxcodec::gsmfr {

namespace {

constexpr int filterReach = 5; // of the weighting filter, to either side

} // namespace

ryxStatus Encoder::init(const ryxCodecOptions &options) {
    dtx_ = options.dtx;
    const ryxStatus status = vad_.fits(ryxsVADGetSize_GSMFR_16s);
    if (status == ryxStsOk) reset();
    return status;
}

void Encoder::reset() {
    const int dtx = dtx_;
    *this = Encoder();
    dtx_ = dtx;
    ryxsVADInit_GSMFR_16s(vad_);
    dtxHandler_[1] = 24;
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *octets, int &count) {
    const bool homing = std::all_of(speech, speech + frameLength, [](int16_t x) { return x == homingSample; });
    Analysis analysis;
    Frame frame;
    int16_t residual[frameLength];
    shortTermAnalysis(speech, analysis, frame, residual);

    int16_t reconstructed[historyLength + frameLength];
    std::copy_n(history_, historyLength, reconstructed);
    for (int i = 0; i < segments; i++)
        analysis.maxima[i] = encodeSubSegment(residual + i * segmentLength,
                                              reconstructed + historyLength + i * segmentLength, frame.segment[i]);
    std::copy_n(reconstructed + frameLength, historyLength, history_);

    if (dtx_ != 0) discontinue(analysis, frame);
    pack(frame, octets);
    count = frameOctets;
    if (homing) reset();
    return ryxStsOk;
}

void Encoder::shortTermAnalysis(const int16_t *speech, Analysis &analysis, Frame &frame, int16_t *residual) {
    ryxsHighPassFilter_GSMFR_16s(speech, analysis.compensated, frameLength, offset_);
    ryxsPreemphasize_GSMFR_16s(analysis.compensated, residual, frameLength, &emphasis_);

    int16_t reflection[larCount];
    ryxsAutoCorr_GSMFR_16s32s_I(residual, frameLength, larCount, analysis.acf, &analysis.acfScale);
    ryxsSchur_GSMFR_32s16s(analysis.acf, reflection, larCount);
    ryxsReflectionToLAR_GSMFR_16s(reflection, analysis.lar, larCount);
    ryxsLARQuant_GSMFR_16s(analysis.lar, frame.lar);

    int16_t decoded[larCount], reflections[segments * larCount];
    ryxsLARDecode_GSMFR_16s(frame.lar, decoded);
    ryxsLARInterpolate_GSMFR_16s(lar_, decoded, reflections);
    ryxsLARToReflection_GSMFR_16s(reflections, reflections, segments * larCount);
    std::copy_n(decoded, larCount, lar_);
    ryxsShortTermAnalysisFrame_GSMFR_16s_I(reflections, residual, lattice_);
}

// Returns the largest magnitude of the RPE pulses. The samples in front of `reconstructed` are the history.
int16_t Encoder::encodeSubSegment(const int16_t *residual, int16_t *reconstructed, SubSegment &segment) {
    ryxsLTPSearch_GSMFR_16s(residual, reconstructed, &segment.lag, &segment.gain);
    int16_t padded[segmentLength + 2 * filterReach] = {};
    ryxsLongTermAnalysisFilter_GSMFR_16s(residual, reconstructed, segment.lag, segment.gain, padded + filterReach);

    int16_t weighted[segmentLength], selected[pulses], maximum;
    ryxsWeightingFilter_GSMFR_16s(padded + filterReach, weighted, segmentLength);
    ryxsRPEGridSelect_GSMFR_16s(weighted, selected, &segment.grid);
    ryxsRPEQuant_GSMFR_16s(selected, segment.codes, &maximum, &segment.scale);

    int16_t multiplier, shift;
    ryxsRPEScaleDecode_GSMFR_16s(segment.scale, &multiplier, &shift);
    ryxsRPEQuantDecode_GSMFR_16s(segment.codes, multiplier, shift, selected);
    ryxsRPEGridPosition_GSMFR_16s(selected, segment.grid, reconstructed);
    ryxsLongTermSynthesisFilter_GSMFR_16s_I(reconstructed, segment.lag, segment.gain);
    return maximum;
}

// Replaces a frame without speech by a silence descriptor, where that is to be sent.
void Encoder::discontinue(const Analysis &analysis, Frame &frame) {
    int16_t lags[segments], speechFound, action;
    for (int i = 0; i < segments; i++)
        lags[i] = frame.segment[i].lag;
    ryxsVAD_GSMFR_16s(analysis.acf, analysis.acfScale, lags, tone_, &speechFound, vad_);
    if (dtx_ == 2) ryxsToneDetect_GSMFR_16s(analysis.compensated, &tone_); // downlink
    ryxsEncDTXHandler_GSMFR_16s(speechFound, &action, dtxHandler_);

    if (action == ryxGSMFRSendNewSID) {
        int16_t scale;
        sid_ = Frame();
        ryxsEncDTXSID_GSMFR_16s(lars_[0], maxima_[0], sid_.lar, &scale);
        for (SubSegment &segment : sid_.segment)
            segment.scale = scale;
    }
    if (action != ryxGSMFRSendSpeech) frame = sid_;
    if (speechFound == 0) {
        std::copy_n(analysis.lar, larCount, lars_[oldest_]);
        std::copy_n(analysis.maxima, segments, maxima_[oldest_]);
        oldest_ = (oldest_ + 1) % 4;
    }
}

} // namespace ryxcodec::gsmfr
