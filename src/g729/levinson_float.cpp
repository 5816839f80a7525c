// Levinson-Durbin recursion in single precision (ITU-T G.729 Annex C).
#include "common/checks.h"
#include "frame/implementations.h"

using namespace ryxsc;

namespace {

constexpr float smallestEnergy = 0.001f; // takes the place of an energy that is not positive

float predictionSum(const float *r, const float *a, int m) {
    float sum = 0;
    for (int j = 0; j < m; j++)
        sum += r[m - j] * a[j];
    return sum;
}

// Pairs from the outside to the middle, so that the filter is extended in place.
void extendFilter(float *a, int m, float k) {
    for (int j = 1; j <= m / 2; j++) {
        const float front = a[j] + k * a[m - j];
        a[m - j] += k * a[j];
        a[j] = front;
    }
    a[m] = k;
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
