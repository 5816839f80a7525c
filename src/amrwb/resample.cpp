// SPDX-License-Identifier: BSD-2-Clause
// Conversion between the 16 kHz of the speech and the 12.8 kHz of the coder, decimation of the weighted speech, and the
// FIR filters of the high band (3GPP TS 26.173).
#include <cstring>

#include "amrwb/arithmetic.h"
#include "common/checks.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

// round(2^(1 + doublings) * (sum of products)), saturated after every term and after the shift.
int16_t saturatingFilter(const int16_t *x, const int16_t *taps, int count, int doublings) {
    return round(L_shl(macInOrder(x, taps, count).value, doublings));
}

constexpr int decimationTapCount = 30;
constexpr int decimated = frameLength, lookAhead = 12;

// Output i of four fifths of the rate lies i quarters of a sample and as many samples on.
void decimate(const int16_t *src, int count, int16_t *dst) {
    for (int j = 0; j < count; j++) {
        const int position = 5 * j;
        dst[j] = saturatingFilter(src + (position >> 2) + 1, decimationTaps[position & 3], decimationTapCount, 1);
    }
}

constexpr int interpolationTapCount = 24;

constexpr int firTapCount = 31, firMemory = firTapCount - 1;

// In place, over a subframe at 16 kHz.
void filterFir(int16_t *srcDst, const int16_t *taps, int shift, int16_t *memory) {
    int16_t buffer[firMemory + wideSubframeLength];
    std::copy_n(memory, firMemory, buffer);
    for (int i = 0; i < wideSubframeLength; i++)
        buffer[firMemory + i] = static_cast<int16_t>(srcDst[i] >> shift);
    for (int i = 0; i < wideSubframeLength; i++)
        srcDst[i] = saturatingFilter(buffer + i, taps, firTapCount, 0);
    std::copy_n(buffer + wideSubframeLength, firMemory, memory);
}

} // namespace

ryxStatus ryxsDownsampleFilter_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *history) {
    if (anyNull(src, dst, history)) return ryxStsNullPtr;
    int16_t buffer[decimationTapCount + 320];
    std::copy_n(history, decimationTapCount, buffer);
    std::copy_n(src, 320, buffer + decimationTapCount);
    decimate(buffer, decimated, dst);
    std::copy_n(buffer + 320, decimationTapCount, history);
    std::copy_n(history, decimationTapCount, buffer);
    std::memset(buffer + decimationTapCount, 0, 16 * sizeof *buffer);
    decimate(buffer, lookAhead, dst + decimated);
    return ryxStsOk;
}

ryxStatus ryxsUpsampleFilter_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int16_t *history) {
    if (anyNull(src, dst, history)) return ryxStsNullPtr;
    int16_t buffer[interpolationTapCount + subframeLength];
    std::copy_n(history, interpolationTapCount, buffer);
    std::copy_n(src, subframeLength, buffer + interpolationTapCount);
    for (int j = 0; j < wideSubframeLength; j++) {
        const int position = 4 * j;
        dst[j] = saturatingFilter(buffer + position / 5 + 1, interpolationTaps[position % 5], interpolationTapCount, 1);
    }
    std::copy_n(buffer + subframeLength, interpolationTapCount, history);
    return ryxStsOk;
}

ryxStatus ryxsBandPassFilter_AMRWB_16s_I_u8(int16_t *srcDst, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    filterFir(srcDst, bandPassTaps, 2, memory);
    return ryxStsOk;
}

ryxStatus ryxsLowPassFilter_AMRWB_16s_I_u8(int16_t *srcDst, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    filterFir(srcDst, lowPassTaps, 0, memory);
    return ryxStsOk;
}
