// SPDX-License-Identifier: BSD-2-Clause
// The gains of the samples in the gain controls of ITU-T G.729: g = next(g), where the steps keep every g within 16 bits.
#pragma once

#include "common/lp_filters.h"

namespace ryxsc::g729 {

// The recursion runs in vectors of equal words, from which eight gains are joined.
template <class Next> class GainRecursion {
    using Vector = simd::Vector;

public:
    GainRecursion(int16_t gain, Next next) : gain_(simd::words(gain)), next_(next) {}

    Vector two() {
        const Vector first = next_(gain_);
        gain_ = next_(first);
        return _mm_unpacklo_epi16(first, gain_);
    }
    Vector eight() {
        const Vector pairs[4] = {two(), two(), two(), two()};
        return joinedPairs(pairs);
    }
    int16_t latest() const { return static_cast<int16_t>(_mm_cvtsi128_si32(gain_)); }

private:
    Vector gain_;
    Next next_;
};

} // namespace ryxsc::g729
