// SPDX-License-Identifier: BSD-2-Clause
// Tables of the LSF quantisation of GSM-AMR (3GPP TS 26.073), in the arrangement that the searches read; 16384 stands for
// half the sampling frequency.
#pragma once

#include "common/vector_quantiser.h"

namespace ryxsc::gsmamr {

inline constexpr int lsfOrder = 10;

// The first predictions of a silence descriptor's LSFs: the mean plus one of eight residuals.
extern const PairCodebook<8, lsfOrder> initialLsfs;

// Split codebooks of the prediction residual, shared with the rates other than 12.2 kbit/s: LSFs 1 to 3, 4 to 6, 7 to 10.
extern const PairCodebook<256, 3> lowLsfs;
extern const PairCodebook<512, 3> middleLsfs;
extern const PairCodebook<512, 4> highLsfs;

} // namespace ryxsc::gsmamr
