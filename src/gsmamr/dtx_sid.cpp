// SPDX-License-Identifier: BSD-2-Clause
// Parameters of a silence descriptor (SID) of GSM-AMR (3GPP TS 26.092, TS 26.073): the mean of the last eight frames.
#include <algorithm>

#include "common/checks.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lsf_steps.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int historyFrames = 8;

Lsp meanLsp(const int16_t *history) {
    Lsp mean;
    for (int i = 0; i < lsfOrder; i++) {
        int sum = 0;
        for (int frame = 0; frame < historyFrames; frame++)
            sum += history[frame * lsfOrder + i];
        mean[static_cast<size_t>(i)] = static_cast<int16_t>(sum >> 3);
    }
    return mean;
}

void quantise(const Lsf &lsf, int16_t *initial, int16_t *indices) {
    const size_t first = nearest(initialLsfs, loadPairs<lsfOrder>(lsf.data()), square).index;
    Lsf residual;
    for (size_t i = 0; i < lsfOrder; i++)
        residual[i] = static_cast<int16_t>(lsf[i] - initialLsfs.pair(first, i / 2)[i % 2]);

    const Lsf weights = weightsOf(lsf);
    *initial = static_cast<int16_t>(first);
    indices[0] = nearestWeighted(lowLsfs, &residual[0], &weights[0]);
    indices[1] = nearestWeighted(middleLsfs, &residual[3], &weights[3]);
    indices[2] = nearestWeighted(highLsfs, &residual[6], &weights[6]);
}

int16_t logEnergyIndex(const int16_t *history) {
    int sum = 0; // within 16 bits for what the encoder enters, and not limited for anything else
    for (int i = 0; i < historyFrames; i++)
        sum += history[i] >> 2;
    return static_cast<int16_t>(std::clamp(((sum >> 1) + 2688) >> 8, 0, 63));
}

} // namespace

ryxStatus ryxsEncDTXSID_GSMAMR_16s_u8(const int16_t *lspHistory, const int16_t *logEnergyHistory, int16_t *logEnergy,
                                      int16_t *initial, int16_t *indices, int16_t *pastEnergies,
                                      int16_t *pastEnergies122, int16_t newSid) {
    if (anyNull(lspHistory, logEnergyHistory, logEnergy, initial, indices, pastEnergies, pastEnergies122))
        return ryxStsNullPtr;
    if (newSid == 0) return ryxStsOk;
    *logEnergy = logEnergyIndex(logEnergyHistory);
    // From -11560 up, so that the recommendation's lower limit of -14436 is never met.
    const int predictor = std::min(*logEnergy * 256 - 11560, 0);
    std::fill_n(pastEnergies, 4, static_cast<int16_t>(predictor));
    std::fill_n(pastEnergies122, 4, static_cast<int16_t>((predictor * 5443) >> 15));

    Lsf lsf = lsfOf(meanLsp(lspHistory));
    spread(lsf);
    // The conversions do not give back the same frequencies; the decoder knows those that the LSPs stand for.
    quantise(lsfOf(lspOf(lsf)), initial, indices);
    return ryxStsOk;
}
