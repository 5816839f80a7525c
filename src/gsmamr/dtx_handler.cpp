// SPDX-License-Identifier: BSD-2-Clause
// Hangover of the GSM-AMR encoder's discontinuous transmission (3GPP TS 26.093, clause 5.1.1).
#include "common/checks.h"
#include "common/fixed_point.h"
#include "gsmamr/implementations.h"

using namespace ryxsc;

namespace {

constexpr int16_t hangoverFrames = 7;
constexpr int analysisFrames = 30; // since the last parameters, below which the hangover already counts as silence

} // namespace

ryxStatus ryxsEncDTXHandler_GSMAMR_16s_u8(int16_t *hangover, int16_t *elapsed, int16_t *mode, int16_t *newSid,
                                          int vad) {
    if (anyNull(hangover, elapsed, mode, newSid)) return ryxStsNullPtr;
    *elapsed = add(*elapsed, 1);
    *newSid = 0;
    if ((vad & 0xffff) != 0) {
        *hangover = hangoverFrames;
    } else if (*hangover == 0) {
        *elapsed = 0;
        *mode = ryxGSMAMRRateSID;
        *newSid = 1;
    } else {
        *hangover = sub(*hangover, 1);
        if (*hangover + *elapsed < analysisFrames) *mode = ryxGSMAMRRateSID;
    }
    return ryxStsOk;
}
