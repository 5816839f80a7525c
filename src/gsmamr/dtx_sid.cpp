// SPDX-License-Identifier: BSD-2-Clause
// Parameters of a silence descriptor (SID) of GSM-AMR (3GPP TS 26.092, TS 26.073): the mean of the last eight frames.
#include <algorithm>
#include <array>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/lsp_frequency.h"
#include "common/vector_quantiser_search.h"
#include "frame/implementations.h"
#include "gsmamr/lsf_tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int historyFrames = 8;
constexpr int halfSampling = 16384; // as an LSF

using Lsf = std::array<int16_t, lsfOrder>;
using Lsp = Lsf;

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

// An LSP above the one before it is extrapolated from that one's interval. A distance of more than 16 bits is limited.
Lsf lsfOf(const Lsp &lsp) {
    Lsf lsf;
    toFrequencies(lsp.data(), lsf.data(), lsfOrder, [](int interval, int distance) {
        const int scaled =
            (std::max<int>(distance, min16) * arccosineSlopes[static_cast<size_t>(interval)] + 2048) >> 12;
        return add(sat16(scaled), static_cast<int16_t>(interval * 256));
    });
    return lsf;
}

void spread(Lsf &lsf) {
    constexpr int16_t spacing = 205;
    int16_t least = spacing;
    for (int16_t &frequency : lsf) {
        frequency = std::max(frequency, least);
        least = add(frequency, spacing);
    }
}

// Frequencies are limited to just below half the sampling frequency; only disordered LSPs lead beyond it.
Lsp lspOf(const Lsf &lsf) {
    Lsp lsp;
    std::transform(lsf.begin(), lsf.end(), lsp.begin(), [](int16_t value) {
        const int frequency = std::min<int>(value, halfSampling - 1);
        const auto interval = static_cast<size_t>(frequency >> 8);
        const int width = cosines[interval + 1] - cosines[interval];
        return static_cast<int16_t>(cosines[interval] + ((width * (frequency & 255)) >> 8));
    });
    return lsp;
}

// Eight times the weights of TS 26.073. The distance of the neighbours is never negative, as the LSFs rise; far ones lead
// to weights down to -7408.
Lsf weightsOf(const Lsf &lsf) {
    constexpr int knee = 1843;
    const auto weigh = [](int distance) {
        const int weight =
            distance < knee ? 3427 - ((distance * 28160) >> 15) : knee - (((distance - knee) * 6242) >> 15);
        return static_cast<int16_t>(8 * weight);
    };
    Lsf weights;
    weights[0] = weigh(lsf[1]);
    for (size_t i = 1; i < lsfOrder - 1; i++)
        weights[i] = weigh(lsf[i + 1] - lsf[i - 1]);
    weights[lsfOrder - 1] = weigh(halfSampling - lsf[lsfOrder - 2]);
    return weights;
}

// The row with the smallest sum of squares of mult(weight, target - row). No product leaves 16 bits, since the weights are
// below 1.
template <class Book> int16_t nearestWeighted(const Book &book, const int16_t *target, const int16_t *weights) {
    const auto weightPairs = loadPairs<Book::values>(weights);
    const simd::Q15Factor factors[2] = {simd::Q15Factor(weightPairs.pair[0]), simd::Q15Factor(weightPairs.pair[1])};
    const auto terms = [&](Vector difference, size_t p) {
        const Vector weighted = factors[p] * difference;
        return _mm_madd_epi16(weighted, weighted);
    };
    return static_cast<int16_t>(nearest(book, loadPairs<Book::values>(target), terms).index);
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
