// SPDX-License-Identifier: BSD-2-Clause
// High-pass and band-shaping filters of the RTA codec in single precision.
//
// The poles of the high-pass filters lie so close to the unit circle that the order of the operations shows in the result:
// each sum runs from left to right as it is written.
#include <algorithm>
#include <cmath>

#include "common/checks.h"
#include "rta/implementations.h"
#include "rta/tables.h"

using namespace ryxsc;
using namespace ryxsc::rta;

namespace {

constexpr float bias = 1e-6F; // keeps the recursions out of denormal numbers
constexpr int maxBandPassLength = 640;

// Three inputs, then three outputs, both the newest first.
void filterDirect(const float *src, float *dst, int len, const DirectForm &c, float *memory) {
    float x1 = memory[0], x2 = memory[1], x3 = memory[2];
    float y1 = memory[3], y2 = memory[4], y3 = memory[5];
    for (int i = 0; i < len; i++) {
        const float x = src[i];
        const float y = c.b0 * x + bias + c.b1 * x1 + c.b2 * x2 + c.b3 * x3 - c.a1 * y1 - c.a2 * y2 - c.a3 * y3;
        x3 = x2;
        x2 = x1;
        x1 = x;
        y3 = y2;
        y2 = y1;
        dst[i] = y1 = y;
    }
    const float now[] = {x1, x2, x3, y1, y2, y3};
    std::copy_n(now, 6, memory);
}

void filterLattice(const float *src, float *dst, int len, const LatticeLadder &c, float *memory) {
    std::array<float, 5> s;
    std::copy_n(memory, s.size(), s.begin());
    for (int i = 0; i < len; i++) {
        float f = src[i] + bias;
        float out = 0;
#pragma GCC unroll 4
        for (size_t m = 4; m-- > 0;) {
            f = f - c.k[m] * s[m];
            const float g = c.k[m] * f + s[m];
            out = out + c.v[m + 1] * g;
            s[m + 1] = g;
        }
        s[0] = f;
        dst[i] = out + c.v[0] * f;
    }
    std::copy_n(s.begin(), s.size(), memory);
}

const HighPass *highPassFor(int rate) {
    for (const HighPass &filter : highPassFilters)
        if (filter.rate == rate) return &filter;
    return nullptr;
}

// Both stages. Returns the ratio of the levels before and after.
float shape(float *srcDst, int len, float *memory) {
    float x1 = memory[0], first1 = memory[1];
    float before = 0, after = 0;
    for (int i = 0; i < len; i++) {
        const float x = srcDst[i];
        const float first = 0.8F * x - 0.2F * x1;
        const float second = 1.3333334F * first + 0.33333334F * first1;
        before += std::abs(x);
        after += std::abs(second);
        x1 = x;
        first1 = first;
        srcDst[i] = second;
    }
    memory[0] = x1;
    memory[1] = first1;
    return after > 0 ? before / after : 0;
}

} // namespace

ryxStatus ryxsHighPassFilter_RTA_32f_u8(const float *src, float *dst, int len, int order, int rate, float *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const HighPass *const filter = highPassFor(rate);
    if (!filter) return ryxStsOutOfRange;
    if (order != 4 && order != 5) return ryxStsOutOfRange;
    if (order == 4 && rate == 8000) return 1; // no such filter, and nothing done; positive on purpose
    if (order == 4)
        filterDirect(src, dst, len, filter->order4, memory);
    else
        filterLattice(src, dst, len, filter->order5, memory);
    return ryxStsOk;
}

ryxStatus ryxsBandPassFilter_RTA_32f_I_u8(float *srcDst, int len, float *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    if (len < 1 || len > maxBandPassLength) return ryxStsBadSize;
    const float step = 0.011F * shape(srcDst, len, memory);
    float gain = memory[2];
    for (int i = 0; i < len; i++) {
        gain = 0.99F * gain + step;
        srcDst[i] *= gain;
    }
    memory[2] = gain;
    return ryxStsOk;
}
