// SPDX-License-Identifier: BSD-2-Clause
// Windowing and autocorrelation of ITU-T G.729 (clause 3.2.1), with the exponent that Annex B asks for.
#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/lp_window.h"
#include "g729/implementations.h"

using namespace ryxsc;

ryxStatus ryxsAutoCorr_G729_16s32s_u8(const int16_t *speech, int order, int32_t *autoCorr, int16_t *exponent) {
    constexpr int length = lpWindowLength, maxOrder = 12;
    if (anyNull(speech, autoCorr, exponent)) return ryxStsNullPtr;
    if (order < 1) return ryxStsBadSize;
    if (order > maxOrder) return ryxStsOutOfRange;
    int16_t windowed[length + maxOrder + 4] = {}; // the correlations of four lags at a time read on
    applyWindow(speech, lpWindow.data(), windowed, length);
    int32_t sums[maxOrder + 1];
    const AutocorrelationScale scale = normalisedAutocorrelation(windowed, length, order, sums);
    std::copy_n(sums, order + 1, autoCorr);
    *exponent = static_cast<int16_t>(1 + 4 * scale.reductions - scale.shift);
    return ryxStsOk;
}
