// SPDX-License-Identifier: BSD-2-Clause
#include "g729/decoder_a.h"

#include "g729/concealment.h"

namespace ryxcodec::g729 {

namespace {
constexpr int16_t longestLag = 143;
} // namespace

ryxStatus AnnexADecoder::init(const ryxCodecOptions &options) {
    postFilters_ = options.noPostFilter == 0;
    pastType_ = FrameType::speech8k;
    copy(ryxG729StartLsp, oldLsp_);
    copy(ryxG729StartNoiseLsp, sidLsp_);
    initialiseLsfHistory(lsfHistory_);
    copy(ryxG729StartLsf, goodLsf_);
    sharpening_ = leastSharpening;
    oldLag_ = 60;
    fill(energies_, lowestEnergy);
    concealmentSeed_ = 21845;
    noiseSeed_ = noiseSeed;
    noiseShift_ = 1;
    noiseGains_[0] = 2;
    for (const ryxStatus status : {postProcess_.fits(ryxsPostProcessGetStateSize_G729A_16s),
                                   highPass_.fits(ryxsHighPassFilterGetStateSize_G729_16s)})
        if (status != ryxStsOk) return status;
    ryxsPostProcessInit_G729A_16s(postProcess_);
    return ryxsHighPassFilterInit_G729_16s(highPass_, 1);
}

ryxStatus AnnexADecoder::decode(const ReceivedFrame &frame, int16_t *speech) {
    const bool bad = !frame.usable();
    FrameType type = concealedType(pastType_);
    if (!bad && (!typeOf(frame.count, type) || (isSpeech(type) && type != FrameType::speech8k))) return ryxStsBadSize;
    const Parameters parameters = bad ? Parameters{} : unpack(type, frame.octets);

    ShortFilters filters;
    int16_t lags[subframes];
    if (isSpeech(type))
        decodeSpeech(bad, parameters, filters, lags);
    else
        decodeNoise(type, parameters, filters, lags);
    postProcess(filters, lags, speech);
    if (!bad) ryxsDecDTXEnergy_G729B_16s(excitation(0), &noiseEnergy_, &noiseShift_);
    pastType_ = type;
    shiftFrame(excitation_);
    shiftFrame(synthesis_);
    return ryxStsOk;
}

void AnnexADecoder::decodeNoise(FrameType type, const Parameters &p, ShortFilters &filters, int16_t *lags) {
    int16_t index = -1, randomLags[subframes], randomGains[2 * subframes];
    if (type == FrameType::silence) {
        int16_t lsf[order];
        index = p.silence[3];
        ryxsLSFDecode_G729B_16s(p.silence, lsfHistory_, lsf);
        ryxsLSFToLSP_G729_16s(lsf, sidLsp_);
    }
    ryxsDecDTXGain_G729B_16s(index, noiseEnergy_, noiseShift_, isSpeech(pastType_), noiseGains_);
    ryxsComfortNoise_G729B_16s_I(noiseGains_[1], excitation(0), randomLags, randomGains, &noiseSeed_);
    filters = interpolatedFilters(oldLsp_, sidLsp_);
    copy(sidLsp_, oldLsp_);
    if (!synthesise(0, filters.a[0])) resynthesise(0, filters.a[0]);
    std::fill_n(lags, subframes, int16_t{0}); // no long-term post-filter
    sharpening_ = leastSharpening;
}

void AnnexADecoder::decodeSpeech(bool bad, const Parameters &p, ShortFilters &filters, int16_t *lags) {
    int16_t lsp[order];
    noiseSeed_ = noiseSeed;
    decodeLsp(bad, p, lsp);
    filters = interpolatedFilters(oldLsp_, lsp);
    copy(lsp, oldLsp_);
    for (int s = 0; s < subframes; s++)
        decodeSubframe(s, bad, p, filters.a[s], lags);
}

void AnnexADecoder::decodeLsp(bool bad, const Parameters &p, int16_t *lsp) {
    if (bad) {
        ryxsLSFDecodeErased_G729_16s(goodMode_, lsfHistory_, goodLsf_);
    } else {
        const int16_t indices[] = {static_cast<int16_t>(p.lsp[0] >> 7), static_cast<int16_t>(p.lsp[0] & 127),
                                   static_cast<int16_t>(p.lsp[1] >> 5), static_cast<int16_t>(p.lsp[1] & 31)};
        ryxsLSFDecode_G729_16s(indices, lsfHistory_, goodLsf_);
        goodMode_ = indices[0];
    }
    ryxsLSFToLSP_G729_16s(goodLsf_, lsp);
}

void AnnexADecoder::decodeSubframe(int s, bool bad, const Parameters &p, const int16_t *lpc, int16_t *lags) {
    int16_t delay[2], code[subframeLength], index[2] = {p.code[s][0], p.code[s][1]};
    decodeDelay(s, bad, p, lags[0], delay);
    lags[s] = delay[0];
    if (bad) {
        index[0] = nextRandom(concealmentSeed_);
        index[1] = nextRandom(concealmentSeed_);
    }
    ryxsFixedCodebookDecode_G729_16s(index, delay[0], sharpening_, code);
    ryxsDecodeAdaptiveVector_G729_16s_I(delay, excitation(s));
    if (bad)
        ryxsGainDecodeErased_G729_16s(gains_, energies_);
    else
        ryxsGainDecode_G729_16s(p.gain[s], code, gains_, energies_);
    sharpening_ = sharpeningFor(gains_[0]);
    combine(excitation(s), code, gains_);
    if (s == 0 && !synthesise(s, lpc)) resynthesise(s, lpc);
}

// A lost delay, or in the first subframe one with a wrong parity, is the last one; it grows from then on.
void AnnexADecoder::decodeDelay(int s, bool bad, const Parameters &p, int16_t firstLag, int16_t *delay) {
    if (bad || (s == 0 && parityOf(FrameType::speech8k, p.delay[0]) != p.parity)) {
        delay[0] = oldLag_;
        delay[1] = 0;
        oldLag_ = std::min<int16_t>(static_cast<int16_t>(oldLag_ + 1), longestLag);
    } else {
        ryxsDelayDecode_G729_16s(p.delay[s], firstLag, delay, static_cast<int16_t>(s));
        oldLag_ = delay[0];
    }
}

// Returns false where the synthesis overflows.
bool AnnexADecoder::synthesise(int s, const int16_t *lpc) {
    int16_t *const out = synthesis(s);
    return ryxsSynthesisFilter_G729_16s(lpc, excitation(s), out, subframeLength, out - order) == ryxStsOk;
}

// Where it does, the excitation is scaled down for good.
void AnnexADecoder::resynthesise(int s, const int16_t *lpc) {
    for (int16_t &sample : excitation_)
        sample = static_cast<int16_t>(sample >> 2);
    synthesise(s, lpc);
}

// From the synthesis of the second subframe on.
void AnnexADecoder::postProcess(const ShortFilters &filters, const int16_t *lags, int16_t *speech) {
    if (!postFilters_) {
        if (!synthesise(1, filters.a[1])) resynthesise(1, filters.a[1]);
        std::copy_n(synthesis(0), frameLength, speech);
        ryxsHighPassFilter_G729_16s_I(speech, frameLength, highPass_);
        return;
    }
    const int16_t *const a = filters.a[0];
    if (ryxsPostProcess_G729A_16s(a, lags, excitation(1), synthesis(0), speech, postProcess_) == ryxStsOverflow) {
        resynthesise(1, filters.a[1]);
        ryxsPostProcess_G729A_16s(a, lags, nullptr, synthesis(0), speech, postProcess_);
    }
}

} // namespace ryxcodec::g729
