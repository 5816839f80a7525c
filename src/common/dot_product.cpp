// SPDX-License-Identifier: BSD-2-Clause
// Dot product that finds its own scale. Every term but the first counts twice, in 32 bits that wrap.
#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/implementations.h"
#include "common/simd.h"

using namespace ryxsc;
using simd::Vector;

namespace {

// Exact sum of dwords. Beside the sum that wraps goes the sum of the upper halves; the lower halves are non-negative and
// their sum is below 2^32, so the wrapped sum tells it. Holds 2^16 dwords.
class WideSum {
public:
    void add(Vector x) {
        wrapped_ = _mm_add_epi32(wrapped_, x);
        upper_ = _mm_add_epi32(upper_, _mm_srai_epi32(x, 16));
    }
    void add(const WideSum &other) {
        wrapped_ = _mm_add_epi32(wrapped_, other.wrapped_);
        upper_ = _mm_add_epi32(upper_, other.upper_);
    }

    int64_t total() const {
        const int64_t upper = int64_t{simd::sumOfDwords(upper_)} * 65536;
        const auto lower = static_cast<uint32_t>(simd::sumOfDwords(wrapped_)) - static_cast<uint32_t>(upper);
        return upper + lower;
    }

private:
    Vector wrapped_ = _mm_setzero_si128(), upper_ = _mm_setzero_si128();
};

constexpr int elementsPerSum = 1 << 15; // one or two dwords for every two elements

// Sum over blocks of work(sum, x, y, half), where work adds to the sum what eight elements of each vector contribute.
// Absent elements are zero and must contribute nothing. The sum has two halves, half 0 or 1: two chains of additions are
// done sooner than one.
template <class Work> int64_t sumBlocks(const int16_t *a, const int16_t *b, int len, Work work) {
    int64_t total = 0;
    for (int i = 0; i < len;) {
        WideSum halves[2];
        const int end = len - i > elementsPerSum ? i + elementsPerSum : len;
        for (; end - i >= 16; i += 16) {
            work(halves[0], simd::load(a + i), simd::load(b + i), 0);
            work(halves[1], simd::load(a + i + 8), simd::load(b + i + 8), 1);
        }
        for (; end - i >= 4; i += 4)
            work(halves[0], simd::load64(a + i), simd::load64(b + i), 0);
        for (; i < end; i++)
            work(halves[1], simd::loadWord(a + i), simd::loadWord(b + i), 1);
        halves[0].add(halves[1]);
        total += halves[0].total();
    }
    return total;
}

// The sum without shifts. Its terms can be doubled after all have been added, unless -32768 meets -32768 somewhere. Where
// the first vector holds such a value, pmaddwd makes every term of a product with itself added, and wraps as it has to.
int64_t dotProduct(const int16_t *a, const int16_t *b, int len) {
    Vector least[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
    const int64_t sum = sumBlocks(a, b, len, [&](WideSum &acc, Vector x, Vector y, int half) {
        acc.add(_mm_madd_epi16(x, y));
        least[half] = _mm_min_epi16(least[half], x);
    });
    const int32_t first = a[0] * b[0];
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_min_epi16(least[0], least[1]), simd::words(min16))) == 0)
        return 2 * sum - first;
    const int64_t wrappingSum = sumBlocks(a, b, len, [](WideSum &acc, Vector x, Vector y, int) {
        acc.add(_mm_madd_epi16(_mm_unpacklo_epi16(x, x), _mm_unpacklo_epi16(y, y)));
        acc.add(_mm_madd_epi16(_mm_unpackhi_epi16(x, x), _mm_unpackhi_epi16(y, y)));
    });
    return wrappingSum - wrapAdd32(first, first) + first;
}

// The sum of shifted elements. With one shift at least a product has a magnitude of 2^29 at most, and nothing wraps.
int64_t dotProduct(const int16_t *a, const int16_t *b, int len, int shiftA, int shiftB) {
    const Vector countA = _mm_cvtsi32_si128(shiftA), countB = _mm_cvtsi32_si128(shiftB);
    const int64_t sum = sumBlocks(a, b, len, [=](WideSum &acc, Vector x, Vector y, int) {
        acc.add(_mm_madd_epi16(_mm_sra_epi16(x, countA), _mm_sra_epi16(y, countB)));
    });
    return 2 * sum - (a[0] >> shiftA) * (b[0] >> shiftB);
}

} // namespace

ryxStatus ryxsDotProdAutoScale_16s32s_Sfs_u8(const int16_t *src1, const int16_t *src2, int len, int32_t *dst,
                                             int *scale) {
    if (anyNull(src1, src2, dst, scale)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int shifts = 0; // of both vectors; the second one is shifted first
    int64_t sum = dotProduct(src1, src2, len);
    // Shifted by 15 all elements are 0 or -1. More cannot help, which only vectors of over 2^30 elements would need.
    while (sum != sat32(sum) && shifts < 30) {
        shifts++;
        sum = dotProduct(src1, src2, len, shifts / 2, (shifts + 1) / 2);
    }
    *dst = sat32(sum);
    *scale = shifts;
    return ryxStsOk;
}
