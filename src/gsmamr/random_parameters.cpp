// SPDX-License-Identifier: BSD-2-Clause
// Parameters for frames that have none (3GPP TS 26.073).
#include "common/checks.h"
#include "common/fixed_point.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

// The window of the LP analysis serves as a table of noise.
ryxStatus ryxsRandomParameters_GSMAMR_16s_u8(int16_t *seed, const uint8_t *widths, int16_t *parameters, int count) {
    constexpr int starts = 128;
    if (anyNull(seed, widths, parameters)) return ryxStsNullPtr;
    if (count < 1 || count > lpWindowLength - starts) return ryxStsBadSize;
    *seed = wrap16(*seed * 31821 + 13849);
    const int16_t *const noise = &lpWindow[static_cast<size_t>(*seed & (starts - 1))];
    for (int i = 0; i < count; i++)
        parameters[i] = static_cast<int16_t>(noise[i] & ((1 << (widths[i] & 15)) - 1));
    return ryxStsOk;
}
