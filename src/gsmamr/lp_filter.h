// SPDX-License-Identifier: BSD-2-Clause
// Filters with A(z) and 1/A(z) of order 10, coefficients in Q12.
#pragma once

#include "common/lp_filters.h"

namespace ryxsc::gsmamr {

inline constexpr int lpOrder = 10;

class LpFilter {
public:
    explicit LpFilter(const int16_t *a) : a_(a) {}

    // y = A(z) x; ten samples stand in front of x. y may not be x.
    void analyse(const int16_t *x, int16_t *y, int len) const { residualFilter<lpOrder>(a_, x, y, len); }

    // y = x / A(z); ten samples of history stand in front of y. Returns whether anything saturated. y may be x.
    bool synthesise(const int16_t *x, int16_t *y, int len) const {
        return synthesisInPlaceOfHistory<lpOrder>(a_, a_[0], x, y, len);
    }

private:
    const int16_t *a_;
};

} // namespace ryxsc::gsmamr
