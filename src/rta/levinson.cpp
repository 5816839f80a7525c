// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion of the RTA codec in single precision, with its silence threshold, energy floor and early stops.
#include <algorithm>
#include <cmath>

#include "common/checks.h"
#include "common/levinson_float.h"
#include "rta/implementations.h"

using namespace ryxsc;

namespace {

constexpr int maxOrder = 16;
constexpr float silence = 1; // energies up to this one count as silence
constexpr float energyFloor = 1;

// What the predictor of order m - 1 leaves at lag m, from the newest coefficient to the oldest.
float predictionError(const float *r, const float *a, int m) {
    float sum = r[m];
    for (int j = 1; j < m; j++)
        sum += a[m - j] * r[j];
    return sum;
}

} // namespace

// The comparisons are such that a NaN stops the recursion.
ryxStatus ryxsLevinsonDurbin_RTA_32f_u8(const float *autoCorr, float *lpc, float *reflection, int order) {
    if (anyNull(autoCorr, lpc, reflection)) return ryxStsNullPtr;
    if (order < 1 || order > maxOrder) return ryxStsOutOfRange;
    float energy = autoCorr[0];
    if (!(energy > silence)) return ryxStsOverflow;
    reflection[0] = -autoCorr[1] / energy;
    if (!(std::abs(reflection[0]) < 1)) return ryxStsOverflow;
    float a[1 + maxOrder] = {1, reflection[0]};
    int m = 1; // order of the predictor so far
    for (; m < order; m++) {
        energy = std::max(energyFloor, (1 - reflection[m - 1] * reflection[m - 1]) * energy);
        const float sum = predictionError(autoCorr, a, m + 1);
        if (!(std::abs(sum) < energy)) {
            reflection[m] = sum; // as it is, no ratio
            break;
        }
        reflection[m] = -sum / energy;
        extendFilter(a, m + 1, reflection[m]);
    }
    std::copy_n(a + 1, m, lpc);
    return m < order ? ryxStsOverflow : ryxStsOk;
}
