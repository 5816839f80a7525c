// SPDX-License-Identifier: BSD-2-Clause
#include "g723/encoder.h"

#include "g723/common.h"

namespace ryxcodec::g723 {

namespace {

constexpr int pastInput = 120;
constexpr int codedFrom = 60; // of input_; the last 60 samples are look-ahead
constexpr int firstBudget = 120;

} // namespace

ryxStatus Encoder::init(const ryxCodecOptions &options) {
    setRate(options.rate);
    dtx_ = options.dtx != 0;
    highPass_ = options.noHighPass == 0;
    speechBefore_ = true;
    seed_ = noiseSeed;
    std::copy_n(ryxG723MeanLsf, order, lsf_);
    std::fill_n(lag_, 2, int16_t{60});
    std::fill_n(tamingErrors_, 5, 4);
    if (const ryxStatus status = vad_.fits(ryxsVADGetStateSize_G723_16s); status != ryxStsOk) return status;
    if (const ryxStatus status = transmission_.fits(ryxsEncDTXGetStateSize_G723_16s); status != ryxStsOk) return status;
    ryxsVADInit_G723_16s(vad_);
    return ryxsEncDTXInit_G723_16s(transmission_);
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *octets, int &count) {
    Analysis analysis;
    Frame frame;
    highPass(speech);
    analyse(analysis);
    frame.type = dtx_ ? frameType(analysis) : static_cast<int>(ryxG723FrameSpeech);
    frame.rate = rate_;
    weight(analysis);
    if (frame.type == ryxG723FrameSpeech)
        encodeSpeech(analysis, frame);
    else
        encodeNoise(analysis, frame);
    advance(input_, pastInput, frameLength);
    advance(weighted_, historyLength, frameLength);
    advance(excitation_, historyLength, frameLength);
    count = pack(frame, octets);
    return ryxStsOk;
}

void Encoder::highPass(const int16_t *speech) {
    int16_t *input = input_ + pastInput;
    if (highPass_) {
        ryxsHighPassFilter_G723_16s(speech, input, frameLength, highPassMemory_);
        return;
    }
    for (int i = 0; i < frameLength; i++)
        input[i] = speech[i] >> 1;
}

// The LP filters of the subframes, each from the 180 samples around it.
void Encoder::analyse(Analysis &analysis) {
    int16_t secondReflection[subframes], residualEnergy;
    for (int k = 0; k < subframes; k++) {
        ryxsAutoCorr_NormE_G723_16s(input_ + k * subframeLength, analysis.autoCorr[k], &analysis.shift[k]);
        ryxsLevinsonDurbin_G723_16s(analysis.autoCorr[k], analysis.lpc[k], &secondReflection[k], &residualEnergy);
        ryxsWeightingCoefs_G723_16s(analysis.lpc[k], analysis.weights[k]);
    }
    ryxsSineDetect_G723_16s(secondReflection, &sineHistory_, &analysis.sine);
}

int Encoder::frameType(const Analysis &analysis) {
    int speech, type;
    ryxsVAD_G723_16s(input_ + pastInput, lag_, analysis.sine, vad_, &speech);
    ryxsEncDTXBuffer_G723_16s(analysis.autoCorr[0], analysis.shift, transmission_);
    ryxsEncDTXHandler_G723_16s(speech, transmission_, &type);
    return type;
}

// Formant weighting, open-loop pitch of both half frames, and what harmonic noise shaping takes from the normalised signal.
void Encoder::weight(Analysis &analysis) {
    int16_t *weighted = weighted_ + historyLength;
    for (int k = 0; k < subframes; k++)
        ryxsWeightingFilter_G723_16s(input_ + codedFrom + k * subframeLength, analysis.weights[k],
                                     weighted + k * subframeLength, weightingMemory_);
    int16_t line[historyLength + frameLength];
    const int16_t *normalised = line + historyLength;
    int scale = headroom;
    ryxsAutoScale_16s(weighted_, line, historyLength + frameLength, &scale);
    for (int half = 0; half < 2; half++)
        ryxsOpenLoopPitchSearch_G723_16s(normalised + half * frameLength / 2, &lag_[half]);
    for (int k = 0; k < subframes; k++)
        ryxsHarmonicSearch_G723_16s(normalised + k * subframeLength, lag_[k / 2], &analysis.harmonicLag[k],
                                    &analysis.harmonicGain[k]);
}

void Encoder::encodeSpeech(Analysis &analysis, Frame &frame) {
    int16_t lsf[order], lpc[subframes][order];
    uint16_t indices[3];
    ryxsLPCToLSF_G723_16s(analysis.lpc[subframes - 1], lsf_, lsf);
    ryxsLSFQuant_G723_16s32s(lsf, lsf_, &frame.lsf);
    frame.lsfIndices(indices);
    decodeLsf(indices, lsf_, 0, lsf);
    interpolateFilters(lsf_, lsf, lpc);

    searchBudget_ = firstBudget;
    std::copy_n(lag_, 2, frame.lag);
    for (int k = 0; k < subframes; k++) {
        encodeSubframe(k, analysis, lpc[k], frame);
        finishSubframe(k, analysis, lpc[k], frame);
    }
    speechBefore_ = true;
    seed_ = noiseSeed;
}

void Encoder::encodeSubframe(int k, Analysis &analysis, const int16_t *lpc, Frame &frame) {
    Subframe &s = frame.subframe[k];
    const int16_t *weights = analysis.weights[k];
    const int16_t harmonicLag = analysis.harmonicLag[k], harmonicGain = analysis.harmonicGain[k];
    int16_t &lag = frame.lag[k / 2];
    int16_t *excitation = excitation_ + historyLength + k * subframeLength;

    int16_t impulse[subframeLength], target[subframeLength], adaptive[subframeLength], code[subframeLength];
    ryxsHarmonicFilter_G723_16s(weighted_ + historyLength + k * subframeLength, harmonicLag, harmonicGain, target);
    ryxsImpulseResponse_G723_16s(lpc, weights, harmonicLag, harmonicGain, impulse);
    ryxsTarget_G723_16s_I(target, lpc, weights, harmonicLag, harmonicGain, filterMemory_, synthesis_);

    ryxsAdaptiveCodebookSearch_G723_16s(target, impulse, excitation, tamingErrors_, analysis.sine, k, rate_, &lag,
                                        &s.offset, &s.pitchGain);
    ryxsDecodeAdaptiveVector_G723_16s(excitation, lag, s.offset, s.pitchGain, rate_, adaptive);
    ryxsFixedCodebookTarget_G723_16s_I(target, adaptive, impulse);

    if (rate_ == ryxG723Rate63) {
        ryxsMPMLQFixedCodebookSearch_G723(target, impulse, lag, k, code, &s.positions, &s.signs, &s.gain, &s.grid,
                                          &s.train);
    } else {
        int16_t positions;
        ryxsACELPFixedCodebookSearch_G723_16s(target, impulse, lag - 1 + s.offset, s.pitchGain, &searchBudget_, code,
                                              &positions, &s.signs, &s.gain, &s.grid);
        s.positions = positions;
        s.train = 0;
    }
    ryxsExcitation_G723_16s(code, adaptive, excitation);
}

// Lets taming and the combined filter follow the excitation of a subframe.
void Encoder::finishSubframe(int k, const Analysis &analysis, const int16_t *lpc, const Frame &frame) {
    ryxsTaming_G723_32s_I(tamingErrors_, frame.lag[k / 2], frame.subframe[k].offset, frame.subframe[k].pitchGain,
                          rate_);
    ryxsWeightedSynthesisFilter_G723_16s(excitation_ + historyLength + k * subframeLength, lpc, analysis.weights[k],
                                         synthesis_ + historyLength, filterMemory_);
    advance(synthesis_, historyLength, subframeLength);
}

void Encoder::encodeNoise(const Analysis &analysis, Frame &frame) {
    int16_t lpc[subframes][order];
    if (frame.type == ryxG723FrameSID) {
        int16_t pastLpc[order];
        uint16_t indices[3];
        ryxsEncDTXSID_G723_16s(lsf_, transmission_, pastLpc, &frame.lsf, &frame.sidGain);
        ryxsVADNoiseUpdate_G723_16s(pastLpc, vad_);
        frame.lsfIndices(indices);
        decodeLsf(indices, lsf_, 0, noiseLsf_);
        ryxsSIDGainDecode_G723_16s(frame.sidGain, &sidGain_);
    }
    ryxsComfortNoiseGain_G723_16s_I(sidGain_, speechBefore_ ? 1 : 0, &noiseGain_);
    speechBefore_ = false;

    int16_t offsets[subframes], gains[subframes];
    ryxsComfortNoiseExcitation_G723_16s(noiseGain_, &seed_, excitation_ + historyLength, frame.lag, offsets, gains);
    interpolateFilters(lsf_, noiseLsf_, lpc);
    for (int k = 0; k < subframes; k++) {
        frame.subframe[k].offset = offsets[k];
        frame.subframe[k].pitchGain = gains[k];
        finishSubframe(k, analysis, lpc[k], frame);
    }
}

} // namespace ryxcodec::g723
