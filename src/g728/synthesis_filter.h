// SPDX-License-Identifier: BSD-2-Clause
// Memory of the synthesis filter of ITU-T G.728.
#pragma once

#include <cstdint>

#include "g728/arithmetic.h"

namespace ryxsc::g728 {

// Quantised speech in block floating point, newest vector first.
struct SynthesisState {
    static constexpr int vectors = synthesisOrder / vectorLength;
    int16_t speech[vectors][vectorLength + 1]; // the sixth word is the exponent
    int16_t reserved[12];
};
static_assert(sizeof(SynthesisState) == 144);

} // namespace ryxsc::g728
