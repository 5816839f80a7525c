// SPDX-License-Identifier: BSD-2-Clause
// High-pass sections of second order with outputs in double precision, 50 Hz and 400 Hz (3GPP TS 26.173).
//
// The recommendation splits outputs into 16 high and 15 low bits, which makes of each product two. Put together again,
// with t the sum before its last shifts and Y the 31 bits of an output,
//     t[n] = ((2^14 + 2 a1 Y[n-1] + 2 a2 Y[n-2]) >> 15) + 2 b0 (x[n] + x[n-2]) + 2 b1 x[n-1],  Y[n] = 2^(shift - 1) t[n],
// as long as nothing saturates: a product, an addition and a shift from sample to sample in 64 bits.
#pragma once

#include <cstdlib>

#include "amrwb/arithmetic.h"

namespace ryxsc::amrwb {

struct Section {
    int16_t a1, a2; // of the outputs
    int16_t b0, b1; // of the inputs; b2 = b0
    int shift;      // of the sum
    int doublings;  // of the output
};
inline constexpr Section section50 = {16211, -8021, 4053, -8106, 2, 1};
inline constexpr Section section400 = {29280, -14160, 915, -1830, 1, 0};

// The caller's 6 words: high and low part of y[n-1], those of y[n-2], x[n-1], x[n-2].
struct SectionMemory {
    int16_t high1, low1, high2, low2, x1, x2;

    static SectionMemory load(const int16_t *m) { return {m[0], m[1], m[2], m[3], m[4], m[5]}; }
    void store(int16_t *memory) const {
        const int16_t words[] = {high1, low1, high2, low2, x1, x2};
        std::copy_n(words, 6, memory);
    }
};

// The recursion of a section as long as no output has more than 30 bits. The sums then stay within 31: at 50 Hz the products
// are at most 2^29, 2^28 and, with the inputs, 2^30; at 400 Hz they are smaller. And a sum is less than three times as large
// as those before it: the first one beyond the limit still fits 32 bits and shows, whatever becomes of those behind it.
template <const Section &section> class SectionChain {
    static constexpr int down = 15 - section.shift;

public:
    static constexpr int toOutput = 16 - section.shift - section.doublings; // shift of a sum
    static constexpr int32_t limit = (1 << 30) >> section.shift;            // of a sum, a power of two

    // False when something may saturate.
    bool start(const SectionMemory &m) {
        constexpr int dropped = (1 << section.shift) - 1; // bits that are set only after saturation
        const int32_t y1 = L_Comp(m.high1, m.low1), y2 = L_Comp(m.high2, m.low2);
        t1_ = y1 >> section.shift;
        t2_ = y2 >> section.shift;
        return ((y1 | y2) & dropped) == 0 && std::abs(t1_) < limit && std::abs(t2_) < limit;
    }
    static void finish(int32_t last, int32_t beforeLast, SectionMemory &m) {
        L_Extract(wrapMul32(last, 1 << section.shift), m.high1, m.low1);
        L_Extract(wrapMul32(beforeLast, 1 << section.shift), m.high2, m.low2);
    }
    void finish(SectionMemory &m) const { finish(last(), beforeLast(), m); }

    int32_t last() const { return static_cast<int32_t>(t1_); }
    int32_t beforeLast() const { return static_cast<int32_t>(t2_); }

    // The next sum, for an input that inputs() gives.
    int32_t next(int32_t input) {
        constexpr int64_t half = 1 << (down - 1);
        const int64_t known = input * (int64_t{1} << (down + 1)) + half + t2_ * section.a2;
        t2_ = t1_;
        t1_ = (known + t1_ * section.a1) >> down;
        return static_cast<int32_t>(t1_);
    }

    // b0 * (x[n] + x[n - 2]) + b1 * x[n - 1] for eight n.
    static simd::Dwords inputs(Vector now, Vector last, Vector first) {
        const Vector factors = simd::dwords(section.b1 * 65536 + section.b0), factor = simd::dwords(section.b0);
        const auto sum = [=](Vector pairs, Vector single) {
            return _mm_add_epi32(_mm_madd_epi16(pairs, factors), _mm_madd_epi16(single, factor));
        };
        const Vector zero = _mm_setzero_si128();
        return {sum(_mm_unpacklo_epi16(now, last), _mm_unpacklo_epi16(first, zero)),
                sum(_mm_unpackhi_epi16(now, last), _mm_unpackhi_epi16(first, zero))};
    }

    static Vector outputs(Vector front, Vector back) {
        const Vector rounding = simd::dwords(1 << (toOutput - 1));
        return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(front, rounding), toOutput),
                               _mm_srai_epi32(_mm_add_epi32(back, rounding), toOutput));
    }

private:
    int64_t t1_ = 0, t2_ = 0;
};

// The bits of one's complement magnitudes together, and whether all magnitudes lie below a power of two.
class MagnitudeBits {
public:
    void add(Vector dwords) { bits_ = _mm_or_si128(bits_, _mm_xor_si128(dwords, _mm_srai_epi32(dwords, 31))); }
    bool areBelow(int32_t power) const {
        return _mm_movemask_epi8(_mm_cmpgt_epi32(bits_, simd::dwords(power - 1))) == 0;
    }

private:
    Vector bits_ = _mm_setzero_si128();
};

} // namespace ryxsc::amrwb
