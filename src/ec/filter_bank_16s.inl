// SPDX-License-Identifier: BSD-2-Clause
// Synthesis of the sub-band filter bank in 16 bits, which both processor variants compile. Everything here has internal
// linkage: a variant must not end up with the code of the other.
#pragma once

#include <algorithm>

#include "common/simd.h"
#include "ec/filter_bank.h"

namespace ryxsc::ec {

namespace {

constexpr int windowFraction = 13; // the window is in Q13

// sat16(a + ((y*w + 4096) >> 13)), the product in 64 bits.
inline int16_t addWeighted(int16_t a, int32_t y, int16_t w) {
    const int64_t term = (int64_t{y} * w + (1 << (windowFraction - 1))) >> windowFraction;
    return static_cast<int16_t>(std::clamp<int64_t>(a + term, min16, max16));
}

// Eight windowed samples y, -2^28 <= y < 2^28. They are split into their lower 15 bits and the others,
// y = high * 2^15 + low, so that the term is 4 * high * w + ((low * w + 4096) >> 13) and pmaddwd makes
// low * w + 4096 * 1 and 4 * high * w + a * 1.
class SplitSamples {
public:
    explicit SplitSamples(const int32_t *y) {
        const simd::Vector front = simd::load(y), back = simd::load(y + 4);
        const simd::Vector lowBits = simd::dwords(0x7fff), rounding = simd::dwords(1 << (windowFraction - 1 + 16));
        lows_ = {_mm_or_si128(_mm_and_si128(front, lowBits), rounding),
                 _mm_or_si128(_mm_and_si128(back, lowBits), rounding)};
        const simd::Vector highs = _mm_packs_epi32(_mm_srai_epi32(front, 15), _mm_srai_epi32(back, 15));
        fourHighs_ = _mm_slli_epi16(highs, 2);
    }

    // The eight elements of the accumulator that these taps, the first one last, weight the samples for.
    simd::Vector addWeighted(simd::Vector a, simd::Vector taps) const {
        const simd::Vector reverse = _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1);
        const simd::Vector w = _mm_shuffle_epi8(taps, reverse), ones = simd::words(1);
        const simd::Vector front = sum(_mm_unpacklo_epi16(fourHighs_, a), lows_.front, _mm_unpacklo_epi16(w, ones));
        const simd::Vector back = sum(_mm_unpackhi_epi16(fourHighs_, a), lows_.back, _mm_unpackhi_epi16(w, ones));
        return _mm_packs_epi32(front, back);
    }

private:
    static simd::Vector sum(simd::Vector highs, simd::Vector lows, simd::Vector taps) {
        return _mm_add_epi32(_mm_madd_epi16(highs, taps), _mm_srai_epi32(_mm_madd_epi16(lows, taps), windowFraction));
    }

    simd::Dwords lows_;
    simd::Vector fourHighs_;
};

// Whether all samples fit 29 bits. Only spectra far beyond 16-bit signals make larger ones.
inline bool areSplittable(const int32_t *y, int points) {
    simd::Vector magnitudes = _mm_setzero_si128();
    for (int n = 0; n < points; n += 4) {
        const simd::Vector x = simd::load(y + n);
        magnitudes = _mm_or_si128(magnitudes, _mm_xor_si128(x, _mm_srai_epi32(x, 31)));
    }
    return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_srli_epi32(magnitudes, 28), _mm_setzero_si128())) == 0xffff;
}

// a[k] += y[k mod N] w[L-1-k], rounded and saturated.
inline void overlap(Bank<int16_t> &bank, const int32_t *y) {
    const int16_t *window = bank.window();
    int16_t *line = bank.line();
    const int points = bank.points, windowLen = bank.windowLen;
    if (points < 8 || !areSplittable(y, points)) {
        for (int k = 0; k < windowLen; k++)
            line[k] = addWeighted(line[k], y[k & (points - 1)], window[windowLen - 1 - k]);
        return;
    }
    for (int n = 0; n < points; n += 8) {
        const SplitSamples samples(y + n);
        for (int k = n; k < windowLen; k += points)
            simd::store(line + k, samples.addWeighted(simd::load(line + k), simd::load(window + windowLen - 8 - k)));
    }
}

inline ryxStatus synthesise(const ryx32sc *src, int16_t *dst, SubbandProcessState *state, int scaleFactor,
                            void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    if (scaleFactor < 0) return ryxStsBadScale;
    auto &bank = alignedBlock<Bank<int16_t>>(state);
    if (!bank.transform().isValid()) return ryxStsErr;
    if (!bank.isSound()) return ryxStsBadContext;
    const transform::TransformMemory memory(bank.transform().order());
    if (anyNull(memory.get())) return ryxStsNoMem;
    auto *y = &alignedBlock<int32_t>(workBuf);
    bank.transform().inverse(&src->re, y, scaleFactor, memory.get());
    std::fill_n(bank.shiftLine(), bank.hop, int16_t{0});
    overlap(bank, y);
    std::copy_n(bank.line(), bank.hop, dst);
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc::ec
