// SPDX-License-Identifier: BSD-2-Clause
// What encoders and decoders of G.729 have in common: start values, and steps of a few primitives each.
#pragma once

#include <algorithm>
#include <cstdint>

#include <ryxsc.h>

#include "g729/frame.h"

namespace ryxcodec::g729 {

inline constexpr int excitationHistory = 154;
inline constexpr int16_t lowestEnergy = -14336;
inline constexpr int16_t leastSharpening = 3277, mostSharpening = 13017; // 0.2 and 0.8, Q14
inline constexpr int16_t noiseSeed = 11111;
inline constexpr int16_t unitGain = 16384; // Q14
inline constexpr int16_t zeros[subframeLength] = {};

template <class T, size_t count> void fill(T (&values)[count], T value) {
    std::fill_n(values, count, value);
}
template <class T, size_t count> void copy(const T *from, T (&to)[count]) {
    std::copy_n(from, count, to);
}

// The four past frames of the LSF quantiser.
inline void initialiseLsfHistory(int16_t *history) {
    for (int frame = 0; frame < 4; frame++)
        std::copy_n(ryxG729StartLsf, order, history + order * frame);
}

// Moves a buffer by a frame. What comes last stays where it is.
template <size_t count> void shiftFrame(int16_t (&buffer)[count]) {
    std::copy(buffer + frameLength, buffer + count, buffer);
}

// The filters of both subframes: the first from the mean of old and new LSPs, or from the new ones as well.
struct ShortFilters {
    int16_t a[subframes][order + 1];
};
inline ShortFilters interpolatedFilters(const int16_t *oldLsp, const int16_t *lsp, bool interpolates = true) {
    ShortFilters filters;
    int16_t both[subframes][order];
    if (interpolates)
        ryxsInterpolate_G729_16s(oldLsp, lsp, both[0], order);
    else
        copy(lsp, both[0]);
    copy(lsp, both[1]);
    ryxsLSPToLPCBlock_G729_16s(both[0], subframes, filters.a[0]);
    return filters;
}

// a[i] * gamma^i
inline void weigh(const int16_t *a, int filterOrder, int16_t gamma, int16_t *weighted) {
    ryxsMulPowerC_NR_16s_Sfs(a, gamma, weighted, filterOrder + 1, 15);
}

// excitation = pitch gain (Q14) * excitation + code gain (Q1) * code (Q13)
inline void combine(int16_t *excitation, const int16_t *code, const int16_t *gains) {
    ryxsInterpolateC_NR_G729_16s_Sfs(excitation, gains[0], code, gains[1], excitation, subframeLength, 14);
}

inline int16_t sharpeningFor(int16_t pitchGain) {
    return std::clamp(pitchGain, leastSharpening, mostSharpening);
}

} // namespace ryxcodec::g729
