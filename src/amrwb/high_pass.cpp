// SPDX-License-Identifier: BSD-2-Clause
// High-pass sections of second order with outputs in double precision, 50 Hz and 400 Hz (3GPP TS 26.173).
//
// The recommendation splits outputs into 16 high and 15 low bits, which makes of each product two. Put together again,
// with t the sum before its last shifts and Y the 31 bits of an output,
//     t[n] = ((2^14 + 2 a1 Y[n-1] + 2 a2 Y[n-2]) >> 15) + 2 b0 (x[n] + x[n-2]) + 2 b1 x[n-1],  Y[n] = 2^(shift - 1) t[n],
// as long as nothing saturates: a product, an addition and a shift from sample to sample in 64 bits.
#include <cstdlib>

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

struct Memory {
    int16_t high1, low1, high2, low2, x1, x2;
};

// Memory: high and low part of y[n-1], those of y[n-2], x[n-1], x[n-2].
template <const Section &section> void filterSaturating(const int16_t *src, int16_t *dst, int len, Memory &m) {
    for (int i = 0; i < len; i++) {
        const int16_t x0 = src[i];
        // The low parts are not negative and the products small.
        int32_t sum = (0x4000 + 2 * (m.low1 * section.a1 + m.low2 * section.a2)) >> 15;
        sum = rarelySaturatingAdd(sum, 2 * m.high1 * section.a1);
        sum = rarelySaturatingAdd(sum, 2 * m.high2 * section.a2);
        sum = rarelySaturatingAdd(sum, 2 * x0 * section.b0);
        sum = rarelySaturatingAdd(sum, 2 * m.x1 * section.b1);
        sum = rarelySaturatingAdd(sum, 2 * m.x2 * section.b0);
        sum = L_shl(sum, section.shift);
        m.high2 = m.high1;
        m.low2 = m.low1;
        L_Extract(sum, m.high1, m.low1);
        m.x2 = m.x1;
        m.x1 = x0;
        dst[i] = round(L_shl(sum, section.doublings));
    }
}

// With outputs of at most 30 bits the sums stay within 31: at 50 Hz the products are at most 2^29, 2^28 and, with the
// inputs, 2^30; at 400 Hz they are smaller.
constexpr int32_t largestOutput = 1 << 30;

constexpr int chunk = 256;

// What the inputs add to eight sums: 2 * (b0 * (x[n] + x[n - 2]) + b1 * x[n - 1]).
template <const Section &section> void addInputs(const int16_t *x, int32_t *sums) {
    const Vector now = simd::load(x), last = simd::load(x - 1), first = simd::load(x - 2);
    const Vector factors = simd::dwords(section.b1 * 65536 + section.b0), factor = simd::dwords(section.b0);
    const auto sum = [=](Vector pairs, Vector single) {
        const Vector products = _mm_add_epi32(_mm_madd_epi16(pairs, factors), _mm_madd_epi16(single, factor));
        return _mm_add_epi32(products, products);
    };
    const Vector zero = _mm_setzero_si128();
    simd::store(sums, sum(_mm_unpacklo_epi16(now, last), _mm_unpacklo_epi16(first, zero)));
    simd::store(sums + 4, sum(_mm_unpackhi_epi16(now, last), _mm_unpackhi_epi16(first, zero)));
}

// Two samples of the past in front of a chunk.
struct Samples {
    int16_t past[8];
    int16_t samples[chunk + 8];
};

// False when something may saturate; then nothing is written.
template <const Section &section> bool filterChunk(const int16_t *src, int16_t *dst, int len, Memory &m) {
    constexpr int down = 15 - section.shift, toOutput = 16 - section.shift - section.doublings;
    constexpr int64_t half = 1 << (down - 1);
    constexpr int32_t limit = largestOutput >> section.shift;
    constexpr int dropped = (1 << section.shift) - 1; // bits that are set only after saturation
    const int32_t y1 = L_Comp(m.high1, m.low1), y2 = L_Comp(m.high2, m.low2);
    int64_t t1 = y1 >> section.shift, t2 = y2 >> section.shift;
    if (((y1 | y2) & dropped) != 0 || std::abs(t1) >= limit || std::abs(t2) >= limit) return false;

    Samples x;
    alignas(16) int32_t sums[chunk + 8];
    x.past[6] = m.x2;
    x.past[7] = m.x1;
    std::copy_n(src, len, x.samples);
    std::fill_n(x.samples + len, -len & 7, int16_t{0});
    for (int i = 0; i < len; i += 8)
        addInputs<section>(x.samples + i, sums + i);
    for (int i = 0; i < len; i++) {
        const int64_t known = sums[i] * (int64_t{1} << down) + half + t2 * section.a2;
        t2 = t1;
        t1 = (known + t1 * section.a1) >> down;
        sums[i] = static_cast<int32_t>(t1);
    }
    // A sum is less than three times as large as those before it: the first one beyond the limit still fits 32 bits and
    // shows here, whatever becomes of those behind it.
    std::fill_n(sums + len, -len & 7, 0);
    Vector bits = _mm_setzero_si128();
    for (int i = 0; i < len; i += 4)
        bits = _mm_or_si128(bits, _mm_abs_epi32(simd::loadAligned(sums + i)));
    if (_mm_movemask_epi8(_mm_cmpgt_epi32(bits, simd::dwords(limit - 1))) != 0 ||
        _mm_movemask_ps(_mm_castsi128_ps(bits)) != 0)
        return false;

    const Vector rounding = simd::dwords(1 << (toOutput - 1));
    for (int i = 0; i < len; i += 8) {
        const auto rounded = [=](const int32_t *from) {
            return _mm_srai_epi32(_mm_add_epi32(simd::loadAligned(from), rounding), toOutput);
        };
        const Vector outputs = _mm_packs_epi32(rounded(sums + i), rounded(sums + i + 4));
        if (i + 8 <= len) {
            simd::store(dst + i, outputs);
        } else {
            int16_t rest[8];
            simd::store(rest, outputs);
            std::copy_n(rest, len - i, dst + i);
        }
    }
    L_Extract(static_cast<int32_t>(t1) * (1 << section.shift), m.high1, m.low1);
    L_Extract(static_cast<int32_t>(t2) * (1 << section.shift), m.high2, m.low2);
    m.x1 = x.samples[len - 1];
    m.x2 = len > 1 ? x.samples[len - 2] : x.past[7];
    return true;
}

template <const Section &section> void filter(const int16_t *src, int16_t *dst, int len, int16_t *memory) {
    Memory m = {memory[0], memory[1], memory[2], memory[3], memory[4], memory[5]};
    while (len > 0) {
        const int now = std::min(len, chunk);
        if (!filterChunk<section>(src, dst, now, m)) filterSaturating<section>(src, dst, now, m);
        src += now;
        dst += now;
        len -= now;
    }
    const int16_t last[] = {m.high1, m.low1, m.high2, m.low2, m.x1, m.x2};
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
