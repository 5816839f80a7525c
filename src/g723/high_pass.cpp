// SPDX-License-Identifier: BSD-2-Clause
// The high-pass filter in front of the encoder of ITU-T G.723.1. Its output has half the scale of the input.
#include "common/checks.h"
#include "g723/implementations.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

ryxStatus ryxsHighPassFilter_G723_16s_u8(const int16_t *src, int16_t *dst, int len, int32_t *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int32_t input = static_cast<int16_t>(memory[0]), output = memory[1];
    for (int i = 0; i < len; i++) {
        const int32_t next = src[i];
        // The difference of two words times 2^15 stays in 32 bits but for 65535 * 2^15, which saturates nothing either.
        const int32_t difference = (next - input) * 32768;
        input = next;
        output = rarelySaturatingAdd(difference, scale(output, 32512));
        dst[i] = round(output);
    }
    memory[0] = input;
    memory[1] = output;
    return ryxStsOk;
}
