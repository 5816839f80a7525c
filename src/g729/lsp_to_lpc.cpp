// SPDX-License-Identifier: BSD-2-Clause
// Line spectral pairs to LP coefficients, in fixed point (ITU-T G.729, clause 3.2.6) and in single precision.
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "g729/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729::lp;

namespace {

constexpr int degree = order / 2;
constexpr int16_t unit = 4096; // 1 in Q12

// The product of 1 - 2 * lsp[i] * z^-1 + z^-2 over every other lsp, coefficients 0 to 5 in Q24.
void expand(const int16_t *lsp, int32_t *f) {
    f[0] = 1 << 24;
    f[1] = -1024 * lsp[0];
    for (int i = 2; i <= degree; i++) {
        const int16_t factor = lsp[2 * (i - 1)];
        f[i] = f[i - 2];             // the product is symmetric
        for (int k = i; k >= 2; k--) // downwards, so that f[k - 1] and f[k - 2] are still the old ones
            f[k] = L_sub(L_add(f[k], f[k - 2]), doubledProduct(f[k - 1], factor));
        f[1] = L_sub(f[1], 1024 * factor);
    }
}

// Q24 to Q12 of the halved sum, rounded. Ordered LSPs stay inside +-8; beyond that the low 16 bits remain.
int16_t toQ12(int32_t sum) {
    return wrap16((sum >> 13) + ((sum >> 12) & 1));
}

void expand(const float *lsp, float *f) {
    f[0] = 1;
    f[1] = -2 * lsp[0];
    for (int i = 2; i <= degree; i++) {
        const float factor = -2 * lsp[2 * (i - 1)];
        f[i] = factor * f[i - 1] + 2 * f[i - 2];
        for (int k = i - 1; k >= 2; k--)
            f[k] += factor * f[k - 1] + f[k - 2];
        f[1] += factor;
    }
}

// The definition, with the saturation that disordered LSPs may need.
void convertInOrder(const int16_t *lsp, int16_t *lpc) {
    int32_t sum[degree + 1], difference[degree + 1];
    expand(lsp, sum);
    expand(lsp + 1, difference);
    for (int k = degree; k > 0; k--) { // times 1 + z^-1 and 1 - z^-1
        sum[k] = L_add(sum[k], sum[k - 1]);
        difference[k] = L_sub(difference[k], difference[k - 1]);
    }
    lpc[0] = unit;
    for (int k = 1; k <= degree; k++) {
        lpc[k] = toQ12(L_add(sum[k], difference[k]));
        lpc[order + 1 - k] = toQ12(L_sub(sum[k], difference[k]));
    }
}

// Two LSP vectors side by side: the lanes are the polynomials of the even and of the odd LSPs of the first, then of the
// second vector.
class Pair {
    using Vector = simd::Vector;

public:
    Pair(const int16_t *first, const int16_t *second) {
        const auto factor = [&](int i) { // lsp[2 * i] and lsp[2 * i + 1] of both
            return _mm_unpacklo_epi32(simd::load32(first + 2 * i), simd::load32(second + 2 * i));
        };
        const Vector zero = _mm_setzero_si128();
        f_[0] = simd::dwords(1 << 24);
        f_[1] = _mm_sub_epi32(zero, times1024(factor(0)));
        Vector largest = zero;
#pragma GCC unroll 4
        for (int i = 2; i <= degree; i++) {
            const Vector words = factor(i - 1);
            const lanes::Words factors = {_mm_unpacklo_epi16(zero, words), _mm_unpacklo_epi16(words, zero)};
            f_[i] = f_[i - 2];
#pragma GCC unroll 4
            for (int k = i; k >= 2; k--) {
                const Vector product = _mm_slli_epi32(lanes::halfProduct(f_[k - 1], factors), 2);
                f_[k] = _mm_sub_epi32(_mm_add_epi32(f_[k], f_[k - 2]), product);
                largest = _mm_or_si128(largest, _mm_xor_si128(f_[k], _mm_srai_epi32(f_[k], 31)));
            }
            f_[1] = _mm_sub_epi32(f_[1], times1024(words));
        }
        fits_ = _mm_movemask_epi8(_mm_cmpgt_epi32(largest, simd::dwords((1 << 29) - 1))) == 0;
    }

    // While all coefficients lie in -2^29 .. 2^29 - 1, which those of ordered LSPs mostly do, nothing can saturate: a
    // product is at most twice the coefficient, and four of them make the largest sum, here and below. f[1], at most
    // 10 * 2^24, needs no look.
    bool fits() const {
        return fits_;
    }

