// SPDX-License-Identifier: BSD-2-Clause
#include "decoder.h"

#include <algorithm>
#include <cstring>

namespace ryxcodec::g728 {

namespace {

constexpr int16_t steepestRise = 1024;      // of the log-gain after an erasure: 2 dB a vector
constexpr uint32_t longestLimit = 16;       // cycles
constexpr uint32_t partOfErasure = 4;       // cycles, 10 ms
constexpr int16_t erasedExponentLimit = 16; // of the quantised speech

} // namespace

ryxStatus Decoder::init(const ryxCodecOptions &options) {
    postFiltering_ = options.noPostFilter == 0;
    lossFrame_ = options.lossFrame == 0 ? 4 : options.lossFrame;
    cycle_ = lossFrame_ - 1;
    const ryxStatus statuses[] = {
        quantised_.fits(ryxsSynthesisFilterGetStateSize_G728_16s),
        concealment_.fits(ryxsConcealmentGetStateSize_G728_16s),
        synthesis_.init(),
        logGain_.init(),
        postFilter_.init(),
    };
    for (const ryxStatus status : statuses)
        if (status != ryxStsOk) return status;
    ryxsSynthesisFilterInit_G728_16s(quantised_);
    return ryxsConcealmentInit_G728_16s(concealment_);
}

ryxStatus Decoder::decode(const ReceivedFrame &frame, int16_t *speech) {
    const bool complete = frame.count == frameOctets;
    if (!complete && frame.usable()) return ryxStsBadSize;
    beginCycle(frame.usable(), complete);
    Index indices[vectors] = {};
    if (!erased_) unpack(frame.octets, indices);
    Cycle cycle;
    for (int k = 0; k < vectors; k++) {
        logGain_.append(k, erased_ ? conceal(k, cycle) : receive(k, indices[k], cycle));
        synthesise(k, cycle);
        if (k == vectors - 1) postProcess(cycle, speech);
        adapt(k);
    }
    if (!erased_) ryxsConcealmentUpdateCycle_G728_16s(cycle.excitation, cycle.excitationExponents, concealment_);
    return ryxStsOk;
}

// Whether a loss frame is erased is decided where it begins. A frame without bits begins one at once.
void Decoder::beginCycle(bool usable, bool complete) {
    synthesis_.beginCycle();
    logGain_.beginCycle();
    postFilter_.beginCycle();
    if (limited_ > 0 && !erased_) limited_--;
    if (++cycle_ == lossFrame_ || (!complete && !erased_)) {
        cycle_ = 0;
        erased_ = !usable;
        if (!erased_) {
            limited_ = static_cast<int>(std::min(static_cast<uint32_t>(limited_) + erasures_, longestLimit));
            erasures_ = 0;
        }
    }
    if (!erased_) return;
    erasures_++;
    if (firstOfPart())
        ryxsConcealmentSetup_G728_16s(static_cast<int>(erasures_ / partOfErasure), postFilter_.tap(), postFilter_.lag(),
                                      concealment_);
}

int16_t Decoder::receive(int k, Index index, Cycle &cycle) {
    int16_t gain, gainExponent, logGain;
    const int limit = limited_ > 0 ? std::min(before_ + steepestRise, INT16_MAX) : INT16_MAX;
    logGain_.predict(k, static_cast<int16_t>(limit), &before_, &gain, &gainExponent);
    ryxsCodebookDecode_G728_16s(index.shape, index.gain, gain, gainExponent, cycle.excitation + k * vectorLength,
                                &cycle.excitationExponents[k]);
    ryxsLogGainUpdate_G728_16s(before_, index.shape, index.gain, &logGain);
    return logGain;
}

int16_t Decoder::conceal(int k, Cycle &cycle) {
    int16_t *const excitation = cycle.excitation + k * vectorLength, *const exponent = &cycle.excitationExponents[k];
    ryxsConcealmentExcitation_G728_16s(excitation, exponent, &before_, concealment_);
    ryxsConcealmentUpdate_G728_16s(excitation, *exponent, concealment_);
    return before_;
}

void Decoder::synthesise(int k, Cycle &cycle) {
    int16_t response[vectorLength], exponent;
    ryxsSynthesisFilterZeroInputTaps_G728_16s(synthesis_.taps(), response, &exponent, quantised_);
    int16_t excitation[vectorLength]; // the synthesis filter may halve it
    std::memcpy(excitation, cycle.excitation + k * vectorLength, sizeof excitation);
    exponent = cycle.excitationExponents[k];
    int16_t *const speech = cycle.speech + k * vectorLength;
    ryxsSynthesisFilter_G728_16s(synthesis_.coefficients(), excitation, &exponent,
                                 erased_ ? erasedExponentLimit : INT16_MAX, response, speech, &cycle.exponents[k],
                                 quantised_);
    synthesis_.append(k, speech, cycle.exponents[k]);
}

// Nothing behind the synthesis feeds back into it within a cycle.
void Decoder::postProcess(const Cycle &cycle, int16_t *pcm) {
    ryxsConvertCycle_G728_16s(cycle.speech, cycle.exponents, 2, postFilter_.speech());
    postFilter_.analyse();
    if (postFiltering_)
        postFilter_.filter(pcm);
    else
        ryxsConvertCycle_G728_16s(cycle.speech, cycle.exponents, 3, pcm);
}

// The work of a cycle, spread over its vectors. During an erasure the predictors stay, but for a bandwidth that grows.
void Decoder::adapt(int k) {
    if (k == 0) {
        logGain_.analyse();
        Recursions all;
        Recursion tenth;
        synthesis_.extend(all, !erased_ || erasures_ == 1 ? synthesisOrder : predictorOrder, tenth);
        if (!erased_) logGain_.extend(all);
        all.run();
        synthesis_.expand();
        logGain_.adopt();
        if (tenth.order == predictorOrder) postFilter_.adapt(tenth);
    } else if (k == 1) {
        if (!erased_)
            synthesis_.adopt();
        else if (firstOfPart())
            synthesis_.attenuate(erasures_ == 1);
    } else if (k == 3) {
        synthesis_.analyse();
    }
}

} // namespace ryxcodec::g728
