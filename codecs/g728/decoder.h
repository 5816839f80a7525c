// SPDX-License-Identifier: BSD-2-Clause
// Decoder of ITU-T G.728, Annex G, with the concealment of Annex I.
#pragma once

#include "g728/post_filter.h"

namespace ryxcodec::g728 {

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options);
    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech);

private:
    struct Cycle { // in block floating point, an exponent for each vector
        int16_t excitation[frameLength], excitationExponents[vectors];
        int16_t speech[frameLength], exponents[vectors];
    };

    void beginCycle(bool usable, bool complete);
    bool firstOfPart() const { return erasures_ % 4 == 1; }
    // The vector's excitation; both return its log-gain.
    int16_t receive(int k, Index index, Cycle &cycle);
    int16_t conceal(int k, Cycle &cycle);
    void synthesise(int k, Cycle &cycle);
    void postProcess(const Cycle &cycle, int16_t *pcm);
    void adapt(int k);

    SynthesisPredictor synthesis_;
    LogGainPredictor logGain_;
    Block<SynthesisFilterState_G728, 144> quantised_;
    PostFilter postFilter_;
    bool postFiltering_;

    Block<ConcealmentState_G728, 368> concealment_;
    int lossFrame_;     // cycles that are lost together
    int cycle_;         // of the loss frame
    bool erased_;       // the current cycle
    uint32_t erasures_; // erased cycles in a row
    int limited_;       // cycles in which the gain may only rise slowly, after an erasure
    int16_t before_;    // predicted log-gain of the vector before
};

} // namespace ryxcodec::g728
