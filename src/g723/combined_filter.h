// SPDX-License-Identifier: BSD-2-Clause
// The filter with which the encoder of ITU-T G.723.1 compares: synthesis, formant weighting and harmonic noise shaping.
#pragma once

#include <algorithm>

#include "common/simd.h"
#include "g723/operators.h"

namespace ryxsc::g723 {

inline constexpr int16_t harmonicWeight = 10240; // largest gain of the harmonic filter, 0.3125

// What the search around an open-loop lag can give.
constexpr bool isHarmonicLag(int lag) {
    return lag >= shortestLag - 3 && lag <= historyLength;
}

// The last ten words on a line through a filter, the latest first.
class FilterLine {
public:
    explicit FilterLine(const int16_t *memory) { std::copy_n(memory, order, words_); }
    FilterLine() : words_{} {}

    int32_t add(int32_t acc, const int16_t *factors) const {
        for (int j = 0; j < order; j++)
            acc = L_mac(acc, factors[j], words_[j]);
        return acc;
    }
    int32_t subtract(int32_t acc, const int16_t *factors) const {
        for (int j = 0; j < order; j++)
            acc = L_msu(acc, factors[j], words_[j]);
        return acc;
    }
    int16_t push(int16_t word) {
        std::copy_backward(words_, words_ + order - 1, words_ + order);
        return words_[0] = word;
    }
    void save(int16_t *memory) const { std::copy_n(words_, order, memory); }

private:
    int16_t words_[order];
};

} // namespace ryxsc::g723
