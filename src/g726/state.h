// SPDX-License-Identifier: BSD-2-Clause
// The state blocks of ITU-T G.726 as the caller keeps them. They lie at any address: a call copies the block in and out.
#pragma once

#include <cstdint>

namespace ryxsc::g726 {

// Names as in the recommendation; signs are 1 for negative.
struct State {
    int32_t scratch[4];           // not used
    int16_t pk0, pk1, pk2;        // signs of the partial signal estimate; pk0 is not used
    int16_t rate;                 // 0..3
    int16_t yu, ap;               // fast scale factor, speed control
    int32_t yl;                   // slow scale factor
    int16_t dms, dml, td;         // averages of F(I), tone flag
    int16_t b[6], a[2];           // predictor coefficients
    int16_t dqWord[6], srWord[2]; // delay lines in floating-point format: exponent in bits 6..9, mantissa in bits 0..5
    int16_t dqSign[6], srSign[2];
};
static_assert(sizeof(State) == 88);

struct DecoderState {
    State common;
    int32_t law;
};
static_assert(sizeof(DecoderState) == 92);

} // namespace ryxsc::g726
