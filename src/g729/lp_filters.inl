// SPDX-License-Identifier: BSD-2-Clause
// The LP filters of ITU-T G.729 for any order, on top of the kernels for 10 and 30.
#pragma once

#include <algorithm>
#include <cstdint>

#include "common/checks.h"
#include "common/lp_filters.h"

namespace {

using namespace ryxsc;

constexpr int maxFilterOrder = 30, shortOrder = 10;
constexpr int chunk = 80; // samples that are filtered at a time

ryxStatus warning(bool saturated) {
    return saturated ? ryxStsOverflow : ryxStsOk;
}

ryxStatus checkFilter(int order, int len) {
    if (order < 1 || len < 1) return ryxStsBadSize;
    return order > maxFilterOrder ? ryxStsOutOfRange : ryxStsOk;
}

// The coefficients behind the filter's own are zero. They meet samples before the first one that the caller must provide,
// so these are zero as well.
struct PaddedFilter {
    PaddedFilter(const int16_t *lpc, int order) { std::copy_n(lpc, order + 1, a); }
    int16_t a[maxFilterOrder + 1] = {};
};

template <int order>
bool synthesise(const int16_t *lpc, const int16_t *src, int16_t *dst, int len, const int16_t *history) {
    int16_t buffer[order + chunk];
    std::copy_n(history, order, buffer);
    bool saturated = false;
    for (int done = 0; done < len;) {
        const int n = std::min(len - done, chunk);
        saturated |= synthesisInPlaceOfHistory<order>(lpc, lpc[0], src + done, buffer + order, n);
        std::copy_n(buffer + order, n, dst + done);
        std::copy_n(buffer + n, order, buffer);
        done += n;
    }
    return saturated;
}

[[maybe_unused]] bool synthesise(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                 const int16_t *history) {
    if (order == shortOrder) return synthesise<shortOrder>(lpc, src, dst, len, history);
    if (order == maxFilterOrder) return synthesise<maxFilterOrder>(lpc, src, dst, len, history);
    int16_t padded[maxFilterOrder] = {};
    std::copy_n(history, order, padded + maxFilterOrder - order);
    return synthesise<maxFilterOrder>(PaddedFilter(lpc, order).a, src, dst, len, padded);
}

} // namespace
