// SPDX-License-Identifier: BSD-2-Clause
// Autocorrelation with scaling, for the frame and for the tone detector.
#pragma once

#include <cstdint>

namespace ryxsc::gsmfr {

inline constexpr int largestBlock = 255; // keeps twice the sum of squares of up to 2048 within 32 bits

// Writes order + 1 sums and returns the scale. The block itself is left alone.
int scaledAutocorrelation(const int16_t *src, int len, int order, int32_t *acf);

} // namespace ryxsc::gsmfr
