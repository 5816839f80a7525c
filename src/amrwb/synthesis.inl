// SPDX-License-Identifier: BSD-2-Clause
// LP synthesis with outputs in double precision (3GPP TS 26.173: Syn_filt_32). Compiled by both processor variants.
//
// The recommendation keeps an output as 16 high and 12 low bits and sums their products apart. Put together again, with V
// the 28 bits of an output, b the gain of the excitation x and A(z) in Q12 with a[0] = 4096,
//     V[n] = (2^12 b x[n] - sum over j = 1 .. 16 of a[j] V[n - j]) >> 12
// as long as nothing saturates. Outputs are made in blocks of four. What they take from the two blocks in front of them and
// from each other is scalar, in 64 bits; what comes from farther back was added to vectors of sums as soon as it was known,
// with the high and the low bits apart, as words.
#pragma once

#include <cstdlib>

#include "amrwb/arithmetic.h"
#include "common/checks.h"

namespace ryxsc::amrwb {

namespace {

constexpr int block = 4;

// An output as the caller has it is V * 2^4. The definition, step by step.
inline void synthesiseInOrder(const int16_t *lpc, int16_t gain, int shift, const int16_t *src, int32_t *srcDst,
                              int len) {
    for (int n = 0; n < len; n++) {
        int32_t low = 0;
        for (int j = 1; j <= lpOrder; j++)
            low = L_msu(low, static_cast<int16_t>((srcDst[n - j] >> 4) & 4095), lpc[j]);
        int32_t sum = L_mac(low >> 12, src[n], gain);
        for (int j = 1; j <= lpOrder; j++)
            sum = L_msu(sum, extract_h(srcDst[n - j]), lpc[j]);
        srcDst[n] = L_shl(sum, shift) & ~15;
    }
}

// Wraps around, which only outputs do that count for nothing.
class Sum {
public:
    explicit Sum(int64_t start) : value_(static_cast<uint64_t>(start)) {}
    Sum less(int64_t a, int64_t v) const {
        return Sum(static_cast<int64_t>(value_ - static_cast<uint64_t>(a) * static_cast<uint64_t>(v)));
    }
    int64_t shifted() const { return static_cast<int64_t>(value_) >> 12; }

private:
    uint64_t value_;
};

class SynthesisBlocks {
public:
    SynthesisBlocks(const int16_t *lpc, int16_t gain) : gain_(simd::dwords(gain)) {
        int16_t padded[lpOrder + 1 + 8] = {};
        std::copy_n(lpc, lpOrder + 1, padded);
        for (int j = 1; j < 2 * block; j++)
            a_[j] = lpc[j];
        for (int r = 0; r < distances; r++)
            for (int pair = 0; pair < 2; pair++) {
                // From output k of a block, k = 2 * pair and 2 * pair + 1, to output i of the block at distance r + 2.
                const int16_t *const taps = padded + block * (r + 2) - 2 * pair;
                taps_[r][pair] = _mm_unpacklo_epi16(simd::load64(taps), simd::load64(taps - 1));
            }
    }

    // The block of past outputs V[0..3].
    void push(const int32_t *v) {
        const Vector values = simd::load(v);
        last_[0] = v[0];
        last_[1] = v[1];
        last_[2] = v[2];
        last_[3] = v[3];
        advance(values);
    }

    // Writes four outputs and returns them.
    Vector next(const int16_t *src, int32_t *v) {
        alignas(16) int32_t high[block], low[block];
        const Vector input = _mm_unpacklo_epi16(simd::load64(src), _mm_setzero_si128());
        simd::store(high, _mm_sub_epi32(_mm_madd_epi16(input, gain_), high_[0]));
        simd::store(low, low_[0]);
        const auto known = [&](int i) { return Sum(high[i] * int64_t{4096} - low[i]); };
        const int64_t p0 = last_[0], p1 = last_[1], p2 = last_[2], p3 = last_[3];
        const int64_t *const a = a_;
        const int64_t y0 = known(0).less(a[4], p0).less(a[3], p1).less(a[2], p2).less(a[1], p3).shifted();
        const int64_t y1 =
            known(1).less(a[5], p0).less(a[4], p1).less(a[3], p2).less(a[2], p3).less(a[1], y0).shifted();
        const int64_t y2 = known(2)
                               .less(a[6], p0)
                               .less(a[5], p1)
                               .less(a[4], p2)
                               .less(a[3], p3)
                               .less(a[2], y0)
                               .less(a[1], y1)
                               .shifted();
        const int64_t y3 = known(3)
                               .less(a[7], p0)
                               .less(a[6], p1)
                               .less(a[5], p2)
                               .less(a[4], p3)
                               .less(a[3], y0)
                               .less(a[2], y1)
                               .less(a[1], y2)
                               .shifted();
        last_[0] = y0;
        last_[1] = y1;
        last_[2] = y2;
        last_[3] = y3;
        const Vector values = _mm_unpacklo_epi64(pairOf(y0, y1), pairOf(y2, y3));
        simd::store(v, values);
        advance(values);
        return values;
    }

private:
    static constexpr int distances = 3; // of blocks that a block reaches beyond the next one

