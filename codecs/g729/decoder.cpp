// SPDX-License-Identifier: BSD-2-Clause
#include "g729/decoder.h"

namespace ryxcodec::g729 {

namespace {

constexpr int16_t longestLag = 143;
constexpr int wholeWeight = 4096; // of a filter that is mixed with another, Q12
constexpr int stationary = 30;    // backward subframes in a row

// Post-filter of the main body, and the bounds between which that of Annex E moves.
constexpr int16_t denominatorFactor = 22938, numeratorFactor = 18022, longTermWeight = 16384; // Q15
constexpr int16_t numeratorFactorE = 21300, longTermWeightE = 8192;

} // namespace

ryxStatus Decoder::init(const ryxCodecOptions &options) {
    postFilters_ = options.noPostFilter == 0;
    pastType_ = FrameType::speech8k;
    copy(ryxG729StartLsp, oldLsp_);
    copy(ryxG729StartNoiseLsp, sidLsp_);
    initialiseLsfHistory(lsfHistory_);
    copy(ryxG729StartLsf, goodLsf_);
    sharpening_ = leastSharpening;
    oldDelay_[0] = 60;
    tracking_[0] = 30;
    fill(energies_, lowestEnergy);
    concealmentSeed_ = 21845;
    noiseSeed_ = noiseSeed;
    noiseShift_ = 1;
    noiseGains_[0] = 2;
    voicing_ = 60;
    muting_ = 32767;
    badFilter_[0] = 4096;
    denominatorFactor_ = denominatorFactor;
    numeratorFactor_ = numeratorFactorE;
    longTermWeight_ = longTermWeightE;
    postGain_ = 16384;
    for (const ryxStatus status : {backward_.init(), modeState_.fits(ryxsLPModeGetStateSize_G729E_16s),
                                   dispersion_.fits(ryxsPhaseDispersionGetStateSize_G729D_16s),
                                   highPass_.fits(ryxsHighPassFilterGetStateSize_G729_16s)})
        if (status != ryxStsOk) return status;
    ryxsLPModeInit_G729E_16s(modeState_);
    ryxsPhaseDispersionInit_G729D_16s(dispersion_);
    return ryxsHighPassFilterInit_G729_16s(highPass_, 1);
}

ryxStatus Decoder::decode(const ReceivedFrame &received, int16_t *speech) {
    Frame frame{};
    if (!receive(received, frame)) return ryxStsBadSize;
    voicingUsed_ = frame.voicing;
    if (!frame.bad) {
        muting_ = 32767;
        badSubframes_ = 0;
    }
    analyseBackward(frame);
    if (isSpeech(frame.type))
        decodeSpeech(frame);
    else
        decodeNoise(frame);
    finishFrame(frame);
    adaptPostFilter(frame);
    postFilter(frame, speech);
    ryxsHighPassFilter_G729_16s_I(speech, frameLength, highPass_);
    shiftFrame(excitation_);
    shiftFrame(residual_);
    return ryxStsOk;
}

// Returns false where no frame has such a length. A frame of 11.8 kbit/s whose two mode bits differ is a bad one.
bool Decoder::receive(const ReceivedFrame &received, Frame &f) {
    f.bad = !received.usable();
    const int octets = received.lost() ? received.sent : received.count;
    const bool known = typeOf(octets, f.type) && (octets > 0 || !f.bad);
    if (!f.bad) {
        if (!known) return false;
        f.p = unpack(f.type, received.octets);
        f.bad = f.p.mode[0] != f.p.mode[1];
    }

    // Annex I conceals at the rate of the frame before, Annexes D and E at that of the lost frame. The latter is right
    // where the two rates of one of these annexes, and nothing else, have been received.
    const FrameTypes met = known ? met_ | only(f.type) : met_;
    if (f.bad && !(known && met == met_ && alternates(met))) f.type = concealedType(pastType_);
    if (!f.bad || !isOfOneAnnex(met)) met_ = met;

    const bool annexE = f.type == FrameType::speech11k8;
    f.mode = !annexE ? 0 : f.bad ? previousMode_ : f.p.mode[0];
    f.voicing = pastBad_ && annexE ? voicingUsed_ : voicing_;
    return true;
}

// At 11.8 kbit/s the filter that the past synthesis gives. After a bad frame the one it gave then fades slowly.
void Decoder::analyseBackward(Frame &f) {
    if (f.type == FrameType::speech11k8) {
        backward_.analyse(f.filters);
        int16_t *const filter = f.filters.a[1];
        if (f.mode == 1 && badFilterWeight_ > 0)
            ryxsInterpolateC_G729_16s_Sfs(filter, static_cast<int16_t>(wholeWeight - badFilterWeight_), badFilter_,
                                          badFilterWeight_, filter, longOrder + 1, 12);
        if (f.bad && !pastBad_) copy(filter, badFilter_);
    }
    backward_.advance();
}

void Decoder::decodeNoise(Frame &f) {
    int16_t index = -1, lags[subframes], gains[2 * subframes];
    if (f.type == FrameType::silence) {
        int16_t lsf[order];
        index = f.p.silence[3];
        ryxsLSFDecode_G729B_16s(f.p.silence, lsfHistory_, lsf);
        ryxsLSFToLSP_G729_16s(lsf, sidLsp_);
    }
    ryxsDecDTXGain_G729B_16s(index, noiseEnergy_, noiseShift_, isSpeech(pastType_), noiseGains_);
    ryxsComfortNoise_G729B_16s_I(noiseGains_[1], excitation(0), lags, gains, &noiseSeed_);
    f.filters = widened(interpolatedFilters(oldLsp_, sidLsp_));
    copy(sidLsp_, oldLsp_);
    for (int s = 0; s < subframes; s++) {
        ryxsPhaseDispersionUpdate_G729D_16s(gains[2 * s], gains[2 * s + 1], dispersion_);
        synthesise(s, f.filters, nullptr);
    }
    ryxsLPModeUpdate_G729E_16s(0, f.filters.a[1], order, modeState_);
    f.firstLag = oldDelay_[0];
    sharpening_ = leastSharpening;
    backwardSubframes_ = 0;
    tracking_[1] = 0;
}

void Decoder::decodeSpeech(Frame &f) {
    noiseSeed_ = noiseSeed;
    decodeFilters(f);
    for (int s = 0; s < subframes; s++)
        decodeSubframe(s, f);
}

void Decoder::decodeFilters(Frame &f) {
    if (f.mode == 1) {
        ryxsLPModeInterpolate_G729E_16s(f.filters.a[0], modeState_);
    } else {
        int16_t lsp[order];
        if (f.bad) {
            ryxsLSFDecodeErased_G729_16s(goodMode_, lsfHistory_, goodLsf_);
        } else {
            const int16_t indices[] = {static_cast<int16_t>(f.p.lsp[0] >> 7), static_cast<int16_t>(f.p.lsp[0] & 127),
                                       static_cast<int16_t>(f.p.lsp[1] >> 5), static_cast<int16_t>(f.p.lsp[1] & 31)};
            ryxsLSFDecode_G729_16s(indices, lsfHistory_, goodLsf_);
            goodMode_ = indices[0];
        }
        ryxsLSFToLSP_G729_16s(goodLsf_, lsp);
        f.filters = widened(interpolatedFilters(oldLsp_, lsp, previousMode_ == 0));
        copy(lsp, oldLsp_);
    }
    ryxsLPModeUpdate_G729E_16s(f.mode, f.filters.a[1], f.filters.order, modeState_);
}

void Decoder::decodeSubframe(int s, Frame &f) {
    int16_t delay[2], code[subframeLength];
    decodeDelay(s, f, delay);
    if (s == 0) f.firstLag = delay[0];
    ryxsDecodeAdaptiveVector_G729_16s_I(delay, excitation(s));
    trackPitch(f);
    decodeCode(s, f, delay[0], code);
    backwardSubframes_ = f.mode == 1 ? std::min(backwardSubframes_ + 1, stationary) : 0;
    decodeGains(s, f, code);
    sharpening_ = sharpeningFor(gains_[0]);

    // In a bad frame only one of the contributions counts, as the last frame was voiced or not.
    int16_t gains[2] = {gains_[0], gains_[1]};
    if (f.bad) gains[f.voicing == 0 ? 0 : 1] = 0;
    combine(excitation(s), code, gains);
    synthesise(s, f.filters, f.type == FrameType::speech6k4 ? code : nullptr);
    if (f.type != FrameType::speech6k4) ryxsPhaseDispersionUpdate_G729D_16s(gains_[0], gains_[1], dispersion_);
}

// A lost delay, or in the first subframe one with a wrong parity, is the last one. It grows from then on, but at
// 11.8 kbit/s, where the pitch tracking takes care of it.
void Decoder::decodeDelay(int s, const Frame &f, int16_t *delay) {
    const bool annexD = f.type == FrameType::speech6k4;
    const bool wrong = s == 0 && !annexD && parityOf(f.type, f.p.delay[0]) != f.p.parity;
    if (!f.bad && !wrong) {
        const auto decodeIndex = annexD ? ryxsDelayDecode_G729D_16s : ryxsDelayDecode_G729_16s;
        decodeIndex(f.p.delay[s], f.firstLag, delay, static_cast<int16_t>(s));
        std::copy_n(delay, 2, oldDelay_);
    } else if (f.type == FrameType::speech11k8) {
        std::copy_n(oldDelay_, 2, delay);
    } else {
        delay[0] = oldDelay_[0];
        delay[1] = 0;
        oldDelay_[0] = std::min<int16_t>(static_cast<int16_t>(oldDelay_[0] + 1), longestLag);
    }
}

void Decoder::trackPitch(const Frame &f) {
    int16_t delay[2] = {oldDelay_[0], oldDelay_[1]};
    ryxsPitchTracking_G729E_16s(f.type == FrameType::speech11k8 ? oldDelay_ : delay, tracking_);
}

void Decoder::decodeCode(int s, const Frame &f, int16_t lag, int16_t *code) {
    int16_t words[5];
    copy(f.p.code[s], words);
    if (f.bad)
        for (int i = 0; i < (f.type == FrameType::speech11k8 ? 5 : 2); i++)
            words[i] = nextRandom(concealmentSeed_);
    if (f.type == FrameType::speech11k8)
        ryxsFixedCodebookDecode_G729E_16s(words, lag, sharpening_, f.mode, code);
    else if (f.type == FrameType::speech8k)
        ryxsFixedCodebookDecode_G729_16s(words, lag, sharpening_, code);
    else
        ryxsFixedCodebookDecode_G729D_16s(words, lag, sharpening_, code);
}

void Decoder::decodeGains(int s, const Frame &f, const int16_t *code) {
    if (!f.bad) {
        const auto decodeIndex = f.type == FrameType::speech6k4 ? ryxsGainDecode_G729D_16s : ryxsGainDecode_G729_16s;
        decodeIndex(f.p.gain[s], code, gains_, energies_);
        return;
    }
    if (f.type == FrameType::speech11k8)
        ryxsGainDecodeErased_G729E_16s(backwardSubframes_ == stationary, badSubframes_, gains_, &muting_, energies_);
    else
        ryxsGainDecodeErased_G729_16s(gains_, energies_);
    badSubframes_++;
}

// Where the synthesis overflows, the excitation is scaled down for good. With a code vector its phase is dispersed.
void Decoder::synthesise(int s, const Filters &filters, const int16_t *code) {
    int16_t *const out = backward_.synthesis(s);
    const int16_t *const history = out - filters.order;
    const auto run = [&](const int16_t *from) {
        return ryxsSynthesisFilter_G729E_16s(filters.a[s], filters.order, from, out, subframeLength, history);
    };
    const bool overflow = run(excitation(s)) != ryxStsOk;
    if (overflow)
        for (int16_t &sample : excitation_)
            sample = static_cast<int16_t>(sample >> 2);
    if (code != nullptr) {
        int16_t dispersed[subframeLength];
        ryxsPhaseDispersion_G729D_16s(excitation(s), code, gains_, dispersed, dispersion_);
        run(dispersed);
    } else if (overflow) {
        run(excitation(s));
    }
}

void Decoder::finishFrame(const Frame &f) {
    if (!f.bad) ryxsDecDTXEnergy_G729B_16s(excitation(0), &noiseEnergy_, &noiseShift_);
    ryxsLPModeDominance_G729E_16s(backward_.synthesis(0), f.mode, &dominant_, modeState_);
    const int fading = dominant_ != 0 ? 410 : 2048;
    badFilterWeight_ = static_cast<int16_t>(f.bad         ? wholeWeight
                                            : f.mode == 0 ? 0
                                                          : std::max(badFilterWeight_ - fading, 0));
    pastBad_ = f.bad;
    pastType_ = f.type;
    previousMode_ = f.mode;
}

// Where the backward filter is known well, the post-filter withdraws.
void Decoder::adaptPostFilter(const Frame &f) {
    if (f.type != FrameType::speech11k8) {
        denominatorFactor_ = denominatorFactor;
        numeratorFactor_ = numeratorFactor;
        longTermWeight_ = longTermWeight;
        return;
    }
    const bool less = f.mode == 1 && dominant_ != 0;
    const auto move = [less](int16_t &factor, int step, int most) {
        factor = static_cast<int16_t>(less ? std::max(factor - step, 0) : std::min(factor + step, most));
    };
    move(denominatorFactor_, 1147, denominatorFactor);
    move(numeratorFactor_, 1065, numeratorFactorE);
    move(longTermWeight_, 410, longTermWeightE);
}

void Decoder::postFilter(const Frame &f, int16_t *speech) {
    const int filterOrder = f.filters.order, responseLength = f.type == FrameType::speech11k8 ? 32 : 20;
    int16_t voicing = 0;
    for (int s = 0; s < subframes; s++) {
        int16_t numerator[longOrder + 1], denominator[longOrder + 1], filtered[subframeLength], delay = 0;
        int16_t *const out = speech + subframeLength * s;
        const int16_t *const synthesis = backward_.synthesis(s);
        weigh(f.filters.a[s], filterOrder, denominatorFactor_, denominator);
        weigh(f.filters.a[s], filterOrder, numeratorFactor_, numerator);
        ryxsResidualFilter_G729E_16s(numerator, filterOrder, synthesis, residual(s), subframeLength);
        if (isSpeech(f.type))
            ryxsLongTermPostFilter_G729_16s(f.firstLag, residual(s), longTermWeight_, filtered, &delay);
        else
            copy(residual(s), filtered);
        if (delay != 0) voicing = delay;
        if (postFilters_) {
            ryxsShortTermPostFilter_G729_16s(numerator, denominator, filterOrder, responseLength, filtered, out,
                                             postMemory_);
            ryxsGainControl_G729_16s_I(synthesis, out, &postGain_);
        } else {
            std::copy_n(synthesis, subframeLength, out);
        }
    }
    voicing_ = voicing;
}

} // namespace ryxcodec::g729
