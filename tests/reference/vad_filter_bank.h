// SPDX-License-Identifier: BSD-2-Clause
// The filter banks of the voice activity detectors, split by split as 3GPP TS 26.173 (AMR-WB) and TS 26.073 (GSM-AMR)
// write them.
#pragma once

#include <cstdint>

namespace reference {

class AmrWbFilterBank {
public:
    void levels(const int16_t *frame, int16_t *level);

private:
    int fifthOrder[5][2] = {}, thirdOrder[6] = {}, carried[12] = {};
};

struct GsmAmrFilterBank {
    int16_t fifthOrder[3][2], thirdOrder[5], carried[9];

    void levels(const int16_t *frame, int16_t *level);
};

} // namespace reference
