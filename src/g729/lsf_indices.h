// SPDX-License-Identifier: BSD-2-Clause
// Indices and statuses that the 16-bit and the float forms of the LSF coder share.
#pragma once

#include <cstdint>

#include "common/vector_quantiser.h"
#include "g729/lsp_tables.h"
#include "ryxsc/g729.h"

namespace ryxsc::g729 {

// L0 names a predictor.
constexpr bool isMode(int16_t index) {
    return index >= 0 && index < modes;
}

constexpr ryxStatus clampStatus(bool low, bool high) {
    if (low) return high ? ryxStsLsfClamped : ryxStsLsfLowClamped;
    return high ? ryxStsLsfHighClamped : ryxStsOk;
}

struct Indices {
    int16_t l0, l1, l2, l3;
};

// The two words of the bit stream.
inline void pack(const Indices &indices, int16_t *packed) {
    packed[0] = static_cast<int16_t>((indices.l0 << 7) | indices.l1);
    packed[1] = static_cast<int16_t>((indices.l2 << 5) | indices.l3);
}

} // namespace ryxsc::g729
