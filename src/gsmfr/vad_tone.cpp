// SPDX-License-Identifier: BSD-2-Clause
// Information tones in the downlink's voice activity detector: the prediction gain of order 4 (GSM 06.32, clause 3.10).
#include "common/checks.h"
#include "common/fixed_point.h"
#include "gsmfr/autocorrelation.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;

namespace {

constexpr int order = 4;
constexpr int16_t errorThreshold = 1464;      // of the prediction error, Q15
constexpr int16_t poleFrequencyFactor = 3189; // Q15

void predict(const int16_t *src, int16_t *reflection) {
    int16_t windowed[frameLength];
    for (int i = 0; i < frameLength / 2; i++) {
        windowed[i] = mult_r(src[i], hanningWindow[i]);
        windowed[frameLength - 1 - i] = mult_r(src[frameLength - 1 - i], hanningWindow[i]);
    }
    int32_t acf[order + 1];
    scaledAutocorrelation(windowed, frameLength, order, acf);
    ryxsSchur_GSMFR_32s16s_u8(acf, reflection, order);
}

// Whether the pole pair of the second-order predictor is complex, and its frequency not too low.
bool hasPolePairOfTone(const int16_t *reflection) {
    const int16_t t = static_cast<int16_t>(reflection[0] >> 2);
    const int16_t a1 = add(t, mult_r(reflection[1], t));
    const int16_t a2 = static_cast<int16_t>(reflection[1] >> 2);
    const int32_t denominator = L_mult(a1, a1);
    const int32_t numerator = L_sub(L_deposit_h(a2), denominator);
    if (numerator <= 0) return false;
    return a1 >= 0 || L_sub(numerator, L_mult(extract_h(denominator), poleFrequencyFactor)) >= 0;
}

} // namespace

ryxStatus ryxsToneDetect_GSMFR_16s_u8(const int16_t *src, int16_t *tone) {
    if (anyNull(src, tone)) return ryxStsNullPtr;
    int16_t reflection[order];
    predict(src, reflection);
    *tone = 0;
    if (hasPolePairOfTone(reflection)) {
        int16_t error = max16;
        for (const int16_t r : reflection)
            error = mult(error, sub(max16, mult(r, r)));
        *tone = error < errorThreshold;
    }
    return ryxStsOk;
}
