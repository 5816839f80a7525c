// SPDX-License-Identifier: BSD-2-Clause
// Histories of LSPs and frame energies for the comfort noise of GSM-AMR (3GPP TS 26.092).
#include <algorithm>

#include "common/checks.h"
#include "common/log2.h"
#include "common/sum_of_squares.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lsf_tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int frameLength = 160;
constexpr int historyFrames = 8;

// Base-2 logarithm of the mean square, Q10. It lies in -8521 .. 23222.
int16_t logEnergyOf(const int16_t *speech) {
    constexpr int log2Of320 = 8521;
    const Log2 energy = log2(accumulatedEnergy<frameLength>(speech));
    return static_cast<int16_t>(energy.exponent * 1024 + (energy.fraction >> 5) - log2Of320);
}

ryxStatus updateHistories(const int16_t *speech, const int16_t *lsp, int16_t *newest, int16_t *lspHistory,
                          int16_t *logEnergyHistory, int halvings) {
    if (anyNull(speech, lsp, newest, lspHistory, logEnergyHistory)) return ryxStsNullPtr;
    const int16_t next = add(*newest, 1);
    *newest = next < historyFrames ? next : int16_t{0};
    if (*newest < 0) return ryxStsOk; // no entry of the histories
    std::copy_n(lsp, lsfOrder, lspHistory + *newest * lsfOrder);
    logEnergyHistory[*newest] = static_cast<int16_t>(logEnergyOf(speech) >> halvings);
    return ryxStsOk;
}

} // namespace

// The encoder's histories hold halved logarithms, the decoder's do not: so it is in the recommendation.
ryxStatus ryxsEncDTXBuffer_GSMAMR_16s_u8(const int16_t *speech, const int16_t *lsp, int16_t *newest,
                                         int16_t *lspHistory, int16_t *logEnergyHistory) {
    return updateHistories(speech, lsp, newest, lspHistory, logEnergyHistory, 1);
}

ryxStatus ryxsDecDTXBuffer_GSMAMR_16s_u8(const int16_t *speech, const int16_t *lsp, int16_t *newest,
                                         int16_t *lspHistory, int16_t *logEnergyHistory) {
    return updateHistories(speech, lsp, newest, lspHistory, logEnergyHistory, 0);
}
