// SPDX-License-Identifier: BSD-2-Clause
#include "decoder.h"

#include <algorithm>
#include <cstring>

namespace ryxcodec::amrwb {

namespace {

constexpr int16_t startSeed = 21845, startLag = 64, startScale = 8;
constexpr int16_t homingSample = 8;
constexpr int worstBadFrames = 6;
constexpr int16_t longHighBandFactor = 29491; // 0.9

template <size_t n> void copy(const int16_t *from, int16_t (&to)[n]) {
    std::copy_n(from, n, to);
}

int16_t counted(int16_t frames) {
    return static_cast<int16_t>(std::min(frames + 1, 32767));
}

} // namespace

ryxStatus Decoder::init(const ryxCodecOptions &) {
    if (const ryxStatus status = dtxState_.fits(ryxsDecDTXGetStateSize_AMRWB_16s); status != ryxStsOk) return status;
    bits_ = {};
    mode_ = 0;
    isHomed_ = true;
    reset();
    return ryxStsOk;
}

void Decoder::reset() {
    copy(ryxAMRWBStartIsp, prevIsp_);
    copy(ryxAMRWBStartIsf, prevIsf_);
    for (int i = 0; i < 3; i++)
        std::copy_n(ryxAMRWBStartIsf, lpOrder, isfHistory_ + i * lpOrder);
    std::ranges::fill(lagHistory_, startLag);
    std::ranges::fill(lagRange_, int16_t{0});
    std::ranges::fill(gains_, int16_t{0});
    std::fill_n(gains_, 4, int16_t{-14336});
    codeSeed_ = lagSeed_ = startSeed;
    badFrames_ = 0;
    wasBad_ = false;
    noiseFrames_ = noiseFramesOfDtx_ = 0;
    reception_ = receivesSpeech;
    std::ranges::fill(upsampleHistory_, int16_t{0});
    lowBand_.reset();
    std::ranges::fill(highBandSynthesis_, int16_t{0});
    std::ranges::fill(bandPass_, int16_t{0});
    std::ranges::fill(lowPass_, int16_t{0});
    clearAfterSilence();
    ryxsDecDTXInit_AMRWB_16s(dtxState_);
}

void Decoder::clearAfterSilence() {
    std::ranges::fill(excitation_, int16_t{0});
    std::ranges::fill(isfResidual_, int16_t{0});
    lastLag_ = startLag;
    isFirst_ = true;
    noiseThreshold_ = 0;
    tilt_ = 0;
    std::ranges::fill(dispersion_, int16_t{0});
    scale_ = startScale;
    std::ranges::fill(scaleCandidates_, startScale);
}

// A decoder that has just been homed answers a homing frame without decoding it; it looks at the first subframe only.
ryxStatus Decoder::decode(const ReceivedFrame &frame, int16_t *speech) {
    Unpacked unpacked;
    if (const ryxStatus status = unpack(frame, bits_, unpacked); status != ryxStsOk) return status;
    if (unpacked.mode >= 0) mode_ = static_cast<int16_t>(unpacked.mode);
    const bool hasBits = unpacked.type != noData && unpacked.type != speechLost;
    bool isHoming = hasBits && isHomed_ && isHomingFrame(bits_, mode_, false);
    if (isHoming)
        std::fill_n(speech, frameLength, homingSample);
    else
        decodeFrame(unpacked.type, speech);
    if (!isHomed_) isHoming = isHomingFrame(bits_, mode_, true);
    if (isHoming) reset();
    isHomed_ = isHoming;
    return ryxStsOk;
}

void Decoder::decodeFrame(FrameType type, int16_t *speech) {
    Frame frame;
    frame.type = type;
    frame.isLost = type == speechLost || type == noData;
    frame.isBad = frame.isLost || type == speechDegraded || type == speechBad;
    const int16_t previous = reception_;
    ryxsDecDTXHandler_AMRWB_16s(type, noiseFramesOfDtx_, &reception_, dtxState_);
    int16_t noise[samples];
    if (reception_ != receivesSpeech) {
        int16_t indices[7] = {};
        BitReader bits(bits_);
        if (type == sidUpdate) {
            for (int i = 0; i < 5; i++)
                indices[i] = bits.get(isfNoiseWidths[i]);
            indices[5] = bits.get(6);
            indices[6] = bits.get(1);
        }
        ryxsDecDTXNoise_AMRWB_16s(indices, frame.isf, noise, dtxState_);
    }

    badFrames_ = frame.isBad ? static_cast<int16_t>(std::min(badFrames_ + 1, worstBadFrames))
                             : static_cast<int16_t>(badFrames_ >> 1);
    if (previous != receivesSpeech) {
        badFrames_ = 5;
        wasBad_ = previous == isMuting;
    }
    if (reception_ == receivesSpeech)
        decodeSpeech(frame, speech);
    else
        decodeSilence(frame, frame.isf, noise, speech);
    wasBad_ = frame.isBad;
}

void Decoder::decodeSpeech(Frame &frame, int16_t *speech) {
    BitReader bits(bits_);
    const bool isVoice = bits.get(1) != 0;
    if (frame.isBad) {
        if (noiseFramesOfDtx_ > 0) noiseFramesOfDtx_ = counted(noiseFramesOfDtx_);
    } else {
        noiseFrames_ = isVoice ? int16_t{0} : counted(noiseFrames_);
        noiseFramesOfDtx_ = isVoice ? int16_t{0} : counted(noiseFramesOfDtx_);
    }
    decodeIsf(frame, bits);
    for (int k = 0; k < subframes; k++)
        decodeSubframe(frame, k, bits, speech + k * wideSubframeLength);
    ryxsDecDTXBuffer_AMRWB_16s(excitation(), scale_, frame.isf, dtxState_);
    std::copy_n(excitation_ + samples, pastExcitation, excitation_);
}

void Decoder::decodeIsf(Frame &frame, BitReader &bits) {
    int16_t indices[7] = {}, isp[lpOrder];
    for (int i = 0; i < mode().isfWords(); i++)
        indices[i] = bits.get(isfWidths(mode())[i]);
    copy(prevIsf_, frame.prevIsf);
    if (frame.isBad)
        ryxsISFConceal_AMRWB_16s(isfHistory_, frame.isf, isfResidual_, prevIsf_);
    else
        ryxsISFQuantDecode_AMRWB_16s(indices, frame.isf, isfResidual_, prevIsf_, isfHistory_, 0, mode().code);
    ryxsISFToISP_AMRWB_16s(frame.isf, isp, lpOrder);
    if (isFirst_) copy(isp, prevIsp_);
    isFirst_ = false;
    ryxsInterpolate_AMRWB_16s(prevIsp_, isp, frame.lpc);
    copy(isp, prevIsp_);
    ryxsStability_AMRWB_16s(frame.isf, frame.prevIsf, &frame.stability);
}

void Decoder::decodeSubframe(const Frame &frame, int k, BitReader &bits, int16_t *speech) {
    Subframe sub;
    decodeAdaptiveVector(frame, k, bits, sub);
    decodeCode(frame, bits, sub);
    decodeGains(frame, bits, sub);
    excite(frame, k, sub);
    int16_t enhanced[subframeLength], longLpc[longOrder + 1];
    enhance(frame, sub, enhanced);
    const bool isLong = mode().code == modes[0].code;
    if (isLong)
        ryxsHighBandLPC_AMRWB_16s(frame.prevIsf, frame.isf, k, longLpc);
    else
        std::fill_n(highBandSynthesis_, longOrder - lpOrder, int16_t{0});
    synthesise(frame.lpc + k * lpCoefficients, enhanced, sub.q, frame.isBad ? -1 : sub.highBandIndex,
               isLong ? longLpc : nullptr, speech);
}

void Decoder::decodeAdaptiveVector(const Frame &frame, int k, BitReader &bits, Subframe &sub) {
    int16_t *const vector = excitation() + k * subframeLength;
    ryxsDecodeLag_AMRWB_16s(bits.get(lagWidth(mode(), k)), k, mode().code, lagRange_, &sub.lag, &sub.fraction);
    if (frame.isBad) {
        ryxsLagConceal_AMRWB_16s(lagHistory_, gains_ + 17, lastLag_, frame.isLost, &sub.lag, &lagSeed_);
        sub.fraction = 0;
    }
    ryxsDecodeAdaptiveVector_AMRWB_16s_I(sub.lag, sub.fraction, vector);
    bool isPlain = !mode().isLow() && bits.get(1) != 0;
    if (frame.isLost) isPlain = true;
    if (!isPlain) {
        int16_t filtered[subframeLength];
        ryxsAdaptiveLowPass_AMRWB_16s(vector, filtered);
        std::copy_n(filtered, subframeLength, vector);
    }
}

void Decoder::decodeCode(const Frame &frame, BitReader &bits, Subframe &sub) {
    int16_t words[8];
    for (int i = 0; i < mode().codeWords; i++)
        words[i] = bits.get(mode().codeWidths[i]);
    if (frame.isLost)
        ryxsCodeConceal_AMRWB_16s(sub.code, &codeSeed_);
    else
        ryxsAlgebraicCodebookDecode_AMRWB_16s(words, sub.code, mode().code);
    ryxsPitchSharpen_AMRWB_16s_I(sub.code, tilt_, sub.lag + (sub.fraction > 2 ? 1 : 0));
}

void Decoder::decodeGains(const Frame &frame, BitReader &bits, Subframe &sub) {
    const int index = bits.get(gainWidth(mode()));
    sub.highBandIndex = mode().hasHighBandGain() ? bits.get(4) : -1;
    ryxsGainDecode_AMRWB_16s(index, sub.code, mode().code, frame.isBad, frame.isLost, wasBad_, badFrames_, noiseFrames_,
                             gains_, &sub.pitchGain, &sub.codeGain);
}

void Decoder::excite(const Frame &frame, int k, Subframe &sub) {
    int16_t *const vector = excitation() + k * subframeLength;
    ryxsExcitationScale_AMRWB_16s(scaleCandidates_, sub.codeGain, &sub.q, &sub.scaledGain);
    ryxsScale_AMRWB_16s_I(vector - pastExcitation, pastExcitation + subframeLength, sub.q - scale_);
    scale_ = sub.q;
    if (!frame.isBad) {
        std::copy_backward(lagHistory_, lagHistory_ + 4, lagHistory_ + 5);
        lagHistory_[0] = lastLag_ = sub.lag;
    }
    copy(vector, sub.adaptive);
    copy(vector, sub.reduced);
    ryxsScale_AMRWB_16s_I(sub.reduced, subframeLength, -3);
    ryxsVoicingFactor_AMRWB_16s(sub.reduced, -3, sub.pitchGain, sub.code, sub.scaledGain, &sub.voicing, &tilt_);
    ryxsExcitation_AMRWB_16s(sub.adaptive, sub.pitchGain, sub.code, sub.scaledGain, vector);
    ryxsExcitationScaleUpdate_AMRWB_16s(vector, sub.q, scaleCandidates_);
}

void Decoder::enhance(const Frame &frame, Subframe &sub, int16_t *enhanced) {
    int16_t gain, code[subframeLength];
    ryxsPhaseDispersion_AMRWB_16s_I(sub.code, sub.pitchGain, sub.codeGain, mode().code, dispersion_);
    ryxsNoiseEnhancer_AMRWB_32s16s(sub.codeGain, sub.voicing, frame.stability, sub.q, &noiseThreshold_, &gain);
    ryxsPitchEnhancer_AMRWB_16s(sub.code, sub.voicing, code);
    ryxsExcitation_AMRWB_16s(sub.adaptive, sub.pitchGain, code, gain, enhanced);
    if (mode().isLow()) ryxsPitchEmphasis_AMRWB_16s_I(enhanced, sub.reduced, sub.pitchGain);
}

void Decoder::synthesise(const int16_t *lpc, const int16_t *excited, int q, int highBandIndex, const int16_t *longLpc,
                         int16_t *speech) {
    int16_t low[subframeLength], high[wideSubframeLength], widened[longOrder + 1], estimate;
    lowBand_.synthesise(lpc, excited, q, noiseFrames_, low, high, &estimate);
    ryxsUpsampleFilter_AMRWB_16s(low, speech, upsampleHistory_);
    ryxsHighBandGain_AMRWB_16s_I(high, estimate, highBandIndex);
    if (longLpc != nullptr) {
        ryxsMulPowerC_NR_16s_Sfs(longLpc, longHighBandFactor, widened, longOrder + 1, 15);
        ryxsSynthesisFilter_AMRWB_16s(widened, longOrder, high, high, wideSubframeLength, highBandSynthesis_);
    } else {
        ryxsMulPowerC_NR_16s_Sfs(lpc, highBandFactor, widened, lpOrder + 1, 15);
        ryxsSynthesisFilter_AMRWB_16s(widened, lpOrder, high, high, wideSubframeLength,
                                      highBandSynthesis_ + longOrder - lpOrder);
    }
    ryxsBandPassFilter_AMRWB_16s_I(high, bandPass_);
    if (mode().hasHighBandGain()) ryxsLowPassFilter_AMRWB_16s_I(high, lowPass_);
    ryxsHighBandAdd_AMRWB_16s(speech, high, speech);
}

void Decoder::decodeSilence(const Frame &frame, const int16_t *isf, const int16_t *noise, int16_t *speech) {
    constexpr int descriptorIndex = 1; // a silence descriptor has no index of the high band, and this one is taken
    int16_t isp[lpOrder], lpc[lpCoefficients];
    ryxsISFToISP_AMRWB_16s(isf, isp, lpOrder);
    ryxsISPToLPCScaled_AMRWB_16s(isp, lpc);
    const int index = mode().hasHighBandGain() && !frame.isBad ? descriptorIndex : -1;
    for (int k = 0; k < subframes; k++)
        synthesise(lpc, noise + k * subframeLength, 0, index, nullptr, speech + k * wideSubframeLength);
    clearAfterSilence();
    copy(isf, prevIsf_);
}

} // namespace ryxcodec::amrwb
