// SPDX-License-Identifier: BSD-2-Clause
// Recorded speech, the input of everything that is measured.
#pragma once

#include <cstdint>
#include <vector>

namespace ryxsc::bench {

// Eight seconds of speech, 16 bits at 16 kHz.
const std::vector<int16_t> &speech16k();

// Its two bands, interleaved, as the transmit QMF of ITU-T G.722 leaves them.
const std::vector<int16_t> &speechBands();

// Its low band, 15 bits at 8 kHz.
const std::vector<int16_t> &speech8k();

} // namespace ryxsc::bench
