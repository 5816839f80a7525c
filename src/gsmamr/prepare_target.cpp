// SPDX-License-Identifier: BSD-2-Clause
// Impulse responses and targets of GSM-AMR (3GPP TS 26.090, clauses 5.4 and 5.5).
#include <algorithm>

#include "common/checks.h"
#include "common/lp_lanes.h"
#include "gsmamr/codebook.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lp_filter.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int subframes = 4;
constexpr int coefficients = lpOrder + 1;

// A subframe behind its history.
struct Signal {
    int16_t samples[lpOrder + subframeLength];

    explicit Signal(const int16_t *history) { std::copy_n(history, lpOrder, samples); }
    int16_t *subframe() { return samples + lpOrder; }
};

// The filters of a subframe: A(z/g1), A(z/g2), quantised A(z).
struct Filters {
    LpFilter numerator, denominator, synthesis;
};

// A(z/g1) / (A(z/g2) A(z)) from rest.
void respond(const int16_t *numerator, const Filters &filters, int16_t *impulse) {
    const int16_t rest[lpOrder] = {};
    int16_t taps[subframeLength] = {};
    std::copy_n(numerator, coefficients, taps);
    Signal response(rest), weighted(rest);
    filters.synthesis.synthesise(taps, response.subframe(), subframeLength);
    filters.denominator.synthesise(response.subframe(), weighted.subframe(), subframeLength);
    std::copy_n(weighted.subframe(), subframeLength, impulse);
}

using Lanes = LaneSignals<subframeLength>;

Lanes tapsOf(const int16_t *numerators) {
    Lanes taps;
    simd::Vector rows[2][subframes], columns[2][4];
    for (int k = 0; k < subframes; k++, numerators += coefficients) {
        rows[0][k] = simd::load(numerators);
        rows[1][k] = _mm_srli_si128(simd::load(numerators + coefficients - 8), 10);
    }
    transposeWords(rows[0], columns[0]);
    transposeWords(rows[1], columns[1]);
    for (int n = 0; n < 8; n += 2) {
        simd::store(taps.at[n], columns[0][n / 2]);
        simd::store(taps.at[n + 8], columns[1][n / 2]);
    }
    for (int n = 16; n < subframeLength; n += 2)
        simd::store(taps.at[n], _mm_setzero_si128());
    return taps;
}

// The four responses in lanes. False where a sum may saturate.
bool respondInLanes(const int16_t *numerators, const int16_t *denominators, const int16_t *quantised,
                    int16_t *impulses) {
    Lanes response, weighted;
    if (!SynthesisLanes<lpOrder>(quantised, coefficients).run(tapsOf(numerators), response, subframeLength) ||
        !SynthesisLanes<lpOrder>(denominators, coefficients).run(response, weighted, subframeLength))
        return false;
    for (int n = 0; n < subframeLength; n += 8) {
        simd::Vector pairs[4], rows[4]; // samples of two times, and eight of one lane
        for (int k = 0; k < 4; k++) {
            const simd::Vector two = simd::load(weighted.at[n + 2 * k]);
            pairs[k] = _mm_unpacklo_epi16(two, _mm_unpackhi_epi64(two, two));
        }
        transposeDwords(pairs, rows);
        for (int k = 0; k < subframes; k++)
            simd::store(impulses + k * subframeLength + n, rows[k]);
    }
    return true;
}

// The residual of the speech, which ten samples precede, and the target: the error of synthesis from its memory through the
// weighting filter.
void findTarget(const int16_t *speech, const Filters &filters, const int16_t *synthesisMemory,
                const int16_t *weightingMemory, int16_t *residual, int16_t *target) {
    int16_t input[lpOrder + subframeLength], found[subframeLength], weighted[subframeLength];
    std::copy_n(speech, lpOrder + subframeLength, input);
    Signal error(synthesisMemory), weightedError(weightingMemory);
    filters.synthesis.analyse(input + lpOrder, found, subframeLength);
    filters.synthesis.synthesise(found, error.subframe(), subframeLength);
    filters.numerator.analyse(error.subframe(), weighted, subframeLength);
    filters.denominator.synthesise(weighted, weightedError.subframe(), subframeLength);
    std::copy_n(found, subframeLength, residual);
    std::copy_n(weightedError.subframe(), subframeLength, target);
}

} // namespace

ryxStatus ryxsImpulseResponseTarget_GSMAMR_16s_u8(const int16_t *speech, const int16_t *weightedLpc1,
                                                  const int16_t *weightedLpc2, const int16_t *quantisedLpc,
                                                  const int16_t *synthesisMemory, const int16_t *weightingMemory,
                                                  int16_t *impulse, int16_t *residual, int16_t *target) {
    if (anyNull(speech, weightedLpc1, weightedLpc2, quantisedLpc, synthesisMemory, weightingMemory, impulse, residual,
                target))
        return ryxStsNullPtr;
    const Filters filters = {LpFilter(weightedLpc1), LpFilter(weightedLpc2), LpFilter(quantisedLpc)};
    int16_t response[subframeLength];
    respond(weightedLpc1, filters, response);
    findTarget(speech, filters, synthesisMemory, weightingMemory, residual, target);
    std::copy_n(response, subframeLength, impulse);
    return ryxStsOk;
}

ryxStatus ryxsImpulseResponses_GSMAMR_16s_u8(const int16_t *weightedLpc1, const int16_t *weightedLpc2,
                                             const int16_t *quantisedLpc, int16_t *impulses) {
    if (anyNull(weightedLpc1, weightedLpc2, quantisedLpc, impulses)) return ryxStsNullPtr;
    if (respondInLanes(weightedLpc1, weightedLpc2, quantisedLpc, impulses)) return ryxStsOk;
    for (int k = 0; k < subframes; k++) {
        const int set = k * coefficients;
        const int16_t *const numerator = weightedLpc1 + set;
        respond(numerator, {LpFilter(numerator), LpFilter(weightedLpc2 + set), LpFilter(quantisedLpc + set)},
                impulses + k * subframeLength);
    }
    return ryxStsOk;
}

ryxStatus ryxsTarget_GSMAMR_16s_u8(const int16_t *speech, const int16_t *weightedLpc1, const int16_t *weightedLpc2,
                                   const int16_t *quantisedLpc, const int16_t *synthesisMemory,
                                   const int16_t *weightingMemory, int16_t *residual, int16_t *target) {
    if (anyNull(speech, weightedLpc1, weightedLpc2, quantisedLpc, synthesisMemory, weightingMemory, residual, target))
        return ryxStsNullPtr;
    const Filters filters = {LpFilter(weightedLpc1), LpFilter(weightedLpc2), LpFilter(quantisedLpc)};
    findTarget(speech, filters, synthesisMemory, weightingMemory, residual, target);
    return ryxStsOk;
}
