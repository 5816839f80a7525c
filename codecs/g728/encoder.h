// SPDX-License-Identifier: BSD-2-Clause
// Encoder of ITU-T G.728, Annex G.
#pragma once

#include "g728/predictors.h"

namespace ryxcodec::g728 {

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);

private:
    static constexpr int pastInput = 50; // before the vector k = 0

    void encodeVector(int k, const int16_t *weightedSpeech, Index &index);
    void adapt(int k);
    void analyseWeighting();
    void adoptWeighting();

    SynthesisPredictor synthesis_;
    LogGainPredictor logGain_;
    Block<SynthesisFilterState_G728, 144> quantised_;

    History<pastInput + frameLength, frameLength> input_; // Q2
    int16_t weighting_[2 * predictorOrder];               // zeros, poles
    Block<IIRState_G728, 64> weightedSpeech_, weightedZeroInput_;
    Block<HybridWindowState_G728, 112> window_;
    Recursion weightingRecursion_;
    bool weightingValid_;

    int16_t impulse_[vectorLength];
    Block<CodebookState_G728, 272> codebook_;
};

} // namespace ryxcodec::g728
