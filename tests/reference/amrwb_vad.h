// SPDX-License-Identifier: BSD-2-Clause
// The filter bank of the AMR-WB voice activity detector, split by split as 3GPP TS 26.173 writes it.
#pragma once

#include <cstdint>

namespace reference::amrwb {

class VadFilterBank {
public:
    void levels(const int16_t *frame, int16_t *level);

private:
    int fifthOrder[5][2] = {}, thirdOrder[6] = {}, carried[12] = {};
};

} // namespace reference::amrwb
