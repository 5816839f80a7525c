// SPDX-License-Identifier: BSD-2-Clause
#include "g723/decoder.h"

#include "g723/common.h"

namespace ryxcodec::g723 {

namespace {

constexpr int mostErasures = 3; // then the output is silent

} // namespace

ryxStatus Decoder::init(const ryxCodecOptions &options) {
    postFilter_ = options.noPostFilter == 0;
    speechBefore_ = true;
    std::copy_n(ryxG723MeanLsf, order, lsf_);
    std::copy_n(ryxG723MeanLsf, order, noiseLsf_);
    outputGain_ = 4096;
    noiseSeed_ = noiseSeed;
    return ryxStsOk;
}

ryxStatus Decoder::decode(const ReceivedFrame &received, int16_t *speech) {
    Frame frame;
    frame.rate = rate_;
    bool erased = !received.usable();
    if (!erased && received.count == 0) {
        frame.type = ryxG723FrameNothing;
    } else if (!erased) {
        if (received.count != octetsOf(received.octets[0])) return ryxStsBadSize;
        erased = !unpack(received.octets, frame);
        rate_ = frame.rate;
    }
    // An erased frame is taken for one of the kind before it.
    if (erased) frame.type = speechBefore_ ? ryxG723FrameSpeech : ryxG723FrameNothing;

    int16_t excitation[frameLength], lpc[subframes][order];
    if (frame.type != ryxG723FrameSpeech)
        makeNoise(frame, excitation, lpc);
    else if (erased)
        conceal(excitation, lpc);
    else
        decodeSpeech(frame, excitation, lpc);
    speechBefore_ = frame.type == ryxG723FrameSpeech;
    if (speechBefore_) noiseSeed_ = noiseSeed;
    synthesise(excitation, lpc, speech);
    return ryxStsOk;
}

void Decoder::decodeSpeech(const Frame &frame, int16_t *excitation, int16_t (*lpc)[order]) {
    erasures_ = 0;
    uint16_t indices[3];
    frame.lsfIndices(indices);
    decodeLsf(indices, lsf_, 0, noiseLsf_);
    interpolateFilters(lsf_, noiseLsf_, lpc);

    int16_t *line = excitation_ + historyLength;
    for (int k = 0; k < subframes; k++) {
        const Subframe &s = frame.subframe[k];
        const int lag = frame.lag[k / 2];
        int16_t *subframe = line + k * subframeLength;
        int16_t code[subframeLength];
        if (frame.rate == ryxG723Rate63)
            ryxsMPMLQFixedCodebookDecode_G723_16s(s.positions, s.signs, s.gain, s.grid, s.train, lag, k, code);
        else
            ryxsACELPFixedCodebookDecode_G723_16s(s.positions, s.signs, s.gain, s.grid, lag - 1 + s.offset, s.pitchGain,
                                                  code);
        ryxsDecodeAdaptiveVector_G723_16s(subframe, lag, s.offset, s.pitchGain, frame.rate, subframe);
        ryxsExcitation_G723_16s(code, subframe, subframe);
    }

    int16_t normalised[historyLength + frameLength];
    energyScale_ = headroom;
    ryxsAutoScale_16s(excitation_, normalised, historyLength + frameLength, &energyScale_);
    const int16_t gains[2] = {frame.subframe[2].gain, frame.subframe[3].gain};
    ryxsConcealmentUpdate_G723_16s(normalised + historyLength, frame.lag[1], gains, &period_, &energy_,
                                   &concealmentGain_);
    if (postFilter_)
        for (int k = 0; k < subframes; k++)
            ryxsLongTermPostFilter_G723_16s(line + k * subframeLength, normalised + historyLength + k * subframeLength,
                                            frame.lag[k / 2], k, frame.rate, excitation + k * subframeLength);
    else
        std::copy_n(line, frameLength, excitation);
    advance(excitation_, historyLength, frameLength);
}

void Decoder::conceal(int16_t *excitation, int16_t (*lpc)[order]) {
    erasures_ = std::min(erasures_ + 1, mostErasures);
    const uint16_t none[3] = {};
    int16_t lsf[order];
    decodeLsf(none, lsf_, 1, lsf);
    interpolateFilters(lsf_, lsf, lpc);
    if (erasures_ < mostErasures) {
        ryxsConcealExcitation_G723_16s(period_, &concealmentGain_, &concealmentSeed_, excitation, excitation_);
        return;
    }
    std::fill_n(excitation, frameLength, int16_t{0});
    std::fill_n(excitation_, historyLength, int16_t{0});
}

void Decoder::makeNoise(const Frame &frame, int16_t *excitation, int16_t (*lpc)[order]) {
    if (frame.type == ryxG723FrameSID) {
        uint16_t indices[3];
        frame.lsfIndices(indices);
        decodeLsf(indices, lsf_, 0, noiseLsf_);
        ryxsSIDGainDecode_G723_16s(frame.sidGain, &sidGain_);
    } else if (speechBefore_) {
        ryxsSIDGainEstimate_G723_16s(energy_, energyScale_, &sidGain_); // the descriptor was lost
    }
    ryxsComfortNoiseGain_G723_16s_I(sidGain_, speechBefore_ ? 1 : 0, &noiseGain_);
    int16_t lags[2], offsets[subframes], gains[subframes];
    ryxsComfortNoiseExcitation_G723_16s(noiseGain_, &noiseSeed_, excitation_ + historyLength, lags, offsets, gains);
    interpolateFilters(lsf_, noiseLsf_, lpc);
    std::copy_n(excitation_ + historyLength, frameLength, excitation);
    advance(excitation_, historyLength, frameLength);
}

void Decoder::synthesise(const int16_t *excitation, const int16_t (*lpc)[order], int16_t *speech) {
    for (int k = 0; k < subframes; k++) {
        int16_t *subframe = speech + k * subframeLength;
        ryxsSynthesisFilter_G723_16s(excitation + k * subframeLength, lpc[k], subframe, synthesisMemory_);
        if (!postFilter_) {
            ryxsMulC_NR_16s_ISfs(2, subframe, subframeLength, 0);
            continue;
        }
        int32_t energy;
        ryxsShortTermPostFilter_G723_16s(subframe, lpc[k], subframe, &energy, postFilterMemory_);
        ryxsGainControl_G723_16s_I(subframe, energy, &outputGain_);
    }
}

} // namespace ryxcodec::g723
