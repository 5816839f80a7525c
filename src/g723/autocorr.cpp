// SPDX-License-Identifier: BSD-2-Clause
// Autocorrelation of the LP analysis of ITU-T G.723.1, and the joint autocorrelation of several blocks (Annex A).
#include <iterator>

#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/implementations.h"
#include "g723/implementations.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int blockLength = 180;
constexpr int lags = order + 1;
constexpr int headroom = 3; // of a block; then no sum of 180 products leaves 32 bits
constexpr int silenceShift = 40;

} // namespace

ryxStatus ryxsAutoCorr_NormE_G723_16s_u8(const int16_t *src, int16_t *autoCorr, int *shift) {
    if (anyNull(src, autoCorr, shift)) return ryxStsNullPtr;
    alignas(16) int16_t b[blockLength + 16]; // and zeros
    std::fill(b + blockLength, std::end(b), int16_t{0});
    int scaled = headroom;
    ryxsAutoScale_16s_u8(src, b, blockLength, &scaled);
    ryxsMul_NR_16s_ISfs_u8(lpWindow, b, blockLength, 15);

    int32_t sums[lags];
    wrappedAutocorrelation(b, blockLength, order, sums);
    const int32_t energy = sums[0] + (sums[0] >> 10);
    const int normalisation = norm_l(energy);
    autoCorr[0] = round(L_shl(energy, normalisation));
    for (int lag = 1; lag < lags; lag++)
        autoCorr[lag] = round(scale(L_shl(sums[lag], normalisation), lagWindow[lag - 1]));
    *shift = energy == 0 ? silenceShift : normalisation + 2 * scaled;
    return ryxStsOk;
}

ryxStatus ryxsAutoCorr_G723_16s_u8(const int16_t *autoCorrs, const int *shifts, int blocks, int16_t *autoCorr,
                                   int *shift) {
    if (anyNull(autoCorrs, shifts, autoCorr, shift)) return ryxStsNullPtr;
    if (blocks < 1) return ryxStsBadSize;
    if (std::any_of(shifts, shifts + blocks, [](int given) { return given < -64 || given > 64; }))
        return ryxStsOutOfRange;
    const int common = *std::min_element(shifts, shifts + blocks) + 14;
    int32_t sums[lags] = {};
    for (int block = 0; block < blocks; block++)
        for (int lag = 0; lag < lags; lag++)
            sums[lag] = L_add(sums[lag], L_shl(autoCorrs[block * lags + lag], common - shifts[block]));
    const int excess = std::max(0, 16 - norm_l(sums[0]));
    for (int lag = 0; lag < lags; lag++)
        autoCorr[lag] = extract_l(sums[lag] >> excess);
    *shift = common - excess;
    return ryxStsOk;
}
