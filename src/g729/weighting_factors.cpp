// SPDX-License-Identifier: BSD-2-Clause
// Adaptation of the perceptual weighting filter of ITU-T G.729 (clause 3.3).
#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "g729/implementations.h"

using namespace ryxsc;

namespace {

constexpr int order = 10;

// log((1 + k) / (1 - k)) in Q11 from three straight lines; k in Q15.
int16_t logAreaRatio(int16_t reflection) {
    struct Line {
        int16_t end; // Q11
        int32_t slope, offset;
    };
    constexpr Line lines[] = {{1815, 4567, 3271557}, {1944, 11776, 16357786}, {max16, 27443, 46808433}};
    const int magnitude = abs_s(reflection) >> 4; // Q11
    int ratio = magnitude;
    if (magnitude > 1299) {
        const int halved = magnitude >> 1;
        const Line *line = lines;
        while (magnitude > line->end)
            line++;
        ratio = (2 * line->slope * halved - line->offset) >> 11;
    }
    return static_cast<int16_t>(reflection < 0 ? -ratio : ratio);
}

// The closer two spectral lines, the less bandwidth expansion in the denominator.
int16_t denominatorFactor(const int16_t *lsf) {
    int16_t smallest = max16;
    for (int i = 0; i + 1 < order; i++)
        smallest = std::min(smallest, sub(shl(lsf[i + 1], 1), shl(lsf[i], 1)));
    const int16_t factor = shl(sub(1024, mult(19302, smallest)), 5);
    return std::clamp<int16_t>(factor, 13107, 22938);
}

} // namespace

ryxStatus ryxsWeightingFactors_G729_16s_u8(const int16_t *reflection, const int16_t *lsfInterpolated,
                                           const int16_t *lsf, int16_t *gamma1, int16_t *gamma2, int16_t *memory) {
    if (anyNull(reflection, lsfInterpolated, lsf, gamma1, gamma2, memory)) return ryxStsNullPtr;
    int16_t ratios[2][2]; // of the subframes
    for (int i = 0; i < 2; i++) {
        ratios[1][i] = logAreaRatio(reflection[i]);
        ratios[0][i] = static_cast<int16_t>((ratios[1][i] + memory[1 + i]) >> 1);
        memory[1 + i] = ratios[1][i];
    }
    for (int s = 0; s < 2; s++) {
        if (memory[0] != 0) {
            if (ratios[s][0] < -3562 && ratios[s][1] > 1336) memory[0] = 0;
        } else if (ratios[s][0] > -3116 || ratios[s][1] < 890) {
            memory[0] = 1;
        }
        const bool flat = memory[0] != 0;
        gamma1[s] = flat ? 30802 : 32113;
        gamma2[s] = flat ? int16_t{19661} : denominatorFactor(s == 0 ? lsfInterpolated : lsf);
    }
    return ryxStsOk;
}
