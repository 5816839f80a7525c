// SPDX-License-Identifier: BSD-2-Clause
// Further forms of the recorded speech, for the cases that start in the middle of a codec.
#pragma once

#include <cstdint>
#include <vector>

#include "celp/front_end.h"
#include "recording.h"

namespace ryxsc::bench {

// The speech at 12.8 kHz, the rate inside AMR-WB.
const std::vector<int16_t> &speech12k8();

// The subframes of the speech as the fixed codebooks of GSM-AMR and of AMR-WB meet them.
const std::vector<celp::Subframe> &gsmAmrSubframes();
const std::vector<celp::Subframe> &amrWbSubframes();

} // namespace ryxsc::bench
