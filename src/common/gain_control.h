// SPDX-License-Identifier: BSD-2-Clause
// Adaptive gain control: a signal that a filter has made takes the level of another one. Behind the post-filters of GSM-AMR
// and ITU-T G.729, Annex A, the gain moves from sample to sample; other stages take parts of it.
#pragma once

#include "common/fixed_point.h"
#include "common/inv_sqrt.h"
#include "common/lp_filters.h"

namespace ryxsc {
namespace {

// 2 * sum of (x[i] >> 2)^2, saturating, over n words, a multiple of 8 up to 248.
template <int n> int32_t energyOfQuarters(const int16_t *x) {
    static_assert(n % 8 == 0 && n < 256); // a lane's n / 4 squares of at most 2^26 fit 32 bits
    simd::Vector sum = _mm_setzero_si128();
    for (int i = 0; i < n; i += 8) {
        const simd::Vector quarter = _mm_srai_epi16(simd::load(x + i), 2);
        sum = _mm_add_epi32(sum, _mm_madd_epi16(quarter, quarter));
    }
    return sat32(2 * simd::sumOfQwords(simd::sumsOfUnsignedDwords(sum)));
}

// A signal's energy over that of the reference, both above 0, in Q22.
inline int32_t energyRatio(int32_t energy, int32_t reference) {
    const int shift = norm_l(energy) - 1, referenceShift = norm_l(reference);
    const int16_t quotient = div_s(round(L_shl(energy, shift)), round(L_shl(reference, referenceShift)));
    return L_shl(quotient * 128, referenceShift - shift);
}

// The gain, Q12, that brings a signal of this energy, not 0, to that of the reference; 0 for a silent reference.
inline int16_t levelGain(int32_t energy, int32_t reference) {
    return reference == 0 ? int16_t{0} : round(L_shl(inverseSqrt(energyRatio(energy, reference)), 9));
}

// The gains of the samples, g = next(g), where the steps keep every g within 16 bits. The recursion runs in the first word
// of a vector; pairs and eights are joined from them.
template <class Next> class GainRecursion {
    using Vector = simd::Vector;

public:
    GainRecursion(int16_t gain, Next next) : gain_(_mm_cvtsi32_si128(gain)), next_(next) {}

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

// (g * 29491 >> 15) + step; 29491 / 2^15 is 1 - 6554 / 2^16. With steps of 0 .. 3275 no gain leaves 16 bits. Beside a filter
// the form for any gain takes longer, by 7 % of GSM-AMR's post-filter.
struct NextFromZero {
    simd::Vector steps;
    simd::Vector operator()(simd::Vector g) const {
        return _mm_add_epi16(_mm_mulhi_epu16(g, simd::words(static_cast<int16_t>(2 * 29491))), steps);
    }
};
struct NextOfAny {
    simd::Vector steps;
    simd::Vector operator()(simd::Vector g) const {
        return _mm_add_epi16(_mm_mulhi_epi16(g, simd::words(-6554)), _mm_add_epi16(g, steps));
    }
};

// Brings a subframe to the level of the reference, the gain (Q12) by 0.1 of the way from sample to sample. It is as long a
// chain as that of a synthesis filter, and gets on best beside another one. A gain that this class itself leaves is never
// below 0.
template <class Next = NextFromZero> class GainControl {
    using Vector = simd::Vector;

public:
    // Energies of the signal and of the reference. A silent signal stays as it is and clears the gain.
    GainControl(int32_t energy, int32_t reference, int16_t gain)
        : silent_(energy == 0),
          recursion_(gain, Next{_mm_cvtsi32_si128(silent_ ? int16_t{0} : mult(levelGain(energy, reference), 3276))}) {}

    Vector twoGains() { return recursion_.two(); }
    Vector eightGains() { return recursion_.eight(); }
    Vector apply(Vector gains, Vector words) const { // hi(L_shl(2 * g * x, 3)) = sat16(g * x >> 12)
        if (silent_) [[unlikely]]
            return words;
        return simd::mulShiftSaturated<12>(gains, words);
    }
    int16_t gain() const { return silent_ ? int16_t{0} : recursion_.latest(); }

private:
    bool silent_;
    GainRecursion<Next> recursion_;
};

} // namespace
} // namespace ryxsc
