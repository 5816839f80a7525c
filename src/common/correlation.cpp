// SPDX-License-Identifier: BSD-2-Clause
// Autocorrelations, correlations of two vectors, and the lags at which they are largest.
#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/convolution.h"
#include "common/implementations.h"

using namespace ryxsc;

namespace {

constexpr int longestFrame = 1024;

// r[k] = sum of 2 * x[n] * x[n + k], saturating, k = 0 .. order.
void autocorrelate(const int16_t *x, int len, int order, int32_t *r) {
    const uint64_t own = energy(x, len);
    const bool fits = fitsSums(own, own);
    if (len <= longestFrame) {
        int16_t padded[2 * longestFrame];
        std::copy_n(x, len, padded);
        std::fill_n(padded + len, order, int16_t{0});
        return macCorrelations(padded, padded, len, order + 1, r, fits);
    }
    for (int k = 0; k <= order; k++)
        r[k] = fits ? static_cast<int32_t>(static_cast<uint32_t>(wrappedProducts(x, x + k, len - k)) << 1)
                    : macInOrder(x, x + k, len - k).value;
}

// The largest of c(lag) = sum of 2 * x[n] * y[n - lag], lag = low .. high, and its lag. Of equal ones the shortest lag,
// or the longest.
enum class Wins { shortest, longest };

// Whether no sum saturates. Of one signal the stretch that holds both vectors mostly tells.
bool energiesFit(const int16_t *x, const int16_t *y, int len, int low, int high) {
    if (x == y && low <= len) {
        const uint64_t whole = energy(y - high, high) + energy(y, len);
        if (fitsSums(whole, whole)) return true;
    }
    return fitsSums(energy(x, len), energy(y - high, high - low) + energy(y - low, len));
}

void searchLags(const int16_t *x, const int16_t *y, int len, int low, int high, Wins wins, int32_t *max, int *lag) {
    constexpr int block = 128;
    const bool fits = energiesFit(x, y, len, low, high);
    int32_t sums[block];
    const int lags = high - low + 1;
    for (int searched = 0, count; searched < lags; searched += count) {
        count = std::min(block, lags - searched);
        const int to = low + searched + count - 1;
        // sums[k] belongs to the lag to - k. Undoubled sums have the order of the doubled ones, where none saturates.
        if (fits)
            wrappedCorrelations(x, y - to, len, count, sums);
        else
            macCorrelations(x, y - to, len, count, sums, false);
        const IndexedValue found = wins == Wins::shortest ? lastLargest(sums, count) : firstLargest(sums, count);
        if (searched == 0 || found.value > *max || (found.value == *max && wins == Wins::longest)) {
            *max = found.value;
            *lag = to - found.index;
        }
    }
    if (fits) *max *= 2;
}

} // namespace

ryxStatus ryxsAutoCorr_16s32s_u8(const int16_t *src, int len, int order, int32_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (len < 1 || order < 1) return ryxStsBadSize;
    if (order >= len) return ryxStsOutOfRange;
    autocorrelate(src, len, order, dst);
    return ryxStsOk;
}

ryxStatus ryxsAutoCorr_NormE_16s32s_u8(const int16_t *src, int len, int order, int32_t *dst, int *exponent) {
    if (anyNull(src, dst, exponent)) return ryxStsNullPtr;
    if (len < 1 || len > longestFrame || order < 1) return ryxStsBadSize;
    if (order >= len) return ryxStsOutOfRange;
    int16_t scaled[2 * longestFrame];
    std::copy_n(src, len, scaled);
    std::fill_n(scaled + len, order, int16_t{0});
    const AutocorrelationScale scale = normalisedAutocorrelation(scaled, len, order, dst);
    *exponent = scale.shift - 4 * scale.reductions;
    return scale.reductions > 0 ? ryxStsOverflow : ryxStsOk;
}

ryxStatus ryxsAutoCorrLagMax_Fwd_16s_u8(const int16_t *src, int len, int minLag, int maxLag, int32_t *max, int *lag) {
    if (anyNull(src, max, lag)) return ryxStsNullPtr;
    if (len < 1 || minLag < 1) return ryxStsBadSize;
    if (maxLag < minLag) return ryxStsOutOfRange;
    searchLags(src, src, len, minLag, maxLag, Wins::shortest, max, lag);
    return ryxStsOk;
}

ryxStatus ryxsCrossCorrLagMax_16s_u8(const int16_t *src1, const int16_t *src2, int len, int minLag, int maxLag,
                                     int32_t *max, int *lag) {
    if (anyNull(src1, src2, max, lag)) return ryxStsNullPtr;
    if (len < 1 || minLag < 1) return ryxStsBadSize;
    if (maxLag < minLag) return ryxStsOutOfRange;
    searchLags(src1, src2, len, minLag, maxLag, Wins::longest, max, lag);
    return ryxStsOk;
}

ryxStatus ryxsDotProd_G729A_16s32s_u8(const int16_t *src1, const int16_t *src2, int len, int32_t *dst) {
    if (anyNull(src1, src2, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const WatchedSum sum = macProducts(src1, src2, len);
    *dst = sum.value;
    return sum.saturated ? ryxStsOverflow : ryxStsOk;
}
