// SPDX-License-Identifier: BSD-2-Clause
// Algebraic codebook search of GSM-AMR (3GPP TS 26.090, clause 5.7).
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pulse_search.h"
#include "gsmamr/rates.h"
#include "gsmamr/search_steps.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

struct Arguments {
    int16_t pitchLag, pitchGain;
    const int16_t *target, *residual;
    int16_t *impulse, *code, *filtered, *codeword;
    int16_t subframe;
    int rate;
    bool saturates = false; // as the recommendation does: sharpening saturates, pulses on one position are not added
};

ryxStatus check(const Arguments &given) {
    if (anyNull(given.target, given.residual, given.impulse, given.code, given.filtered, given.codeword))
        return ryxStsNullPtr;
    if (isNoSubframe(given.subframe) || given.pitchLag < 17 || given.pitchLag > 144) return ryxStsBadSize;
    return codebookOf(given.rate) == Codebook::none ? ryxStsBadSize : ryxStsOk;
}

// Which tracks a search sets beside each other.
constexpr Distances distancesOf(Codebook codebook) {
    switch (codebook) {
    case Codebook::twoPulses9Bits:
        return Distances::twoAndThree;
    case Codebook::threePulses:
    case Codebook::fourPulses:
        return Distances::others;
    default:
        return Distances::all;
    }
}

Pulses findFewPulses(Codebook codebook, const Arguments &given, const int16_t *impulse, Work<5> &work) {
    correlate(given.target, impulse, 5, 1, work.natural.correlation);
    splitSigns(work.natural);
    work.correlation = byTracks<5>(work.natural.correlation);
    work.sign = byTracks<5>(work.natural.sign);
    buildMatrix(impulse, distancesOf(codebook), work);
    return searchFewPulses(codebook, given.subframe, work);
}

template <int step> Pulses findManyPulses(const Arguments &given, const int16_t *impulse, Work<step> &work) {
    Words magnitude;
    correlate(given.target, impulse, step, 2, work.natural.correlation);
    combineSigns(given.residual, work.natural, magnitude);
    work.correlation = byTracks<step>(work.natural.correlation);
    work.sign = byTracks<step>(work.natural.sign);
    buildMatrix(impulse, Distances::all, work);
    return searchManyPulses(magnitude, work);
}

Pulses findPulses(Codebook codebook, const Arguments &given, const int16_t *impulse, void *buffer) {
    if (codebook == Codebook::eightPulses) return findManyPulses(given, impulse, alignedBlock<Work<4>>(buffer));
    Work<5> &work = alignedBlock<Work<5>>(buffer);
    return codebook == Codebook::tenPulses ? findManyPulses(given, impulse, work)
                                           : findFewPulses(codebook, given, impulse, work);
}

ryxStatus search(const Arguments &given, void *buffer) {
    const Codebook codebook = codebookOf(given.rate);
    const int16_t sharpening = sat16(2 * given.pitchGain);
    PaddedResponse impulse = {};
    std::memcpy(impulse.response(), given.impulse, subframeLength * sizeof(int16_t));
    const auto sharpenIt = given.saturates ? sharpenSaturated : sharpen;
    sharpenIt(given.pitchLag, sharpening, impulse.response());
    const Pulses pulses = findPulses(codebook, given, impulse.response(), buffer);

    int16_t code[subframeLength + 8];
    place(codebook, pulses, code);
    if (given.saturates) replaceDouble(codebook, pulses, code);
    sharpenIt(given.pitchLag, sharpening, code);
    filter(codebook, pulses, impulse, given.filtered);
    pack(codebook, given.subframe, pulses, given.codeword);
    std::memcpy(given.code, code, subframeLength * sizeof(int16_t));
    std::memcpy(given.impulse, impulse.response(), subframeLength * sizeof(int16_t));
    return ryxStsOk;
}

ryxStatus reportBufferSize(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = workBytes;
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsAlgebraicCodebookSearch_GSMAMR_16s_u8(int16_t pitchLag, int16_t pitchGain, const int16_t *target,
                                                    const int16_t *residual, int16_t *impulse, int16_t *code,
                                                    int16_t *filtered, int16_t *codeword, int16_t subframe, int rate) {
    const Arguments given = {pitchLag, pitchGain, target, residual, impulse, code, filtered, codeword, subframe, rate};
    if (const ryxStatus status = check(given); status != ryxStsOk) return status;
    alignas(16) uint8_t buffer[std::max(sizeof(Work<4>), sizeof(Work<5>))];
    return search(given, buffer);
}

ryxStatus ryxsFixedCodebookSearch_GSMAMR_16s_u8(int16_t pitchLag, int16_t pitchGain, const int16_t *target,
                                                const int16_t *residual, int16_t *impulse, int16_t *code,
                                                int16_t *filtered, int16_t *codeword, int subframe, int rate) {
    if (anyNull(target, residual, impulse, code, filtered, codeword)) return ryxStsNullPtr;
    if (subframe < 0 || subframe > 3 || pitchLag < 17 || pitchLag > 144 || rateOf(rate) == Rate::none)
        return ryxStsOutOfRange;
    alignas(16) uint8_t buffer[std::max(sizeof(Work<4>), sizeof(Work<5>))];
    return search({pitchLag, pitchGain, target, residual, impulse, code, filtered, codeword,
                   static_cast<int16_t>(subframe), rate, true},
                  buffer);
}

ryxStatus ryxsAlgebraicCodebookSearchEX_GSMAMR_16s_u8(int16_t pitchLag, int16_t pitchGain, const int16_t *target,
                                                      const int16_t *residual, int16_t *impulse, int16_t *code,
                                                      int16_t *filtered, int16_t *codeword, int16_t subframe, int rate,
                                                      uint8_t *buffer) {
    const Arguments given = {pitchLag, pitchGain, target, residual, impulse, code, filtered, codeword, subframe, rate};
    if (anyNull(buffer)) return ryxStsNullPtr;
    if (const ryxStatus status = check(given); status != ryxStsOk) return status;
    return search(given, buffer);
}

ryxStatus ryxsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s_u8(int *size) {
    return reportBufferSize(size);
}

ryxStatus ryxsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s_n8(int *size) {
    return reportBufferSize(size);
}
