// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis of ITU-T G.723.1.
#pragma once

#include "common/checks.h"
#include "g723/line_filters.h"

namespace {

using namespace ryxsc;
using namespace ryxsc::g723;

constexpr int inputShift = 12; // the input has half the scale of the coefficients

// src at the beginning of a padded subframe.
void synthesiseLine(const Line &src, const int16_t *lpc, Line &outputs) {
    const int16_t *x = src.begin();
    if (hasNegative(lpc)) {
        recurse(lpc, outputs, [=](int n) { return scaled(x + n, inputShift); });
        const int64_t most = int64_t{outputs.peak()} * sumOfMagnitudes(lpc) + (src.peak() << inputShift);
        if (most < 1 << 30) [[likely]]
            return;
    }
    int16_t *y = outputs.begin();
    for (int n = 0; n < subframeLength; n++)
        y[n] = filterOutput(addTaps(x[n] * 8192, lpc, y + n));
}

ryxStatus synthesise(const int16_t *src, const int16_t *lpc, int16_t *dst, int16_t *memory) {
    if (anyNull(src, lpc, dst, memory)) return ryxStsNullPtr;
    Line input, outputs(memory);
    std::copy_n(src, subframeLength, input.begin());
    synthesiseLine(input, lpc, outputs);
    std::copy_n(outputs.begin(), subframeLength, dst);
    outputs.save(memory);
    return ryxStsOk;
}

ryxStatus synthesiseLong(const int16_t *src, const int16_t *lpc, int32_t *dst, int16_t *memory) {
    if (anyNull(src, lpc, dst, memory)) return ryxStsNullPtr;
    Line input, outputs(memory);
    std::copy_n(src, subframeLength, input.begin());
    synthesiseLine(input, lpc, outputs);
    for (int n = 0; n < subframeLength; n++)
        dst[n] = addTaps(input.begin()[n] * 8192, lpc, outputs.begin() + n);
    outputs.save(memory);
    return ryxStsOk;
}

} // namespace
