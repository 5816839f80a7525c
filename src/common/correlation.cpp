// SPDX-License-Identifier: BSD-2-Clause
// Autocorrelations, correlations of two vectors, and the lags at which they are largest.
#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/convolution.h"
#include "common/implementations.h"

using namespace ryxsc;

namespace {

constexpr int longestFrame = 1024;

// r[k] = sum of x[n] * x[n + k], modulo 2^32, k = 0 .. order < len.
void wrappedProductsWithItself(const int16_t *x, int len, int order, int32_t *r) {
    int16_t padded[2 * longestFrame]; // samples with zeros behind them
    if (order > 16 || len < 24) {
        std::copy_n(x, len, padded);
        std::fill_n(padded + len, order, int16_t{0});
        return wrappedAutocorrelation(padded, len, order, r);
    }
    // Only the last samples, which have no `order` successors, have to be moved.
    const int whole = (len - 16) / 8 * 8, rest = len - whole;
    simd::store(padded, simd::load(x + whole));
    simd::store(padded + rest - 16, simd::load(x + len - 16));
    simd::store(padded + rest - 8, simd::load(x + len - 8));
    for (int i = 0; i < 24; i += 8)
        simd::store(padded + rest + i, _mm_setzero_si128());
    const auto sums = [&]<int lags>(int k) {
        correlation::deep<lags>(r + k, correlation::Stretch{x, x + k, whole},
                                correlation::Stretch{padded, padded + k, rest});
    };
    switch (order) {
    case 8:
        return sums.template operator()<9>(0);
    case 10:
        return sums.template operator()<11>(0);
    case 16:
        sums.template operator()<9>(0);
        return sums.template operator()<8>(9);
    default: {
        int k = 0;
        for (; order + 1 - k >= 6; k += 6)
            sums.template operator()<6>(k);
        for (; order + 1 - k >= 3; k += 3)
            sums.template operator()<3>(k);
        for (; k <= order; k++)
            sums.template operator()<1>(k);
    }
    }
}

// The largest of c(lag) = sum of 2 * x[n] * y[n - lag], lag = low .. high, and its lag. Of equal ones the shortest lag,
// or the longest.
enum class Wins { shortest, longest };

// Whether no sum saturates. Of one signal the stretch that holds both vectors mostly tells.
bool energiesFit(const int16_t *x, const int16_t *y, int len, int low, int high) {
    if (x == y && low <= len) {
        const uint64_t whole = energyBound(y - high, high) + energyBound(y, len);
        if (boundsFit(whole, whole)) return true;
    }
    return boundsFit(energyBound(x, len), energyBound(y - high, high - low) + energyBound(y - low, len));
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
    const bool fits = autocorrelationFits(src, len);
    if (fits && len <= longestFrame) {
        wrappedProductsWithItself(src, len, order, dst);
        shiftLeft(dst, order, 1);
        return ryxStsOk;
    }
    for (int k = 0; k <= order; k++)
        dst[k] = fits ? wrapMul32(2, wrappedProducts(src, src + k, len - k)) : macInOrder(src, src + k, len - k).value;
    return ryxStsOk;
}

ryxStatus ryxsAutoCorr_NormE_16s32s_u8(const int16_t *src, int len, int order, int32_t *dst, int *exponent) {
    if (anyNull(src, dst, exponent)) return ryxStsNullPtr;
    if (len < 1 || len > longestFrame || order < 1) return ryxStsBadSize;
    if (order >= len) return ryxStsOutOfRange;
    if (autocorrelationFits(src, len)) {
        wrappedProductsWithItself(src, len, order, dst);
        *exponent = normaliseSums(dst, order);
        return ryxStsOk;
    }
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
