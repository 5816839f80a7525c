// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>

namespace ryxsc::gsmamr {

// Index of the table's gain that is nearest among those up to the limit; the first entry, 0, is always allowed.
int nearestPitchGain(int16_t gain, int16_t limit);

} // namespace ryxsc::gsmamr
