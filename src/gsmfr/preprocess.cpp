// SPDX-License-Identifier: BSD-2-Clause
// Preprocessing of GSM 06.10: offset compensation (clause 4.2.2) and pre-emphasis (clause 4.2.3).
#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int scaled(int16_t sample) {
    return (sample >> 3) * 4;
}

// Bits 0 to 30 as a signed value.
constexpr int64_t low31(int64_t x) {
    return static_cast<int64_t>(static_cast<uint64_t>(x) << 33) >> 33;
}

// The recommendation multiplies bits 15 to 30 of the recursive part and bits 0 to 14 by 32735 separately and rounds the
// lower product alone. That is one product of the low 31 bits; 32735 = 32768 - 33. Nothing saturates: sums are taken
// modulo 2^32, and an output keeps its low 16 bits, so that 64 bits hold all that counts.
template <class Recursive>
void compensateOffset(const int16_t *src, int16_t *dst, int len, int32_t *state, Recursive recursivePart) {
    int64_t recursive = state[0], previous = state[1];
    for (int i = 0; i < len; i++) {
        const int64_t sample = scaled(src[i]);
        const int64_t past = recursivePart(recursive);
        recursive = (past + (sample - previous) * 32768) - ((past * 32 + (past + 0x3fff)) >> 15);
        dst[i] = static_cast<int16_t>((recursive + 0x4000) >> 15);
        previous = sample;
    }
    state[0] = static_cast<int32_t>(recursive);
    state[1] = static_cast<int32_t>(previous);
}

// Whether the recursive part stays within 31 bits, as it does from the filter's own states. A sample less the recursive
// part behind it is a weighted mean of past samples, but for some 500 units of rounding, and so lies between the extremes
// of the samples; where it does, it stays there.
bool isOwnState(const int32_t *state) {
    constexpr int lowest = scaled(min16), highest = scaled(max16);
    if (state[1] < lowest || state[1] > highest) return false;
    constexpr int tolerance = 1000;
    const int64_t mean = int64_t{state[1]} * 32768 - state[0];
    return mean >= lowest * 32768 - tolerance && mean <= highest * 32768 + tolerance;
}

} // namespace

ryxStatus ryxsHighPassFilter_GSMFR_16s_u8(const int16_t *src, int16_t *dst, int len, int32_t *state) {
    if (anyNull(src, dst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (isOwnState(state))
        compensateOffset(src, dst, len, state, [](int64_t recursive) { return recursive; });
    else
        compensateOffset(src, dst, len, state, low31);
    return ryxStsOk;
}

ryxStatus ryxsPreemphasize_GSMFR_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *state) {
    if (anyNull(src, dst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    dst[0] = add(src[0], mult_r(*state, -emphasis));
    *state = src[len - 1];
    if (len > 1)
        mapWords(
            dst + 1, len - 1,
            [](Vector previous, Vector sample) {
                return _mm_adds_epi16(sample, _mm_mulhrs_epi16(previous, simd::words(-emphasis)));
            },
            src, src + 1);
    return ryxStsOk;
}
