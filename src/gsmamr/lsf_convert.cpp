// SPDX-License-Identifier: BSD-2-Clause
// Line spectral frequencies of GSM-AMR: conversion, order, weights, interpolation (3GPP TS 26.090, clauses 5.2.3 to 5.2.6).
#include <algorithm>

#include "common/checks.h"
#include "g729/implementations.h"
#include "gsmamr/implementations.h"
#include "gsmamr/lsf_steps.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

using simd::Vector;

// Ten words as eight and the last eight of them.
template <class Sum> void combine(const int16_t *x, const int16_t *y, int16_t *dst, Sum sum) {
    const Vector front = sum(simd::load(x), simd::load(y)), back = sum(simd::load(x + 2), simd::load(y + 2));
    simd::store(dst, front);
    simd::store(dst + 2, back);
}

// The terms are rounded one by one, so that the sums stay within 16 bits.
constexpr auto halves = [](Vector u, Vector v) { return _mm_add_epi16(_mm_srai_epi16(u, 1), _mm_srai_epi16(v, 1)); };
constexpr auto quarters = [](Vector most, Vector least) {
    return _mm_add_epi16(_mm_sub_epi16(most, _mm_srai_epi16(most, 2)), _mm_srai_epi16(least, 2));
};

void interpolate(const int16_t *prevLsp, const int16_t *lsp, int16_t *dst, Rate rate) {
    int16_t *const second = dst + lsfOrder, *const third = second + lsfOrder, *const fourth = third + lsfOrder;
    if (rate == Rate::r1220) {
        const int16_t *const middle = lsp, *const end = lsp + lsfOrder;
        combine(prevLsp, middle, dst, halves);
        std::copy_n(middle, lsfOrder, second);
        combine(middle, end, third, halves);
        std::copy_n(end, lsfOrder, fourth);
        return;
    }
    combine(prevLsp, lsp, dst, quarters);
    combine(prevLsp, lsp, second, halves);
    combine(lsp, prevLsp, third, quarters);
    std::copy_n(lsp, lsfOrder, fourth);
}

} // namespace

ryxStatus ryxsLSFToLSP_GSMAMR_16s_u8(const int16_t *lsf, int16_t *lsp) {
    if (anyNull(lsf, lsp)) return ryxStsNullPtr;
    const Lsp converted = lspOf(copyOf(lsf));
    std::copy_n(converted.data(), lsfOrder, lsp);
    return ryxStsOk;
}

ryxStatus ryxsLSFReorder_GSMAMR_16s_I_u8(int16_t *lsf) {
    if (anyNull(lsf)) return ryxStsNullPtr;
    Lsf spaced = copyOf(lsf);
    spread(spaced);
    std::copy_n(spaced.data(), lsfOrder, lsf);
    return ryxStsOk;
}

ryxStatus ryxsLSFWeights_GSMAMR_16s_u8(const int16_t *lsf, int16_t *weights) {
    if (anyNull(lsf, weights)) return ryxStsNullPtr;
    const Lsf found = weightsOf(copyOf(lsf));
    std::copy_n(found.data(), lsfOrder, weights);
    return ryxStsOk;
}

ryxStatus ryxsInterpolate_GSMAMR_16s_u8(const int16_t *prevLsp, const int16_t *lsp, int16_t *dst, int rate) {
    if (anyNull(prevLsp, lsp, dst)) return ryxStsNullPtr;
    if (rateOf(rate) == Rate::none) return ryxStsOutOfRange;
    interpolate(prevLsp, lsp, dst, rateOf(rate));
    return ryxStsOk;
}

ryxStatus ryxsInterpolatedLPC_GSMAMR_16s_u8(const int16_t *prevLsp, const int16_t *lsp, int16_t *lpc, int rate) {
    if (anyNull(prevLsp, lsp, lpc)) return ryxStsNullPtr;
    if (rateOf(rate) == Rate::none) return ryxStsOutOfRange;
    constexpr int subframes = 4;
    int16_t interpolated[subframes][lsfOrder];
    interpolate(prevLsp, lsp, interpolated[0], rateOf(rate));
    return ryxsLSPToLPCBlock_G729_16s_u8(interpolated[0], subframes, lpc);
}

ryxStatus ryxsLSFAverage_GSMAMR_16s_I_u8(const int16_t *lsf, int16_t *averageLsf) {
    if (anyNull(lsf, averageLsf)) return ryxStsNullPtr;
    constexpr int16_t share = 5243; // 0.16
    for (int i = 0; i < lsfOrder; i++) {
        const int32_t kept = L_msu(L_deposit_h(averageLsf[i]), share, averageLsf[i]);
        averageLsf[i] = round(L_mac(kept, share, lsf[i]));
    }
    return ryxStsOk;
}
