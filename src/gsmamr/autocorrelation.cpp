// SPDX-License-Identifier: BSD-2-Clause
// Windowing and autocorrelation of GSM-AMR (3GPP TS 26.090, clause 5.2.1).
#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lp_filter.h"
#include "gsmamr/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

ryxStatus ryxsAutoCorr_GSMAMR_16s32s_u8(const int16_t *src, int32_t *dst, int window) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (window < ryxGSMAMRWindow || window > ryxGSMAMRWindow122End) return ryxStsOutOfRange;
    const std::array<int16_t, lpWindowLength> *const windows[] = {&lpWindow, &lpWindow122Middle, &lpWindow122End};
    int16_t windowed[lpWindowLength + lpOrder] = {};
    applyWindow(src, windows[window]->data(), windowed, lpWindowLength);
    normalisedAutocorrelation(windowed, lpWindowLength, lpOrder, dst);
    for (int lag = 0; lag <= lpOrder; lag++)
        dst[lag] = clearBit0(dst[lag]);
    return ryxStsOk;
}
