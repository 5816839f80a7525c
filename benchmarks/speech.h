// SPDX-License-Identifier: BSD-2-Clause
// Recorded speech, the input of all cases.
#pragma once

#include <cstdint>
#include <vector>

#include "celp/front_end.h"

namespace ryxsc::bench {

// Eight seconds of speech, 16 bits at 16 kHz.
const std::vector<int16_t> &speech16k();

// Its two bands, interleaved, as the transmit QMF of ITU-T G.722 leaves them.
const std::vector<int16_t> &speechBands();

// Its low band, 15 bits at 8 kHz.
const std::vector<int16_t> &speech8k();

// The speech at 12.8 kHz, the rate inside AMR-WB.
const std::vector<int16_t> &speech12k8();

// The subframes of the speech as the fixed codebooks of GSM-AMR and of AMR-WB meet them.
const std::vector<celp::Subframe> &gsmAmrSubframes();
const std::vector<celp::Subframe> &amrWbSubframes();

} // namespace ryxsc::bench
