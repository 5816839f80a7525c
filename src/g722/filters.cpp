// SPDX-License-Identifier: BSD-2-Clause
// The two filters that packet loss concealment for ITU-T G.722 needs: high-pass of the decoded high band, and low-pass
// with decimation by four.
#include "common/checks.h"
#include "common/fixed_point.h"
#include "g722/implementations.h"

using namespace ryxsc;

namespace {

constexpr int16_t inputGain = 29212; // Q15
constexpr int16_t feedback = 25656;  // Q15

constexpr int taps = 9;
constexpr int16_t lowPass[taps] = {3692, 6190, 8525, 10186, 10787, 10186, 8525, 6190, 3692}; // Q16

// One output from the nine samples that end at newest[0]. The gain is 67973 / 65536, so the accumulator wraps near full
// scale; that is the recommendation's arithmetic.
int16_t decimate(const int16_t *newest) {
    int32_t acc = 0;
    for (int i = 0; i < taps; i++)
        acc = wrapAdd32(acc, lowPass[i] * newest[-i]);
    return acc >= 0x7fff8000 ? max16 : static_cast<int16_t>((acc + 0x8000) >> 16);
}

} // namespace

// The recursion is a chain of one product and two additions per sample, so it runs in scalar registers.
ryxStatus ryxsFilterHighband_G722_16s_I_u8(int16_t *srcDst, int len, HighbandFilterState_G722 *state) {
    if (anyNull(srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int16_t scaledInput = state->scaledInput;
    int16_t output = state->output;
    const int count = len / 2 + len % 2; // an odd length includes the element at index len
    for (int j = 0; j < count; j++) {
        int16_t &sample = srcDst[2 * j + 1];
        const int16_t scaled = mult_r(sample, inputGain);
        output = add(scaled, wrap16(mult_r(output, feedback) - scaledInput));
        scaledInput = scaled;
        sample = output;
    }
    *state = {scaledInput, output};
    return ryxStsOk;
}

ryxStatus ryxsDownsampleFilter_G722_16s_u8(const int16_t *src, int len, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    for (int k = 0; k < len / 4; k++)
        dst[k] = decimate(src + 4 * k + 3);
    return ryxStsOk;
}
