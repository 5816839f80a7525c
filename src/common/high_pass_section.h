// SPDX-License-Identifier: BSD-2-Clause
// The second-order sections in front of the encoders and behind the decoders of ITU-T G.729 (clauses 3.1 and 4.2.5) and
// GSM-AMR (3GPP TS 26.090, clauses 5.1 and 6.2.2). The recursion keeps 31 bits of the past outputs.
#pragma once

#include <algorithm>

#include "common/double_precision.h"
#include "common/simd.h"

namespace ryxsc {

struct HighPassSection {
    int16_t b0, b1, b2, a1, a2;
    int historyShift; // from the sum to what the recursion keeps
    int outputShift;  // and on to the output
};
inline constexpr HighPassSection preProcessing = {1899, -3798, 1899, 7807, -3733, 3, 0};    // Q12, halves the signal
inline constexpr HighPassSection postProcessing = {7699, -15398, 7699, 15836, -7667, 2, 1}; // Q13, doubles it

struct HighPassMemory {
    int32_t y1, y2; // past outputs
    int16_t x1, x2; // past inputs
};

// Term by term, saturating; y may be x.
template <const HighPassSection &section> void highPassInOrder(const int16_t *x, int16_t *y, int n, HighPassMemory &m) {
    for (int i = 0; i < n; i++) {
        int32_t sum = L_add(multiplyShort(m.y1, section.a1), multiplyShort(m.y2, section.a2));
        sum = L_mac(sum, x[i], section.b0);
        sum = L_mac(sum, m.x1, section.b1);
        sum = L_mac(sum, m.x2, section.b2);
        m.y2 = m.y1;
        m.y1 = L_shl(sum, section.historyShift);
        m.x2 = m.x1;
        m.x1 = x[i];
        y[i] = round(L_shl(m.y1, section.outputShift));
    }
}

// The same for up to `longest` samples as long as no sum saturates, in steps that other chains may take theirs between.
//
// What is kept is the sum times 2^shift. All terms of the sum are even, and a product of what is kept with a coefficient is
// the floor of sum * a / 2^(15 - shift), doubled: the recursion runs on halves of sums. As long as those stay in range no
// partial sum can saturate: in front of the last term they are no larger than 2^29 and that term, and before that no larger
// than the feedback, at most 1.54 * 10^9, and the first term. The first half that leaves the range is at most 2^31 yet.
template <const HighPassSection &section, int longest> class HighPass {
    static_assert(longest % 8 == 0);
    static constexpr int up = section.historyShift, down = 15 - up, output = down - section.outputShift;
    using Vector = simd::Vector;

public:
    explicit HighPass(const HighPassMemory &memory)
        : half1_(memory.y1 >> (up + 1)), half2_(memory.y2 >> (up + 1)),
          exact_(((memory.y1 | memory.y2) & ((2 << up) - 1)) == 0),
          past_(_mm_insert_epi16(_mm_insert_epi16(_mm_setzero_si128(), memory.x1, 7), memory.x2, 6)) {}

    // Inputs, eight at a time. Their outputs follow one by one.
    void add(Vector x) {
        const Vector before = _mm_alignr_epi8(x, past_, 14);
        const Vector even = zeros(before, _mm_alignr_epi8(x, past_, 10));
        const Vector odd = zeros(x, _mm_alignr_epi8(x, past_, 12));
        past_ = x;
        simd::store(halves_ + added_, _mm_unpacklo_epi32(even, odd));
        simd::store(halves_ + added_ + 4, _mm_unpackhi_epi32(even, odd));
        added_ += 8;
    }
    void one() {
        const int64_t older = halves_[done_] + (half2_ * section.a2 >> down);
        half2_ = half1_;
        half1_ = older + (half1_ * section.a1 >> down);
        halves_[done_++] = static_cast<int32_t>(half1_);
    }
    void two() {
        one();
        one();
    }

    // All outputs, up to the next multiple of 8. Returns false where something saturated: then they are of no use.
    bool store(int16_t *y) {
        constexpr int32_t limit = 1 << (30 - up);
        const simd::ScaleDown toOutput(output);
        Vector outside = _mm_setzero_si128();
        std::fill(halves_ + done_, halves_ + added_, 0);
        for (int i = 0; i < done_; i += 8) {
            const simd::Dwords found = {simd::loadAligned(halves_ + i), simd::loadAligned(halves_ + i + 4)};
            for (const Vector part : {found.front, found.back})
                outside = _mm_or_si128(outside, _mm_xor_si128(part, _mm_srai_epi32(part, 31)));
            simd::store(y + i, toOutput(found));
        }
        return exact_ && _mm_movemask_epi8(_mm_cmpgt_epi32(outside, simd::dwords(limit - 1))) == 0;
    }

    // What the next signal finds.
    HighPassMemory memory(int16_t x1, int16_t x2) const {
        return {static_cast<int32_t>(half1_) * (2 << up), static_cast<int32_t>(half2_) * (2 << up), x1, x2};
    }

private:
    // Of every other output: x[n - 1] and x[n] in a pair, and x[n - 3] and x[n - 2].
    static Vector zeros(Vector latest, Vector older) {
        return _mm_add_epi32(_mm_madd_epi16(latest, simd::dwords((section.b0 * 65536) | (section.b1 & 0xffff))),
                             _mm_madd_epi16(older, simd::dwords(section.b2 * 65536)));
    }

    alignas(16) int32_t halves_[longest];
    int64_t half1_, half2_;
    int added_ = 0, done_ = 0;
    bool exact_; // not saturated before
    Vector past_;
};

// In place, n samples.
template <const HighPassSection &section, int longest = 80>
void highPassFilter(int16_t *samples, int n, HighPassMemory &memory) {
    int16_t buffer[longest] = {}, filtered[longest];
    for (int done = 0, count; done < n; done += count) {
        count = std::min(n - done, longest);
        int16_t *const x = samples + done;
        std::copy_n(x, count, buffer);
        HighPass<section, longest> filter(memory);
        for (int i = 0; i < count; i += 8)
            filter.add(simd::load(buffer + i));
        for (int i = 0; i < count; i++)
            filter.one();
        if (filter.store(filtered)) [[likely]] {
            memory = filter.memory(x[count - 1], count > 1 ? x[count - 2] : memory.x1);
            std::copy_n(filtered, count, x);
        } else {
            highPassInOrder<section>(x, x, count, memory);
        }
    }
}

} // namespace ryxsc