    static Vector pairOf(int64_t low, int64_t high) {
        return _mm_cvtsi64_si128(static_cast<int64_t>(static_cast<uint32_t>(low) | static_cast<uint64_t>(high) << 32));
    }

    void advance(Vector values) {
        const Vector words = _mm_packs_epi32(_mm_srai_epi32(values, 12), _mm_and_si128(values, simd::dwords(4095)));
        const Vector high0 = _mm_shuffle_epi32(words, 0x00), high1 = _mm_shuffle_epi32(words, 0x55);
        const Vector low0 = _mm_shuffle_epi32(words, 0xaa), low1 = _mm_shuffle_epi32(words, 0xff);
        const auto sums = [&](int r, Vector first, Vector second) {
            return _mm_add_epi32(_mm_madd_epi16(first, taps_[r][0]), _mm_madd_epi16(second, taps_[r][1]));
        };
        for (int r = 0; r < distances; r++) {
            high_[r] = high_[r + 1];
            low_[r] = low_[r + 1];
            if (r == 0) continue;
            high_[r] = _mm_add_epi32(high_[r], sums(r - 1, high0, high1));
            low_[r] = _mm_add_epi32(low_[r], sums(r - 1, low0, low1));
        }
        high_[distances] = sums(distances - 1, high0, high1);
        low_[distances] = sums(distances - 1, low0, low1);
    }

    int64_t a_[2 * block];
    int64_t last_[block] = {};
    Vector gain_, taps_[distances][2];
    Vector high_[distances + 1] = {}, low_[distances + 1] = {}; // for the next block and those behind it
};

// False when something may have saturated on the way; the outputs count for nothing then.
inline bool synthesiseInBlocks(const int16_t *lpc, int16_t gain, const int16_t *src, int32_t *srcDst, int len) {
    int sumOfMagnitudes = 0;
    for (int j = 1; j <= lpOrder; j++)
        sumOfMagnitudes += std::abs(lpc[j]);
    SynthesisBlocks blocks(lpc, gain);
    Vector largest = _mm_setzero_si128();
    const auto watch = [&](Vector values) { // one's complement magnitudes, as good as magnitudes here
        largest = _mm_or_si128(largest, _mm_xor_si128(values, _mm_srai_epi32(values, 31)));
    };
    for (int n = -lpOrder; n < 0; n += block) {
        const Vector values = _mm_srai_epi32(simd::load(srcDst + n), 4);
        alignas(16) int32_t v[block];
        simd::store(v, values);
        blocks.push(v);
        watch(values);
    }
    for (int n = 0; n < len; n += block) {
        alignas(16) int32_t v[block];
        const Vector values = blocks.next(src + n, v);
        simd::store(srcDst + n, _mm_slli_epi32(values, 4));
        watch(values);
    }
    // Sums of high parts, doubled, and the excitation stay below 2^31, and so do those of low parts. The bits of the
    // largest magnitudes together are an upper limit of the high parts.
    alignas(16) uint32_t bits[block];
    _mm_store_si128(reinterpret_cast<Vector *>(bits), largest);
    const int64_t high = ((bits[0] | bits[1] | bits[2] | bits[3]) >> 12) + 1;
    return sumOfMagnitudes < 1 << 17 && high * sumOfMagnitudes + (int64_t{gain} << 15) < (1 << 30) - (1 << 20);
}

inline ryxStatus synthesise(const int16_t *lpc, const int16_t *src, int32_t *srcDst, int len, int q) {
    if (anyNull(lpc, src, srcDst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    if (q < 0 || q > 11) return ryxStsOutOfRange;
    const auto gain = static_cast<int16_t>(lpc[0] >> (4 + q));
    if (lpc[0] == 4096 && len % block == 0 && synthesiseInBlocks(lpc, gain, src, srcDst, len)) return ryxStsOk;
    synthesiseInOrder(lpc, gain, 3 + norm_s(lpc[0]) - 2, src, srcDst, len);
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc::amrwb
