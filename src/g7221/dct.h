// SPDX-License-Identifier: BSD-2-Clause
// The type-IV DCTs of ITU-T G.722.1, in place, of 320 or 640 values.
#pragma once

#include <cstdint>

namespace ryxsc::g7221 {

inline constexpr int shortFrame = 320;
inline constexpr int longFrame = 640;

constexpr bool isFrameLength(int len) {
    return len == shortFrame || len == longFrame;
}

void dctAnalysis(const int16_t *src, int16_t *dst, int len);
void dctSynthesis(const int16_t *src, int16_t *dst, int len);

} // namespace ryxsc::g7221