    void store(int16_t *first, int16_t *second) const {
        // Times 1 + z^-1 and 1 - z^-1; then halves of sums and differences of the two, in Q12.
        const Vector odd = _mm_setr_epi32(0, -1, 0, -1);
        const auto negatedWhereOdd = [odd](Vector x) { return _mm_sub_epi32(_mm_xor_si128(x, odd), odd); };
        Vector halves[degree + 1];
#pragma GCC unroll 5
        for (int k = 1; k <= degree; k++) {
            const Vector terms = _mm_add_epi32(f_[k], negatedWhereOdd(f_[k - 1]));
            const Vector sums = _mm_add_epi32(_mm_shuffle_epi32(terms, _MM_SHUFFLE(2, 2, 0, 0)),
                                              negatedWhereOdd(_mm_shuffle_epi32(terms, _MM_SHUFFLE(3, 3, 1, 1))));
            // (sum + 2^12) >> 13, of which the low words remain
            const Vector rounded = _mm_srai_epi32(_mm_add_epi32(_mm_srai_epi32(sums, 12), simd::dwords(1)), 1);
            halves[k] = _mm_srai_epi32(_mm_slli_epi32(rounded, 16), 16);
        }
        const Vector front = _mm_packs_epi32(halves[1], halves[2]), middle = _mm_packs_epi32(halves[3], halves[4]);
        const Vector back = _mm_packs_epi32(halves[5], halves[5]);
        storeOne(front, middle, back, first);
        storeOne(_mm_srli_si128(front, 4), _mm_srli_si128(middle, 4), _mm_srli_si128(back, 4), second);
    }

private:
    static Vector times1024(Vector words) {
        return _mm_srai_epi32(_mm_unpacklo_epi16(_mm_setzero_si128(), words), 6);
    }

    // front: sum and difference of coefficient 1, two other words, those of coefficient 2; so on.
    static void storeOne(Vector front, Vector middle, Vector back, int16_t *lpc) {
        const Vector upToSeven = _mm_or_si128(
            _mm_or_si128(_mm_shuffle_epi8(front, words(-1, 0, 4, -1, -1, -1, -1, -1)), simd::loadWord(&unit)),
            _mm_or_si128(_mm_shuffle_epi8(middle, words(-1, -1, -1, 0, 4, -1, -1, 5)),
                         _mm_shuffle_epi8(back, words(-1, -1, -1, -1, -1, 0, 1, -1))));
        const Vector fromSeven = _mm_or_si128(_mm_shuffle_epi8(middle, words(5, 1, -1, -1, -1, -1, -1, -1)),
                                              _mm_shuffle_epi8(front, words(-1, -1, 5, 1, -1, -1, -1, -1)));
        simd::store(lpc, upToSeven);
        simd::store64(lpc + 7, fromSeven);
    }

    // The bytes of the words so numbered; -1 gives a zero.
    static Vector words(int w0, int w1, int w2, int w3, int w4, int w5, int w6, int w7) {
        const auto bytes = [](int w) { return static_cast<int16_t>(w < 0 ? -1 : (2 * w + 1) << 8 | 2 * w); };
        return _mm_setr_epi16(bytes(w0), bytes(w1), bytes(w2), bytes(w3), bytes(w4), bytes(w5), bytes(w6), bytes(w7));
    }

    Vector f_[degree + 1]; // coefficients 0 to 5, Q24
    bool fits_;
};

void convertTwo(const int16_t *firstLsp, const int16_t *secondLsp, int16_t *first, int16_t *second) {
    const Pair pair(firstLsp, secondLsp);
    if (pair.fits()) [[likely]] {
        pair.store(first, second);
        return;
    }
    convertInOrder(firstLsp, first);
    if (second != first) convertInOrder(secondLsp, second);
}

} // namespace

ryxStatus ryxsLSPToLPC_G729_16s_u8(const int16_t *lsp, int16_t *lpc) {
    if (anyNull(lsp, lpc)) return ryxStsNullPtr;
    convertTwo(lsp, lsp, lpc, lpc);
    return ryxStsOk;
}

ryxStatus ryxsLSPToLPCBlock_G729_16s_u8(const int16_t *lsp, int count, int16_t *lpc) {
    if (anyNull(lsp, lpc)) return ryxStsNullPtr;
    if (count < 1) return ryxStsBadSize;
    for (int i = 0; i < count; i += 2) {
        const int last = std::min(i + 1, count - 1);
        convertTwo(lsp + order * i, lsp + order * last, lpc + (order + 1) * i, lpc + (order + 1) * last);
    }
    return ryxStsOk;
}

ryxStatus ryxsLSPToLPC_G729_32f_u8(const float *lsp, float *lpc) {
    if (anyNull(lsp, lpc)) return ryxStsNullPtr;
    float sum[degree + 1], difference[degree + 1];
    expand(lsp, sum);
    expand(lsp + 1, difference);
    for (int k = degree; k > 0; k--) { // times 1 + z^-1 and 1 - z^-1
        sum[k] += sum[k - 1];
        difference[k] -= difference[k - 1];
    }
    lpc[0] = 1;
    for (int k = 1; k <= degree; k++) {
        lpc[k] = 0.5f * (sum[k] + difference[k]);
        lpc[order + 1 - k] = 0.5f * (sum[k] - difference[k]);
    }
    return ryxStsOk;
}
