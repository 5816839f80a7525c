// SPDX-License-Identifier: BSD-2-Clause
// Impulse response and target of a subframe of GSM-AMR (3GPP TS 26.090, clauses 5.4 and 5.5).
#include <algorithm>

#include "common/checks.h"
#include "frame/implementations.h"
#include "gsmamr/codebook.h"
#include "gsmamr/lp_filter.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

// A subframe behind its history.
struct Signal {
    int16_t samples[lpOrder + subframeLength];

    int16_t *subframe() { return samples + lpOrder; }
    const int16_t *subframe() const { return samples + lpOrder; }
};

Signal withHistory(const int16_t *history) {
    Signal signal;
    std::copy_n(history, lpOrder, signal.samples);
    return signal;
}

} // namespace

ryxStatus ryxsImpulseResponseTarget_GSMAMR_16s_u8(const int16_t *speech, const int16_t *weightedLpc1,
                                                  const int16_t *weightedLpc2, const int16_t *quantisedLpc,
                                                  const int16_t *synthesisMemory, const int16_t *weightingMemory,
                                                  int16_t *impulse, int16_t *residual, int16_t *target) {
    if (anyNull(speech, weightedLpc1, weightedLpc2, quantisedLpc, synthesisMemory, weightingMemory, impulse, residual,
                target))
        return ryxStsNullPtr;
    const LpFilter numerator(weightedLpc1), denominator(weightedLpc2), synthesis(quantisedLpc);
    int16_t input[lpOrder + subframeLength], taps[subframeLength] = {};
    int16_t found[subframeLength], weighted[subframeLength];
    std::copy_n(speech, lpOrder + subframeLength, input);
    std::copy_n(weightedLpc1, lpOrder + 1, taps);

    const int16_t rest[lpOrder] = {};
    Signal response = withHistory(rest), weightedResponse = withHistory(rest);
    synthesis.synthesise(taps, response.subframe(), subframeLength);
    denominator.synthesise(response.subframe(), weightedResponse.subframe(), subframeLength);

    Signal error = withHistory(synthesisMemory), weightedError = withHistory(weightingMemory);
    synthesis.analyse(input + lpOrder, found, subframeLength);
    synthesis.synthesise(found, error.subframe(), subframeLength);
    numerator.analyse(error.subframe(), weighted, subframeLength);
    denominator.synthesise(weighted, weightedError.subframe(), subframeLength);

    std::copy_n(weightedResponse.subframe(), subframeLength, impulse);
    std::copy_n(found, subframeLength, residual);
    std::copy_n(weightedError.subframe(), subframeLength, target);
    return ryxStsOk;
}
