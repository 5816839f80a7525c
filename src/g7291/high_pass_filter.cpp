// SPDX-License-Identifier: BSD-2-Clause
// Second-order high-pass filter of ITU-T G.729.1. The recursion keeps 31 bits of the past outputs in two parts.
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/state_block.h"
#include "g7291/implementations.h"

using namespace ryxsc;

namespace {

struct State {
    int16_t low1, high1, low2, high2; // past outputs
    int16_t x1, x2;                   // past inputs
    int16_t b0, b1, b2, a0, a1, a2;   // Q14; a0 is not used
};
static_assert(sizeof(State) == 24);

struct PastOutput {
    int32_t high, low;
};

// Filters in place; scaled(y) makes the output sample of the 32-bit output y.
template <class Scaled> void filter(int16_t *samples, int len, State &s, Scaled scaled) {
    const int32_t b0 = 4 * s.b0, b1 = 4 * s.b1, b2 = 4 * s.b2, a1 = s.a1, a2 = s.a2;
    int32_t x1 = s.x1, x2 = s.x2;
    PastOutput y1{s.high1, s.low1}, y2{s.high2, s.low2};
    for (int i = 0; i < len; i++) {
        const int32_t x0 = samples[i];
        const int32_t low = wrapAdd32(a1 * y1.low, a2 * y2.low) >> 13;
        const int32_t zeros = wrapAdd32(wrapAdd32(wrapMul32(b0, x0), wrapMul32(b1, x1)), wrapMul32(b2, x2));
        const int32_t high = wrapAdd32(wrapAdd32(zeros, wrapMul32(4 * a2, y2.high)), wrapMul32(4 * a1, y1.high));
        const int32_t y = rarelySaturatingAdd(low, high);
        samples[i] = scaled(y);
        x2 = x1;
        x1 = x0;
        y2 = y1;
        y1 = {highPart(y), lowPart(y)};
    }
    const auto word = [](int32_t value) { return static_cast<int16_t>(value); };
    s = {word(y1.low), word(y1.high), word(y2.low), word(y2.high), word(x1), word(x2),
         s.b0,         s.b1,          s.b2,         s.a0,          s.a1,     s.a2};
}

} // namespace

ryxStatus ryxsFilterHighpassGetStateSize_G7291_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsFilterHighpassInit_G7291_16s_u8(FilterHighpassState_G7291 *block, const int16_t *coefficients) {
    if (anyNull(block, coefficients)) return ryxStsNullPtr;
    const int16_t *const a = coefficients, *const b = coefficients + 3;
    saveBlock(block, State{0, 0, 0, 0, 0, 0, b[0], b[1], b[2], a[0], a[1], a[2]});
    return ryxStsOk;
}

// Unlike everywhere else a positive scale factor scales up. Its sign selects the direction before the count is reduced.
ryxStatus ryxsFilterHighpass_G7291_16s_ISfs_u8(int16_t *srcDst, int len, FilterHighpassState_G7291 *block, int sf) {
    if (anyNull(srcDst, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    auto state = loadBlock<State>(block);
    if (sf > 0) {
        const int up = sf & 31;
        filter(srcDst, len, state, [up](int32_t y) { return round(L_shl(y, up)); });
    } else {
        const int down = wrapSub32(0, sf) & 31;
        filter(srcDst, len, state, [down](int32_t y) { return round(y >> down); });
    }
    saveBlock(block, state);
    return ryxStsOk;
}
