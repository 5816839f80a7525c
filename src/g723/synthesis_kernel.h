// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis of ITU-T G.723.1.
#pragma once

#include "common/checks.h"
#include "g723/combined_filter.h"
#include "g723/operators.h"

namespace {

using namespace ryxsc;
using namespace ryxsc::g723;

ryxStatus synthesise(const int16_t *src, const int16_t *lpc, int16_t *dst, int16_t *memory) {
    if (anyNull(src, lpc, dst, memory)) return ryxStsNullPtr;
    FilterLine line(memory);
    for (int n = 0; n < subframeLength; n++)
        dst[n] = line.push(filterOutput(line.add(src[n] * 8192, lpc)));
    line.save(memory);
    return ryxStsOk;
}

ryxStatus synthesiseLong(const int16_t *src, const int16_t *lpc, int32_t *dst, int16_t *memory) {
    if (anyNull(src, lpc, dst, memory)) return ryxStsNullPtr;
    FilterLine line(memory);
    for (int n = 0; n < subframeLength; n++) {
        dst[n] = line.add(src[n] * 8192, lpc);
        line.push(filterOutput(dst[n]));
    }
    line.save(memory);
    return ryxStsOk;
}

} // namespace
