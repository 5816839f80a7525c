// SPDX-License-Identifier: BSD-2-Clause
// High-pass sections of second order with outputs in double precision, 50 Hz and 400 Hz (3GPP TS 26.173).
#include "amrwb/arithmetic.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

struct Section {
    int16_t a1, a2; // of the outputs
    int16_t b0, b1; // of the inputs; b2 = b0
    int shift;      // of the sum
    int doublings;  // of the output
};
constexpr Section section50 = {16211, -8021, 4053, -8106, 2, 1};
constexpr Section section400 = {29280, -14160, 915, -1830, 1, 0};

// Memory: high and low part of y[n-1], those of y[n-2], x[n-1], x[n-2].
template <const Section &section> void filter(const int16_t *src, int16_t *dst, int len, int16_t *memory) {
    int16_t high1 = memory[0], low1 = memory[1], high2 = memory[2], low2 = memory[3], x1 = memory[4], x2 = memory[5];
    for (int i = 0; i < len; i++) {
        const int16_t x0 = src[i];
        // The low parts are not negative and the products small.
        int32_t sum = (0x4000 + 2 * (low1 * section.a1 + low2 * section.a2)) >> 15;
        sum = rarelySaturatingAdd(sum, 2 * high1 * section.a1);
        sum = rarelySaturatingAdd(sum, 2 * high2 * section.a2);
        sum = rarelySaturatingAdd(sum, 2 * x0 * section.b0);
        sum = rarelySaturatingAdd(sum, 2 * x1 * section.b1);
        sum = rarelySaturatingAdd(sum, 2 * x2 * section.b0);
        sum = L_shl(sum, section.shift);
        high2 = high1;
        low2 = low1;
        L_Extract(sum, high1, low1);
        x2 = x1;
        x1 = x0;
        dst[i] = round(L_shl(sum, section.doublings));
    }
    const int16_t last[] = {high1, low1, high2, low2, x1, x2};
    std::copy_n(last, 6, memory);
}

} // namespace

ryxStatus ryxsHighPassFilter50_AMRWB_16s_I_u8(int16_t *srcDst, int len, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    filter<section50>(srcDst, srcDst, len, memory);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter400_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    filter<section400>(src, dst, len, memory);
    return ryxStsOk;
}
