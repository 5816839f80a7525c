// SPDX-License-Identifier: BSD-2-Clause
// The fifth-order pitch predictor of ITU-T G.723.1.
#pragma once

#include <algorithm>
#include <iterator>

#include "common/simd.h"
#include "g723/operators.h"
#include "g723/pitch_tables.h"
#include "ryxsc/g723.h"

namespace ryxsc::g723 {

constexpr bool isRate(int rate) {
    return rate == ryxG723Rate63 || rate == ryxG723Rate53;
}
constexpr bool hasFewGains(int lag, int rate) {
    return rate == ryxG723Rate63 && lag < shortLagLimit;
}
constexpr int gainCount(int lag, int rate) {
    return hasFewGains(lag, rate) ? 85 : 170;
}
inline const PitchGains &gainVector(int lag, int rate, int index) {
    return hasFewGains(lag, rate) ? pitchGains85.gains[index] : pitchGains170.gains[index];
}

// The excitation a lag ago, two samples more in front and two behind; a lag that is shorter than that repeats itself.
struct DelayedExcitation {
    alignas(16) int16_t words[subframeLength + 4 + 8]; // and zeros

    // excitation: where the subframe begins.
    DelayedExcitation(const int16_t *excitation, int lag) {
        const int16_t *from = excitation - lag;
        words[0] = from[-2];
        words[1] = from[-1];
        const int once = std::min(lag, subframeLength + 2);
        std::copy_n(from, once, words + 2);
        for (int i = 2 + once; i < subframeLength + 4; i++)
            words[i] = words[i - lag];
        std::fill(words + subframeLength + 4, std::end(words), int16_t{0});
    }
};

// The predictor's output with the gains of one vector. The magnitudes of the first four sum up to less than 2^15, and that
// of the last one is below 2^15: of the sums of doubled products only the last one can saturate, where the output does so, too,
// and no sum S of undoubled ones leaves 32 bits, the rounding included. round(L_shl(2 S, 1)) = sat16((S + 2^13) >> 14).
inline void predict(const DelayedExcitation &delayed, const PitchGains &gains, int16_t *dst) {
    using simd::Vector;
    const Vector all = simd::loadAligned(gains.value);
    const Vector first = _mm_shuffle_epi32(all, 0x00), second = _mm_shuffle_epi32(all, 0x55),
                 last = _mm_shuffle_epi32(all, 0xaa);
    const Vector rounding = simd::dwords(1 << 13);
    for (int i = 0; i < subframeLength + 4; i += 8) {
        const auto word = [&](int j) { return simd::load(delayed.words + i + j); };
        const auto sums = [&](Vector a, Vector b, Vector c) {
            const Vector pairs = _mm_add_epi32(_mm_madd_epi16(a, first), _mm_madd_epi16(b, second));
            return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(pairs, _mm_madd_epi16(c, last)), rounding), 14);
        };
        const Vector a = word(0), b = word(1), c = word(2), d = word(3), e = word(4);
        const Vector out =
            _mm_packs_epi32(sums(_mm_unpacklo_epi16(a, b), _mm_unpacklo_epi16(c, d), _mm_unpacklo_epi16(e, e)),
                            sums(_mm_unpackhi_epi16(a, b), _mm_unpackhi_epi16(c, d), _mm_unpackhi_epi16(e, e)));
        if (i + 8 <= subframeLength)
            simd::store(dst + i, out);
        else
            simd::store64(dst + i, out);
    }
}

} // namespace ryxsc::g723
