// SPDX-License-Identifier: BSD-2-Clause
#include "encoder.h"

#include <algorithm>

namespace ryxcodec::g728 {

ryxStatus Encoder::init(const ryxCodecOptions &) {
    const ryxStatus statuses[] = {
        quantised_.fits(ryxsSynthesisFilterGetStateSize_G728_16s),
        weightedSpeech_.fits(ryxsIIR16sGetStateSize_G728_16s),
        window_.fits(ryxsHybridWindowGetStateSize_G728_16s),
        codebook_.fits(ryxsCodebookGetStateSize_G728_16s),
        synthesis_.init(),
        logGain_.init(),
    };
    for (const ryxStatus status : statuses)
        if (status != ryxStsOk) return status;
    ryxsSynthesisFilterInit_G728_16s(quantised_);
    ryxsIIR16sInit_G728_16s(weightedSpeech_);
    ryxsIIR16sInit_G728_16s(weightedZeroInput_);
    ryxsHybridWindowInit_G728_16s(window_);
    ryxsImpulseResponse_G728_16s(synthesis_.coefficients(), weighting_, impulse_);
    ryxsCodebookSetFilter_G728_16s(impulse_, codebook_);
    return ryxStsOk;
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *frame, int &octets) {
    input_.advance();
    synthesis_.beginCycle();
    logGain_.beginCycle();
    for (int i = 0; i < frameLength; i++)
        input_.values()[pastInput + i] = static_cast<int16_t>(speech[i] >> 1);
    Index indices[vectors];
    int16_t weightedSpeech[frameLength];
    for (int k = 0; k < vectors; k++) {
        // The weighting changes after k = 1.
        if (k % 2 == 0)
            ryxsIIR16s_G728_16s(weighting_, input_.values() + pastInput + k * vectorLength,
                                weightedSpeech + k * vectorLength, 2 * vectorLength, weightedSpeech_);
        encodeVector(k, weightedSpeech + k * vectorLength, indices[k]);
        adapt(k);
    }
    pack(indices, frame);
    octets = frameOctets;
    return ryxStsOk;
}

void Encoder::encodeVector(int k, const int16_t *weightedSpeech, Index &index) {
    const int16_t *const a = synthesis_.coefficients();
    int16_t prediction, gain, gainExponent;
    logGain_.predict(k, INT16_MAX, &prediction, &gain, &gainExponent);

    int16_t response[vectorLength], exponent, weightedZeroInput[vectorLength];
    ryxsSynthesisFilterZeroInputTaps_G728_16s(synthesis_.taps(), response, &exponent, quantised_);
    ryxsWeightedZeroInput_G728_16s(weighting_, quantised_, weightedZeroInput, weightedZeroInput_);

    int16_t target[vectorLength], targetExponent;
    ryxsTarget_G728_16s(weightedSpeech, weightedZeroInput, gain, gainExponent, target, &targetExponent);
    ryxsCodebookSearchFiltered_G728_16s(target, targetExponent, codebook_, &index.shape, &index.gain);

    int16_t excitation[vectorLength], speech[vectorLength], speechExponent;
    ryxsCodebookDecode_G728_16s(index.shape, index.gain, gain, gainExponent, excitation, &exponent);
    ryxsSynthesisFilter_G728_16s(a, excitation, &exponent, INT16_MAX, response, speech, &speechExponent, quantised_);
    ryxsWeightedZeroState_G728_16s(weighting_, response, exponent, weightedZeroInput_);
    synthesis_.append(k, speech, speechExponent);

    int16_t logGain;
    ryxsLogGainUpdate_G728_16s(prediction, index.shape, index.gain, &logGain);
    logGain_.append(k, logGain);
}

// The work of a cycle, spread over its vectors. The weighting filter follows the input up to k = 1, which is there from the
// beginning, so that its recursion can go beside the others.
void Encoder::adapt(int k) {
    if (k == 0) {
        logGain_.analyse();
        analyseWeighting();
        Recursions all;
        synthesis_.extend(all);
        logGain_.extend(all);
        if (weightingValid_) all.add(weightingRecursion_, predictorOrder);
        all.run();
        synthesis_.expand();
        logGain_.adopt();
    } else if (k == 1) {
        synthesis_.adopt();
        adoptWeighting();
        ryxsImpulseResponse_G728_16s(synthesis_.coefficients(), weighting_, impulse_);
        ryxsCodebookSetFilter_G728_16s(impulse_, codebook_);
    } else if (k == 3) {
        synthesis_.analyse();
    }
}

void Encoder::analyseWeighting() {
    weightingRecursion_.order = 0;
    weightingValid_ =
        ryxsHybridWindowWeighting_G728_16s(input_.values(), weightingRecursion_.autoCorr, window_) == ryxStsOk;
}

void Encoder::adoptWeighting() {
    const Recursion &recursion = weightingRecursion_;
    int16_t expanded[2 * predictorOrder];
    if (recursion.order != predictorOrder) return;
    if (ryxsBandwidthExpand_G728_16s(recursion.coefficients, recursion.fraction, ryxG728WeightingZeroExpansion,
                                     expanded) != ryxStsOk ||
        ryxsBandwidthExpand_G728_16s(recursion.coefficients, recursion.fraction, ryxG728WeightingPoleExpansion,
                                     expanded + predictorOrder) != ryxStsOk)
        return;
    std::copy_n(expanded, 2 * predictorOrder, weighting_);
}

} // namespace ryxcodec::g728
