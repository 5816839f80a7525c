// SPDX-License-Identifier: BSD-2-Clause
// Transmitter's side of discontinuous transmission: what is sent for a frame (GSM 06.31, clause 5.1.1), and parameters of
// silence descriptors (GSM 06.12, clause 5).
#include "common/checks.h"
#include "common/fixed_point.h"
#include "gsmfr/block_maximum.h"
#include "gsmfr/implementations.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;

namespace {

constexpr int hangover = 4;        // frames without speech that are averaged
constexpr int freshnessLimit = 24; // frames for which a descriptor serves in new pauses

// Mean of 2^bits numbers, rounded to nearest, ties upwards.
constexpr int16_t mean(int32_t sum, int bits) {
    return static_cast<int16_t>((sum + (1 << (bits - 1))) >> bits);
}

} // namespace

ryxStatus ryxsEncDTXHandler_GSMFR_16s_u8(int16_t vad, int16_t *action, int16_t *state) {
    if (anyNull(action, state)) return ryxStsNullPtr;
    if (vad < 0 || vad > 1) return ryxStsOutOfRange;
    int16_t &run = state[0], &elapsed = state[1], &reuse = state[2];
    elapsed = add(elapsed, 1);
    *action = ryxGSMFRSendSpeech;
    if (vad == 1) {
        run = 0;
        return ryxStsOk;
    }
    run = add(run, 1);
    if (run > hangover) {
        elapsed = 0;
        *action = ryxGSMFRSendNewSID;
        return ryxStsOk;
    }
    if (run == 1) reuse = elapsed < freshnessLimit;
    if (reuse != 0) *action = ryxGSMFRSendLastSID;
    return ryxStsOk;
}

ryxStatus ryxsEncDTXSID_GSMFR_16s_u8(const int16_t *lars, const int16_t *maxima, int16_t *larCodes,
                                     int16_t *scaleCode) {
    if (anyNull(lars, maxima, larCodes, scaleCode)) return ryxStsNullPtr;
    int16_t meanLar[stages];
    for (int i = 0; i < stages; i++) {
        int32_t sum = 0;
        for (int frame = 0; frame < hangover; frame++)
            sum += lars[frame * stages + i];
        meanLar[i] = mean(sum, 2);
    }
    int32_t sum = 0;
    for (int i = 0; i < hangover * segments; i++)
        sum += maxima[i] & max16;
    ryxsLARQuant_GSMFR_16s_u8(meanLar, larCodes);
    *scaleCode = blockMaximumCode(mean(sum, 4));
    return ryxStsOk;
}
