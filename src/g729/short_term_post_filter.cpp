// SPDX-License-Identifier: BSD-2-Clause
// Short-term post-filter with tilt compensation of ITU-T G.729 (clauses 4.2.2 and 4.2.3) and its Annex E.
#include <algorithm>

#include "common/checks.h"
#include "common/lp_filters.h"
#include "common/product_sums.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int shortOrder = 10, longOrder = 30;
constexpr int mostResponse = 32;

// The first values of the impulse response of numerator / denominator.
template <int order>
void impulseResponse(const int16_t *numerator, const int16_t *denominator, int16_t *response, int length) {
    int16_t impulse[mostResponse] = {};
    std::copy_n(numerator, std::min(order + 1, length), impulse);
    zeroStateResponse<order>(denominator, impulse, response, length);
}

// The first reflection coefficient of the response, negated: the tilt, Q15.
int16_t tiltOf(const int16_t *response, int length) {
    const int32_t energy0 = macEnergy(response, length).value;
    const int32_t energy1 = macProducts(response, response + 1, length - 1).value;
    const int shift = norm_l(energy0);
    const int16_t r0 = extract_h(L_shl(energy0, shift)), r1 = extract_h(L_shl(energy1, shift));
    const int16_t magnitude = abs_s(r1);
    if (r0 < magnitude || r0 == 0) return 0;
    const int16_t quotient = div_s(magnitude, r0);
    return r1 > 0 ? negate(quotient) : quotient;
}

// Where the response amplifies, its gain is taken off in front of the filter.
void limitGain(const int16_t *response, int length, int16_t *v) {
    int32_t sum = 0;
    for (int n = 0; n < length; n++)
        sum = L_add(sum, abs_s(response[n]));
    const int16_t gain = extract_h(L_shl(sum, 14));
    if (gain <= 1024) return;
    const int16_t factor = div_s(1024, gain);
    for (int n = 0; n < subframe; n += 8)
        simd::store(v + n, simd::roundedProductQ15(simd::load(v + n), simd::words(factor)));
}

// out[n] = (v[n] + mu * v[n - 1]) / (1 - |mu|), with v[-1] in front.
void compensateTilt(const int16_t *v, int16_t tilt, int16_t *out) {
    const bool rising = tilt > 0;
    const int16_t mu = mult_r(tilt, rising ? 6554 : 29491);
    const int shift = rising ? 15 : 12;
    const auto half = static_cast<int16_t>(rising ? 0x4000 : 0x0800);
    const int16_t gain = div_s(half, add(max16, sub(1, abs_s(mu))));
    const auto factor = static_cast<int16_t>(mu >> 1);
    // 32768 * v + 2 * factor * v[-1] + 0x4000 is at most 1.9 * 2^30: neither it nor the products below saturate.
    const simd::Vector taps = _mm_set1_epi32((0x4000 << 16) | static_cast<uint16_t>(factor));
    const simd::Vector gains = _mm_set1_epi32(static_cast<uint16_t>(gain)), halves = simd::dwords(half);
    const __m128i down = _mm_cvtsi32_si128(shift);
    const auto compensated = [&](simd::Vector pairs) { // keeps the low 16 bits where it overflows
        const simd::Vector sum = _mm_add_epi32(_mm_madd_epi16(pairs, taps), simd::dwords(0x2000));
        const simd::Vector product = _mm_slli_epi32(_mm_madd_epi16(_mm_srai_epi32(sum, 14), gains), 1);
        return _mm_sra_epi32(_mm_add_epi32(product, halves), down);
    };
    for (int n = 0; n < subframe; n += 8) {
        const simd::Vector now = simd::load(v + n), before = simd::load(v + n - 1);
        simd::store(out + n, _mm_packs_epi32(compensated(_mm_unpacklo_epi16(before, now)),
                                             compensated(_mm_unpackhi_epi16(before, now))));
    }
}

template <int order> void filter(const int16_t *numerator, const int16_t *denominator, int length, const int16_t *src,
                                 int16_t *dst, int16_t *memory) {
    int16_t response[mostResponse];
    impulseResponse<order>(numerator, denominator, response, length);
    int16_t buffer[order + subframe];
    std::copy_n(memory + longOrder - order, order, buffer);
    int16_t *const v = buffer + order;
    std::copy_n(src, subframe, v);
    limitGain(response, length, v);
    synthesisInPlaceOfHistory<order>(denominator, denominator[0], v, v, subframe);
    compensateTilt(v, tiltOf(response, length), dst);
    std::copy_n(v + subframe - longOrder, longOrder, memory);
}

} // namespace

ryxStatus ryxsShortTermPostFilter_G729_16s_u8(const int16_t *numerator, const int16_t *denominator, int order,
                                              int responseLength, const int16_t *src, int16_t *dst, int16_t *memory) {
    if (anyNull(numerator, denominator, src, dst, memory)) return ryxStsNullPtr;
    if (responseLength < 2) return ryxStsBadSize;
    if ((order != shortOrder && order != longOrder) || responseLength > mostResponse) return ryxStsOutOfRange;
    if (order == shortOrder)
        filter<shortOrder>(numerator, denominator, responseLength, src, dst, memory);
    else
        filter<longOrder>(numerator, denominator, responseLength, src, dst, memory);
    return ryxStsOk;
}
