// SPDX-License-Identifier: BSD-2-Clause
// Search of the algebraic codebooks of AMR-WB, step by step as TS 26.173 does it, every operation saturating. It shares
// with the library the basic operators and the tables of the configurations.
#pragma once

#include <array>
#include <cstdint>

namespace reference::amrwb {

using Samples = std::array<int16_t, 64>;

struct Found {
    Samples code, filtered;
};

Found searchCodebook(const Samples &target, const Samples &residual, const Samples &impulse, int mode);

} // namespace reference::amrwb
