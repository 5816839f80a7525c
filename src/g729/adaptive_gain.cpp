// SPDX-License-Identifier: BSD-2-Clause
// Gain of the adaptive codebook vector in ITU-T G.729 (clause 3.7.3), the target that it leaves to the fixed codebook, and
// the taming procedure that keeps it from amplifying errors of the decoder.
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/elementwise.h"
#include "common/product_sums.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int16_t largestGain = 19661;   // 1.2, Q14
constexpr int zones = 4;                 // of 40 lags
constexpr int32_t tolerable = 983040000; // 60000, Q14

// A sum as a mantissa and the shifts to it. Where the sum saturates it is formed again from the reduced vector.
struct Scaled {
    int16_t mantissa;
    int shift;
};
Scaled scaled(WatchedSum sum, WatchedSum reduced, int reduction) {
    const int32_t value = sum.saturated ? reduced.value : sum.value;
    const int shift = norm_l(value);
    return {round(L_shl(value, shift)), sum.saturated ? shift - reduction : shift};
}

// hi(L_shl(2 * x * gain, 15 - shift)): the shift saturates where the high word would not fit.
template <int shift> simd::Vector scaledDown(simd::Vector x, simd::Vector gain) {
    return simd::mulShiftSaturated<shift>(x, gain);
}

// 1 + g * error: what an error grows to on its way through the long-term predictor.
int32_t grown(int32_t error, int16_t gain) {
    return L_add(0x4000, L_shl(multiplyShort(error, gain), 1));
}

} // namespace

ryxStatus ryxsAdaptiveCodebookGain_G729_16s_u8(const int16_t *target, const int16_t *filtered, int16_t *gain,
                                               int16_t *correlations, int16_t *exponents) {
    if (anyNull(target, filtered, gain, correlations, exponents)) return ryxStsNullPtr;
    const WatchedSum energy = macEnergy(filtered, subframe, 1), product = macProducts(target, filtered, subframe);
    WatchedSum reducedEnergy{}, reducedProduct{};
    if (energy.saturated || product.saturated) [[unlikely]] {
        int16_t reduced[subframe];
        for (int n = 0; n < subframe; n++)
            reduced[n] = static_cast<int16_t>(filtered[n] >> 2);
        reducedEnergy = macEnergy(reduced, subframe, 1);
        reducedProduct = macProducts(target, reduced, subframe);
    }
    const Scaled yy = scaled(energy, reducedEnergy, 4), xy = scaled(product, reducedProduct, 2);

    correlations[0] = yy.mantissa;
    exponents[0] = static_cast<int16_t>(yy.shift - 15);
    correlations[1] = negate(xy.mantissa);
    const bool positive = xy.mantissa > 0;
    exponents[1] = static_cast<int16_t>(positive ? xy.shift - 16 : 14);
    if (positive) {
        const int16_t quotient = div_s(static_cast<int16_t>(xy.mantissa >> 1), yy.mantissa);
        *gain = std::min(shl(quotient, yy.shift - xy.shift), largestGain);
    } else {
        *gain = 0;
    }
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookTarget_G729_16s_u8(const int16_t *target, const int16_t *filtered, int16_t gain,
                                              int16_t *dst) {
    if (anyNull(target, filtered, dst)) return ryxStsNullPtr;
    for (int n = 0; n < subframe; n += 8) {
        const simd::Vector contribution = scaledDown<14>(simd::load(filtered + n), simd::words(gain));
        simd::store(dst + n, _mm_subs_epi16(simd::load(target + n), contribution));
    }
    return ryxStsOk;
}

ryxStatus ryxsWeightedError_G729_16s_u8(const int16_t *target, const int16_t *filteredAdaptive,
                                        const int16_t *filteredFixed, const int16_t *gains, int16_t *dst, int len) {
    if (anyNull(target, filteredAdaptive, filteredFixed, gains, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const simd::Vector pitchGain = simd::words(gains[0]), codeGain = simd::words(gains[1]);
    mapWords(
        dst, len,
        [=](simd::Vector x, simd::Vector adaptive, simd::Vector fixed) {
            return _mm_subs_epi16(x,
                                  _mm_adds_epi16(scaledDown<14>(adaptive, pitchGain), scaledDown<13>(fixed, codeGain)));
        },
        target, filteredAdaptive, filteredFixed);
    return ryxStsOk;
}

ryxStatus ryxsTamingTest_G729_16s_u8(const int16_t *delay, const int32_t *errors, int *tamed) {
    if (anyNull(delay, errors, tamed)) return ryxStsNullPtr;
    if (!isDelay(delay[0], delay[1])) return ryxStsOutOfRange;
    const int lag = delay[1] > 0 ? delay[0] + 1 : delay[0];
    const int first = std::max(lag - 50, 0) / subframe, last = std::min((lag + 8) / subframe, zones - 1);
    *tamed = *std::max_element(errors + first, errors + last + 1) > tolerable;
    return ryxStsOk;
}

ryxStatus ryxsTamingUpdate_G729_16s_u8(int16_t gain, int16_t lag, int32_t *errors) {
    if (anyNull(errors)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag) return ryxStsOutOfRange;
    int32_t worst = -1;
    if (lag < subframe) { // twice through the predictor
        const int32_t once = grown(errors[0], gain);
        worst = std::max({worst, once, grown(once, gain)});
    } else {
        for (int zone = (lag - subframe) / subframe; zone <= (lag - 1) / subframe; zone++)
            worst = std::max(worst, grown(errors[zone], gain));
    }
    std::copy_backward(errors, errors + zones - 1, errors + zones);
    errors[0] = worst;
    return ryxStsOk;
}
