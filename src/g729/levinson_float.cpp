// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion in single precision (ITU-T G.729 Annex C).
#include "common/levinson_float.h"
#include "common/checks.h"
#include "g729/implementations.h"

using namespace ryxsc;

namespace {

constexpr float smallestEnergy = 0.001f; // takes the place of an energy that is not positive

// What the predictor of order m - 1 leaves at lag m.
float predictionSum(const float *r, const float *a, int m) {
    float sum = 0;
    for (int j = 0; j < m; j++)
        sum += r[m - j] * a[j];
    return sum;
}

} // namespace

ryxStatus ryxsLevinsonDurbin_G729_32f_u8(const float *autoCorr, int order, float *lpc, float *reflection,
                                         float *energy) {
    if (anyNull(autoCorr, lpc, reflection, energy)) return ryxStsNullPtr;
    if (order < 1) return ryxStsBadSize;
    float error = autoCorr[0];
    lpc[0] = 1;
    for (int m = 1; m <= order; m++) {
        const float sum = predictionSum(autoCorr, lpc, m);
        const float k = -sum / error;
        extendFilter(lpc, m, k);
        reflection[m - 1] = k;
        error += k * sum;
        if (error <= 0) error = smallestEnergy;
    }
    *energy = error;
    return ryxStsOk;
}
