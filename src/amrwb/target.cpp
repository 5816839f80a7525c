// SPDX-License-Identifier: BSD-2-Clause
// Targets of the codebook searches, and the impulse response of the weighted synthesis (3GPP TS 26.173).
#include <cstring>

#include "amrwb/implementations.h"
#include "amrwb/lp_filters.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int half = subframeLength / 2;

// A signal behind the memory of a filter.
struct Filtered {
    alignas(16) int16_t memory[lpOrder];
    alignas(16) int16_t samples[subframeLength];
};

// round(2 * (x[n] - factor * x[n - 1])), in place, with saturation before and after the doubling.
void preemphasizeDoubled(int16_t *x, int len, int16_t factor) {
    const auto doubled = [](int32_t sum) { return round(L_shl(sum, 1)); };
    for (int i = len - 1; i > 0; i--)
        x[i] = doubled(L_msu(x[i] * 65536, x[i - 1], factor));
    x[0] = doubled(x[0] * 65536);
}

} // namespace

ryxStatus ryxsTarget_AMRWB_16s_u8(const int16_t *speech, const int16_t *residual, const int16_t *synthesis,
                                  const int16_t *lpc, const int16_t *weighted, int16_t memory, int16_t *target,
                                  int16_t *residualTarget) {
    if (anyNull(speech, residual, synthesis, lpc, weighted, target, residualTarget)) return ryxStsNullPtr;
    // What the synthesis has missed so far and will miss without an excitation.
    Filtered error;
    for (int i = 0; i < lpOrder; i++)
        error.memory[i] = sub(speech[i - lpOrder], synthesis[i]);
    synthesisFilterHalved<lpOrder>(lpc, residual, error.samples, subframeLength);
    residualFilter<lpOrder>(weighted, error.samples, target, subframeLength, 4);
    deemphasizeHalved(target, subframeLength, memory);

    // The first half of the residual target comes from the target; the second half is the residual itself.
    Filtered weightedError{}, answer{};
    std::copy_n(target, half, weightedError.samples);
    preemphasizeDoubled(weightedError.samples, half, tiltFactor);
    synthesisFilterHalved<lpOrder>(weighted, weightedError.samples, answer.samples, half);
    residualFilter<lpOrder>(lpc, answer.samples, residualTarget, half, 4);
    std::copy_n(residual + half, half, residualTarget + half);
    return ryxStsOk;
}

ryxStatus ryxsImpulseResponse_AMRWB_16s_u8(const int16_t *lpc, const int16_t *weighted, int shift, int16_t *response,
                                           int16_t *codebookResponse) {
    if (anyNull(lpc, weighted, response, codebookResponse)) return ryxStsNullPtr;
    if (shift < -15 || shift > 15) return ryxStsOutOfRange;
    Filtered buffer{};
    std::copy_n(weighted, lpOrder + 1, buffer.samples);
    synthesisInPlaceOfHistory<lpOrder>(lpc, 16384, buffer.samples, buffer.samples, subframeLength, 3);
    deemphasizeHalved(buffer.samples, subframeLength, 0);
    std::copy_n(buffer.samples, subframeLength, response);
    std::copy_n(buffer.samples, subframeLength, codebookResponse);
    scaleWords(response, subframeLength, 1 + shift);
    scaleWords(codebookResponse, subframeLength, -2);
    return ryxStsOk;
}
