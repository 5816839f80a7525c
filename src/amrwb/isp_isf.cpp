// SPDX-License-Identifier: BSD-2-Clause
// Immittance spectral pairs to frequencies and back, by a cosine table with linear interpolation (3GPP TS 26.173).
#include <algorithm>

#include "amrwb/implementations.h"
#include "amrwb/isf_tables.h"
#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;
using simd::Vector;

namespace {

constexpr int16_t maxIsf = 128 * intervals;

int cosineAt(int k) {
    return cosines[static_cast<size_t>(k)];
}

// The last interval whose upper end has a cosine at or above isp: among every eighth first, then among eight.
int intervalOf(int16_t isp) {
    const Vector eight = simd::words(isp);
    const int first = 8 * simd::lastNotBelow16(everyEighthCosine.data(), eight);
    return first + simd::lastNotBelow(&cosines[static_cast<size_t>(first)], eight);
}

int16_t toFrequency(int16_t isp, int k) {
    return sat16((((isp - cosineAt(k)) * inverseSlopes[static_cast<size_t>(k)] + 1024) >> 11) + 128 * k);
}

// In the valid range 0..16384; beyond it the nearest end stands for the frequency.
int16_t toCosine(int frequency) {
    const int f = std::clamp<int>(frequency, 0, maxIsf);
    const int k = std::min(f >> 7, intervals - 1); // the last cosine is the lower end of the last interval
    return static_cast<int16_t>(cosineAt(k) + (((f - 128 * k) * (cosineAt(k + 1) - cosineAt(k))) >> 7));
}

} // namespace

// The recommendation searches the interval from that of the ISP behind, downwards only, so that an ISP above its
// predecessor is extrapolated; the last ISP is not a frequency of the same row and starts a search of its own.
ryxStatus ryxsISPToISF_Norm_AMRWB_16s_u8(const int16_t *isp, int16_t *isf, int len) {
    if (anyNull(isp, isf)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const int16_t last = toFrequency(isp[len - 1], intervalOf(isp[len - 1]));
    int k = intervals - 1;
    for (int i = len - 2; i >= 0; i--) {
        k = std::min(k, intervalOf(isp[i]));
        isf[i] = toFrequency(isp[i], k);
    }
    isf[len - 1] = static_cast<int16_t>(last >> 1);
    return ryxStsOk;
}

ryxStatus ryxsISFToISP_AMRWB_16s_u8(const int16_t *isf, int16_t *isp, int len) {
    if (anyNull(isf, isp)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    for (int i = 0; i < len - 1; i++)
        isp[i] = toCosine(isf[i]);
    isp[len - 1] = toCosine(2 * isf[len - 1]);
    return ryxStsOk;
}
