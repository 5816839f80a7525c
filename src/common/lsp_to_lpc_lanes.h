// SPDX-License-Identifier: BSD-2-Clause
// Four sets of line spectral pairs of order 10 to LP coefficients (ITU-T G.729, clause 3.2.6), a lane each: the arithmetic of
// ryxsLSPToLPC_G729_16s() for the subframes of a frame.
#pragma once

#include <cstring>

#include "common/double_precision.h"

namespace ryxsc {

class LspToLpcLanes {
    static constexpr int order = 10, degree = order / 2;
    using Vector = simd::Vector;

public:
    // lsp: four sets of ten; lpc: four sets of eleven. Returns false, and writes nothing, where a sum may saturate.
    static bool convert(const int16_t *lsp, int16_t *lpc) {
        Range range;
        Vector sum[degree + 1], difference[degree + 1];
        expand(lsp, sum, range);
        expand(lsp + 1, difference, range);
        for (int k = degree; k > 0; k--) { // times 1 + z^-1 and 1 - z^-1
            sum[k] = _mm_add_epi32(sum[k], sum[k - 1]);
            difference[k] = _mm_sub_epi32(difference[k], difference[k - 1]);
            range.add(sum[k]);
            range.add(difference[k]);
        }
        if (!range.isWithin()) return false;
        Vector front[4], back[4], last[2]; // coefficients 1 to 4, 5 to 8, 9 and 10
        for (int k = 1; k <= degree; k++) {
            const Vector symmetric = toQ12(_mm_add_epi32(sum[k], difference[k]));
            const Vector mirrored = toQ12(_mm_sub_epi32(sum[k], difference[k]));
            (k <= 4 ? front[k - 1] : back[0]) = symmetric;
            (k >= 3 ? back[6 - k] : last[2 - k]) = mirrored;
        }
        write(front, back, last, lpc);
        return true;
    }

private:
    // Whether all values that were added lie between -2^30 and 2^30: upper halves tell.
    class Range {
    public:
        void add(Vector x) {
            high_ = _mm_max_epi16(high_, x);
            low_ = _mm_min_epi16(low_, x);
        }
        bool isWithin() const {
            const Vector beyond =
                _mm_or_si128(_mm_cmpgt_epi16(high_, simd::words(0x3fff)), _mm_cmpgt_epi16(simd::words(-0x4000), low_));
            return (_mm_movemask_epi8(beyond) & 0xcccc) == 0;
        }

    private:
        Vector high_ = _mm_setzero_si128(), low_ = _mm_setzero_si128();
    };

    // The product of 1 - 2 * lsp[i] * z^-1 + z^-2 over every other lsp, coefficients 0 to 5 in Q24. As long as all of f and
    // the doubled products stay below 2^30, no sum of the recommendation's saturates.
    static void expand(const int16_t *lsp, Vector *f, Range &range) {
        const auto factorOf = [&](int i) {
            const int16_t *const x = lsp + 2 * i;
            return _mm_setr_epi32(x[0] * 65536, x[order] * 65536, x[2 * order] * 65536, x[3 * order] * 65536);
        };
        const auto first = [](Vector factor) { return _mm_srai_epi32(factor, 6); }; // 1024 lsp
        f[0] = simd::dwords(1 << 24);
        f[1] = _mm_sub_epi32(_mm_setzero_si128(), first(factorOf(0)));
#pragma GCC unroll 4
        for (int i = 2; i <= degree; i++) {
            const Vector high = factorOf(i - 1);
            const lanes::Words factor = {high, _mm_srli_epi32(high, 16)};
            f[i] = f[i - 2]; // the product is symmetric
#pragma GCC unroll 4
            for (int k = i; k >= 2; k--) { // downwards, so that f[k - 1] and f[k - 2] are still the old ones
                const Vector product = _mm_slli_epi32(lanes::halfProduct(f[k - 1], factor), 2);
                range.add(product);
                f[k] = _mm_sub_epi32(_mm_add_epi32(f[k], f[k - 2]), product);
                range.add(f[k]);
            }
            f[1] = _mm_sub_epi32(f[1], first(high));
            range.add(f[1]);
        }
    }

    // Q24 to Q12 of the halved sum, rounded; the low 16 bits, as a dword.
    static Vector toQ12(Vector x) {
        const Vector rounded = _mm_srai_epi32(_mm_add_epi32(_mm_srai_epi32(x, 12), simd::dwords(1)), 1);
        return _mm_srai_epi32(_mm_slli_epi32(rounded, 16), 16);
    }

    // From lanes to sets.
    static void write(const Vector (&front)[4], const Vector (&back)[4], const Vector (&last)[2], int16_t *lpc) {
        const auto pairs = [](const Vector *x) { // (x[0], x[1]), (x[2], x[3]) of sets 0, 1 and of sets 2, 3
            const Vector words01 = _mm_packs_epi32(x[0], x[1]), words23 = _mm_packs_epi32(x[2], x[3]);
            const Vector mixed01 = _mm_unpacklo_epi16(words01, _mm_unpackhi_epi64(words01, words01));
            const Vector mixed23 = _mm_unpacklo_epi16(words23, _mm_unpackhi_epi64(words23, words23));
            return simd::Dwords{_mm_unpacklo_epi32(mixed01, mixed23), _mm_unpackhi_epi32(mixed01, mixed23)};
        };
        const simd::Dwords fronts = pairs(front), backs = pairs(back);
        const Vector lastWords = _mm_packs_epi32(last[0], last[1]);
        const Vector lasts = _mm_unpacklo_epi16(lastWords, _mm_unpackhi_epi64(lastWords, lastWords));
        alignas(16) int32_t ninthAndTenth[4];
        simd::store(ninthAndTenth, lasts);
        const Vector rows[4] = {
            _mm_unpacklo_epi64(fronts.front, backs.front), _mm_unpackhi_epi64(fronts.front, backs.front),
            _mm_unpacklo_epi64(fronts.back, backs.back), _mm_unpackhi_epi64(fronts.back, backs.back)};
        for (int set = 0; set < 4; set++, lpc += order + 1) {
            lpc[0] = 4096;
            simd::store(lpc + 1, rows[set]);
            std::memcpy(lpc + 9, &ninthAndTenth[set], sizeof ninthAndTenth[set]);
        }
    }
};

} // namespace ryxsc
