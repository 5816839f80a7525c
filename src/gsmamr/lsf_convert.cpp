// SPDX-License-Identifier: BSD-2-Clause
// Line spectral frequencies of GSM-AMR: conversion, order, weights, interpolation (3GPP TS 26.090, clauses 5.2.3 to 5.2.6).
#include <algorithm>

#include "common/checks.h"
#include "frame/implementations.h"
#include "gsmamr/lsf_steps.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

template <class Sum> void combine(const int16_t *x, const int16_t *y, int16_t *dst, Sum sum) {
    std::transform(x, x + lsfOrder, y, dst, [&](int u, int v) { return static_cast<int16_t>(sum(u, v)); });
}
constexpr auto halves = [](int u, int v) { return (u >> 1) + (v >> 1); };

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

// The terms are rounded one by one, so that the sums stay within 16 bits.
ryxStatus ryxsInterpolate_GSMAMR_16s_u8(const int16_t *prevLsp, const int16_t *lsp, int16_t *dst, int rate) {
    if (anyNull(prevLsp, lsp, dst)) return ryxStsNullPtr;
    if (rateOf(rate) == Rate::none) return ryxStsOutOfRange;
    int16_t *const second = dst + lsfOrder, *const third = second + lsfOrder, *const fourth = third + lsfOrder;
    if (rateOf(rate) == Rate::r1220) {
        const int16_t *const middle = lsp, *const end = lsp + lsfOrder;
        combine(prevLsp, middle, dst, halves);
        std::copy_n(middle, lsfOrder, second);
        combine(middle, end, third, halves);
        std::copy_n(end, lsfOrder, fourth);
        return ryxStsOk;
    }
    combine(prevLsp, lsp, dst, [](int u, int v) { return u - (u >> 2) + (v >> 2); });
    combine(prevLsp, lsp, second, halves);
    combine(prevLsp, lsp, third, [](int u, int v) { return (u >> 2) + v - (v >> 2); });
    std::copy_n(lsp, lsfOrder, fourth);
    return ryxStsOk;
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
